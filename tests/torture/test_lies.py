"""A daemon that lies in every way, to every way of using the client: that ends or goes on in time, without growing, is not
steered, and has the right answer as soon as the daemon tells the truth."""

import os

import pytest

import harness
from lying import KINDS, LyingDaemon
from programs import SLOW, run
from steering import steering

HOST = "Device.DeviceInfo.HostName"
RULES = "Device.NAT.PortMapping."
REQUESTS = [["get", HOST], ["get", "Device."], ["cat", "Device.DeviceInfo."], ["ls", "Device."], ["attr", HOST],
            ["set", HOST + "=liar"], ["add", RULES], ["del", RULES + "1."], ["save"], ["select", RULES + "*"],
            ["info", "Device."], ["order", RULES, "1"]]
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
MIB = 400 if harness.SANITIZED else 64  # the largest lie is 8 MiB


@pytest.fixture(scope="module")
def obxd():
    daemon = harness.Obxd(*harness.QUICK)
    yield daemon
    assert daemon.process.poll() is None and daemon.errors() == ""
    daemon.close()


@pytest.fixture
def liar(obxd, rng):
    with LyingDaemon(obxd, rng) as daemon:
        yield daemon


def well_again(liar, obxd):
    liar.kind = None
    right = run(obxd, "-r", "get", HOST)
    found = run(liar, "-t", "5", "-r", "get", HOST)
    assert right.status == 0 and (found.status, found.out) == (0, right.out), (right, found)


def holds(ran, what, seconds):
    assert ran.seconds < seconds + SLOW, (what, ran)
    assert ran.mib < MIB, (what, ran)
    assert len(ran.err) < 200000, (what, ran)


@pytest.mark.parametrize("kind", KINDS)
def test_one_shot(liar, obxd, rng, budget, kind):
    for _ in budget.rounds(at_least=3, at_most=100):
        liar.kind = kind
        request = rng.choice(REQUESTS)
        holds(run(liar, "-t", "1", "-r", *request), (kind, request), 1)
    well_again(liar, obxd)


@pytest.mark.parametrize("kind", KINDS)
def test_script_and_lua(liar, obxd, rng, budget, kind, directory):
    script, code = os.path.join(directory, "script"), os.path.join(directory, "code.lua")
    with open(code, "w") as file:
        file.write(CODE)
    for _ in budget.rounds(at_least=1, at_most=20):
        liar.kind = kind
        lines = [each for each in rng.sample(LINES, 3) if "\t" not in each]
        with open(script, "w") as file:
            file.write("\n".join(lines) + "\n")
        holds(run(liar, "-t", "1", "-s", script), (kind, lines), 1 + 2 * len(lines) + 2)
        holds(run(liar, "-t", "1", "-S", code), (kind, "lua"), 12)
    well_again(liar, obxd)


@pytest.mark.parametrize("kind", KINDS)
def test_listening(liar, obxd, kind):
    """Listen mode has no end of its own; it is ended by a signal at any time."""
    liar.kind = kind
    holds(run(liar, "-t", "1", "-l", "-g", "4,9", term=1), kind, 1)


@pytest.mark.parametrize("kind", KINDS)
def test_shell(liar, obxd, rng, budget, kind):
    shell = harness.Terminal("-t", "1", daemon=liar, columns=120, lines=50, env=harness.environment(OBX_PATIENCE="1"))
    try:
        shell.prompt()
        liar.kind = kind
        for _ in budget.rounds(at_least=3, at_most=60):
            shell.send(rng.choice(LINES) + "\r")
            shell.settle(0.05)
            if rng.random() < 0.2:
                shell.interrupt()
        liar.kind = None
        right = run(obxd, "-r", "get", HOST).out.decode().strip()
        shell.send("\x03\x15")
        shell.wait_line(harness.PROMPT, 30)
        shell.run("cat " + HOST, 30)  # the connection may be a broken one: this finds out
        mark = len(shell.raw)
        shell.send("cat :%s\r" % HOST)
        shell.wait(lambda: right.encode() in shell.raw[mark:], "the right answer %r" % right, 30)
        shown = steering(shell.raw)
        assert not shown, shown
    finally:
        shell.close()
