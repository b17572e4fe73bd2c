"""What a model says of values, over the wire and in the shell: choices, details, what is offered no more."""

import json

import pytest

from harness import fault, obxc

MODEL = {
    "types": {"IPv6Address": {"type": "IPAddress"}},
    "schema": {
        "DataModelVersion": {"type": "string", "read": "guest"},
        "Device": {
            "#attr": {"since": "1.0", "read": "guest", "write": "guest"},
            "Speed": {"type": "int", "access": "readWrite", "default": 0, "units": "Mb/s", "since": "1.1",
                      "description": "How fast it is.",
                      "ranges": [{"min": -1, "max": -1}, {"min": 0, "max": 100, "step": 10}]},
            "Address": {"type": "IPv6Address", "access": "readWrite", "default": ""},
            "Version": {"type": "string", "access": "readWrite", "default": "", "patterns": ["", r"\d+\.\d+"]},
            "State": {"type": "string", "access": "readWrite", "default": "None",
                      "enum": ["None", {"value": "Requested", "description": "asks for it"},
                               {"value": "Complete", "access": "readOnly"}]},
            "Supported": {"type": "list", "default": "fast,slow"},
            "Mode": {"type": "string", "access": "readWrite", "default": "", "from": "Supported", "nullValue": "Auto"},
            "Counts": {"type": "unsignedInt[]", "access": "readWrite", "default": ""},
            "Former": {"type": "string", "status": "obsoleted"},
            "Older": {"type": "string", "status": "deprecated"},
            "Most": {"type": "unsignedLong", "maxInclusive": 18446744073709551615},
            "Row": {
                "#attr": {"multi": True, "access": "readWrite", "keys": [{"names": ["Name"], "functional": True}],
                          "enable": "Enable", "counter": "Rows"},
                "Enable": {"type": "boolean", "access": "readWrite", "default": False},
                "Name": {"type": "string", "access": "readWrite", "default": ""},
                "Other": {"type": "pathRef", "access": "readWrite", "default": "", "foreign_key": "#.Row.,.NoSuch."},
            },
            "Rows": {"type": "unsignedInt"},
            "Call": {"type": "method", "#input": {"Host": {"type": "string", "mandatory": True}}},
        },
    },
    "values": {"DataModelVersion": "1", "Device": {"Row": {"1": {}, "2": {}}}},
}


@pytest.fixture
def obxd(start_obxd, tmp_path):
    model = tmp_path / "facets.json"
    model.write_text(json.dumps(MODEL))
    return start_obxd(model=str(model))


def attributes(client, name, level=0, **more):
    answer = client.call("GetParameterAttributes", {"ParameterNames": [name], "Level": level, **more})
    return {entry["Name"]: entry["Attributes"] for entry in answer["ParameterList"]}


def refused(client, path, value):
    answer = client.set(path, value)
    entry = answer["error"]["data"][path]
    return entry["code"], entry["message"]


def test_bounds_are_refused_in_words(client):
    assert refused(client, "Device.Speed", 55) == (9007, "must be -1 or 0 to 100 in steps of 10")
    assert refused(client, "Device.Address", "192.0.2.1") == (9007, "must be an IPv6 address")
    assert refused(client, "Device.Version", "one") == (9007, "does not match the pattern")
    assert refused(client, "Device.State", "Complete") == (9007, "must be one of None, Requested")
    assert refused(client, "Device.Mode", "warp") == (9007, "must be one of fast,slow")
    for path, value in (("Speed", 50), ("Speed", -1), ("Address", "::1"), ("Version", "1.20"), ("Mode", "Auto")):
        assert client.set("Device." + path, value)["result"] == {}


def test_attributes_and_details(client):
    speed = attributes(client, "Device.Speed")["Device.Speed"]
    assert speed["minInclusive"] == -1 and speed["maxInclusive"] == 100
    assert not {"description", "units", "since", "ranges"} & set(speed)
    details = attributes(client, "Device.Speed", Details=True)["Device.Speed"]
    assert {name: details[name] for name in set(details) - set(speed)} == {
        "description": "How fast it is.", "units": "Mb/s", "since": "1.1",
        "ranges": [{"min": -1, "max": -1}, {"min": 0, "max": 100, "step": 10}]}
    state = attributes(client, "Device.State")["Device.State"]
    assert state["enum"] == ["None", "Requested"] and state["mappings"] == ["Requested: asks for it"]
    assert attributes(client, "Device.Mode")["Device.Mode"]["enum"] == ["fast", "slow", "Auto"]
    assert attributes(client, "Device.Counts")["Device.Counts"]["type"] == "unsignedInt[]"
    row = attributes(client, "Device.Row.", Details=True)["Device.Row."]
    assert row["keys"] == [["Name"]] and row["since"] == "1.0"
    listed = attributes(client, "Device.", level=1)
    assert listed["Device.Older"]["perms"] == "g/- deprecated"
    assert "Device.Former" not in listed
    assert attributes(client, "Device.Former", Details=True)["Device.Former"]["status"] == "obsoleted"


def test_rows_and_references(obxd, client):
    assert client.get("Device.Rows") == 2
    assert obxd.errors().count("Device.NoSuch is not in the model; Device.Row.Other refers to it") == 1
    assert client.set("Device.Row.1.Name", "x")["result"] == {}
    assert client.set("Device.Row.2.Name", "x")["result"] == {}
    assert client.set("Device.Row.1.Enable", True)["result"] == {}
    assert refused(client, "Device.Row.2.Enable", True) == (9007, "has the same Name as Device.Row.1.")
    assert client.set("Device.Row.1.Other", "Device.Row.2.")["result"] == {}
    client.call("DeleteObject", {"ObjectName": "Device.Row.2."})
    assert client.get("Device.Row.1.Other") == "" and client.get("Device.Rows") == 1


def test_a_missing_argument_is_named(client):
    answer = client.request("Execute", {"Path": "Device.Call"})
    assert fault(answer) == (9003, "Device.Call was not called")
    assert answer["error"]["data"]["Host"] == {"code": 9003, "message": "is required"}


def test_what_is_shown_of_it(obxd):
    def shown(path):
        return obxc("-r", "attr", path, daemon=obxd).out

    assert "Enum: \n  'None'\n  'Requested'\n" in shown("Device.State")
    assert "Mappings: \n  'Requested: asks for it'\n" in shown("Device.State")
    assert "Enum: \n  'fast'\n  'slow'\n  'Auto'\n" in shown("Device.Mode")
    assert "Type:               unsignedInt[]\n" in shown("Device.Counts")


def test_what_is_obsoleted_is_not_listed(shell):
    listed = shell.run("ls Device.")
    assert "Older" in listed and "Former" not in listed
