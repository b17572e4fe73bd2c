"""obx export, diff, apply and confirm: a configuration as a file."""

import os
import pty
import subprocess

import pytest

import harness
from harness import obx
from test_obx import MAPPING, check, rows_of, value_of

EXPORT = ["%s1." % MAPPING, "%s1.Enable=true" % MAPPING]


@pytest.fixture
def keep(obxd, directory):
    """A function that exports a path to a file; returns the file's name."""
    def export(path="Device.NAT.", name="kept.conf"):
        done = obx("export", path, daemon=obxd)
        assert done.status == 0 and done.err == ""
        name = os.path.join(directory, name)
        with open(name, "wb") as file:
            file.write(done.raw)
        return name
    return export


@pytest.fixture
def written(directory):
    """A function that writes a file of these lines."""
    def write(*lines):
        path = os.path.join(directory, "written.conf")
        with open(path, "w", encoding="utf-8") as file:
            file.write("".join(line + "\n" for line in lines))
        return path
    return write


def test_export_is_a_file_for_git(obxd, keep):
    with open(keep()) as file:
        lines = file.read().splitlines()
    assert lines[0] == "# obx export Device.NAT."
    assert EXPORT == [line for line in lines if line in EXPORT]
    assert not any("NumberOfEntries" in line or ".Status=" in line for line in lines)
    with open(keep(name="again.conf")) as file:
        assert file.read().splitlines() == lines


def test_nothing_differs_from_an_export(obxd, keep):
    name = keep()
    check(obx("diff", name, daemon=obxd))
    check(obx("apply", name, daemon=obxd))
    with open(name) as file:
        check(obx("diff", "-", daemon=obxd, stdin=file.read()))


def change_all(obxd):
    """A value, a row that goes, and a row that comes."""
    check(obx("set", MAPPING + "1.ExternalPort=4321", daemon=obxd))
    check(obx("del", MAPPING + "4.", daemon=obxd))
    check(obx("add", MAPPING, "Description=new", "ExternalPort=99", daemon=obxd), MAPPING + "5.\n")


def test_diff_tells_what_apply_would_change(obxd, keep):
    name = keep()
    change_all(obxd)
    done = obx("diff", name, daemon=obxd)
    lines = done.out.splitlines()
    assert done.status == 1 and done.err == ""
    assert lines[:3] == ["-%s1.ExternalPort=4321" % MAPPING, "+%s1.ExternalPort=2222" % MAPPING, "+%s4." % MAPPING]
    assert lines[-1] == "-%s5." % MAPPING
    assert obx("diff", name, "Device.NAT.InterfaceSetting.", daemon=obxd).status == 0
    check(obx("diff", name, "Device.WiFi.", daemon=obxd))  # the file says nothing of it
    assert obx("diff", name, "Device.NAT.PortMapping.4.", daemon=obxd).out.startswith("+%s4.\n" % MAPPING)
    assert obx("diff", name, "Device.", daemon=obxd).out == done.out
    records = obx("diff", "--csv", name, daemon=obxd).out.splitlines()
    assert records[:2] == ["change,path,from,to", "changed,%s1.ExternalPort,4321,2222" % MAPPING]


def test_apply_brings_an_export_back(obxd, keep):
    name = keep()
    change_all(obxd)
    before = rows_of(obxd, MAPPING)
    done = obx("apply", "--dry-run", name, daemon=obxd)
    assert done.status == 0 and rows_of(obxd, MAPPING) == before
    check(obx("apply", name, daemon=obxd))
    assert value_of(obxd, MAPPING + "1.ExternalPort") == 2222
    assert MAPPING + "5." not in rows_of(obxd, MAPPING) and MAPPING + "6." in rows_of(obxd, MAPPING)
    # The row has another number now, and is known by its values.
    check(obx("diff", name, daemon=obxd))
    check(obx("apply", name, daemon=obxd))


def test_apply_of_a_few_lines_deletes_nothing(obxd, written):
    before = rows_of(obxd, MAPPING)
    name = written("# ports of ours", "", "Device.DeviceInfo.HostName=a\\tb = c", MAPPING + "9.Description=web=1",
                   MAPPING + "9.ExternalPort=8088")
    check(obx("apply", name, daemon=obxd))
    assert value_of(obxd, "Device.DeviceInfo.HostName") == "a\tb = c"
    [row] = [each for each in rows_of(obxd, MAPPING) if each not in before]
    assert value_of(obxd, row + "Description") == "web=1"
    check(obx("apply", name, daemon=obxd))
    assert len(rows_of(obxd, MAPPING)) == len(before) + 1


