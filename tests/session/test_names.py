"""Hosts that are given by name, where nobody answers who has it."""

import os
import signal
import subprocess
import time

import pytest

from harness import BUILD, OBXC, PATIENCE, SANITIZED, environment, wait_until

SHIM = os.path.join(BUILD, "tests", "slow_names.so")
URL = "tcp://router.example:7000"
pytestmark = pytest.mark.skipif(SANITIZED, reason="a preloaded library comes before the sanitizer's")


def start(url, *words):
    return subprocess.Popen(["obxc", "-u", url, *words], executable=OBXC, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, env=environment(LD_PRELOAD=SHIM))


def children(pid):
    with open("/proc/%d/task/%d/children" % (pid, pid)) as file:
        return [int(child) for child in file.read().split()]


def is_gone(pid):
    return not os.path.exists("/proc/%d" % pid)


def test_the_time_out_holds():
    process = start(URL, "-r", "save")
    begun = time.monotonic()
    out = process.communicate(timeout=PATIENCE)[0].decode()
    assert (out, process.returncode) == ("Cannot connect to obxd(requests) - Timed out(-11)\n", 1)
    assert time.monotonic() - begun > 4.5


def test_an_address_is_not_looked_up():
    out = start("tcp://127.0.0.1:1", "-r", "save").communicate(timeout=PATIENCE)[0].decode()
    assert out.startswith("Cannot connect to obxd(requests) - ") and "Timed out" not in out


@pytest.mark.parametrize("words", [("-r", "save"), ()])
def test_ctrl_c_leaves_the_wait(words):
    """And nothing of it is left behind."""
    process = start(URL, *words)
    wait_until(lambda: children(process.pid), "the look-up")
    helper, = children(process.pid)
    time.sleep(1.2)  # a shell that has only begun to start goes on
    process.send_signal(signal.SIGINT)
    process.communicate(timeout=PATIENCE)
    assert process.returncode == -signal.SIGINT
    wait_until(lambda: is_gone(helper), "the end of the look-up")
