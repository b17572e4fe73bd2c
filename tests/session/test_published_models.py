"""The official models at full size: everything that they say is there, counted from the running daemon."""

import json
import re
import time
from xml.parsers import expat

import pytest

import harness
import published
from published import is_object, nodes

# What obxd adds, since clients ask every device for it.
GRAFTED = {"DataModelVersion", "Device.DeviceInfo.DeviceMode", "Device.DeviceInfo.UpgradeStatus",
           "Device.DeviceInfo.UpgradeProgress", "Device.Users.CurrentUser", "Device.Users.SystemAccess",
           "Device.System.", "Device.System.DebugMode", "Device.System.Debug"}
PRIMITIVES = {"string", "boolean", "int", "unsignedInt", "long", "unsignedLong", "decimal", "dateTime", "base64",
              "hexBinary", "pathRef"}

COUNTS = {
    "cwmp": {"objects": (790, 1), "tables": (400, 177), "parameters": (6483, 17), "access": (2139, 234),
             "commands": (0, 0), "arguments": (0, 0), "events": (0, 0), "keys": (538, 264),
             "references": (290, 21, 245, 112), "enumeration references": 49, "enumerations": (588, 2833),
             "patterns": (222, 419), "ranges": 726, "sizes": 1314, "units": 854, "lists": 410, "named": 1206,
             "defaults": (992, 67)},
    "usp": {"objects": (669, 1), "tables": (339, 157), "parameters": (5320, 11), "access": (1928, 3),
            "commands": (108, 65), "arguments": (323, 443), "events": (17, 91), "keys": (483, 223),
            "references": (277, 6, 229, 100), "enumeration references": 47, "enumerations": (489, 2451),
            "patterns": (175, 325), "ranges": 578, "sizes": 1133, "units": 661, "lists": 334, "named": 927,
            "defaults": (934, 18)},
}


@pytest.fixture(scope="module", params=["cwmp", "usp"])
def which(request):
    return request.param


@pytest.fixture(scope="module")
def path(which, tmp_path_factory):
    return published.official(which, tmp_path_factory.mktemp("official"))


@pytest.fixture(scope="module")
def daemon(path):
    obxd = harness.Obxd("--model", path, "--deleted")
    yield obxd
    obxd.close()


@pytest.fixture(scope="module")
def dump(path):
    return published.dump("--model", path, "--deleted")


@pytest.fixture(scope="module")
def wire(daemon):
    """The attributes of all nodes, instances left out, by their names."""
    client = daemon.client()
    listed = published.attributes(client, ".", details=True)
    client.close()
    any_row = re.compile(r"\.\d+\.")  # tables with rows that must be there
    pseudo = (".max_instance", ".order", ".index")
    rows = any_row.search
    return {name: attrs for name, attrs in listed.items() if name != "." and name not in GRAFTED
            and "#input" not in name and not name.endswith(pseudo) and not rows(name)}


def parts(model):
    """The objects, parameters and methods of a dumped model, without what obxd adds."""
    grafted = {name.rstrip(".") for name in GRAFTED}
    found = [node for path, node in nodes(model["schema"]) if path not in grafted]
    objects = [node for node in found if is_object(node)]
    methods = [node for node in found if node.get("type") == "method"]
    return objects, [node for node in found if not is_object(node) and node["type"] != "method"], methods


def arguments(node):
    return sum(not is_object(argument) for _, argument in nodes(node))


def test_what_the_wire_shows(which, wire):
    expected = COUNTS[which]
    # A table's template is another node of the wire, and an object of the model once.
    tables = {name for name, attrs in wire.items() if attrs.get("multi")}
    objects = [attrs for name, attrs in wire.items()
               if attrs["type"] == "object" and not name.endswith("#template.")]
    parameters = [attrs for attrs in wire.values() if attrs["type"] not in ("object", "method")]
    methods = [attrs for attrs in wire.values() if attrs["type"] == "method"]
    assert len(objects) == expected["objects"][0]
    assert (len(tables), sum(wire[name]["access"] == "readWrite" for name in tables)) == expected["tables"]
    assert len(parameters) == expected["parameters"][0]
    assert sum(attrs["access"] == "readWrite" for attrs in parameters) == sum(expected["access"])
    assert (len(methods), sum(attrs.get("async", False) for attrs in methods)) == expected["commands"]
    assert sum("units" in attrs for attrs in parameters) == expected["units"]
    assert sum("ranges" in attrs for attrs in parameters) >= expected["ranges"]
    assert sum("enum" in attrs for attrs in parameters) >= expected["enumerations"][0]
    assert sum("description" in attrs for attrs in parameters) >= expected["parameters"][0] * 0.99
    assert sum(len(attrs["foreign_key"].split(",")) for attrs in parameters
               if "foreign_key" in attrs) == expected["references"][2]


