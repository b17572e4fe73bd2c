"""The history files of the shell and of Lua mode."""

import os
import shlex
import subprocess

import pytest

import harness

SHELL, LUA = ".obxc.hist", ".obxc.lua.hist"


@pytest.fixture
def in_tmp(daemon, terminal):
    """A function that runs commands of sh in the directory of the history files, "obxc" among them."""
    def start(script):
        obxc = 'cd "$OBX_TEST_TMP"; obxc() { %s -u %s "$@"; }; ' % (shlex.quote(harness.SHELL), shlex.quote(daemon.socket))
        return terminal(command=["sh", "-c", obxc + script])
    return start


def leave(session):
    session.prompt()
    session.send("q\r")


def shown_at_the_end(session):
    assert session.end() == 0
    return session.text().split("FILE\n", 1)[1]


def test_the_files_lie_in_tmp(daemon, terminal):
    """The program as it is installed, where the system allows it a /tmp of its own."""
    private = ["unshare", "-rm", "sh", "-c"]
    mount = "mount -t tmpfs tmpfs /tmp"
    if subprocess.run(private + [mount], stderr=subprocess.DEVNULL).returncode != 0:
        pytest.skip("no private /tmp here")
    # Opened first: the program's place may be hidden by the other /tmp.
    script = "%s; /proc/self/fd/8 -u %s; echo FILE; cd /tmp; head .o*" % (mount, shlex.quote(daemon.socket))
    session = terminal(command=["sh", "-c", "exec 8<%s; exec %s %s" % (
        shlex.quote(harness.OBXC), " ".join(private), shlex.quote(script))])
    session.run("lua")
    session.run("1")
    leave(session)
    leave(session)
    assert shown_at_the_end(session) == "==> .obxc.hist <==\nlua\n\n==> .obxc.lua.hist <==\n1"


def test_a_password_stays_out_of_the_files(in_tmp):
    session = in_tmp("obxc; echo FILE; cat %s %s" % (SHELL, LUA))
    for line in ("pwd", "login root -p secret", "login_if_guest token secret", "color hint"):
        session.run(line)
    session.run("lua")
    session.run("login root -p secret")
    session.run("1")
    leave(session)
    session.wait_line(r"\S*obxc:>")
    assert "secret" not in session.line()
    leave(session)
    assert shown_at_the_end(session) == "pwd\ncolor hint\nlua\n1"


def test_a_password_can_be_recalled(session):
    session.run("login root -p secret")
    session.send("\x1b[A")
    session.wait_line(r"\S*obxc:> login root -p secret")


def test_two_shells_keep_both_histories(in_tmp, daemon):
    session = in_tmp("obxc; echo FILE; cat %s" % SHELL)
    session.run("color hint")
    session.run("color hint")
    session.send("sh %s -u %s\r" % (harness.SHELL, daemon.socket))
    session.wait_for("(?s)Interactive mode.*Interactive mode")
    session.run("color prompt")
    leave(session)
    session.run("pwd")
    leave(session)
    assert shown_at_the_end(session) == "color prompt\ncolor hint\nsh %s -u %s\npwd" % (harness.SHELL, daemon.socket)


def test_two_lua_modes_keep_both_histories(in_tmp, daemon):
    session = in_tmp("obxc; echo FILE; cat %s" % LUA)
    session.run("lua")
    session.run("1")
    session.run("1")
    session.send('os.execute("%s -u %s")\r' % (harness.SHELL, daemon.socket))
    session.wait_for("(?s)Interactive mode.*Interactive mode")
    session.run("lua")
    session.run("2")
    leave(session)
    leave(session)
    session.run("3")
    leave(session)
    leave(session)
    assert shown_at_the_end(session) == '2\n1\nos.execute("%s -u %s")\n3' % (harness.SHELL, daemon.socket)


def test_a_terminal_that_is_closed_keeps_the_history(session):
    session.run("color hint")
    session.run("color prompt")
    os.close(session.master)
    session.master = os.open("/dev/null", os.O_RDWR)
    harness.wait_until(lambda: session.process.poll() is not None, "the shell's end")
    with open(os.path.join(session.tmp, ".obxc.hist")) as history:
        assert history.read() == "color hint\ncolor prompt\n"


def test_a_piped_shell_leaves_the_files_alone(in_tmp):
    lines = r"pwd\nlua\n1\nq\nq\n"
    session = in_tmp("echo old >%s; printf '%s' | obxc; echo FILE; cat %s; ls -1A" % (SHELL, lines, SHELL))
    assert session.end() == 0
    assert session.text().split("FILE\n", 1)[1] == "old\n.obxc.hist"


@pytest.mark.parametrize("make, reason", [
    ("mkfifo %s", "no regular file"),
    ("mkdir %s", "a directory"),
    ("echo mine >other; ln -s other %s", "a symbolic link"),
    ("echo mine >other; ln other %s", "somebody else's file"),
])
def test_a_file_that_is_none_is_refused(in_tmp, make, reason):
    session = in_tmp("chmod 1777 .; %s; obxc; echo FILE; cat other 2>&1; ls -1A" % (make % SHELL))
    session.wait_for("^The history is not kept: /tmp/%s: %s$" % (SHELL, reason))
    session.run("pwd")
    leave(session)
    assert session.end() == 0
    assert session.text().count("The history is not kept") == 1
    rest = session.text().split("FILE\n", 1)[1].split("\n")
    assert rest == (["mine", ".obxc.hist", "other"] if "other" in make else
                    ["cat: other: No such file or directory", ".obxc.hist"])


def test_recordings_and_links(in_tmp, directory):
    own = os.path.join(directory, "own")
    os.symlink("target", own)
    session = in_tmp("chmod 1777 .; ln -s %s/stolen link; mkfifo pipe; mkdir dir; obxc" % directory)
    session.prompt()
    for command in ("record", "luarecord"):
        for path in ("link", "pipe", "dir", "/dev/null", "/dev/tty"):
            assert session.run("%s %s" % (command, path)) == "%s: can't create record file %s." % (command, path)
    session.run("record " + own)
    session.run("pwd")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert sorted(os.listdir(directory)) == ["own", "target"]
    with open(own) as recording:
        assert recording.read() == "pwd\n"
