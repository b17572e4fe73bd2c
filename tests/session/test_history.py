"""The history files of the shell and of Lua mode."""

import os
import shlex

import pytest

import harness

pytestmark = pytest.mark.skipif(not harness.OWN_TMP, reason="the files of the tester's own sessions lie there")

SHELL, LUA = "/tmp/.obxc.hist", "/tmp/.obxc.lua.hist"


@pytest.fixture
def in_tmp(daemon, terminal):
    """A function that runs commands of sh in one /tmp, "obxc" among them."""
    def start(script):
        obxc = 'obxc() { %s -u %s "$@"; }; ' % (shlex.quote(harness.OBXC), shlex.quote(daemon.socket))
        return terminal(command=["sh", "-c", obxc + script])
    return start


def leave(session):
    session.prompt()
    session.send("q\r")


def shown_at_the_end(session):
    assert session.end() == 0
    return session.text().split("FILE\n", 1)[1]


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
    session.send("sh %s -u %s\r" % (harness.OBXC, daemon.socket))
    session.wait_for("(?s)Interactive mode.*Interactive mode")
    session.run("color prompt")
    leave(session)
    session.run("pwd")
    leave(session)
    assert shown_at_the_end(session) == "color prompt\ncolor hint\nsh %s -u %s\npwd" % (harness.OBXC, daemon.socket)


def test_two_lua_modes_keep_both_histories(in_tmp, daemon):
    session = in_tmp("obxc; echo FILE; cat %s" % LUA)
    session.run("lua")
    session.run("1")
    session.run("1")
    session.send('os.execute("%s -u %s")\r' % (harness.OBXC, daemon.socket))
    session.wait_for("(?s)Interactive mode.*Interactive mode")
    session.run("lua")
    session.run("2")
    leave(session)
    leave(session)
    session.run("3")
    leave(session)
    leave(session)
    assert shown_at_the_end(session) == '2\n1\nos.execute("%s -u %s")\n3' % (harness.OBXC, daemon.socket)


def test_a_terminal_that_is_closed_keeps_the_history(session):
    session.run("color hint")
    session.run("color prompt")
    root = os.open("/proc/%d/root/tmp" % session.process.pid, os.O_RDONLY)
    os.close(session.master)
    session.master = os.open("/dev/null", os.O_RDWR)
    harness.wait_until(lambda: session.process.poll() is not None, "the shell's end")
    with open(os.open(".obxc.hist", os.O_RDONLY, dir_fd=root)) as history:
        assert history.read() == "color hint\ncolor prompt\n"
    os.close(root)


def test_a_piped_shell_leaves_the_files_alone(in_tmp):
    lines = r"pwd\nlua\n1\nq\nq\n"
    session = in_tmp("echo old >%s; printf '%s' | obxc; echo FILE; cat %s; ls -1A /tmp" % (SHELL, lines, SHELL))
    assert session.end() == 0
    assert session.text().split("FILE\n", 1)[1] == "old\n.obxc.hist"


@pytest.mark.parametrize("make, reason", [
    ("mkfifo %s", "no regular file"),
    ("mkdir %s", "a directory"),
    ("echo mine >/tmp/other; ln -s other %s", "a symbolic link"),
    ("echo mine >/tmp/other; ln /tmp/other %s", "somebody else's file"),
])
def test_a_file_that_is_none_is_refused(in_tmp, make, reason):
    session = in_tmp("chmod 1777 /tmp; %s; obxc; echo FILE; cat /tmp/other 2>&1; ls -1A /tmp" % (make % SHELL))
    session.wait_for("^The history is not kept: %s: %s$" % (SHELL, reason))
    session.run("pwd")
    leave(session)
    assert session.end() == 0
    assert session.text().count("The history is not kept") == 1
    rest = session.text().split("FILE\n", 1)[1].split("\n")
    assert rest == (["mine", ".obxc.hist", "other"] if "other" in make else
                    ["cat: /tmp/other: No such file or directory", ".obxc.hist"])


def test_recordings_and_links(in_tmp, directory):
    own = os.path.join(directory, "own")
    os.symlink("target", own)
    session = in_tmp("chmod 1777 /tmp; ln -s %s/stolen /tmp/link; mkfifo /tmp/pipe; mkdir /tmp/dir; obxc" % directory)
    session.prompt()
    for command in ("record", "luarecord"):
        for path in ("/tmp/link", "/tmp/pipe", "/tmp/dir", "/dev/null", "/dev/tty"):
            assert session.run("%s %s" % (command, path)) == "%s: can't create record file %s." % (command, path)
    session.run("record " + own)
    session.run("pwd")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert sorted(os.listdir(directory)) == ["own", "target"]
    with open(own) as recording:
        assert recording.read() == "pwd\n"
