"""A daemon that lies in every way, to every way of using the client: that ends or goes on in time, without growing, is not
steered, and has the right answer as soon as the daemon tells the truth."""

import json
import os
import time

import pytest

import harness
from lying import FLOOD, KINDS, ODD, LyingDaemon
from programs import SLOW, run
from steering import steering

HOST = "Device.DeviceInfo.HostName"
RULES = "Device.NAT.PortMapping."
REQUESTS = [["get", HOST], ["get", "Device."], ["cat", "Device.DeviceInfo."], ["ls", "Device."], ["attr", HOST],
            ["set", HOST + '="liar"'], ["add", RULES], ["touch", RULES], ["del", RULES + "1."], ["rm", RULES + "2."], ["save"],
            ["select", RULES + "*"], ["info", "Device."], ["order", RULES, "1"], ["debug", "on"], ["logout"], ["reboot"],
            ["reset"], ["reset", "all"], ["execute", "Device.Ethernet.Interface.1.Stats.Reset"],
            ["execute", "Device.IP.Diagnostics.IPPing", "Host=127.0.0.1", "NumberOfRepetitions=1"],
            ["download", "file", "/etc/hostname", "name"], ["download", "config", "/etc/hostname"],
            ["upload", "config", "file:///nowhere/at/all"], ["upgrade", "/etc/hostname"], ["lua", "print(ox.plain(ox.get('.')))"]]
ADMIN = ["-a", "admin:admin"]
COMMANDS = [["-r", *each] for each in REQUESTS] + [
    ["--raw", '{"jsonrpc":"2.0","id":1,"method":"GetConfig","params":{"Path":"Device."}}'], ["-n", "LeaveGroup", '{"Group":9}'],
    ["-e", "9", '{"a":1}'], ["-g", "4,9", "-r", "save"]]
EXCHANGES = {"download": 3, "upgrade": 4, "lua": 2}  # that a command has beyond the first
GOES_AWAY = {"reboot", "reset"}
LINES = ["ls", "ls -l", "cat Device", "attr Device.DeviceInfo", "tree", "catree", "cd Device.DeviceInfo", "cd", "take " + RULES,
         "set " + HOST + "=liar", "select " + RULES + "*", "save", "login user", "order " + RULES + " 1",
         "download file /etc/hostname", "lua return ox.get('Device.')", "del " + RULES + "1", "info Device",
         "lua for k, v in pairs(ox.object('Device.')) do print(ox.plain(k)) end", "cat Device.De\t\t", "set Device.Dev\t\t"]
CODE = """
for _, name in ipairs{"get", "attrs", "names", "config", "select", "values"} do
    if ox[name] then pcall(ox[name], "Device.DeviceInfo.") end
end
pcall(ox.set, "Device.DeviceInfo.HostName", "liar")
pcall(ox.wait, 9, 0.2)
"""
EXCHANGE = 5  # seconds that one exchange takes at most, with the patience that run() gives
MIB = 400 if harness.SANITIZED else 64  # the largest lie is 8 MiB


@pytest.fixture(scope="module")
def obxd(shared_obxd):
    return shared_obxd


@pytest.fixture
def liar(obxd, rng):
    with LyingDaemon(obxd, rng) as daemon:
        yield daemon


def kinds(rng, budget, at_least):
    """Kinds of lies while there is time: each comes before one comes again."""
    order = []
    for _ in budget.rounds(at_least, 2000):
        order = order or rng.sample(KINDS, len(KINDS))
        yield order.pop()


def well_again(liar, obxd):
    liar.kind = None
    right = run(obxd, "-r", "get", HOST)
    found = run(liar, "-t", "5", "-r", "get", HOST)
    assert right.status == 0 and (found.status, found.out) == (0, right.out), (right, found)


def after(command, obxd):
    """Waits for a daemon that the command may have rebooted."""
    if len(command) > 1 and command[1] in GOES_AWAY:
        time.sleep(0.3)
        obxd.back_again().close()


def holds(ran, what, seconds):
    assert ran.seconds < seconds + SLOW, (what, ran)
    assert ran.mib < MIB, (what, ran)
    assert len(ran.err) < 200000, (what, ran)


