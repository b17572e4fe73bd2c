"""Rows that are made up: a model that is alive at once, with values that could all have been set."""

import json
import os
import re
import subprocess

import pytest

import harness

DOCUMENTS = os.environ.get("OBX_DOCUMENTS") or os.path.join(os.path.dirname(harness.SOURCE), "shared", "data")
ROUTER = os.path.join(harness.SOURCE, "models", "router.json")


def writable(kind, default="", **more):
    return {"type": kind, "access": "readWrite", "default": default, **more}


SMALL = {
    "types": {"Address": {"type": "IPAddress", "maxLength": 15, "regex": "[0-9.]*"}},
    "schema": {"Device": {
        "#attr": {"read": "guest"},
        "Model": {"type": "string", "maxLength": 5},
        "State": {"type": "string", "enum": ["Up", "Down"]},
        "Given": {"type": "string", "default": "given"},
        "Offered": writable("string[]", "red,green,blue"),
        "LinkNumberOfEntries": {"type": "unsignedInt"},
        "Link": {
            "#attr": {"multi": True, "keys": [["Alias"], ["Name"]]},
            "Alias": {"type": "Alias", "default": ""},
            "Enable": writable("boolean", False),
            "Status": {"type": "string", "enum": ["Up", "Down", "Error"]},
            "Name": {"type": "string"},
            "Upper": writable("pathRef", foreign_key="Device.Link."),
            "LowerLayers": {"type": "pathRef[]"},
        },
        "RuleNumberOfEntries": {"type": "unsignedInt"},
        "Rule": {
            "#attr": {"multi": True, "access": "readWrite", "ordered": True,
                      "keys": [["Link", "Protocol"], ["Alias"]]},
            "Alias": writable("Alias", "cpe"),
            "Order": writable("unsignedInt", 1),
            "Link": writable("pathRef", foreign_key="Device.Link."),
            "Links": writable("pathRef[]", foreign_key="Device.Link.,Device.Rule.#template.Port."),
            "Any": writable("pathRef"),
            "Protocol": writable("string", "tcp", enum=["tcp", "udp", "icmp"]),
            "Colour": writable("string", "", **{"from": "Device.Offered"}),
            "Address": writable("Address"),
            "Version": writable("string", regex="[0-9]+([.][0-9]+){2}|(alpha|beta)[a-f]{3}"),
            "Code": writable("string", minLength=3, maxLength=3),
            "Mac": writable("MACAddress"), "Prefix": writable("IPPrefix"), "Id": writable("UUID"),
            "Since": writable("dateTime"), "Link2": writable("URL"),
            "Bytes": writable("hexBinary", minLength=6, maxLength=6), "Text": writable("base64", minLength=2),
            "Level": writable("int", -5, minInclusive=-5, maxInclusive=100),
            "Rate": writable("decimal", 0.5, minInclusive=0, maxInclusive=4),
            "Total": writable("unsignedLong", 0), "Long": writable("long", 0),
            "Numbers": writable("unsignedInt[]", "4,5", minCount=2, maxCount=3, maxInclusive=9),
            "Flags": writable("boolean[]", ""), "Extra": writable("json", {}),
            "PortNumberOfEntries": {"type": "unsignedInt"},
            "Port": {"#attr": {"multi": True, "access": "readWrite", "maxCount": 2, "keys": [["Number"]]},
                     "Number": writable("unsignedInt", 0, minInclusive=0, maxInclusive=65535),
                     "Peer": writable("pathRef", foreign_key="Device.Rule.")},
            "Stats": {"Count": {"type": "unsignedInt"}},
        },
        "Sample": {
            "#attr": {"multi": True, "access": "readWrite", "enable": "Enable",
                      "keys": [{"functional": True, "names": ["Kind"]}]},
            "Enable": writable("boolean", False), "Kind": writable("string", "a", enum=["a", "b"])},
        "Few": {"#attr": {"multi": True, "keys": [["On"]]}, "On": {"type": "boolean"}},
    }},
    "values": {"Device": {"Rule": {"4": {"Protocol": "udp", "Code": "own"}}}},
}


@pytest.fixture
def small(tmp_path):
    file = tmp_path / "small.json"
    file.write_text(json.dumps(SMALL))
    return str(file)


def config(client):
    return client.call("GetConfig", {"Path": "."})["Config"]


def tables(schema, tree, path=""):
    """Each table of the model: its path, its part of the schema, its rows."""
    for name, child in schema.items():
        if name.startswith("#") or not isinstance(child, dict) or isinstance(child.get("type"), str):
            continue
        below = tree.get(name, {})
        if not child.get("#attr", {}).get("multi"):
            yield from tables(child, below, path + name + ".")
            continue
        rows = {number: row for number, row in below.items() if number.isdigit()}
        yield path + name + ".", child, rows
        for number, row in rows.items():
            yield from tables(child, row, "%s%s.%s." % (path, name, number))


