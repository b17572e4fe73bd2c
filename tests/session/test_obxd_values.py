"""A file of values beside the model: what state the device is in at the start."""

import json
import os
import subprocess

import pytest

import harness

MODEL = {
    "schema": {"Device": {
        "Name": {"type": "string", "access": "readWrite", "default": "plain", "maxLength": 8},
        "Serial": {"type": "string"},
        "HostNumberOfEntries": {"type": "unsignedInt"},
        "Host": {
            "#attr": {"multi": True, "access": "readWrite", "ordered": True, "maxCount": 4},
            "Alias": {"type": "Alias", "access": "readWrite", "default": "x"},
            "Active": {"type": "boolean"},
            "Port": {"#attr": {"multi": True}, "Number": {"type": "unsignedInt", "maxInclusive": 9}},
        },
    }},
    "values": {"Device": {"Serial": "old", "Host": {"1": {"Alias": "first"}, "7": {}}}},
}


def written(path, content):
    path.write_text(content if isinstance(content, str) else json.dumps(content))
    return str(path)


@pytest.fixture
def start(start_obxd, tmp_path):
    model = written(tmp_path / "model.json", MODEL)
    return lambda values: start_obxd("--values", written(tmp_path / "values.json", values), model=model)


def test_values_go_before_the_models(start):
    daemon = start({"Device": {"Serial": "S1", "Host": {"2": {"Active": True, "Port": {"3": {"Number": 9}}},
                                                        "7": {"Alias": "last", "order": 1}}}})
    client = daemon.client()
    assert client.get("Device.Serial") == "S1"
    assert client.get("Device.Name") == "plain"
    assert client.get("Device.HostNumberOfEntries") == 3
    assert [client.get("Device.Host.%d.Alias" % n) for n in (1, 2, 7)] == ["first", "x", "last"]
    assert [client.get("Device.Host.%d.order" % n) for n in (7, 1, 2)] == [1, 2, 3]
    assert client.get("Device.Host.2.Active") is True
    assert client.get("Device.Host.2.Port.3.Number") == 9
    assert client.call("AddObject", {"ObjectName": "Device.Host."})["InstanceNumber"] == 8
    client.close()


def test_whole_paths_stand_for_trees(start):
    client = start({"Device.Serial": "S2", "Device.Host.1": {"Active": True}, "Device.Host.1.Alias": "one",
                    "Device": {"Name": "n"}}).client()
    assert client.get("Device.Serial") == "S2"
    assert (client.get("Device.Host.1.Active"), client.get("Device.Host.1.Alias")) == (True, "one")
    assert client.get("Device.Name") == "n"
    client.close()


def test_a_reset_goes_back_to_them(start):
    daemon = start({"Device.Name": "mine", "Device.Host.3.Active": True})
    client = daemon.client()
    client.set("Device.Name", "other")
    client.call("DeleteObject", {"ObjectName": "Device.Host.3."})
    client.call("FactoryReset", {})
    assert client.get("Device.Name") == "mine"
    assert client.get("Device.Host.3.Active") is True
    client.close()


def test_a_saved_configuration_is_such_a_file(start, start_obxd, tmp_path):
    daemon = start({"Device.Name": "kept", "Device.Host.9.Alias": "nine"})
    client = daemon.client()
    client.call("SaveConfig", {})
    client.close()
    saved = os.path.join(daemon.directory, "state", "config.json")
    client = start_obxd("--values", saved, model=str(tmp_path / "model.json")).client()
    assert client.get("Device.Name") == "kept"
    assert client.get("Device.Host.9.Alias") == "nine"
    client.close()


@pytest.mark.parametrize("values, error", [
    ({"Device": {"Name": 5}}, ": Device.Name: must be a string"),
    ({"Device": {"Name": "much too long"}}, ": Device.Name: must be at most 8 characters long"),
    ({"Device.Host.2.Port.1.Number": 10}, ": Device.Host.2.Port.1.Number: must be 0 to 9"),
    ({"Device": {"Nothing": 5}}, ": Device.Nothing: the model has no such name"),
    ({"Device.Host.x.Alias": "a"}, ": Device.Host.x: is no instance number"),
    ({"Device.Host": {"2": {}, "3": {}, "4": {}}}, ": Device.Host.: holds too many instances"),
    ({"Device": 5}, ": Device.: must be a JSON object"),
    ({"Device": 5, "Device.Name": "x"}, ": Device.Name: is no path of a value"),
    ({"Device..Name": "x"}, ": Device..Name: is no path of a value"),
    ([], ": is no JSON object"),
    ('{"Device": {"Name": "a", "Name": "b"}}', ":1:31: duplicate object key"),
    ("{", ":1:1: string or '}' expected"),
], ids=str)
def test_what_does_not_fit_is_told_with_its_place(tmp_path, values, error):
    model, file = written(tmp_path / "model.json", MODEL), written(tmp_path / "values.json", values)
    done = subprocess.run([harness.OBXD, "--socket", str(tmp_path / "s"), "--model", model, "--values", file],
                          capture_output=True, text=True, timeout=4 * harness.PATIENCE)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr.startswith("obxd: " + file + error)
    assert done.stderr.count("\n") == 1


def test_a_file_that_is_not_there(tmp_path):
    model = written(tmp_path / "model.json", MODEL)
    done = subprocess.run([harness.OBXD, "--socket", str(tmp_path / "s"), "--model", model, "--values", "/none/v.json"],
                          capture_output=True, text=True, timeout=4 * harness.PATIENCE)
    assert done.returncode == 1
    assert "/none/v.json" in done.stderr