def test_one_shot(liar, obxd, rng, budget):
    for kind in kinds(rng, budget, 6):
        liar.kind = kind
        command, who = rng.choice(COMMANDS), rng.choice([[], ADMIN, ADMIN])
        exchanges = 1 + len(who) // 2 + EXCHANGES.get(command[1], 0)
        holds(run(liar, "-t", "1", *who, *command), (kind, command), 1 + exchanges * EXCHANGE + FLOOD)
        after(command, obxd)
        well_again(liar, obxd)


def test_on_a_terminal(liar, obxd, rng, budget):
    """What commands and the listening mode print of a lie does not steer the terminal."""
    for kind in kinds(rng, budget, 3):
        liar.kind = kind
        command = rng.choice(COMMANDS + [["-l", "-g", "4,9"]] * 3)
        terminal = harness.Terminal("-t", "1", *ADMIN, *command, daemon=liar, env=harness.environment(OBX_PATIENCE="1"))
        try:
            if command[0] == "-l":
                run(obxd, "-e", "9", json.dumps({ODD: ODD}))
                terminal.read(rng.random())
                terminal.process.terminate()
            terminal.end(1 + 5 * EXCHANGE + FLOOD + SLOW)
            assert not steering(terminal.raw), (kind, command, steering(terminal.raw))
        finally:
            terminal.close()
        after(command, obxd)


def test_script_and_lua(liar, obxd, rng, budget, directory):
    script, code = os.path.join(directory, "script"), os.path.join(directory, "code.lua")
    with open(code, "w") as file:
        file.write(CODE)
    for kind in kinds(rng, budget, 1):
        liar.kind = kind
        lines = [each for each in rng.sample(LINES, 3) if "\t" not in each]
        with open(script, "w") as file:
            file.write("\n".join(lines) + "\n")
        holds(run(liar, "-t", "1", "-s", script), (kind, lines), 2 * EXCHANGE * len(lines) + FLOOD)
        holds(run(liar, "-t", "1", "-S", code), (kind, "lua"), 7 * EXCHANGE + FLOOD)
        well_again(liar, obxd)


def test_listening(liar, rng, budget):
    """Listen mode has no end of its own; it is ended by a signal at any time."""
    for kind in kinds(rng, budget, 3):
        liar.kind = kind
        holds(run(liar, "-t", "1", "-l", "-g", "4,9", term=rng.random()), kind, 1)


class Shell(harness.Terminal):
    """A shell that may end: it says then that it lost its events connection."""

    def __init__(self, daemon):
        super().__init__("-t", "1", daemon=daemon, columns=120, lines=50, env=harness.environment(OBX_PATIENCE="1"))

    def ended(self):
        if self.process.poll() is None:
            return False
        assert (self.end(), self.text().count("Connection dropped")) == (0, 1), self.text()
        return True


def lies_to(shell, lines):
    for line in lines:
        try:
            shell.send(line + "\r")
            shell.settle(0.05)
        except (OSError, harness.SessionFailure):
            shell.process.wait(harness.PATIENCE)
        if shell.ended():
            return


def test_shell(liar, obxd, rng, budget):
    for kind in kinds(rng, budget, 2):
        liar.kind = None
        shell = Shell(liar)
        try:
            shell.prompt()
            liar.kind = kind
            lines = rng.choices(LINES, k=3)
            lies_to(shell, lines)
            liar.kind = None
            if not shell.ended():
                shell.send("\x03\x15")
                shell.wait_line(harness.PROMPT, 2 * EXCHANGE * len(lines) + FLOOD + SLOW)
                # Names of the model are kept as the daemon told them, so the value alone is asked for. The first time
                # the connection may be a broken one.
                line = "lua local value, why = ox.get('%s') print(ox.plain(value or why))" % HOST
                shell.run(line, EXCHANGE + SLOW)
                shown = shell.run(line, EXCHANGE + SLOW).split("\n")[-1]
                right = run(obxd, "-r", "cat", HOST).out.decode().strip()
                assert "= '%s'" % shown == right, (kind, lines, shell.text())
            assert not steering(shell.raw), (kind, lines, steering(shell.raw))
        finally:
            shell.close()
