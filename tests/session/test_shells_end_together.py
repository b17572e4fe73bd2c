"""Shells that end at the same time keep the commands of all, whoever holds them up."""

import fcntl
import os
import time

import pytest

import harness

COUNT = 20


def history(directory):
    with open(os.path.join(directory, ".obxc.hist")) as file:
        return file.read().splitlines()


def shells(daemon, terminal, directory, monkeypatch, count, **options):
    monkeypatch.setattr("harness.terminal.temp_dir", lambda: directory)
    opened = [terminal(daemon=daemon, **options) for _ in range(count)]
    for number, shell in enumerate(opened):
        shell.prompt()
        shell.run("color c%d" % number)
    return opened


def test_twenty_shells(daemon, terminal, directory, monkeypatch):
    opened = shells(daemon, terminal, directory, monkeypatch, COUNT)
    for shell in opened:
        os.write(shell.master, b"q\r")
    for shell in opened:
        assert shell.end() == 0
    assert sorted(history(directory)) == sorted("color c%d" % number for number in range(COUNT))


def test_one_that_is_stopped_while_it_saves(daemon, terminal, directory, monkeypatch):
    """Nobody waits for it without end, and what the others kept meanwhile it does not take back."""
    path = os.path.join(directory, ".obxc.hist")
    opened = shells(daemon, terminal, directory, monkeypatch, 3)
    with open(path, "w") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        start = time.monotonic()
        for shell in opened:
            os.write(shell.master, b"q\r")
            assert shell.end() == 0
        assert time.monotonic() - start < harness.PATIENCE
    assert sorted(history(directory)) == ["color c0", "color c1", "color c2"]


@pytest.mark.skipif(harness.SANITIZED, reason="a preloaded library comes before the sanitizer's")
def test_all_at_once_while_one_is_stopped(daemon, terminal, directory, monkeypatch):
    """Those who stop waiting for it do so at the same moment, and each file takes a while to have its name."""
    path = os.path.join(directory, ".obxc.hist")
    slow = harness.environment(LD_PRELOAD=os.path.join(harness.BUILD, "tests", "slow_rename.so"))
    opened = shells(daemon, terminal, directory, monkeypatch, 8, env=slow)
    with open(path, "w") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        for shell in opened:
            os.write(shell.master, b"q\r")
        for shell in opened:
            assert shell.end() == 0
    assert sorted(history(directory)) == ["color c%d" % number for number in range(8)]
