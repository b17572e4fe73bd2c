#!/usr/bin/python3
"""Writes large models for obxd, to measure with.

  generate.py flat N        N parameters, 50 to an object
  generate.py instances N   one multi-instance object with N instances
  generate.py deep N        about N nodes: objects, instances and parameters in several levels

Everyone may read them, so that a measurement needs no login.
"""

import json
import sys

INSTANCE = {
    "#attr": {"multi": True, "access": "readWrite", "keys": [["Alias"]]},
    "Alias": {"type": "Alias", "access": "readWrite", "default": "cpe", "maxLength": 64},
    "Enable": {"type": "boolean", "access": "readWrite", "default": False},
    "Name": {"type": "string", "access": "readWrite", "default": "", "maxLength": 64},
    "Count": {"type": "unsignedInt", "access": "readWrite", "default": 0},
    "Address": {"type": "IPAddress"},
}


def instance(number):
    address = "10.%d.%d.%d" % (number >> 16 & 255, number >> 8 & 255, number & 255)
    return {"Alias": "entry-%d" % number, "Enable": number % 2 == 0, "Name": "name %d" % number,
            "Count": number, "Address": address}


def parameter(number):
    kinds = [
        {"type": "string", "access": "readWrite", "default": ""},
        {"type": "unsignedInt", "access": "readWrite", "default": 0},
        {"type": "boolean", "access": "readWrite", "default": False},
        {"type": "int"},
        {"type": "string"},
    ]
    return kinds[number % len(kinds)]


def value(number):
    return ["value %d" % number, number, number % 2 == 1, -number, "text of parameter %d" % number][number % 5]


def flat(count):
    schema, values = {}, {}
    for start in range(0, count, 50):
        name = "Group%d" % (start // 50 + 1)
        numbers = range(start, min(start + 50, count))
        schema[name] = {"Parameter%d" % n: parameter(n) for n in numbers}
        values[name] = {"Parameter%d" % n: value(n) for n in numbers}
    return schema, values


def instances(count):
    schema = {"Table": {"EntryNumberOfEntries": {"type": "unsignedInt"}, "Entry": INSTANCE}}
    return schema, {"Table": {"Entry": {str(n): instance(n) for n in range(1, count + 1)}}}


def deep(count):
    # A branch, its table of 10 rows, in each a table of 9 cells with one parameter: 202 nodes.
    cell = {"#attr": {"multi": True}, "Value": {"type": "string"}}
    row = {"#attr": {"multi": True}, "Cell": cell}
    schema, values = {}, {}
    for number in range(1, count // 202 + 1):
        name = "Branch%d" % number
        schema[name] = {"Row": row}
        values[name] = {"Row": {str(r): {"Cell": {str(c): {"Value": "%d.%d" % (r, c)} for c in range(1, 10)}}
                                for r in range(1, 11)}}
    return schema, values


def main():
    shapes = {"flat": flat, "instances": instances, "deep": deep}
    if len(sys.argv) != 3 or sys.argv[1] not in shapes or not sys.argv[2].isdigit():
        sys.exit(__doc__.strip())
    schema, values = shapes[sys.argv[1]](int(sys.argv[2]))
    # What a client asks for on its own is there too.
    info = {"UpTime": {"type": "unsignedInt"}, "DeviceMode": {"type": "string", "enum": ["Router", "Bridge"]}}
    users = {"CurrentUser": {"type": "string", "read": "guest"}, "SystemAccess": {"type": "boolean", "read": "guest"}}
    device = {"#attr": {"read": "guest"}, "DeviceInfo": info, "Users": users}
    device.update(schema)
    top = {"DataModelVersion": {"type": "string", "read": "guest"}, "Device": device}
    model = {"schema": top, "values": {"DataModelVersion": "1.0", "Device": values}}
    json.dump(model, sys.stdout, separators=(",", ":"))
    print()


if __name__ == "__main__":
    main()
