"""What the daemon keeps in its state directory: damaged, edited by hand, or not to be written."""

import os
import resource

import pytest

import harness
from harness import fault

pytestmark = pytest.mark.obxd(*harness.SMALL, *harness.UPLOADS)

HOST = "Device.DeviceInfo.HostName"
VERSION = "Device.DeviceInfo.SoftwareVersion"
MODE = "Device.DeviceInfo.DeviceMode"


def path_of(obxd, name):
    return os.path.join(obxd.directory, "state", name)


def restart_with(obxd, name, data):
    """Starts the daemon anew on a state file of this content; returns what it complained of."""
    obxd.stop()
    path = path_of(obxd, name)
    with open(path, "wb") as file:
        file.write(data)
    before = len(obxd.errors())
    obxd.start()
    lines = obxd.errors()[before:].splitlines()
    assert all(line.startswith("obxd: %s: " % path) and line.endswith("; starting with the defaults")
               for line in lines), lines
    return [line.split(": ", 2)[2] for line in lines]


@pytest.mark.parametrize("data, complaint", [
    (b"", None),
    (b"\x00\xff\xfe", None),
    (b'{"SoftwareVersion": "9.9.9"', None),
    pytest.param(b"[" * 100000, None, id="deep"),
    (b"[]", "No state file"),
    (b'{"SoftwareVersion": 5}', "No state file"),
    (b'{"SoftwareVersion": "9 9"}', "No version: 9 9"),
    (b'{"SoftwareVersion": "9\\n\\u001b[2J"}', r"No version: 9\x0a\x1b[2J"),
    (b'{"SoftwareVersion": "%s"}' % (b"9" * 65), "No version: " + "9" * 65),
    (b'{"SoftwareVersion": "9.9.9", "DeviceMode": 5}', "No state file"),
    (b'{"SoftwareVersion": "9.9.9", "DeviceMode": "Toaster"}', "No such device mode: Toaster"),
])
def test_a_damaged_state_file(obxd, data, complaint):
    lines = restart_with(obxd, "state.json", data)
    assert len(lines) == 1
    if complaint:
        assert lines[0] == complaint + "; starting with the defaults"
    client = obxd.client()
    assert (client.get(VERSION), client.get(MODE)) == ("1.2.3", "Router")


def test_a_state_file_that_is_fine(obxd):
    assert restart_with(obxd, "state.json", b'{"SoftwareVersion": "9.9.9-rc1", "DeviceMode": "Bridge"}') == []
    client = obxd.client()
    assert (client.get(VERSION), client.get(MODE)) == ("9.9.9-rc1", "Bridge")


def config(text):
    return b'{"format": "obxd-config-1", "config": {"Device": %s}}' % text


@pytest.mark.parametrize("data", [
    b"\x00",
    pytest.param(b"[" * 100000, id="deep"),
    b'{"format": "obxd-config-2", "config": {}}',
    b'{"format": "obxd-config-1", "config": []}',
    config(b'{"DeviceInfo": {"HostName": 5}}'),
    config(b'{"DeviceInfo": []}'),
    config(b'{"DeviceInfo": {"HostName": {"a": 1}}}'),
    config(b'{"List": {"Entry": {"0": {}}}}'),
    config(b'{"List": {"Entry": {"4294967296": {}}}}'),
    config(b'{"List": {"Entry": {"1": "x"}}}'),
    config(b'{"List": {"Entry": {"max_instance": -1}}}'),
    config(b'{"List": {"Entry": {"max_instance": "x"}}}'),
    config(b'{"List": {"Entry": {"#template": {}}}}'),
    config(b'{"ScheduleTimer": {}}'),
])
def test_a_damaged_configuration(obxd, data):
    assert len(restart_with(obxd, "config.json", data)) == 1
    client = obxd.client()
    assert client.get(HOST) == "box"
    assert client.call("AddObject", {"ObjectName": "Device.List.Entry."}) == {"InstanceNumber": 1}


def test_a_configuration_at_its_limits(obxd):
    text = config(b'{"List": {"Entry": {"7": {"Text": "kept"}, "max_instance": 4294967295}}}')
    assert restart_with(obxd, "config.json", text) == []
    client = obxd.client()
    assert client.get("Device.List.Entry.7.Text") == "kept"
    assert fault(client.request("AddObject", {"ObjectName": "Device.List.Entry."})) == (
        9004, "Device.List.Entry. has no instance number left")


@pytest.mark.parametrize("name", ["config.json", "state.json"])
def test_a_directory_in_the_place_of_a_file(obxd, name):
    obxd.stop()
    os.mkdir(path_of(obxd, name))
    obxd.start()
    assert "starting with the defaults" in obxd.errors()
    assert obxd.client().get(HOST) == "box"


def test_what_cannot_be_written_leaves_the_old_file(obxd, tmp_path):
    client = obxd.client()
    client.set(HOST, "old")
    client.call("SaveConfig", {"RestorePointName": "point"})
    files = {name: open(path_of(obxd, name), "rb").read() for name in ("config.json", "state.json", "restore/point.json")}
    client.set(HOST, "new")
    resource.prlimit(obxd.process.pid, resource.RLIMIT_FSIZE, (8, 8))  # as a full disk would
    for params in ({}, {"RestorePointName": "point"}):
        assert fault(client.request("SaveConfig", params)) == (9004, "File too large")
    assert fault(client.request("Upload", {"FileType": "Config", "URL": "file://%s" % tmp_path}))[0] == 9012
    for name, content in files.items():
        assert open(path_of(obxd, name), "rb").read() == content
        assert os.listdir(os.path.dirname(path_of(obxd, name))).count(os.path.basename(name)) == 1
    assert sorted(os.listdir(os.path.join(obxd.directory, "state"))) == [
        "config.json", "files", "firmware", "restore", "state.json"]
    assert os.listdir(tmp_path) == []
    obxd.kill()
    obxd.start()
    assert obxd.client().get(HOST) == "old"
