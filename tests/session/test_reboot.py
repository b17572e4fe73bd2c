"""A daemon that reboots under obxc: what fails says so, and what comes after its return works as before."""

import re
import socket

import pytest

import harness
from harness import ScriptedDaemon, obxc

HOST = "Device.DeviceInfo.HostName"
USER = "Device.Users.CurrentUser"
GONE = r"\[-[457]\] (No such socket|Connection refused|Connection closed by the daemon)\n"


class Way:
    """How a person reaches the device: near as the system's user, afar over TLS with a password or a token."""

    def __init__(self, name, authority, certificate, *options):
        self.daemon = harness.remote_obxd(*options, tls=certificate)
        self.env = authority.environment()
        self.user = "root" if name == "near" else "admin"
        self.args = ["-u", self.daemon.socket]
        if name != "near":
            credentials = "admin:admin" if name == "afar" else "admin-token"
            self.args = ["-u", self.daemon.url(), "--ssl", "-a", credentials]

    def obxc(self, *words):
        return obxc(*self.args, *words, env=self.env)


@pytest.fixture(params=["near", "afar", "token"])
def way(request, authority, certificate):
    made = []

    def start(*options):
        made.append(Way(request.param, authority, certificate, *options))
        return made[-1]

    yield start
    for each in made:
        each.daemon.close()


def written(directory, text):
    path = directory + "/script"
    with open(path, "w") as file:
        file.write(text)
    return path


def test_the_shell_ends_with_its_events(way, terminal):
    to = way(*harness.QUICK)
    shell = terminal(*to.args, env=to.env)
    shell.prompt()
    shell.send("reboot\r")
    assert shell.end() == 0
    assert shell.text().split("\n")[-2:] == ["Status: OK", "Connection dropped"] or re.search(
        r"^Status: OK\n\S*obxc\S*>\nConnection dropped$", shell.text(), re.M)


def test_a_script_goes_on_after_the_reboot(way, directory):
    to = way("--reboot-ms", "1400")
    gone = "while test -e %s; do sleep 0.05; done" % to.daemon.socket
    back = "until %s -u %s -r get %s | grep -q =; do sleep 0.05; done" % (harness.OBXC, to.daemon.socket, HOST)
    script = written(directory, 'set %s="kept"\nsave\nset %s="lost"\nreboot\nsh %s\nget %s\nsave\nsh %s\n'
                     "get %s\nget %s\nsave\n" % (HOST, HOST, gone, HOST, back, HOST, USER))
    done = to.obxc("-s", script)
    _, back = re.split(r"(?<=Status: OK\n)(?=\[-)", done.out)
    assert re.fullmatch(GONE + GONE + r" = 'kept'\n = '%s'\nStatus: OK\n" % to.user, back), done
    assert done.status == 0


LUA = """
ox.on(2, function(event) print(event.Event) end)
print(ox.get(USER))
assert(ox.set(HOST, "kept"))
assert(ox.call("SaveConfig"))
assert(ox.set(HOST, "lost"))
assert(ox.call("Reboot", {}))
local result, message, code = ox.wait(5)
print(result, code)
result, message, code = ox.get(HOST)
print(result, code)
repeat ox.sleep(0.05) until ox.get(HOST)
print(ox.get(HOST), ox.get(USER))
print(ox.wait(0))
assert(ox.call("SaveConfig"))
print(ox.wait(function() return true end))
print(ox.wait(0.2))
"""


def test_a_lua_script_goes_on_after_the_reboot(way, directory):
    to = way("--reboot-ms", "500")
    options = ["-a", "root:"] if to.user == "root" else []
    script = written(directory, LUA.replace("HOST", '"%s"' % HOST).replace("USER", '"%s"' % USER))
    done = to.obxc(*options, "-S", script)
    assert re.fullmatch(r"%s\nConfigSaved\nReboot\nnil\t-7\nnil\t-[457]\nkept\t%s\n0\ntrue\nConfigSaved\n1\n" % (
        to.user, to.user), done.out), done


def test_lua_mode_outlives_the_reboot(way, terminal):
    to = way("--reboot-ms", "600")
    shell = terminal(*to.args, env=to.env)
    shell.prompt()
    shell.send("lua\r")
    shell.wait_line(r"\S*obxc-lua:>")
    shell.send("ox.call('Reboot', {}) ox.wait(60) return ox.get('%s')\r" % USER)
    shell.wait_for(r"No such socket|Connection refused")
    shell.send("repeat ox.sleep(0.05) until ox.get('%s') return ox.get('%s') .. ' again'\r" % (USER, USER))
    shell.wait_for(r"%s again" % to.user)
    shell.wait_line(r"\S*obxc-lua:>")
    shell.send("\x04")
    assert shell.end() == 0  # the events were lost: the shell's loop ends when it is reached
    assert shell.text().endswith("Connection dropped")


def test_a_daemon_that_goes_down_during_a_request(scripted, terminal):
    daemon = scripted(lambda request, connection: None if request["method"] == "SaveConfig" else ScriptedDaemon.result({}))
    shell = terminal(daemon=daemon)
    shell.prompt()
    shell.send("save\r")
    daemon.wait_for_request("SaveConfig")
    daemon.close()
    shell.wait_for(r"^\[-[457]\] .+$")
    assert shell.end() == 0
    assert len(re.findall(r"^\[-\d+\]", shell.text(), re.M)) == 1
    assert shell.text().endswith("Connection dropped")


def test_requests_while_the_daemon_is_away_fail_at_once(scripted, terminal):
    """Only the events connection holds on: the shell stays, each request says what is wrong."""
    daemon = scripted()
    shell = terminal(daemon=daemon)
    shell.prompt()
    logins = len(daemon.requests("Login"))
    daemon.listener.shutdown(socket.SHUT_RDWR)
    daemon.listener.close()
    daemon.connections[0].shutdown(socket.SHUT_RDWR)
    for _ in range(3):
        assert re.fullmatch(GONE, shell.run("save") + "\n")
    assert b"Waiting" not in shell.raw
    assert len(daemon.requests("Login")) == logins
    assert shell.run("pwd") == ":"
