// A small model with a node of every kind, for targets that need one.
#pragma once

inline constexpr char TEST_MODEL[] = R"({
 "types": {"Name": {"type": "string", "maxLength": 8}, "Hex": {"type": "string", "regex": "^[0-9A-F]{2,4}$"}},
 "schema": {"Device": {"#attr": {},
  "Reboot": {"type": "method"},
  "FactoryReset": {"type": "method"},
  "ScheduleTimer": {"type": "method", "async": true,
   "#input": {"DelaySeconds": {"type": "unsignedInt", "default": 1}}},
  "DeviceInfo": {"#attr": {},
   "SoftwareVersion": {"type": "string"},
   "DeviceMode": {"type": "string", "access": "readWrite", "default": "Router", "enum": ["Router", "Bridge"]}},
  "Values": {"#attr": {},
   "Int": {"type": "int", "access": "readWrite", "default": 1, "minInclusive": -5, "maxInclusive": 500},
   "Long": {"type": "unsignedLong", "access": "readWrite", "default": 0},
   "Flag": {"type": "boolean", "access": "readWrite", "default": false},
   "Part": {"type": "decimal", "access": "readWrite", "default": 0.5},
   "Hex": {"type": "Hex", "access": "readWrite", "default": "00FF"},
   "Time": {"type": "dateTime", "access": "readWrite", "default": "0001-01-01T00:00:00Z"},
   "List": {"type": "int[]", "access": "readWrite", "default": ""},
   "Names": {"type": "string[]", "access": "readWrite", "default": "a"},
   "Secret": {"type": "string", "access": "readWrite", "default": "", "read": "admin", "write": "admin"}},
  "HostNumberOfEntries": {"type": "unsignedInt", "counts": "Host"},
  "Host": {"#attr": {"multi": true, "access": "readWrite", "keys": [["Alias"], ["Name"]]},
   "Alias": {"type": "Alias", "access": "readWrite", "default": "cpe"},
   "Name": {"type": "Name", "access": "readWrite", "default": ""},
   "Peer": {"type": "pathRef", "access": "readWrite", "default": "", "foreign_key": "Device.Host",
    "relations": [{"verdict": 2, "match": "Device.Host.*"}]},
   "Port": {"#attr": {"multi": true, "ordered": true, "access": "readWrite"},
    "Number": {"type": "unsignedInt", "access": "readWrite", "default": 0, "maxInclusive": 65535}}}}},
 "values": {"Device": {"DeviceInfo": {"SoftwareVersion": "1.0"},
  "Host": {"1": {"Alias": "one", "Name": "x", "Port": {"2": {"Number": 80}, "1": {"Number": 22}}}}}}
})";
