"""How obx ends when the daemon refuses, hangs, is cut off or restarts: the status, and one line that says what is known."""

import os
import socket
import subprocess
import threading
import time

import pytest

import harness
from harness import obx
from test_obx import check

ROW = "Device.NAT.PortMapping."
FILE = "Device.DeviceInfo.HostName=x\n" + ROW + "9.Description=x\n"

# Every command, with words that let it reach the daemon, and the request that it is about.
COMMANDS = {
    "get": (["get", "Device.A"], "GetParameterValues"),
    "get sets": (["get", "Device."], "GetParameterValues"),
    "get several": (["get", "Device.A", "Device.B"], "GetParameterValues"),
    "get selector": (["get", "Device.[A==1]"], "Select"),
    "set": (["set", "Device.A=1"], "RawSetParameterValues"),
    "set --dry-run": (["set", "--dry-run", "Device.A=1"], "RawSetParameterValues"),
    "add": (["add", ROW], "AddObject"),
    "del": (["del", ROW + "1."], "DeleteObject"),
    "call": (["call", "Device.M"], "GetParameterAttributes"),
    "find": (["find", "x"], "GetParameterValues"),
    "watch": (["watch", "Device.A"], "GetParameterValues"),
    "export": (["export"], "GetParameterNames"),
    "diff": (["diff", "-"], "GetParameterNames"),
    "apply": (["apply", "-"], "GetParameterNames"),
    "confirm": (["confirm", "c1"], "ConfirmChange"),
    "upgrade": (["upgrade", "http://example.invalid/fw"], "Download"),
    "reboot": (["reboot"], "Reboot"),
    "save": (["save"], "SaveConfig"),
    "doc": (["doc", "Device.A"], "GetParameterAttributes"),
}


def one_line(done, status):
    assert done.status == status and done.out == "", done
    assert done.err.startswith("obx: ") and done.err.count("\n") == 1, done


def answers(scripted, method, reply):
    """A daemon whose answer to the method is `reply`, and to anything else {}."""
    daemon = scripted(lambda request, connection: reply if request.get("method") == method else daemon.result({}))
    return daemon


@pytest.mark.parametrize("name", COMMANDS)
def test_refused(scripted, name):
    words, method = COMMANDS[name]
    daemon = answers(scripted, method, {"jsonrpc": "2.0", "error": {"code": 9001, "message": "Request denied\nfor you"}})
    done = obx(*words, daemon=daemon, stdin=FILE)
    one_line(done, 1)
    assert "Request denied for you" in done.err


@pytest.mark.parametrize("name", COMMANDS)
def test_hangs(scripted, name):
    words, method = COMMANDS[name]
    daemon = answers(scripted, method, None)
    one_line(obx("-t", "0.3", *words, daemon=daemon, stdin=FILE), 4)


@pytest.mark.parametrize("name", COMMANDS)
def test_cut_off(scripted, name):
    words, method = COMMANDS[name]
    daemon = scripted(lambda request, connection: daemon.CLOSE if request.get("method") == method else daemon.result({}))
    one_line(obx(*words, daemon=daemon, stdin=FILE), 3)


def test_a_change_that_got_no_answer_says_so(scripted):
    daemon = scripted(lambda request, connection: daemon.CLOSE if "Set" in request["method"] else daemon.result({}))
    done = obx("set", "Device.A=1", daemon=daemon)
    one_line(done, 3)
    assert done.err.endswith(": whether it was set is not known\n")


def test_a_row_is_asked_for_once(scripted):
    daemon = scripted(lambda request, connection: daemon.CLOSE if request["method"] == "AddObject" else daemon.result({}))
    done = obx("add", ROW, daemon=daemon)
    one_line(done, 3)
    assert done.err.endswith(": whether a row was added is not known\n")
    assert len(daemon.requests("AddObject")) == 1


def test_a_row_that_cannot_be_taken_back_is_told(scripted):
    def answer(request, connection):
        if request["method"] == "AddObject":
            return daemon.result({"InstanceNumber": 7})
        if request["method"] == "RawSetParameterValues":
            daemon.listener.shutdown(socket.SHUT_RDWR)
            return daemon.CLOSE
        return daemon.result({})

    daemon = scripted(answer)
    done = obx("add", ROW, "Description=x", daemon=daemon)
    one_line(done, 5)
    assert ROW + "7.: was added, its values were not set" in done.err


def test_rows_that_were_deleted_are_told(scripted):
    def answer(request, connection):
        wrong = request["method"] == "DeleteObject" and request["params"]["ObjectName"] == ROW + "2."
        return daemon.CLOSE if wrong else daemon.result({})

    daemon = scripted(answer)
    done = obx("del", ROW + "1.", ROW + "2.", ROW + "3.", daemon=daemon)
    one_line(done, 5)
    assert done.err.endswith("; deleted before: %s1.\n" % ROW)


def names_and_values(request):
    """What a daemon with one table and one value tells of them."""
    if request["method"] == "GetParameterNames":
        return [{"Name": "Device.NAT.PortMapping.", "Writable": True}, {"Name": "Device.DeviceInfo.HostName", "Writable": True}]
    return [{"Name": "Device.DeviceInfo.HostName", "Value": "old"}]