def test_references_follow_rows_that_get_another_number(obxd, written):
    name = written("Device.WiFi.SSID.70.Alias=guests", "Device.WiFi.SSID.70.SSID=guests",
                   "Device.WiFi.AccessPoint.70.SSIDReference=Device.WiFi.SSID.70.")
    check(obx("apply", name, daemon=obxd))
    [ssid] = obx("find", "-E", r"^guests$", "Device.WiFi.SSID.*.SSID", daemon=obxd).out.splitlines()
    row = ssid.split(".SSID=")[0]
    assert row != "Device.WiFi.SSID.70"
    found = obx("get", "Device.WiFi.AccessPoint.*.SSIDReference", daemon=obxd).out
    assert "SSIDReference=%s" % row in found


def test_apply_is_all_or_nothing(obxd, written):
    before = rows_of(obxd, MAPPING)
    name = written(MAPPING + "9.Description=x", MAPPING + "1.ExternalPort=1", MAPPING + "1.InternalPort=999999")
    done = obx("apply", name, daemon=obxd)
    check(done, "", 1, "obx: %s1.InternalPort: must be 0 to 65535\n" % MAPPING)
    assert rows_of(obxd, MAPPING) == before
    assert value_of(obxd, MAPPING + "1.ExternalPort") == 2222
    done = obx("apply", "--dry-run", name, daemon=obxd)
    assert done.status == 1 and "\n-%s1.ExternalPort=2222\n" % MAPPING in done.out


def test_confirm(obxd, written):
    name = written("Device.DeviceInfo.HostName=tried")
    done = obx("apply", "--confirm", "600", name, daemon=obxd)
    assert done.status == 0 and done.out.count("\n") == 1
    assert value_of(obxd, "Device.DeviceInfo.HostName") == "tried"
    refused = obx("save", daemon=obxd)
    assert refused.status == 1 and refused.err.count("\n") == 1
    assert obx("apply", written("Device.DeviceInfo.HostName=other"), daemon=obxd).status == 1  # one at a time
    check(obx("confirm", done.out.strip(), daemon=obxd))
    assert value_of(obxd, "Device.DeviceInfo.HostName") == "tried"
    check(obx("save", daemon=obxd))


def test_confirm_without_a_name_and_cancel(obxd, written):
    assert obx("apply", "--confirm", "600", written("Device.DeviceInfo.HostName=tried"), daemon=obxd).status == 0
    check(obx("confirm", "--cancel", daemon=obxd))
    assert value_of(obxd, "Device.DeviceInfo.HostName") == "router"
    assert obx("apply", "--confirm", "600", written("Device.DeviceInfo.HostName=tried"), daemon=obxd).status == 0
    check(obx("confirm", daemon=obxd))
    assert value_of(obxd, "Device.DeviceInfo.HostName") == "tried"


def test_unless_confirmed_in_time_it_is_taken_back(obxd, written):
    assert obx("apply", "--confirm", "2", written("Device.DeviceInfo.HostName=tried"), daemon=obxd).status == 0
    harness.wait_until(lambda: value_of(obxd, "Device.DeviceInfo.HostName") == "router", "the end of the change")
    done = obx("confirm", daemon=obxd)
    assert done.status == 1 and done.err.count("\n") == 1


def test_a_daemon_without_changes_is_brought_back_by_hand(scripted_lacking, written):
    obxd = scripted_lacking
    before = rows_of(obxd.real, MAPPING)
    done = obx("apply", written(MAPPING + "9.Description=x", MAPPING + "1.InternalPort=999999"), daemon=obxd)
    check(done, "", 1, "obx: %s1.InternalPort: must be 0 to 65535\n" % MAPPING)
    assert rows_of(obxd.real, MAPPING) == before
    done = obx("apply", "--confirm", "9", written("Device.DeviceInfo.HostName=x"), daemon=obxd)
    check(done, "", 1, "obx: the daemon knows no changes that have to be confirmed\n")
    done = obx("set", "--dry-run", "Device.DeviceInfo.HostName=x", daemon=obxd)
    check(done, "", 1, "obx: the daemon knows no dry runs\n")
    assert value_of(obxd.real, "Device.DeviceInfo.HostName") == "router"