def objects(tree, path=""):
    """The paths of all objects and rows, without final dots."""
    for name, below in tree.items():
        if isinstance(below, dict):
            yield path + name
            yield from objects(below, path + name + ".")


def check(model, tree):
    """Counters, keys and references of a whole configuration. Gives the number of rows by table."""
    found = {}
    paths = set(objects(tree))
    for table, schema, rows in tables(model["schema"], tree):
        name = re.sub(r"\.\d+(?=\.)", ".*", table)
        found[name] = found.get(name, 0) + len(rows)
        above = tree
        for name in table.split(".")[:-2]:
            above = above[name]
        counter = above.get(table.split(".")[-2] + "NumberOfEntries")
        assert counter in (None, len(rows)), table
        assert len(rows) <= schema["#attr"].get("maxCount", len(rows)), table
        enable = schema["#attr"].get("enable")
        for key in schema["#attr"].get("keys", []):
            functional, names = isinstance(key, dict), key["names"] if isinstance(key, dict) else key
            # Not bound while all of them are at their defaults.
            values = [tuple(json.dumps(row[name]) for name in names) for row in rows.values()
                      if (not functional or not enable or row[enable] is True) and
                      any(row[name] != schema[name].get("default", row[name]) or "default" not in schema[name]
                          for name in names)]
            assert len(values) == len(set(values)), (table, key, values)
        for number, row in rows.items():
            for name, value in row.items():
                if schema.get(name, {}).get("type", "").startswith("pathRef") and value:
                    for item in value.split(","):
                        assert item in paths or "foreign_key" not in schema[name], (table + number, name, item)
    return found


def writable_values(schema, tree, path=""):
    """Every parameter below a part of the schema that can be set, with its value."""
    for name, child in schema.items():
        if name.startswith("#") or not isinstance(child, dict) or name not in tree:
            continue
        if isinstance(child.get("type"), str):
            if child.get("access") == "readWrite" and child["type"] != "method" and not child.get("hidden"):
                yield path + name, tree[name]
        elif child.get("#attr", {}).get("multi"):
            for number, row in tree[name].items():
                if number.isdigit():
                    yield from writable_values(child, row, "%s%s.%s." % (path, name, number))
        else:
            yield from writable_values(child, tree[name], path + name + ".")


def set_back(client, model, tree):
    """Sets every value to what it is. Those that nobody may set are told by the daemon, and only they."""
    values = [{"Name": name, "Value": value} for name, value in writable_values(model["schema"], tree)]
    assert len(values) > 10
    answer = client.request("SetParameterValues", {"ParameterList": values})
    assert "result" in answer, answer["error"].get("data")


def test_a_small_model(start_obxd, small):
    client = start_obxd("--rows", "3", model=small).client()
    tree = config(client)
    assert check(SMALL, tree) == {"Device.Link.": 3, "Device.Rule.": 3, "Device.Rule.*.Port.": 6,
                                  "Device.Sample.": 3, "Device.Few.": 2}
    rules = tree["Device"]["Rule"]
    assert sorted(number for number in rules if number.isdigit()) == ["4", "5", "6"]
    assert rules["4"]["Code"] == "own" and rules["4"]["Protocol"] == "udp"
    assert rules["4"]["Address"] == ""  # it was there before
    made = [rules["5"], rules["6"]]
    assert [rule["order"] for rule in made] == [2, 3]
    for name in ("Address", "Version", "Code", "Mac", "Prefix", "Id", "Since", "Link2", "Bytes", "Text", "Level", "Rate",
                 "Total", "Long", "Numbers", "Link", "Links", "Any", "Colour", "Alias", "Protocol", "Extra"):
        values = [json.dumps(rule[name]) for rule in made]
        assert "\"\"" not in values, name
        assert len(set(values)) == 2, (name, values)
    samples = [row for number, row in tree["Device"]["Sample"].items() if number.isdigit()]
    assert [(row["Enable"], row["Kind"]) for row in samples[:2]] == [(True, "a"), (True, "b")]
    assert samples[2]["Enable"] is False
    assert [link["Enable"] for link in tree["Device"]["Link"].values() if isinstance(link, dict)] == [True] * 3
    assert [link["Status"] for link in tree["Device"]["Link"].values() if isinstance(link, dict)] == ["Up"] * 3
    set_back(client, SMALL, tree)
    client.close()


def test_what_stands_in_no_row(start_obxd, small):
    client = start_obxd("--rows", "1", model=small).client()
    assert client.get("Device.Given") == "given"
    assert client.get("Device.State") in ("Up", "Down")
    assert client.get("Device.Model") != "" and len(client.get("Device.Model")) <= 5
    client.close()


