"""Storms of signals: a known command gives the known answer afterwards; modes of the terminal, descriptors and memory are as
they were. A signal that ends the shell ends it soon, with the terminal as it was found."""

import os
import re
import signal

import pytest

import harness

HOST = "Device.DeviceInfo.HostName"
KEYS = ["cat %s\r" % HOST, "ls Device\r", "tree Device\r", "cat Dev\t\t", "lua for i = 1, 1e7 do end\r", "lua\r", "q\r", "\x03",
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
    for _ in range(20):
        shell.send("\x03")
        shell.settle(0.1)
        if re.fullmatch(harness.PROMPT, shell.line()):
            return
        shell.send("\x15q\r" if "lua" in shell.line() else "\x15\r")
    raise AssertionError("no prompt:\n" + shell.text())


def test_signals_that_do_not_end_it(obxd, rng, budget):
    shell = harness.Terminal("-t", "1", daemon=obxd)
    try:
        first = shell.run("cat :" + HOST)
        modes = shell.modes()
        counts = []
        for number in budget.rounds(at_least=100, at_most=20000):
            if rng.random() < 0.5:
                key = rng.choice(KEYS)
                shell.send(key if key != "q\r" or "lua" in shell.line() else "\r")
            which = rng.choice([signal.SIGINT, signal.SIGINT, signal.SIGWINCH, signal.SIGTSTP, signal.SIGCHLD, signal.SIGPIPE])
            if which == signal.SIGWINCH:
                shell.resize(rng.randrange(20, 150), rng.randrange(5, 50))
            else:
                os.kill(shell.pid(), which)
            if which == signal.SIGTSTP:
                os.kill(shell.pid(), signal.SIGCONT)
            shell.read(rng.random() * 0.02)
            if number % 50 == 49:
                shell.resize(100, 30)
                quiet(shell)
                assert shell.run("cat :" + HOST).splitlines()[-1] == first.splitlines()[-1]
                assert shell.modes() == modes
                counts.append((descriptors(shell.pid()), resident_mb(shell.pid())))
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
            before = shell.modes()
            shell.send(rng.choice(KEYS[:8]))
            shell.read(rng.random() * 0.05)
            os.kill(shell.pid(), which)
            assert shell.end(10) in (-which, 128 + which, 0, 1)
            assert before is not None
        finally:
            shell.close()
