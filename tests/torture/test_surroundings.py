"""Surroundings that lack what a program takes for granted: the work is done, or it is said in one line why not, with a status
other than 0."""

import errno
import os
import re
import resource
import socket
import subprocess

import pytest

import harness
from programs import run

HOST = "Device.DeviceInfo.HostName"


@pytest.fixture(scope="module")
def obxd(shared_obxd):
    return shared_obxd


@pytest.fixture(scope="module")
def right(obxd):
    ran = run(obxd, "-r", "get", HOST)
    assert ran.status == 0 and ran.out
    return ran.out


def done_or_said(ran, right):
    """The answer, or a status with a reason, where there was anywhere to say it."""
    if ran.status == 0:
        assert ran.out == right, ran
    else:
        assert 0 < (ran.out + ran.err).count(b"\n") <= 2, ran


@pytest.mark.parametrize("missing", ["HOME", "TERM", "PATH", "LANG", "USER"])
def test_no_such_variable(obxd, right, missing):
    ran = run(obxd, "-r", "get", HOST, env=harness.environment(**{missing: None}))
    assert (ran.status, ran.out) == (0, right), ran


def test_empty_environment(obxd, right):
    ran = run(obxd, "-r", "get", HOST, env={"ASAN_OPTIONS": harness.environment()["ASAN_OPTIONS"]})
    assert (ran.status, ran.out) == (0, right), ran


@pytest.mark.parametrize("closed", [(0,), (2,), (0, 2), (0, 1, 2)])
def test_closed_descriptors(obxd, right, closed):
    ran = run(obxd, "-r", "get", HOST, before=lambda: [os.close(each) for each in closed])
    if 1 in closed:
        assert ran.status != 0, ran
    else:
        assert (ran.status, ran.out) == (0, right), ran


def test_full_disk_is_told(obxd):
    def fill():
        full = os.open("/dev/full", os.O_WRONLY)
        os.dup2(full, 1)
    ran = run(obxd, "-r", "get", HOST, before=fill)
    assert ran.status != 0 and os.strerror(errno.ENOSPC).encode() in ran.err, ran


@pytest.mark.parametrize("count", range(3, 12))
def test_few_descriptors(obxd, right, count):
    done_or_said(run(obxd, "-r", "get", HOST, before=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (count, count))), right)


@pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer needs all addresses")
def test_little_memory(obxd, right):
    enough = 0
    for mib in (64, 32, 16, 12, 10, 8, 7, 6, 5, 4, 3):
        ran = run(obxd, "-r", "get", HOST,
                  before=lambda size=mib << 20: resource.setrlimit(resource.RLIMIT_AS, (size, size)))
        done_or_said(ran, right)
        enough += ran.status == 0
    assert enough >= 3


@pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer needs all addresses")
def test_little_memory_in_lua(obxd, directory):
    code = os.path.join(directory, "grow.lua")
    with open(code, "w") as file:
        file.write("local t = {} for i = 1, 1e8 do t[i] = tostring(i) .. ('x'):rep(100) end")
    limit = 64 << 20
    ran = run(obxd, "-S", code, before=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)))
    assert ran.status == 1 and b"not enough memory" in ran.out, ran


@pytest.fixture
def read_only(directory):
    """A directory that root cannot write either, with a start-up script below it."""
    place = os.path.join(directory, "home")
    os.mkdir(place)
    done = subprocess.run(["mount", "-t", "tmpfs", "tmpfs", place], capture_output=True)
    if done.returncode != 0:
        pytest.skip("no file system can be mounted here: " + done.stderr.decode())
    try:
        os.makedirs(os.path.join(place, ".local", "obxc"))
        with open(os.path.join(place, ".local", "obxc", "config"), "w") as file:
            file.write("save\n")
        subprocess.run(["mount", "-o", "remount,ro", place], check=True)
        yield place
    finally:
        subprocess.run(["umount", place], check=True)


def test_read_only_home(obxd, right, read_only):
    """Who cannot write at home is served, and told what could not be kept there."""
    assert run(obxd, "-r", "get", HOST, env=harness.environment(home=read_only)).out == right
    path = os.path.join(read_only, "recording")
    shell = harness.Terminal(daemon=obxd, home=read_only, cwd=read_only)
    try:
        assert shell.run("cat :" + HOST).startswith(" = '")
        assert shell.run("record " + path) == "record: can't create record file %s." % path
        shell.run("ls")
        shell.send("q\r")
        assert shell.end() == 0
    finally:
        shell.close()
    assert os.listdir(read_only) == [".local"]


def test_huge_and_corrupt_history(obxd, rng, tmp_path, monkeypatch):
    """What stands in the history's file is loaded as far as it makes sense, soon and without growing."""
    first = harness.Terminal(daemon=obxd)
    first.run("pwd")
    first.send("q\r")
    first.end()
    names = os.listdir(first.tmp)
    first.close()
    assert names
    contents = [b"x" * (100 << 20), b"ls\n" * (30 << 20), rng.randbytes(1 << 20), b"\0" * (1 << 20), b"\x01\\" * 10000]
    for number, content in enumerate(contents):
        directory = tmp_path / str(number)
        directory.mkdir()
        for name in names:
            (directory / name).write_bytes(content)
        monkeypatch.setattr("harness.terminal.temp_dir", lambda path=str(directory): path)
        shell = harness.Terminal(daemon=obxd)
        try:
            assert shell.run("cat :" + HOST).startswith(" = '")
            with open("/proc/%d/status" % shell.pid()) as status:
                peak = int(re.search(r"VmHWM:\s+(\d+)", status.read()).group(1)) / 1024
            assert peak < 32 or harness.SANITIZED, peak
            shell.send("q\r")
            assert shell.end() == 0
        finally:
            shell.close()


def test_socket_that_is_none(directory, right):
    """What is no daemon's socket is told."""
    for make in (lambda path: open(path, "w").close(), os.mkdir, os.mkfifo,
                 lambda path: socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM).bind(path)):
        path = os.path.join(directory, "s")
        make(path)
        ran = run(path, "-r", "get", HOST, hangs=20)
        assert ran.status != 0 and (ran.out + ran.err).count(b"\n") == 1, ran
        os.rmdir(path) if os.path.isdir(path) else os.unlink(path)
