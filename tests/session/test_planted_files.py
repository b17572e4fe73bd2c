"""What another user planted in a directory like /tmp is neither read nor written nor waited for."""

import os
import pwd

import pytest

import harness

pytestmark = pytest.mark.skipif(os.getuid() != 0, reason="only root can play two users")

SECRET = "only mine\n"


def plant_file(path, victim):
    with open(path, "w") as file:
        file.write("color planted\n")
    os.chmod(path, 0o666)


KINDS = {
    "file": plant_file,
    "link": lambda path, victim: os.symlink(victim, path),
    "dangling": lambda path, victim: os.symlink(victim + ".new", path),
    "hard link": lambda path, victim: os.link(victim, path),
    "pipe": lambda path, victim: os.mkfifo(path),
    "directory": lambda path, victim: os.mkdir(path),
}


@pytest.fixture(params=sorted(KINDS))
def planted(request, directory):
    """A function that plants the thing at a name in a directory that everybody may write; gives its path."""
    shared = os.path.join(directory, "shared")
    os.mkdir(shared)
    os.chmod(shared, 0o1777)
    os.chmod(directory, 0o755)
    victim = os.path.join(directory, "victim")
    with open(victim, "w") as file:
        file.write(SECRET)

    def plant(name):
        path = os.path.join(shared, name)
        KINDS[request.param](path, victim)
        if request.param != "hard link":
            os.chown(path, pwd.getpwnam("nobody").pw_uid, -1, follow_symlinks=False)
        return path
    yield plant
    with open(victim) as file:
        assert file.read() == SECRET
    assert not os.path.exists(victim + ".new")


def content(path):
    """What must not change of the planted thing."""
    status = os.lstat(path)
    regular = os.path.isfile(path) and not os.path.islink(path)
    return (status.st_mode, status.st_uid, status.st_ino, open(path).read() if regular else None)


def test_a_recording(planted, session):
    path = planted("rec")
    before = content(path)
    for command in ("record", "luarecord"):
        assert session.run("%s %s" % (command, path)) == "%s: can't create record file %s." % (command, path)
    assert content(path) == before


def test_a_thing_planted_while_recording(planted, session, directory):
    path = os.path.join(directory, "shared", "rec")
    session.run("record " + path)
    session.run("color hint")
    os.unlink(path)
    planted("rec")
    before = content(path)
    session.send("q\r")
    session.wait_for("^record: can't write record file %s\\.$" % path)
    assert content(path) == before


@pytest.mark.parametrize("name", [".obxc.hist", ".obxc.lua.hist"])
def test_a_history(planted, daemon, terminal, directory, monkeypatch, name):
    path = planted(name)
    before = content(path)
    monkeypatch.setattr("harness.terminal.temp_dir", lambda: os.path.join(directory, "shared"))
    shell = terminal(daemon=daemon)
    shell.prompt()
    shell.run("lua")
    shell.run("1")
    shell.send("q\r")
    shell.wait_line(r"\S*obxc:>")
    shell.send("\x1b[A\x1b[A")
    shell.settle()
    assert "planted" not in shell.text()
    shell.send("\x15q\r")
    assert shell.end() == 0
    shell.wait_for("^The history is not kept: /tmp/%s: " % name.replace(".", r"\."))
    assert content(path) == before