@pytest.fixture
def scripted_lacking(obxd, scripted):
    """A daemon that answers as obxd does, but knows no extensions."""
    clients = {}

    def answer(request, connection):
        client = clients.setdefault(connection, None) or obxd.client()
        clients[connection] = client
        if request["method"] in ("BeginChange", "ConfirmChange", "CancelChange"):
            return scripted_daemon.error(-32601, "Method not found")
        params = {key: value for key, value in request.get("params", {}).items() if key not in ("DryRun", "Change")}
        reply = client.request(request["method"], params)
        return {key: reply[key] for key in ("jsonrpc", "result", "error") if key in reply}

    scripted_daemon = scripted(answer)
    scripted_daemon.real = obxd
    return scripted_daemon


def test_wrong_files(obxd, written, directory):
    name = written("Device.DeviceInfo.HostName")
    check(obx("apply", name, daemon=obxd), "", 1,
          'obx: %s:1: PATH=VALUE, or a row\'s path with its final ".", expected\n' % name)
    done = obx("diff", directory + "/none", daemon=obxd)
    assert done.status == 1 and "none: No such file" in done.err
    assert obx("diff", daemon=obxd).status == 2
    assert obx("apply", "--confirm", "0", name, daemon=obxd).status == 2
    done = obx("apply", written("Device.None=1"), daemon=obxd)
    assert done.status == 1 and done.err.startswith("obx: Device.None: ")


def test_what_was_saved(obxd, directory):
    env = harness.obx_environment(HOME=directory)
    done = obx("diff", "--saved", daemon=obxd, env=env)
    check(done, "", 1, "obx: what was saved is not known: obx save keeps it\n")
    check(obx("save", daemon=obxd, env=env))
    check(obx("diff", "--saved", daemon=obxd, env=env))
    check(obx("set", "Device.DeviceInfo.HostName=x", daemon=obxd, env=env))
    check(obx("diff", "--saved", daemon=obxd, env=env),
          "-Device.DeviceInfo.HostName=x\n+Device.DeviceInfo.HostName=router\n", 1)
    check(obx("diff", "--saved", "Device.NAT.", daemon=obxd, env=env))


def test_what_was_saved_is_of_one_device(obxd, start_obxd, directory):
    env = harness.obx_environment(HOME=directory)
    check(obx("save", daemon=obxd, env=env))
    other = start_obxd()
    check(obx("diff", "--saved", daemon=other, env=env), "", 1, "obx: what was saved is not known: obx save keeps it\n")
    check(obx("set", "Device.DeviceInfo.HostName=y", daemon=other, env=env))
    check(obx("save", daemon=other, env=env))
    check(obx("diff", "--saved", daemon=obxd, env=env))
    check(obx("diff", "--saved", env=dict(env, OBXD_SOCKET=other.socket)))
    [first, second] = os.listdir(directory + "/.local/obxc/saved")
    assert first != second and os.stat(directory + "/.local/obxc/saved").st_mode & 0o777 == 0o700
    place, name = os.path.split(other.socket)
    check(obx("-u", name, "diff", "--saved", env=dict(env, PWD=place), cwd=place))


def on_terminal(*words, daemon, **env):
    """What obx writes to a terminal."""
    master, slave = pty.openpty()
    try:
        process = subprocess.run([harness.OBX, "-u", daemon.socket, *words], stdout=slave, stderr=subprocess.PIPE,
                                 env=harness.obx_environment(**env), timeout=4 * harness.PATIENCE)
        harness.check_sanitizers(process.stderr)
        os.close(slave)
        slave = -1
        data = b""
        while True:
            try:
                more = os.read(master, 65536)
            except OSError:  # the terminal is gone, and empty
                return data.decode().replace("\r\n", "\n")
            data += more
    finally:
        os.close(master)
        if slave >= 0:
            os.close(slave)


def test_on_a_terminal(obxd, written):
    name = written("Device.DeviceInfo.HostName=other")
    plain = "-Device.DeviceInfo.HostName=router\n+Device.DeviceInfo.HostName=other\n"
    assert on_terminal("diff", name, daemon=obxd) == (
        "\x1b[31m-Device.DeviceInfo.HostName=router\x1b[0m\n\x1b[32m+Device.DeviceInfo.HostName=other\x1b[0m\n")
    assert on_terminal("diff", name, daemon=obxd, NO_COLOR="1") == plain
    assert on_terminal("diff", name, daemon=obxd, TERM="dumb") == plain
    obxd.client().set("Device.NAT.PortMapping.1.Description", "a\x1b[2Jb")
    assert on_terminal("get", MAPPING + "1.Description", daemon=obxd) == "a\\x1b[2Jb\n"
    check(obx("get", MAPPING + "1.Description", daemon=obxd), "a\x1b[2Jb\n")
