"""Storms of signals: a known command gives the known answer afterwards; modes of the terminal, descriptors and memory are as
they were. A signal that ends the shell ends it soon, with the terminal as it was found."""

import os
import re
import signal

import pytest

import harness

HOST = "Device.DeviceInfo.HostName"
KEYS = ["cat %s\r" % HOST, "ls Device\r", "tree Device\r", "cat Dev\t\t", "lua for i = 1, 1e7 do end\r", "lua\r", "\x03",
        "attr Device.DeviceInfo\r", "lua ox.wait(0.05)\r", "sh sleep 0.02\r", "login admin\r", "\x15", "\x1b[A", "\x12cat", "\x07"]


def descriptors(pid):
    return len(os.listdir("/proc/%d/fd" % pid))


def resident_mb(pid):
    with open("/proc/%d/status" % pid) as status:
        return int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1)) / 1024


@pytest.fixture
def obxd(start_obxd):
    return start_obxd(*harness.QUICK)


def quiet(shell):
    """Leaves whatever the keys have led to, until the prompt of the commands stands there."""
    assert shell.process.poll() is None, (shell.process.returncode, shell.text())
    shell.resize(100, 30)
    shell.emulator.reset()  # resizes have left it with a screen of its own
    for _ in range(50):
        os.kill(shell.process.pid, signal.SIGCONT)  # one that came before the stop is lost
        shell.send("\x03\x15")
        shell.settle(0.1)
        shell.send("\x0c")
        shell.settle(0.1)
        if re.fullmatch(r"[^\s^]*obxc:\S*>", shell.line()):
            return
        shell.send("q\r" if "lua" in shell.line() else "\r")
        shell.settle(0.1)
    raise AssertionError("no prompt:\n" + shell.text())


def test_signals_that_do_not_end_it(obxd, rng, budget):
    shell = harness.Terminal("-t", "1", daemon=obxd)
    try:
        first = shell.run("cat :" + HOST)
        modes = shell.modes()
        counts = []
        for number in budget.rounds(at_least=100, at_most=20000):
            if rng.random() < 0.5:
                shell.send(rng.choice(KEYS))
            which = rng.choice([signal.SIGINT, signal.SIGINT, signal.SIGWINCH, signal.SIGTSTP, signal.SIGCHLD])
            if which == signal.SIGWINCH:
                shell.resize(rng.randrange(20, 150), rng.randrange(5, 50))
            else:
                os.kill(shell.process.pid, which)
            if which == signal.SIGTSTP:
                os.kill(shell.process.pid, signal.SIGCONT)
            shell.read(rng.random() * 0.02)
            if number % 50 == 49:
                quiet(shell)
                assert shell.run("cat :" + HOST).splitlines()[-1] == first.splitlines()[-1]
                assert shell.modes() == modes
                counts.append((descriptors(shell.process.pid), resident_mb(shell.process.pid)))
        assert counts[-1][0] == counts[0][0], counts
        assert harness.SANITIZED or counts[-1][1] < counts[0][1] + 8, counts
    finally:
        shell.close()


@pytest.mark.parametrize("which", [signal.SIGTERM, signal.SIGHUP])
def test_signals_that_end_it(obxd, rng, budget, which):
    for _ in budget.rounds(at_least=3, at_most=300):
        shell = harness.Terminal("-t", "1", daemon=obxd)
        try:
            shell.prompt()
            shell.send(rng.choice(KEYS[:8]))
            shell.read(rng.random() * 0.05)
            os.kill(shell.process.pid, which)
            assert shell.end() in (-which, 128 + which, 0, 1)
            assert shell.modes() == (True, True)
        finally:
            shell.close()
