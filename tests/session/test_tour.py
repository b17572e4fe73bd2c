"""A person at the shell of a router: logs in, walks the model, reads it, while others work on it."""

import json
import re

import harness
from harness import obxc


def test_a_walk_through_the_model(shell):
    assert shell.line() == "root@obxc:>"
    assert shell.run("pwd") == ":"
    assert shell.run("ls") == "Device."
    assert shell.run("cd device") == ""
    assert shell.line() == "root@obxc:Device>"
    assert "DeviceInfo." in shell.run("ls").split()
    shell.run("cd Hosts")
    assert shell.line() == "root@obxc:Device.Hosts>"
    long = shell.run("ls -l")
    assert re.search(r"^object +RO .* Host\.$", long, re.M)
    assert re.search(r"^unsignedInt +RO .* HostNumberOfEntries$", long, re.M)
    values = shell.run("cat Host.1")
    assert re.search(r"^IPAddress += '\d+\.\d+\.\d+\.\d+'$", values, re.M)
    attributes = shell.run("attr Host.1.IPAddress")
    assert re.search(r"^Canonical path: +:Device\.Hosts\.Host\.1\.IPAddress$", attributes, re.M)
    assert re.search(r"^Type: +IPAddress$", attributes, re.M)
    shell.run("up 2")
    assert shell.line() == "root@obxc:>"
    assert shell.run("cd nowhere") == "cd: nowhere: no such node"


def test_users_and_tokens(shell):
    assert shell.run("login admin -p admin") == ""
    assert shell.line() == "admin@obxc:>"
    shell.send("login user\r")
    shell.wait_line(r"\[obxc\] password for user:.*")
    shell.send("user\r")
    shell.wait_line(r"user@obxc:>")
    answer = shell.run("login admin -p wrong").split("\n")
    assert re.fullmatch(r"\[\d+\] .+", answer[0]) and answer[1] == "Failed to authenticate user"
    assert shell.line() == "obxc:>"
    assert shell.run("login_if_guest root") == ""
    assert shell.line() == "root@obxc:>"
    assert shell.run("login_if_guest admin admin") == ""
    assert shell.line() == "root@obxc:>"
    assert shell.run("logout") == ""
    assert shell.line() == "obxc:>"
    assert shell.run("login user-token -p x") == ""
    assert shell.line() == "user@obxc:>"
    assert shell.run("logout") == ""
    assert shell.run("cat Device.Users.CurrentUser") == " = ''"


def test_what_others_change_shows_up(obxd, shell):
    """An instance that another session adds is there at once, and no event is printed for it."""
    other = obxd.client()
    before = shell.run("cat Device.NAT.PortMappingNumberOfEntries")
    number = other.call("AddObject", {"ObjectName": "Device.NAT.PortMapping."})["InstanceNumber"]
    assert shell.run("cat Device.NAT.PortMappingNumberOfEntries") != before
    assert "Enable" in shell.run("cat Device.NAT.PortMapping.%d" % number)
    assert "EVENT" not in shell.text()
    other.close()


def test_events_of_a_joined_group_while_typing(obxd, terminal):
    shell = terminal("-g", "77", daemon=obxd)
    shell.prompt()
    shell.send("pw")
    shell.wait_line(".*> pw.*")
    assert obxc("-e", "77", '{"hello":["you"]}', daemon=obxd).status == 0
    shell.wait_for(r'^EVENT 77:\n\{\n    "hello": \[\n        "you"\n    \]\n\}\n')
    shell.wait_line(".*> pw.*")
    shell.send("d\r")
    shell.wait_for(r"^:$")


def test_the_daemon_restarts_under_the_shell(obxd, terminal):
    """The shell says so and ends; the next one works and knows its user."""
    first = terminal(daemon=obxd)
    first.prompt()
    obxd.kill()
    assert first.end() == 0
    assert first.text().endswith("Connection dropped")
    obxd.start()
    second = terminal(daemon=obxd)
    assert second.run("ls") == "Device."
    assert second.line() == "root@obxc:>"


def test_one_shot_requests(shared_obxd):
    end = obxc("-r", "get", "Device.DeviceInfo.UpTime", daemon=shared_obxd)
    assert end.status == 0 and re.fullmatch(r" = \d+\n", end.out)
    end = obxc("-a", "admin-token", "-r", "GetParameterValues", "Device.DeviceInfo.", daemon=shared_obxd)
    assert end.status == 0 and re.search(r"^UpTime += \d+$", end.out, re.M)
    assert "\x1b" not in end.out
    end = obxc("-a", "user:user", "-r", "save", daemon=shared_obxd)
    assert "Status: OK" in end.out or re.match(r"\[\d+\]", end.out)
    end = obxc("-a", "user:wrong", "-r", "save", daemon=shared_obxd)
    assert end.status == 1


def test_raw_requests(shared_obxd):
    end = obxc("--raw", '{"jsonrpc":"2.0","id":5,"method":"GetParameterNames",'
               '"params":{"ParameterPath":".","NextLevel":true}}', daemon=shared_obxd)
    assert end.status == 0
    shown = json.loads(end.out[3:])
    assert shown["id"] == 5 and "Device." in [e["Name"] for e in shown["result"]["ParameterList"]]
    end = obxc("--raw", '{"jsonrpc":"2.0","id":5,"method":"NoSuchMethod"}', daemon=shared_obxd)
    assert end.status == json.loads(end.out[3:])["error"]["code"] & 255 != 0


def test_the_shell_in_a_pipe_is_plain_text(shared_obxd):
    end = obxc(daemon=shared_obxd, stdin="cd Device\nls\npwd\nq\n")
    assert end.status == 0
    assert "\x1b" not in end.out
    assert end.out.endswith(":Device\n")
    assert "DeviceInfo." in end.out.split("\n")


def test_a_script_survives_a_reboot():
    """After the daemon's return the next request works, logged in again as before."""
    daemon = harness.Obxd("--reboot-ms", "200")
    end = obxc("-a", "admin:admin", "-s", daemon=daemon,
               stdin="cat Device.Users.CurrentUser\nreboot\nsleep 1\ncat Device.Users.CurrentUser\n")
    daemon.close()
    assert end.status == 0
    assert re.fullmatch(r" = 'admin'\n(.*\n)* = 'admin'\n", end.out)
