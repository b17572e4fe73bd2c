"""Signals while the shell starts, and in the instants between two things that it does."""

import os
import signal
import subprocess
import time

import pytest

from harness import OBXC, PATIENCE, environment


def test_ctrl_c_while_the_shell_starts_does_not_end_it(shared_obxd, terminal):
    """However early it comes, once the program's own code runs."""
    for step in range(25):
        shell = terminal(daemon=shared_obxd)
        wait_for_own_code(shell.process.pid)
        time.sleep(step * 0.0002)
        os.kill(shell.process.pid, signal.SIGINT)
        shell.wait_for("obxc:>")
        shell.settle(0.1)
        shell.send("sh echo still here\r")
        shell.wait_for("^still here$")
        shell.send("q\r")
        assert shell.end() == 0


def wait_for_own_code(pid):
    """Until SIGINT is blocked or caught, as the first thing that the program does."""
    bit = 1 << (signal.SIGINT - 1)
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        with open("/proc/%d/status" % pid) as file:
            masks = {line.split(":")[0]: int(line.split()[1], 16) for line in file if line.startswith("Sig")
                     and line.split(":")[0] in ("SigBlk", "SigCgt")}
        if any(mask & bit for mask in masks.values()):
            return
    raise AssertionError("SIGINT was never taken")


@pytest.mark.parametrize("method", ["Login", "GetParameterAttributes"])
def test_ctrl_c_leaves_a_start_that_waits(scripted, terminal, method):
    daemon = scripted(lambda request, connection: None if request["method"] == method else daemon.result({}))
    shell = terminal(daemon=daemon)
    shell.wait_for(r"Waiting for the daemon \(%s\)" % method)
    shell.interrupt()
    shell.prompt()
    assert "Waiting" not in shell.text()
    assert shell.run("save") == "Status: OK"


def test_what_a_shell_runs_has_its_ctrl_c(shared_obxd, terminal):
    """Neither blocked nor ignored."""
    shell = terminal(daemon=shared_obxd)
    shell.prompt()
    shown = dict(line.split() for line in shell.run("sh grep Sig /proc/self/status").split("\n"))
    assert not any(int(shown[name], 16) & 2 for name in ("SigBlk:", "SigIgn:")), shown


def test_ctrl_c_ends_a_one_shot(scripted):
    daemon = scripted(lambda request, connection: None)
    process = subprocess.Popen([OBXC, "-u", daemon.socket, "-r", "save"], env=environment(),
                               stdout=subprocess.PIPE, preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
    daemon.wait_for_request("SaveConfig")
    process.send_signal(signal.SIGINT)
    assert process.wait(PATIENCE) == -signal.SIGINT
    process.stdout.close()


def test_ctrl_c_right_behind_enter_is_not_lost(scripted, terminal):
    """It leaves the command, wherever between the key and the command it comes."""
    daemon = scripted(lambda request, connection: None if request["method"] == "SaveConfig" else daemon.result({}))
    shell = terminal(daemon=daemon)
    shell.prompt()
    for step in range(30):
        mark = len(shell.raw)
        shell.send("save\r")
        while b"\n" not in shell.raw[mark:]:  # Enter was taken
            shell.read(0.0002)
        time.sleep(step * 0.00002)
        os.kill(shell.process.pid, signal.SIGINT)
        shell.prompt()
    assert shell.run("sh echo still here") == "still here"


def test_storm_of_ctrl_c_at_the_prompt(shared_obxd, terminal):
    shell = terminal(daemon=shared_obxd)
    shell.prompt()
    end = time.monotonic() + 3
    while time.monotonic() < end:
        os.kill(shell.process.pid, signal.SIGINT)
        shell.send("x")
        shell.read(0)
    shell.send("\x15")
    shell.settle()
    assert "Error poll" not in shell.text()
    shell.send("sh echo still here\r")
    shell.wait_for("^still here$")
