"""The daemon is killed, stopped and started again at any moment, under a shell, a script and a Lua loop: they have the right
answer as soon as it is there again."""

import contextlib
import os
import re
import signal
import threading

import pytest

import harness
from programs import run

HOST = "Device.DeviceInfo.HostName"
KEYS = ["cat %s\r" % HOST, "ls Device\r", "cat Dev\t\x15", "\x03", "tree Device.NAT\r", "attr %s\r" % HOST]
LOOP = """
local right, failed = 0, 0
local ends = ox.now() + %d
while ox.now() < ends do
    local value = ox.try(ox.get, "Device.DeviceInfo.HostName", {timeout = 1})
    if value == nil then failed = failed + 1 ox.sleep(0.01)
    else assert(value == "%s", tostring(value)) right = right + 1 end
end
assert(right > 0)
print("ended", right > 0)
"""


class Unrest(threading.Thread):
    """Kills, stops and starts the daemon until it is told to end; it runs then."""

    def __init__(self, obxd, rng):
        super().__init__(daemon=True)
        self.obxd, self.rng, self.ended = obxd, rng, threading.Event()
        self.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.ended.set()
        self.join()

    def run(self):
        while not self.ended.wait(self.rng.random() * 0.3):
            what = self.rng.choice(["kill", "stop", "restart"])
            if what == "stop":
                self.obxd.process.send_signal(signal.SIGSTOP)
                self.ended.wait(self.rng.random() * 0.5)
                self.obxd.process.send_signal(signal.SIGCONT)
            elif what == "kill":
                self.obxd.kill()
                self.ended.wait(self.rng.random() * 0.2)
                self.obxd.start()
            else:
                self.obxd.restart()


@pytest.fixture
def obxd(start_obxd):
    daemon = start_obxd(*harness.QUICK)
    client = daemon.client()
    client.set(HOST, "steady")
    client.call("SaveConfig")
    return daemon


class Shells:
    """A shell on the daemon, a new one where it has ended with its connection of events: it says so, and ends well."""

    def __init__(self, obxd):
        self.obxd, self.shell = obxd, None

    def running(self):
        if self.shell and self.shell.process.poll() is not None:
            status = self.shell.end()
            assert status in (0, 1), (status, self.shell.text())
            assert re.search(r"Connection dropped|onnect", self.shell.text()), (status, self.shell.text())
            self.close()
        if not self.shell:
            self.shell = harness.Terminal("-t", "1", daemon=self.obxd, env=harness.environment(OBX_PATIENCE="2"))
            while not self.shell.raw and self.shell.read(0.01):
                pass  # before its first word Ctrl-C would end any program
        return self.shell

    def close(self):
        if self.shell:
            self.shell.close()
            self.shell = None


def test_shell(obxd, rng, budget):
    shells = Shells(obxd)
    try:
        with Unrest(obxd, rng):
            for _ in budget.rounds(at_least=50, at_most=5000):
                shell = shells.running()
                with contextlib.suppress(OSError, harness.SessionFailure):  # it may have ended by now
                    shell.send(rng.choice(KEYS))
                    shell.read(rng.random() * 0.05)
        shell = shells.running()
        shell.read(0.5)
        shell = shells.running()
        shell.send("\x03\x15")
        shell.wait_line(harness.PROMPT, 30)
        shell.run("cat :%s" % HOST, 30)
        assert shell.run("cat :%s" % HOST, 30) == " = 'steady'"
    finally:
        shells.close()


def test_script(obxd, rng, budget, directory):
    script = os.path.join(directory, "script")
    with open(script, "w") as file:
        file.write("cat %s\n" % HOST * 50)
    for _ in budget.rounds(at_least=2, at_most=50):
        with Unrest(obxd, rng):
            ran = run(obxd, "-t", "1", "-s", script, env=harness.environment(OBX_PATIENCE="2"), hangs=200)
        values = [line for line in ran.out.decode().splitlines() if line.startswith(" = ")]
        assert set(values) <= {" = 'steady'"}, ran
    assert "steady" in run(obxd, "-r", "get", HOST).out.decode()


def test_lua_loop(obxd, rng, budget, directory):
    code = os.path.join(directory, "loop.lua")
    with open(code, "w") as file:
        file.write(LOOP % (min(5, int(budget.seconds) + 2), "steady"))
    for _ in budget.rounds(at_least=1, at_most=20):
        with Unrest(obxd, rng):
            for _ in range(20):  # a daemon that is not there at the start is none to come back
                ran = run(obxd, "-S", code)
                if not ran.out.startswith(b"Cannot connect to obxd("):
                    break
        assert (ran.status, ran.out) == (0, b"ended\ttrue\n"), ran