def test_one_table(start_obxd, small):
    client = start_obxd("--rows", "Device.Link.=5", "--rows", "Device.Rule.{i}.Port=1", model=small).client()
    tree = config(client)
    assert check(SMALL, tree) == {"Device.Link.": 5, "Device.Rule.": 1, "Device.Rule.*.Port.": 1,
                                  "Device.Sample.": 0, "Device.Few.": 0}
    assert tree["Device"]["State"] == ""
    client.close()
    client = start_obxd("--rows", "2", "--rows", "Device.Link=0", model=small).client()
    assert check(SMALL, config(client)) == {"Device.Link.": 0, "Device.Rule.": 2, "Device.Rule.*.Port.": 4,
                                            "Device.Sample.": 2, "Device.Few.": 2}
    client.close()


def test_a_reset_brings_them_back(start_obxd, small):
    daemon = start_obxd("--rows", "3", model=small)
    client = daemon.client()
    before = config(client)
    client.set("Device.Rule.5.Code", "new")
    client.call("DeleteObject", {"ObjectName": "Device.Rule.6."})
    client.call("FactoryReset", {})
    assert config(client) == before
    client.close()
    daemon.restart()
    client = daemon.client()
    assert config(client) == before
    client.close()


def test_with_a_file_of_values(start_obxd, small, tmp_path):
    values = tmp_path / "values.json"
    values.write_text(json.dumps({"Device.Rule.9": {"Mac": "02:00:5e:00:00:01"}, "Device.Model": "mine"}))
    client = start_obxd("--rows", "3", "--values", str(values), model=small).client()
    tree = config(client)
    assert sorted(number for number in tree["Device"]["Rule"] if number.isdigit()) == ["10", "4", "9"]
    assert tree["Device"]["Rule"]["9"]["Mac"] == "02:00:5e:00:00:01"
    assert tree["Device"]["Model"] == "mine"
    check(SMALL, tree)
    client.close()


def test_the_router(start_obxd):
    with open(ROUTER, encoding="utf-8") as file:
        model = json.load(file)
    client = start_obxd("--rows", "5").client()
    tree = config(client)
    found = check(model, tree)
    assert found["Device.Hosts.Host."] >= 5
    set_back(client, model, tree)
    client.close()


def official(name):
    """A published document, where it lies beside the source tree and this daemon reads such."""
    path = os.path.join(DOCUMENTS, name)
    if not os.path.exists(path):
        pytest.skip("no " + path)
    usage = subprocess.run([harness.OBXD, "--help"], capture_output=True, text=True, check=True).stdout
    if "--dump-model" not in usage:
        pytest.skip("reads no XML")
    return path


@pytest.mark.parametrize("name, rows", [("tr-181-2-17-0-cwmp-full.xml", 3), ("tr-181-2-16-0-usp-full.xml", 2)])
def test_official_models(start_obxd, name, rows):
    path = official(name)
    dumped = subprocess.run([harness.OBXD, "--model", path, "--dump-model"], capture_output=True, check=True).stdout
    model = json.loads(dumped)
    daemon = start_obxd("--rows", str(rows), model=path)
    with open("/proc/%d/status" % daemon.process.pid, encoding="ascii") as status:
        peak = int(re.search(r"VmHWM:\s*(\d+) kB", status.read()).group(1))
    client = daemon.client()
    tree = config(client)
    found = check(model, tree)
    assert found["Device.Hosts.Host."] == rows
    assert found["Device.Hosts.Host.*.IPv4Address."] == rows * rows
    assert found["Device.WiFi.AccessPoint.*.AC."] == rows * 4  # as many as the model says, no more, no less
    assert not harness.BARE or peak < 40 * 1024
    client.close()


@pytest.mark.parametrize("rows, status, error", [
    ("x", 2, '--rows: "x" is no number of rows up to 1000000 and no PATH=NUMBER'),
    ("-1", 2, '--rows: "-1" is no number of rows up to 1000000 and no PATH=NUMBER'),
    ("1000001", 2, '--rows: "1000001" is no number of rows up to 1000000 and no PATH=NUMBER'),
    ("=5", 2, '--rows: "=5" is no number of rows up to 1000000 and no PATH=NUMBER'),
    ("Device.Link=", 2, '--rows: "Device.Link=" is no number of rows up to 1000000 and no PATH=NUMBER'),
    ("Device.No=5", 2, "--rows: Device.No: is no table of the model"),
    ("Device.=5", 2, "--rows: Device.: is no table of the model"),
    ("Device.Rule.4.Port=5", 2, "--rows: Device.Rule.4.Port: is no table of the model"),
    ("Device.Rule.*=5", 2, "--rows: Device.Rule.*: is no table of the model"),
], ids=str)
def test_what_is_no_number_of_rows(small, tmp_path, rows, status, error):
    done = subprocess.run([harness.OBXD, "--socket", str(tmp_path / "s"), "--model", small, "--rows", rows],
                          capture_output=True, text=True, timeout=4 * harness.PATIENCE)
    assert (done.returncode, done.stdout) == (status, "")
    assert done.stderr.startswith("obxd: " + error)
    assert done.stderr.count("\n") == 1
