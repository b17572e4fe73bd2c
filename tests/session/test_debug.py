"""debug and sh."""

import re

import pytest

import harness
from harness import ScriptedDaemon, obxc

LOGIN_AGAIN = "You must log out and log back in for the changes to take effect."


def guarded(daemon, words, options=""):
    """obxc under a parent that tells whether it was hung up: debug ends the login session of its parent."""
    script = "trap 'echo hung up; exit 3' HUP; %s -u %s %s -r %s; echo status $?" % (
        harness.OBXC, daemon.socket, options, " ".join(words))
    return ["sh", "-c", script]


@pytest.mark.parametrize("word, mode", [("temporary", "Temporary"), ("PERMANENT", "Permanent")])
def test_mode_and_password_are_sent(scripted, terminal, word, mode):
    daemon = scripted()
    shell = terminal(command=guarded(daemon, ["debug", word]))
    shell.wait_line(r"\[obxc\] password for current user:")
    shell.send("se cret\r")
    shell.wait_for("hung up")
    assert shell.end() == 3
    assert "se cret" not in shell.text()
    assert LOGIN_AGAIN in shell.text() and "Status: OK" in shell.text()
    assert daemon.requests("Execute") == [{"Path": "Device.System.Debug", "ParameterList": [
        {"Name": "Mode", "Value": mode}, {"Name": "UserPassword", "Value": "se cret"}]}]


def test_disabled_asks_no_password(scripted, terminal):
    daemon = scripted()
    shell = terminal(command=guarded(daemon, ["debug", "disabled"]))
    shell.wait_for("hung up")
    shell.end()
    assert "password" not in shell.text()
    assert daemon.requests("Execute")[0]["ParameterList"][1] == {"Name": "UserPassword", "Value": None}


def test_a_refusal_hangs_up_nobody(scripted, terminal):
    daemon = scripted(lambda request, connection: ScriptedDaemon.error(9001, "Wrong password"))
    shell = terminal(command=guarded(daemon, ["debug", "temporary"]))
    shell.wait_line(r"\[obxc\] password for current user:")
    shell.send("x\r")
    shell.wait_for("status 0")
    assert "[9001] Wrong password" in shell.text()
    assert LOGIN_AGAIN not in shell.text() and "hung up" not in shell.text()
    shell.end()


@pytest.mark.parametrize("password, accepted", [("admin", True), ("wrong", False), ("", False)])
def test_the_device_checks_the_password(obxd, terminal, password, accepted):
    shell = terminal(command=guarded(obxd, ["debug", "permanent"], "-a admin:admin"))
    shell.wait_line(r"\[obxc\] password for current user:")
    shell.send(password + "\r")
    shell.wait_for("hung up" if accepted else "status 0")
    shell.end()
    assert (LOGIN_AGAIN in shell.text()) == accepted
    assert ("Status: OK" in shell.text()) == accepted
    assert bool(re.search(r"^\[9\d+\] .+$", shell.text(), re.M)) != accepted


@pytest.mark.parametrize("words", [["debug"], ["debug", "on"], ["debug", "Tempo"], ["debug", ""]])
def test_debug_syntax(scripted, words):
    daemon = scripted()
    done = obxc("-r", *words, daemon=daemon)
    assert (done.out, done.status) == ("syntax: change system debug mode\n", 255)
    assert daemon.received == []


@pytest.mark.parametrize("words, out", [
    (["sh", "echo", "a", " b"], "a b\n"),
    (["sh", "echo 'a  b'"], "a  b\n"),
    (["sh", "exit", "3"], ""),
])
def test_sh_runs_the_joined_words(scripted, words, out):
    done = obxc("-r", *words, daemon=scripted())
    assert (done.out, done.status) == (out, 0)


def test_sh_alone_is_a_shell(scripted):
    done = obxc("-r", "sh", daemon=scripted(), stdin="echo from the shell\n")
    assert done.out == "from the shell\n"


def test_sh_keeps_the_order_of_output(shell):
    assert shell.run("sh echo one; echo two >&2; echo three") == "one\ntwo\nthree"


def test_sh_gives_the_terminal_and_takes_it_back(shell):
    shell.prompt()
    shell.send("sh stty -echo -icanon; cat\r")
    shell.settle()
    shell.send("typed\r")
    shell.wait_for("typed")
    shell.interrupt()
    shell.prompt()
    assert shell.run("pwd") == ":"
    shell.send("sh stty -a | grep -o -w -e '-*echo' -e '-*icanon'\r")
    shell.wait_for(r"^icanon\necho|^echo\nicanon")


def test_ctrl_c_ends_the_command_not_the_shell(shell):
    shell.prompt()
    shell.send("sh sleep 100\r")
    shell.settle()
    shell.interrupt()
    shell.prompt()
    assert shell.run("pwd") == ":"


@pytest.mark.parametrize("key", ["\x03", "\x1c"])
def test_the_prompt_after_a_command_that_a_key_ended_has_a_row_of_its_own(shell, key):
    # One process, which cannot write what became of another.
    shell.send("sh 'printf started; exec sleep 100'\r")
    shell.wait_line("started")
    shell.send(key)
    shell.wait_for(r"^started\^[\\C]\n\S*obxc:>$")


def test_ctrl_z_stops_shell_and_command_together(obxd, terminal):
    outer = terminal(command=["bash", "--norc", "-i"], env=harness.environment(PS1="outer$ ", HISTFILE="/dev/null"))
    outer.wait_line(r"outer\$|bash.*")
    outer.send("PS1='outer$ '\r")
    outer.wait_line(r"outer\$")
    outer.send("%s -u %s\r" % (harness.SHELL, obxd.socket))
    outer.prompt()
    outer.send("sh sleep 1000\r")
    outer.settle()
    outer.send("\x1a")
    outer.wait_for(r"Stopped")
    outer.wait_line(r"outer\$")
    outer.send("fg\r")
    outer.settle()
    outer.interrupt()
    outer.prompt()
    assert outer.run("pwd") == ":"
    outer.send("q\r")
    outer.wait_line(r"outer\$")
    outer.send("exit\r")
    outer.end()


def test_the_terminal_comes_back_from_a_shell_that_was_killed(shell):
    """An interactive shell puts itself in the foreground; one that dies does not put obxc back there."""
    shell.prompt()
    shell.send("sh bash --norc -i\r")
    shell.wait_line(r"bash.*[#$]")
    shell.send("stty -icanon -echo; kill -9 $$\r")
    assert shell.run("pwd") == ":"