def test_an_apply_that_is_cut_off_is_left_to_the_daemon(scripted):
    def answer(request, connection):
        method = request["method"]
        if method in ("GetParameterNames", "GetParameterValues"):
            return daemon.result({"ParameterList": names_and_values(request)})
        if method == "GetConfig":
            return daemon.result({"Config": {"Device": {"DeviceInfo": {"HostName": "old"}}}})
        if method == "BeginChange":
            return daemon.result({"Change": "c1"})
        if method == "AddObject":
            daemon.listener.shutdown(socket.SHUT_RDWR)
            return daemon.CLOSE
        return daemon.result({})

    daemon = scripted(answer)
    done = obx("apply", "-", daemon=daemon, stdin=FILE)
    one_line(done, 5)
    assert "what was done is taken back within" in done.err
    assert [each["Change"] for each in daemon.received if each["method"] == "AddObject"] == ["c1"]
    assert not daemon.requests("RawSetParameterValues")


def test_wait_goes_on_through_a_restart(obxd):
    process = subprocess.Popen([harness.OBX, "-u", obxd.socket, "wait", "--timeout", "60",
                                "Device.DeviceInfo.HostName == back"], env=harness.obx_environment())
    try:
        time.sleep(0.3)
        obxd.restart()
        time.sleep(0.3)
        assert process.poll() is None
        check(obx("set", "Device.DeviceInfo.HostName=back", daemon=obxd))
        assert process.wait(harness.PATIENCE) == 0
    finally:
        process.kill()
        process.wait()


def test_wait_for_a_daemon_that_comes_later(obxd):
    obxd.stop()
    later = threading.Timer(0.5, obxd.start)
    later.start()
    try:
        check(obx("wait", "--timeout", "60", "Device.DeviceInfo.HostName == router", daemon=obxd))
    finally:
        later.join()


def test_wait_on_a_daemon_that_hangs(scripted):
    daemon = scripted(lambda request, connection: None)
    done = obx("wait", "--timeout", "0.5", "Device.A == 1", daemon=daemon)
    check(done, "", 4, "obx: Device.A: not so within 0.5 seconds\n")


def read_line(process):
    return process.stdout.readline().decode()


def test_watch_tells_changes_through_a_restart(obxd):
    process = subprocess.Popen([harness.OBX, "-u", obxd.socket, "watch", "--every", "0.2", "Device.DeviceInfo.HostName",
                                "Device.NAT.PortMapping."], env=harness.obx_environment(), stdout=subprocess.PIPE)
    try:
        lines = iter(lambda: read_line(process), "")

        def first_change():
            obx("set", "Device.DeviceInfo.HostName=a%f" % time.time(), daemon=obxd)
            return harness.programs.select_readable(process.stdout, 0.3)

        harness.wait_until(first_change, "the first change")
        assert next(lines).startswith("Device.DeviceInfo.HostName=a")
        obxd.restart()
        for line in lines:
            if line == "Device.DeviceInfo.HostName=router\n":
                break
        check(obx("add", "Device.NAT.PortMapping.", daemon=obxd), "Device.NAT.PortMapping.5.\n")
        assert next(lines) == "Device.NAT.PortMapping.5. added\n"
        check(obx("del", "Device.NAT.PortMapping.5.", daemon=obxd))
        for line in lines:
            if line == "Device.NAT.PortMapping.5. deleted\n":
                break
    finally:
        process.terminate()
        process.wait()
        process.stdout.close()


def test_a_closed_pipe_is_no_lasting_job(obxd):
    done = subprocess.run(["sh", "-c", '"$0" -u "$1" get Device. | head -n 1', harness.OBX, obxd.socket],
                          env=harness.obx_environment(), capture_output=True, timeout=4 * harness.PATIENCE)
    assert done.stdout.count(b"\n") == 1


def test_output_that_is_lost_is_told(obxd):
    with open("/dev/full", "wb") as full:
        done = subprocess.run([harness.OBX, "-u", obxd.socket, "get", "Device.DeviceInfo.HostName"], stdout=full,
                              env=harness.obx_environment(), stderr=subprocess.PIPE, timeout=4 * harness.PATIENCE)
    assert done.returncode == 1 and done.stderr.startswith(b"obx: standard output: ")


@pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer keeps the image for itself")
def test_upgrade(start_obxd, directory):
    obxd = start_obxd("--reboot-ms", "300", "--flash-ms", "300")
    image = harness.make_image(directory, "9.9.9")
    check(obx("upgrade", "--wait", image, daemon=obxd))
    assert obxd.client().get("Device.DeviceInfo.SoftwareVersion") == "9.9.9"
    check(obx("upgrade", "--wait", image, daemon=obxd))  # it runs already
    with open(image, "ab") as file:
        file.write(b"spoilt")
    one_line(obx("upgrade", image, daemon=obxd), 1)
    one_line(obx("upgrade", os.path.join(directory, "none"), daemon=obxd), 1)
