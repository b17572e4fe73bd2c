"""Ctrl-C in all that a shell does."""

import os
import random
import re
import select
import signal
import subprocess
import time

import pytest

import harness


def test_ctrl_c_drops_the_line(session):
    session.send("half a line")
    session.wait_line(".*> half a line")
    session.interrupt()
    session.wait_for(r"> half a line\^C\n\S*obxc:>$")
    session.prompt()
    assert session.run("color hint") == "120 100 55"


def test_ctrl_c_behind_a_line_typed_key_by_key(session):
    session.prompt()
    session.type_slowly("half a line")
    session.interrupt()
    session.wait_for(r"obxc:> half a line\^C\n\S*obxc:>$")


def test_ctrl_c_and_text_at_once(session):
    """The interrupt counts although keys are there to be read."""
    for _ in range(20):
        session.send("drop me")
        session.wait_line(".*> drop me")
        session.send("\x03keep me")
        session.wait_line(".*> keep me")
        session.interrupt()
        session.prompt()


def test_ctrl_c_at_an_empty_prompt(session):
    for count in range(1, 6):
        session.interrupt()
        session.wait(lambda: session.text().count("^C") == count, "mark %d" % count)
        session.prompt()
    assert session.run("color hint") == "120 100 55"


def test_ctrl_c_leaves_a_hanging_request(terminal, scripted):
    def answer(request, connection):
        return None if request["method"] == "SaveConfig" else daemon.result({})
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    for count in (1, 2, 3):
        shell.prompt()
        shell.send("save\r")
        daemon.wait_for_request("SaveConfig", count)
        shell.interrupt()
    shell.prompt()
    # The late answers belong to nobody; the next request gets its own.
    late = [m["id"] for m in daemon.received if m["method"] == "SaveConfig"]
    for number in late:
        daemon.connections[0].sendall(b'{"jsonrpc":"2.0","id":%d,"error":{"code":1,"message":"late"}}\n' % number)
    daemon.answer = lambda request, connection: daemon.result({})
    assert shell.run("save") == "Status: OK"
    assert "late" not in shell.text()


def test_the_prompt_after_ctrl_c_has_a_line_of_its_own(session):
    session.daemon.answer = lambda request, connection: None
    session.send("save\r")
    session.daemon.wait_for_request("SaveConfig")
    session.interrupt()
    session.wait_for(r"save\n\^C\n\w+@obxc:>$")
    # The editor and the screen agree on the column: a line that wraps is wiped whole.
    session.send("x" * 95)
    session.settle()
    session.send("\x15color hint\r")
    session.wait_for(r"obxc:> color hint\n120 100 55\n")


def test_ctrl_c_in_a_program_of_the_system(session):
    session.send("sh echo started; exec sleep 30\r")
    session.wait_for("^started$")
    session.interrupt()
    session.wait_for(r"started\n\^C\n\w+@obxc:>$")
    assert session.run("color hint") == "120 100 55"


def test_ctrl_c_in_the_password_prompt_restores_the_echo(session):
    session.send("login erin\r")
    session.wait_line(r"\[obxc\] password for erin:.*")
    session.send("secret")
    session.settle(0.1)
    session.interrupt()
    session.wait_line(r".*obxc:>")
    assert "secret" not in session.text()
    session.send("color hint")
    session.wait_line(".*> color hint")
    session.send("\r")
    session.wait_for("^120 100 55$")
    assert [m for m in session.daemon.received if m["method"] == "Login"][1:] == []


def test_ctrl_c_leaves_a_completion_and_keeps_the_line(frozen_objects, terminal):
    shell = terminal(daemon=frozen_objects)
    shell.prompt()
    for _ in range(3):
        shell.send("cd Device.x\t")
        shell.settle(0.3)
        shell.interrupt()
        shell.send("y")
        shell.wait_line(r".*> cd Device\.xy")
        shell.interrupt()
        shell.prompt()
    assert ["Device."] in [params["ParameterNames"] for params in frozen_objects.requests("GetParameterAttributes")]
    assert shell.run("save") == "Status: OK"


def test_ctrl_c_in_a_login_by_token_takes_the_token_back(scripted, terminal):
    def answer(request, connection):
        if request["method"] == "Login" and request["params"]["Login"] == "t0k3n":
            return daemon.error(9001, "Request denied")
        return None if request.get("auth") else daemon.result({})
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.prompt()
    shell.send("login t0k3n -p x\r")
    shell.wait(lambda: any(m.get("auth") == "t0k3n" for m in daemon.received), "the token")
    shell.interrupt()
    shell.prompt()
    assert shell.run("save") == "Status: OK"
    assert daemon.received[-1]["method"] == "SaveConfig" and "auth" not in daemon.received[-1]


