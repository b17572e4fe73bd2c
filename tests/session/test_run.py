"""./run: the daemon it starts, what it keeps, and what becomes of the shell. The build itself is left out."""

import os
import shutil

import pytest

import harness


@pytest.fixture
def tree(directory):
    """A tree as ./run finds it, built already; `environment` is what ./run gets in it."""
    os.makedirs(os.path.join(directory, "build", "bin"))
    os.makedirs(os.path.join(directory, "packaging"))
    os.makedirs(os.path.join(directory, "tools"))
    shutil.copy(os.path.join(harness.SOURCE, "run"), directory)
    for program, target in (("obxc", harness.SHELL), ("obxd", harness.OBXD)):
        os.symlink(target, os.path.join(directory, "build", "bin", program))
    for done in ("packaging/install-dependencies", "tools/cmake"):
        os.symlink("/bin/true", os.path.join(directory, done))
    return directory


@pytest.fixture
def run(tree, terminal):
    """A function that starts ./run on a terminal."""
    def start(*args):
        path = os.path.join(tree, "tools") + ":" + os.environ["PATH"]
        env = harness.environment(PATH=path, XDG_STATE_HOME=os.path.join(tree, "states"))
        return terminal(command=[os.path.join(tree, "run"), *args], env=env)
    return start


def leave(session):
    session.prompt()
    session.send("q\r")
    assert session.end() == 0


HOST = "Device.DeviceInfo.HostName"


def host_name(session):
    return session.run("get " + HOST).split("\n")[-1]


def test_what_is_saved_lasts_until_it_is_forgotten(run):
    session = run()
    at_first = host_name(session)
    session.run("set %s=kept" % HOST)
    session.run("save")
    leave(session)
    session = run()
    assert "kept" in host_name(session)
    session.run("set %s=lost" % HOST)
    leave(session)
    session = run()
    assert "kept" in host_name(session)
    leave(session)
    session = run("--fresh")
    assert host_name(session) == at_first
    leave(session)


def test_the_shell_comes_back_after_a_reboot(run):
    session = run()
    session.prompt()
    session.send("reboot\r")
    session.wait_for("(?s)^The device restarts.*Interactive mode")
    assert session.run("pwd") == ":"
    leave(session)


def test_a_second_client_joins(run, tree):
    first = run()
    first.prompt()
    socket = os.path.join(tree, "states", "obxd", "obxd.sock")
    assert " -u " + socket in first.text().replace("\n", "")
    first.run("set %s=shared" % HOST)
    refused = run("--fresh")
    assert refused.end() == 1
    second = run()
    assert "shared" in host_name(second)
    leave(second)
    assert "shared" in host_name(first)
    leave(first)
    assert not os.path.exists(socket)


def test_one_request(run):
    session = run("-r", "get", HOST)
    assert session.end() == 0
    assert "join" not in session.text() and "restarts" not in session.text()
    assert session.text().startswith("Building")
    assert run("-r", "nothing").end() == 255
