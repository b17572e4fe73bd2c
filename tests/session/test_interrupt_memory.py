"""What a command held is released when Ctrl-C leaves it: presses without number cost a shell nothing."""

import os
import re
import select
import signal
import subprocess
import time

import pytest

import harness

PRESSES = 1000
WARM_UP = 60  # presses until buffers, caches and free lists have their size
PROMPT_BYTES = re.compile(rb"obxc[^\n>]*> (\x1b\[0m)?\Z")  # as it is drawn, with nothing typed behind it
RESIDENT_KB = 1024  # that a thousand presses may cost
LARGE_MODEL = 300  # instances


def resident_kb(pid):
    with open("/proc/%d/status" % pid, encoding="ascii") as status:
        return int(re.search(r"VmRSS:\s+(\d+) kB", status.read()).group(1))


def descriptors(pid):
    return sorted(os.listdir("/proc/%d/fd" % pid))


class Presser:
    """Types lines and presses Ctrl-C, beside the emulator: only the end of what is shown counts."""

    def __init__(self, shell):
        self.shell = shell
        self.tail = b""

    def read(self, seconds):
        """Takes in what is shown; False when nothing came for that long."""
        if not select.select([self.shell.master], [], [], seconds)[0]:
            return False
        self.tail = (self.tail + os.read(self.shell.master, 65536))[-4096:]
        return True

    def type(self, keys):
        self.tail = b""
        os.write(self.shell.master, keys)

    def prompt_is_back(self, seconds):
        end = time.monotonic() + seconds
        while not PROMPT_BYTES.search(self.tail):
            if not self.read(0.01) and time.monotonic() > end:
                return False
        return True

    def press(self, keys, delay):
        """Types keys, waits until their echo and so long, and presses Ctrl-C, again if it came between two lines."""
        self.type(keys)
        self.read(harness.PATIENCE)
        self.read(delay)
        for _ in range(50):
            self.type(b"\x03")
            if self.prompt_is_back(0.4):
                return
        raise harness.SessionFailure("no prompt behind %r" % self.tail)


def press_all(presser, kinds, count):
    for index in range(count):
        keys, delay = kinds[index % len(kinds)]
        presser.press(keys, delay * (index % 7) / 7)


def assert_presses_cost_nothing(shell, kinds):
    pid = shell.process.pid
    presser = Presser(shell)
    press_all(presser, kinds, WARM_UP)
    before, open_before = resident_kb(pid), descriptors(pid)
    press_all(presser, kinds, PRESSES)
    assert descriptors(pid) == open_before
    if harness.BARE:  # a sanitizer keeps what is freed for a while
        assert resident_kb(pid) - before < RESIDENT_KB
    presser.type(b"q\r")
    assert shell.end() == 0


@pytest.fixture
def large(start_obxd, directory):
    """A daemon with a table that takes a while to be shown."""
    path = os.path.join(directory, "large.json")
    generate = os.path.join(harness.SOURCE, "models", "generate.py")
    with open(path, "w", encoding="utf-8") as model:
        subprocess.run(["/usr/bin/python3", generate, "instances", str(LARGE_MODEL)], stdout=model, check=True)
    return start_obxd(model=path)


def test_in_listings_and_completions(large, terminal):
    shell = terminal(daemon=large)
    shell.prompt()
    assert_presses_cost_nothing(shell, [
        (b"cat .\r", 0.05), (b"ls Device.Table.Entry.\r", 0.02), (b"tree .\r", 0.05), (b"catree Device.\r", 0.05),
        (b"ls -l Device.Table.Entry.\r", 0.05), (b"attr Device.Table.\r", 0.01), (b"cat Device.Table.Entry.\t", 0.02),
        (b"lua for i = 1, 1e9 do end\r", 0.03), (b"lua ox.sleep(9)\r", 0.03), (b"select Device.Table.Entry.*\r", 0.03),
    ])


def test_in_waits_for_a_frozen_daemon(obxd, terminal):
    shell = terminal(daemon=obxd)
    shell.prompt()
    shell.run("ls Device.")
    obxd.process.send_signal(signal.SIGSTOP)
    try:
        presser = Presser(shell)
        kinds = [(b"save\r", 0.01), (b"cat Device.\r", 0.01), (b"cd Device.DeviceInfo.\t", 0.01),
                 (b"ls Device.Users.\r", 0.01), (b"tree\r", 0.01), (b"login erin\r", 0.01)]
        press_all(presser, kinds, WARM_UP)
        pid = shell.process.pid
        before, open_before = resident_kb(pid), descriptors(pid)
        press_all(presser, kinds, PRESSES // 4)
        assert descriptors(pid) == open_before
        if harness.BARE:
            assert resident_kb(pid) - before < RESIDENT_KB
    finally:
        obxd.process.send_signal(signal.SIGCONT)