def test_ctrl_c_at_random_moments(scripted, terminal):
    """A hundred times, in all that a shell does; it is alive and right afterwards."""
    chance = random.Random(5)

    def answer(request, connection):
        if request["method"] == "SaveConfig":
            time.sleep(chance.random() / 100)
        return daemon.result({})
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.prompt()
    lines = ["save\r", "color hint\r", "help\r", "save\r", "login erin -p x\r", "half a line", "logout\r", "\r"]
    for _ in range(100):
        shell.send(chance.choice(lines))
        shell.read(chance.random() / 50)
        shell.interrupt()
        shell.read(chance.random() / 100)
    shell.settle()
    shell.interrupt()
    shell.settle()
    for _ in range(3):
        shell.send("\x15")
        shell.prompt()
        assert shell.run("color hint").split("\n")[-1] == "120 100 55"
        assert shell.run("save").split("\n")[-1] == "Status: OK"
    daemon.send_event(7, "still there", on=1)
    shell.wait_for("still there")
    shell.send("q\r")
    assert shell.end() == 0


def test_a_signal_at_random_moments(scripted, terminal):
    """The same from outside, where no terminal holds it back."""
    daemon = scripted()
    shell = terminal(daemon=daemon)
    shell.prompt()
    pid = int(subprocess.check_output(["pgrep", "-n", "-f", "obxc -u " + daemon.socket]).split()[0])
    shell.send("save\r" * 200)
    for _ in range(100):
        os.kill(pid, signal.SIGINT)
        shell.read(0.002)
    shell.settle()
    shell.send("\x15")
    shell.prompt()
    assert shell.run("color hint").split("\n")[-1] == "120 100 55"


def test_ctrl_c_in_a_program_ends_the_rest_of_a_paste(session):
    session.send("\x1b[200~sh echo started; sleep 30\rsave\rsave\r\x1b[201~\r")
    session.wait_for("^started$")
    session.interrupt()
    session.prompt()
    assert session.run("color hint") == "120 100 55"
    assert session.daemon.requests("SaveConfig") == []


@pytest.mark.parametrize("lines", ["sh echo started; sleep 30", "lua os.execute('echo started; sleep 30')",
                                   "lua\nos.execute('echo started; sleep 30')\nq", "lua print('started') ox.sleep(30)"])
def test_ctrl_c_ends_the_rest_of_piped_lines(scripted, terminal, directory, lines):
    daemon = scripted()
    path = os.path.join(directory, "lines")
    with open(path, "w", encoding="utf-8") as file:
        file.write(lines + "\nsave\nsave\n")
    shell = terminal(command=["sh", "-c", "trap '' QUIT; cat %s | %s -u %s" % (path, harness.OBXC, daemon.socket)])
    shell.wait_for("started")
    shell.settle(0.5)
    shell.interrupt()
    shell.end()
    assert daemon.requests("SaveConfig") == []


@pytest.mark.parametrize("call", ["os.execute('echo started; exec sleep 30')", "print('started', io.read())",
                                  "for line in io.lines() do print('started', line) end",
                                  "print('started') io.flush() io.read('a')"])
def test_ctrl_c_ends_a_lua_statement(session, call):
    for enter, prompt in (("lua %s print('after')\r", r"\S+obxc:>"), ("lua\r%s print('after')\r", r"\S+obxc-lua:>")):
        mark = session.shown()
        session.send(enter % call)
        session.settle(0.4)
        if "line" in call:
            session.send("a line\r")
            session.settle(0.2)
        session.interrupt()
        session.wait_line(prompt)
        assert "after\n" not in session.since(mark)[len(call):].replace("print('after')", "")
    session.send("q\r")
    session.prompt()
    assert session.run("color hint").endswith("120 100 55")


def bytes_shown(session, most, silence):
    """How much is shown until it is that much or there is silence; what was read is kept off the slow screen."""
    count = 0
    while count < most and select.select([session.master], [], [], silence)[0]:
        count += len(os.read(session.master, 65536))
    return count


@pytest.mark.parametrize("statement", ["error(('x'):rep(60000000))", "print(('line\\n'):rep(12000000))",
                                       "io.write(('line\\n'):rep(12000000))", "('x'):rep(60000000)",
                                       "local function f() return 1 + f() end f()"])
def test_ctrl_c_stops_output_under_way(session, statement):
    session.send("lua\r")
    session.wait_line(r"\S+obxc-lua:>")
    os.write(session.master, statement.encode() + b"\r")
    assert bytes_shown(session, 30000, harness.PATIENCE) >= 30000
    os.write(session.master, b"\x03")
    assert bytes_shown(session, 1 << 30, 1) < 1000000
    session.send("q\r")
    session.prompt()


@pytest.mark.parametrize("statement", ["while true do end", "os.execute('sleep 60')"])
def test_ctrl_c_is_the_error_of_the_lua_command(session, statement):
    session.send("lua " + statement + "\r")
    session.wait_for("^" + re.escape(statement))
    session.settle()
    session.interrupt()
    session.prompt()
    assert "LUA ERROR: interrupted!\n" in session.text()
