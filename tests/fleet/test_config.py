"""Configurations as files, and changes that are taken back unless they are confirmed."""

import contextlib
import os

import pytest

import harness
from module_utils.config_file import read
from peers import OneWayIn

PATH = "Device.NAT."


@pytest.fixture
def one(fleet):
    return {"r0": fleet.routers["r0"]}


def config(play, fleet, one, state, file, *args, more=""):
    return play("""
        - ombrix.obx.obx_config:
            state: %s
            file: %s
            path: %s
            %s
    """ % (state, file, PATH, more), *args, inventory=fleet.inventory(one))


def test_a_backup_is_a_file_of_obx_and_brings_everything_back(play, fleet, one, directory):
    file = os.path.join(directory, "nat.conf")
    first, again = [config(play, fleet, one, "backup", file) for _ in range(2)]
    assert first.counted("changed") == {"r0"} and again.counted("changed") == set(), (first, again)
    assert os.stat(file).st_mode & 0o777 == 0o600
    backup = read(file)
    assert backup.scope == PATH and ("Device.NAT.PortMapping.1.ExternalPort", "2222") in backup.entries
    assert ("Device.NAT.PortMapping.4.", None) in backup.entries
    assert config(play, fleet, one, "compared", file).only("r0")["differences"] == []
    with fleet.routers["r0"].client() as client:
        client.set("Device.NAT.PortMapping.1.ExternalPort", 2200)
        client.set("Device.NAT.PortMapping.1.Description", "back\\slash\nand line")
        client.call("DeleteObject", {"ObjectName": "Device.NAT.PortMapping.4."})
        client.call("AddObject", {"ObjectName": "Device.NAT.PortMapping."})
        client.set("Device.NAT.PortMapping.5.ExternalPort", 8080)  # the key that the deleted row had
    drift = config(play, fleet, one, "compared", file).only("r0")
    assert drift["changed"] is False
    assert {(each["change"], each["path"]) for each in drift["differences"]} >= {
        ("changed", "Device.NAT.PortMapping.1.ExternalPort"), ("added", "Device.NAT.PortMapping.4."),
        ("removed", "Device.NAT.PortMapping.5.")}
    with fleet.routers["r0"].client() as client:
        client.call("DeleteObject", {"ObjectName": "Device.NAT.PortMapping.5."})
    checked = config(play, fleet, one, "restored", file, "--check", "--diff")
    assert checked.counted("changed") == {"r0"}, checked
    assert fleet.values("Device.NAT.PortMapping.1.ExternalPort")["r0"] == 2200
    restored = config(play, fleet, one, "restored", file)
    assert restored.counted("changed") == {"r0"} and restored.status == 0, restored
    assert fleet.values("Device.NAT.PortMapping.1.Description")["r0"] == "SSH to the NAS"
    with fleet.routers["r0"].client() as client:
        rows = client.call("Select", {"Selector": 'Device.NAT.PortMapping.*[Alias=="web"].{ExternalPort}'})["Matches"]
    assert list(rows.values()) == [{"ExternalPort": 8080}]
    last = config(play, fleet, one, "restored", file)
    assert last.status == 0 and last.counted("changed") == set(), last


def test_a_file_of_obx_export_is_read_and_one_that_is_none_is_told(play, fleet, one, directory):
    file = os.path.join(directory, "by-hand.conf")
    with open(file, "w", encoding="utf-8") as out:
        out.write("# by hand\nDevice.NAT.PortMapping.2.Description=two\\nlines \\\\ and = more\n"
                  "Device.NAT.PortMapping.2.ExternalPort=99999\n")
    refused = config(play, fleet, one, "restored", file)
    assert refused.only("r0")["errors"] == [
        {"path": "Device.NAT.PortMapping.2.ExternalPort", "code": 9007, "reason": "must be 0 to 65535"}]
    with open(file, "a", encoding="utf-8") as out:
        out.write("Device.NAT.PortMapping.2.Description\n")
    assert config(play, fleet, one, "restored", file).message("r0") == (
        file + ':4: PATH=VALUE, or a row\'s path with its final ".", expected')


def test_what_fails_halfway_is_taken_back_whole(play, fleet, one, directory):
    file = os.path.join(directory, "half.conf")
    with open(file, "w", encoding="utf-8") as out:
        out.write("Device.NAT.PortMapping.7.\nDevice.NAT.PortMapping.7.ExternalPort=70000\n"
                  "Device.NAT.PortMapping.1.ExternalPort=2201\n")
    failed = config(play, fleet, one, "restored", file)
    assert failed.status != 0 and "must be 0 to 65535" in failed.message("r0"), failed
    assert fleet.values("Device.NAT.PortMappingNumberOfEntries")["r0"] == 3
    assert fleet.values("Device.NAT.PortMapping.1.ExternalPort")["r0"] == 2222


CONFIRMED = """
- ombrix.obx.obx_parameters:
    values: {Device.NAT.PortMapping.1.ExternalPort: %d}
    confirm_within: %d
    save: true
"""


def test_a_confirmed_change_stays_and_is_saved(play, fleet):
    router = fleet.start()
    try:
        played = play(CONFIRMED % (2201, 60), inventory=fleet.inventory({"r": router}))
        assert played.status == 0 and played.counted("changed") == {"r"}, played
        router.restart()
        with router.client() as client:
            assert client.get("Device.NAT.PortMapping.1.ExternalPort") == 2201
    finally:
        router.close()


def test_two_confirmed_changes_at_a_time_are_refused(play, fleet, one):
    with fleet.routers["r0"].client() as client:
        client.call("BeginChange", {"Timeout": 60})
        played = play(CONFIRMED % (2202, 60), inventory=fleet.inventory(one))
        assert "refused [9004]: BeginChange" in played.message("r0")
        client.call("CancelChange", {})
    assert fleet.values("Device.NAT.PortMapping.1.ExternalPort")["r0"] == 2222


def test_a_change_that_locks_everybody_out_is_taken_back(controller, running_fleet):
    with contextlib.closing(running_fleet.start()) as router, OneWayIn(router.port()) as way:
        played = controller.play(CONFIRMED % (2203, 5), {"all": {"hosts": {"r": running_fleet.variables(way.address)}}})
        assert "Connection refused; it was not confirmed, so the router takes it back" in played.message("r"), played
        with router.client() as client:
            harness.wait_until(lambda: client.get("Device.NAT.PortMapping.1.ExternalPort") == 2222, "the old value")
