"""obxc without GNU readline and without TLS: lines as the terminal gives them, and no way to a daemon that speaks TLS."""

import os
import re
import subprocess

import pytest

import harness
from harness import obxc

pytestmark = pytest.mark.skipif(not harness.PLAIN, reason="this build has the line editor and TLS")

READY = r"(\w+@)?obxc:\S*> ?"


def test_what_is_left_out_is_not_linked():
    lines = subprocess.run(["nm", "-C", harness.binary(harness.OBXC)], stdout=subprocess.PIPE, check=True, text=True).stdout
    names = [re.sub(r"^[0-9a-f ]+ \w |\(anonymous namespace\)::", "", line) for line in lines.splitlines()]
    assert "main" in names and "command_table" in names
    left_out = ("rl_", "readline", "tgetent", "tigetstr", "mbedtls_", "offer_", "quoted_", "candidates_", "inserted_part", "key_wait",
                "describe_path", "describe_commands", "lua_complete_expression", "lua_complete_modules")
    assert [name for name in names if name.startswith(left_out) or re.fullmatch(r"\w+_offers", name)] == []


def test_commands(shell):
    assert shell.run("cd Device.NAT") == ""
    assert shell.run("pwd") == ":Device.NAT"
    assert shell.run("cat :Device.DeviceInfo.HostName") == " = 'router'"
    assert shell.run("lua print(6 * 7)").split("\n")[-1] == "42"


def test_the_terminals_own_keys_correct_the_line(shell):
    shell.send("pwx\x7fd")
    shell.wait_line(READY + "pwd")
    mark = shell.shown()
    shell.send("\r")
    shell.prompt()
    assert shell.since(mark) == ":"
    shell.send("rubbish\x15pwd")
    shell.wait_line(READY + "pwd")
    shell.send("\r")
    shell.prompt()


def test_ctrl_c_drops_the_line(shell):
    shell.send("del Device.NAT.PortMapping.1")
    shell.wait_line(READY + r"del Device\.NAT\.PortMapping\.1")
    shell.interrupt()
    shell.prompt()
    assert shell.screen()[shell.cursor()[1] - 1].endswith("PortMapping.1^C")
    assert shell.run("pwd") == ":"


def test_ctrl_c_leaves_a_command(open_shell, daemon):
    shell = open_shell()
    daemon.answer = lambda request, connection: None
    shell.send("save\r")
    daemon.wait_for_request("SaveConfig")
    shell.interrupt()
    shell.prompt()


def test_ctrl_d_ends_the_shell(shell):
    shell.send("\x04")
    assert shell.end() == 0


def test_events_stand_on_rows_of_their_own(open_shell, daemon):
    shell = open_shell(("-g", "9"))
    shell.send("pw")
    shell.wait_line(READY + "pw")
    daemon.send_event(9, {"text": "something"}, on=1)
    shell.wait_for("something")
    shell.wait_line(READY)
    shell.send("d\r")  # what was typed before is the terminal's still
    shell.wait_for("^:$")


def test_no_history_is_written(obxd, terminal):
    shell = terminal(daemon=obxd)
    shell.run("pwd")
    shell.send("q\r")
    assert shell.end() == 0
    assert [name for name in os.listdir(shell.tmp) if "history" in name] == []


def test_a_daemon_with_tls_cannot_be_reached(authority, certificate):
    daemon = harness.remote_obxd(tls=certificate)
    try:
        done = obxc("-u", daemon.url(), "--ssl", "-r", "get", "Device.DeviceInfo.UpTime")
    finally:
        daemon.close()
    assert done.out == "Cannot connect to obxd(requests) - this obxc was built without TLS(-9)\n"
    assert done.status == 1