def test_what_the_dumped_model_holds(which, dump):
    objects, parameters, methods = parts(dump)
    own = [node.get("#attr", {}) for node in objects]
    tables = [attrs for attrs in own if attrs.get("multi")]
    events = [event for node in objects for event in node.get("#events", {}).values()]
    keys = [key for attrs in own for key in attrs.get("keys", [])]

    def item(parameter):
        return parameter["type"].removesuffix("[]")

    def is_list(parameter):
        base = dump["types"].get(parameter["type"], {}).get("type", "")
        return parameter["type"].endswith("[]") or base.endswith("[]")

    references = [parameter for parameter in parameters if item(parameter) == "pathRef"]
    assert {
        "objects": (len(objects), sum(attrs.get("status") == "deleted" for attrs in own)),
        "tables": (len(tables), sum(attrs.get("access") == "readWrite" for attrs in tables)),
        "parameters": (len(parameters), sum(node.get("status") == "deleted" for node in parameters)),
        "access": tuple(sum(node.get("access") == access for node in parameters)
                        for access in ("readWrite", "writeOnceReadOnly")),
        "commands": (len(methods), sum(node.get("async", False) for node in methods)),
        "arguments": tuple(sum(arguments(node.get(part, {})) for node in methods) for part in ("#input", "#output")),
        "events": (len(events), sum(arguments(event) for event in events)),
        "keys": (len(keys), sum(isinstance(key, dict) and key["functional"] for key in keys)),
        "references": (sum(not node.get("weak") for node in references),
                       sum(node.get("weak", False) for node in references),
                       sum(len(node["foreign_key"].split(",")) for node in references if "foreign_key" in node),
                       sum(is_list(node) for node in references)),
        "enumeration references": sum("from" in node for node in parameters),
        "enumerations": (sum("enum" in node for node in parameters),
                         sum(len(node.get("enum", [])) for node in parameters)),
        "patterns": (sum("patterns" in node for node in parameters),
                     sum(len(node.get("patterns", [])) for node in parameters)),
        "ranges": sum("ranges" in node for node in parameters),
        "sizes": sum("sizes" in node for node in parameters),
        "units": sum("units" in node for node in parameters),
        "lists": sum(is_list(node) for node in parameters),
        "named": sum(item(node) not in PRIMITIVES for node in parameters),
        "defaults": tuple(sum(node.get("defaultType") == kind for node in parameters) for kind in ("object", "factory")),
    } == COUNTS[which]


def test_deleted_nodes_are_left_out(which, path):
    objects, parameters, _ = parts(published.dump("--model", path))
    (all_objects, deleted), (all_parameters, deleted_parameters) = (COUNTS[which][key]
                                                                    for key in ("objects", "parameters"))
    # What stands in a deleted object goes with it.
    assert len(objects) == all_objects - deleted
    assert len(parameters) <= all_parameters - deleted_parameters
    assert not any(node.get("status") == "deleted" for node in parameters)


def test_the_dumped_model_is_the_same_model(path, tmp_path):
    dumped = tmp_path / "dump.json"
    dumped.write_text(json.dumps(published.dump("--model", path)))
    first, second = harness.Obxd("--model", path), harness.Obxd("--model", str(dumped))
    try:
        clients = first.client(), second.client()
        for method, params in [("GetParameterAttributes", {"ParameterNames": ["."], "Level": -1, "Details": True}),
                               ("GetDataModel", {"ParameterNames": ["."], "Level": -1}),
                               ("GetParameterNames", {"ParameterPath": ".", "NextLevel": False}),
                               ("GetConfig", {"Path": "."})]:
            one, other = (client.call(method, params) for client in clients)
            if method == "GetParameterAttributes":
                one, other = ({entry["Name"]: entry["Attributes"] for entry in each["ParameterList"]}
                              for each in (one, other))
                differ = [(name, one[name], other.get(name)) for name in one if one[name] != other.get(name)]
                assert differ[:3] == []
            assert one.keys() == other.keys()
            skipped = ("UpTime", "CurrentLocalTime", "CPUUsage", "Free")
            if method != "GetConfig":
                assert one == other
            else:
                assert _without(one, skipped) == _without(other, skipped)
    finally:
        first.close()
        second.close()
    assert published.dump("--model", str(dumped)) == published.dump("--model", path)


def _without(tree, names):
    if not isinstance(tree, dict):
        return tree
    return {name: _without(value, names) for name, value in tree.items() if name not in names}


def seconds_to_read(path):
    """What it costs to read a document through and do nothing with it."""
    with open(path, "rb") as document:
        text = document.read()
    start = time.process_time()
    expat.ParserCreate().Parse(text, True)
    return time.process_time() - start


@pytest.mark.skipif(not harness.BARE, reason="the memory of a sanitizer or an emulator is not the program's")
def test_it_is_small_and_quick_to_start(path):
    daemon = harness.Obxd("--model", path)
    with open("/proc/%d/status" % daemon.process.pid) as status:
        peak = next(int(line.split()[1]) for line in status if line.startswith("VmHWM"))
    seconds = harness.cpu_seconds(daemon.process.pid)
    daemon.close()
    assert peak < 40 * 1024
    assert seconds < 25 * seconds_to_read(path)


def test_a_command_is_run_as_it_is_published(which, daemon):
    if which != "usp":
        pytest.skip("there are no commands for TR-069")
    client = daemon.client()
    before = client.call("GetParameterValues", {"ParameterNames": ["Device.WiFi.ResetCounter"]})
    assert before["ParameterList"][0]["Value"] == 0
    for spelling in ("Device.WiFi.Reset()", "Device.WiFi.Reset"):
        assert client.call("Execute", {"Path": spelling}) == {"ParameterList": []}
    assert client.get("Device.WiFi.ResetCounter") == 2
    client.close()
