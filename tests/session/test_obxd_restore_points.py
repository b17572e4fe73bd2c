"""Restore points: listed, put in force and copied through the table of configuration files."""

import json
import os

import pytest

import harness
from harness import fault

pytestmark = pytest.mark.obxd("--reboot-ms", "100", *harness.UPLOADS)

TABLE = "Device.DeviceInfo.VendorConfigFile."
NAME = "Device.DeviceInfo.HostName"


def save(client, name):
    client.call("SaveConfig", {"RestorePointName": name})


def rows(client):
    """Name by instance number."""
    listed = client.call("GetParameterValues", {"ParameterNames": [TABLE + "#template.Name"]})["ParameterList"]
    return {int(row["Name"].split(".")[3]): row["Value"] for row in listed}


def restore(client, row, **inputs):
    return client.request("Execute", {"Path": "%s%d.Restore" % (TABLE, row), "ParameterList": [
        {"Name": name, "Value": value} for name, value in inputs.items()]})


def test_a_restore_point_is_listed_and_restored(client):
    client.call("JoinGroup", {"Group": 4})
    client.set(NAME, "before")
    save(client, "first")
    assert client.event()["params"] == {"Action": "Add", "Path": TABLE, "InstanceNumber": 2}
    client.set(NAME, "after")
    save(client, "second")
    assert rows(client) == {1: "running", 2: "first", 3: "second"}
    assert client.get(TABLE + "2.Version") == client.get("Device.DeviceInfo.SoftwareVersion")
    assert client.get(TABLE + "2.Date") <= client.get(TABLE + "3.Date")
    assert client.get(TABLE + "2.UseForBackupRestore") is True
    assert "result" in restore(client, 2)
    assert client.get(NAME) == "before"
    assert "result" in restore(client, 3)
    assert client.get(NAME) == "after"
    assert rows(client) == {1: "running", 2: "first", 3: "second"}


def test_saving_it_again_makes_no_other(client):
    client.set(NAME, "one")
    save(client, "point")
    date = client.get(TABLE + "2.Date")
    client.set(NAME, "two")
    save(client, "point")
    assert rows(client) == {1: "running", 2: "point"}
    assert client.get(TABLE + "2.Date") > date
    client.set(NAME, "three")
    assert "result" in restore(client, 2)
    assert client.get(NAME) == "two"


def test_they_outlast_a_reboot_and_a_factory_reset(obxd, client):
    save(client, "b")
    save(client, "a")
    client.call("Reboot")
    while client.receive():
        pass
    again = obxd.back_again()
    assert rows(again) == {1: "running", 2: "b", 3: "a"}
    again.call("FactoryReset")
    assert rows(again) == {1: "running", 2: "b", 3: "a"}
    again.call("FactoryReset", {"CleanAll": True})
    assert rows(again) == {1: "running"}


def test_what_cannot_be_restored_is_told(obxd, client):
    assert fault(restore(client, 1)) == (9003, "\"URL\" is missing")
    save(client, "point")
    assert fault(restore(client, 2, FileSize=1))[0] == 9018
    with open(os.path.join(obxd.directory, "state", "restore", "point.json"), "w") as file:
        file.write("{}")
    assert fault(restore(client, 2)) == (9018, "No configuration file")
    assert fault(client.request("SaveConfig", {"RestorePointName": "running"})) == (
        9003, "There is another configuration file named running")
    assert "error" in obxd.client(None).request("Execute", {"Path": TABLE + "2.Restore"})


def test_its_backup_is_the_restore_point_itself(client, tmp_path):
    client.set(NAME, "then")
    save(client, "point")
    client.set(NAME, "now")
    url = "file://%s" % (tmp_path / "copy.json")
    assert "result" in client.request("Execute", {"Path": TABLE + "2.Backup",
                                                  "ParameterList": [{"Name": "URL", "Value": url}]})
    assert json.loads((tmp_path / "copy.json").read_text())["config"]["Device"]["DeviceInfo"]["HostName"] == "then"


def test_a_user_restores_one_at_the_prompt(obxd, client):
    client.set(NAME, "before")
    typed = "save evening\nset :%s=after\ncat :%s*.Name\nexecute :%s2.Restore\ncat :%s\n" % (NAME, TABLE, TABLE, NAME)
    shown = harness.obxc(daemon=obxd, stdin=typed).out
    assert "'evening'" in shown and "'before'" in shown.rsplit("Status: OK", 1)[1], shown
