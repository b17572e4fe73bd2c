"""The interactive loop: start, lines, the end, events while somebody types, a lost connection."""

import os
import re
import resource
import socket
import subprocess
import termios

import pytest

import harness
from harness import ScriptedDaemon, obxc

BANNER = """Ombrix Management System client.
***
WARNING - for experts only!
This tool is not intended to use by users 'cause it can cause harm to the device!
***
Interactive mode. 
Enter 'help' or '?' for help, 'q' for exit.
"""


# --- start and lines --------------------------------------------------------------------------------------------


def test_the_start(session):
    assert BANNER.replace(" \n", "\n") in session.text()
    assert [m["method"] for m in session.daemon.received[:2]] == ["JoinGroup", "Login"]


def test_lines_from_a_pipe(daemon):
    end = obxc(daemon=daemon, stdin="color hint\n\n  \nnothing\nq\nnever\n")
    assert end.status == 0
    assert end.out == BANNER + "120 100 55\n(null): command not found.\nnothing: command not found.\n"
    assert end.err == ""


def test_the_end_of_input_ends_the_shell(daemon):
    for text, printed in (("", ""), ("color hint\n", "120 100 55\n"), ("color hint", "120 100 55\n")):
        end = obxc(daemon=daemon, stdin=text)
        assert (end.status, end.out) == (0, BANNER + printed)


def test_words(session):
    assert session.run("Q") == "Q: command not found."
    assert session.run(" q") == "q: command not found."
    assert session.run("LS") == "LS: command not found."
    assert session.run("   ") == "(null): command not found."
    assert session.run("# comment") == "(null): command not found."
    assert session.run("'open quote") == "open quote: command not found."
    assert session.run("color 'hint' # x") == "120 100 55"
    assert session.run("") == ""


def test_help_by_question_mark(session):
    assert session.run("?") == session.run("help")
    assert "upgrade <path_to_firmware>" in session.text()


def test_opt_misuse_leaves_the_prompt_on_its_line(session):
    session.send("opt hint maybe\r")
    session.wait_for(r"^syntax: opt autocomplete\|hint on\|off")


def test_clear(session):
    session.send("clear\r")
    session.wait(lambda: re.fullmatch(harness.PROMPT, session.line()) and session.cursor()[1] == 0, "the prompt on top")
    assert [line for line in session.screen()[1:] if line] == []


def test_a_line_with_a_leading_blank_is_not_remembered(session):
    session.run("color hint")
    session.run(" color prompt")
    session.send("\x1b[A")
    session.wait_line(r".*> color hint")


def test_text_that_is_no_utf8(session):
    session.send(b"set a=\xff\r")
    session.wait_for("^The line is no UTF-8 text.$")
    session.prompt()


def test_a_very_long_line(daemon):
    end = obxc(daemon=daemon, stdin="x" * 300000 + "\nq\n")
    assert end.out == BANNER + "x" * 300000 + ": command not found.\n"


# --- the end ----------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("keys", ["q\r", "quit\r", "\x04"])
def test_leaving(session, keys):
    session.run("color hint")
    session.send(keys)
    assert session.end() == 0


def test_ctrl_d_in_a_line_does_not_end_the_shell(session):
    session.send("color\x04")
    session.settle(0.1)
    session.send("\r")
    session.wait_for("^syntax: color")
    session.prompt()


@pytest.mark.parametrize("keys", ["q\r", "\x04"])
def test_the_history_outlives_the_shell(daemon, terminal, keys):
    shell = terminal(command=["sh", "-c", "{0} -u {1}; exec {0} -u {1}".format(harness.SHELL, daemon.socket)])
    shell.run("color hint")
    shell.prompt()
    shell.send(keys)
    shell.wait(lambda: shell.text().count("WARNING") == 2, "the second shell")
    shell.prompt()
    shell.send("\x1b[A")
    shell.wait_line(r".*> color hint")


# --- events -----------------------------------------------------------------------------------------------------


def test_an_event_while_a_line_is_typed(session):
    session.send("kolor hi")
    session.wait_line(r".*> kolor hi")
    session.daemon.send_event(7, {"Name": "x", "List": [1]}, on=1)
    session.wait_for(r'^EVENT 7:\n\{\n    "Name": "x",\n    "List": \[\n        1\n    \]\n\}\n')
    session.wait_line(r".*> kolor hi")
    session.send("nt\r")
    session.wait_for(r"^kolor: command not found.$")


def test_an_event_on_the_requests_connection(session):
    session.daemon.send_event(2, "text", on=0)
    session.wait_for(r'^EVENT 2:\n"text"\n')
    session.prompt()


def test_an_event_without_params(session):
    session.daemon.connections[1].sendall(b'{"jsonrpc":"2.0","method":"Event","group":4294967295}')
    session.wait_for(r"^EVENT 4294967295:\n\S*obxc:>")


def test_model_changes_and_other_messages_are_not_printed(session):
    for message in (b'{"jsonrpc":"2.0","method":"Event","group":4,"params":{"Action":"Add"}}',
                    b'{"jsonrpc":"2.0","method":"Event","group":4}',
                    b'{"jsonrpc":"2.0","method":"Event","group":4,"params":5}',
                    b'{"jsonrpc":"2.0","method":"Other","params":{}}',
                    b'{"jsonrpc":"2.0","id":99,"result":{"late":1}}',
                    b'{"jsonrpc":"2.0","method":"Event","group":5,"params":"the last"}'):
        session.daemon.connections[1].sendall(message)
    session.wait_for("the last")
    session.prompt()
    assert session.text().count("EVENT") == 1
    assert "late" not in session.text()


def test_an_event_in_pieces(session):
    for piece in (b'{"jsonrpc":"2.0","meth', b'od":"Event","group":6,', b'"params":"whole"}'):
        session.daemon.connections[1].sendall(piece)
        session.settle(0.05)
    session.wait_for('^EVENT 6:\n"whole"')


def test_keys_are_served_between_events(session):
    flood = b"".join(b'{"jsonrpc":"2.0","method":"Event","group":7,"params":%d}\n' % i for i in range(3000))
    session.send("color hint\r")
    session.daemon.connections[1].sendall(flood)
    session.wait_for("^120 100 55$")
    session.wait(lambda: b"\r\n2999\r\n" in session.raw, "the last event")
    assert [int(n) for n in re.findall(rb"EVENT 7:\r\n(\d+)\r\n", session.raw)] == list(range(3000))
    assert session.raw.index(b"120 100 55") < session.raw.index(b"\r\n2999\r\n")


def test_the_terminal_never_shows_keys_by_itself_while_events_come(session):
    flood = b"".join(b'{"jsonrpc":"2.0","method":"Event","group":7,"params":%d}\n' % i for i in range(3000))
    session.daemon.connections[1].sendall(flood)
    while b"\r\n2999\r\n" not in session.raw:
        assert not any(termios.tcgetattr(session.master)[3] & termios.ECHO for _ in range(50))
        assert session.read(0)
    session.prompt()


def test_text_of_an_event_does_not_steer_the_terminal(session):
    session.daemon.send_event(7, {"Name": "a\u009b31mb\x7fc"}, on=1)
    session.wait_for(r"EVENT 7:")
    session.settle()
    assert b"\xc2\x9b" not in session.raw and b"\x7f" not in session.raw
    assert r"\x7fc" in session.text() or r"\x7Fc" in session.text()


def test_events_while_a_command_runs_come_afterwards(session):
    session.send("sh sleep 0.3\r")
    session.read(0.1)
    session.daemon.send_event(7, "later", on=1)
    session.wait_for('^EVENT 7:\n"later"')
    session.prompt()


# --- a lost connection ------------------------------------------------------------------------------------------


def test_the_events_connection_is_lost(session):
    session.send("half")
    session.wait_line(".*> half")
    session.daemon.connections[1].shutdown(socket.SHUT_RDWR)
    assert session.end() == 0
    assert session.text().endswith("Connection dropped")


def test_broken_events_end_the_shell(session):
    session.daemon.connections[1].sendall(b"}}}}\n")
    assert session.end() == 0
    assert session.text().endswith("Connection dropped")


def test_the_requests_connection_is_lost_and_found(session):
    session.daemon.connections[0].shutdown(socket.SHUT_RDWR)
    session.settle()
    harness.wait_for_rest(session)
    session.run("save")
    session.daemon.wait_for_request("SaveConfig")
    # Reconnected, and logged in again as before.
    logins = [m for m in session.daemon.received if m["method"] == "Login"]
    assert len(logins) == 2 and logins[0]["params"] == logins[1]["params"]


def test_a_daemon_that_restarts(obxd, terminal):
    shell = terminal(daemon=obxd)
    shell.prompt()
    obxd.restart()
    assert shell.end() == 0
    assert shell.text().endswith("Connection dropped")


@pytest.fixture
def joined(daemon, open_shell):
    """A shell that joined group 77, at its prompt."""
    opened = open_shell(args=("-g", "77"))
    opened.daemon = daemon
    return opened


OPEN_AGAIN = "^Events may be lost: the connection was closed and is open again.$"
STILL_CLOSED = "^Events may be lost: the connection was closed, the next command opens it again.$"


def test_groups_are_joined_again_at_the_prompt(joined):
    joined.send("kolor hi")
    joined.wait_line(r".*> kolor hi")
    for times in (1, 2):
        joined.daemon.connections[0 if times == 1 else -1].shutdown(socket.SHUT_RDWR)
        joined.wait(lambda: len(re.findall(OPEN_AGAIN, joined.text(), re.M)) == times, "the loss")
        joined.wait_line(r".*> kolor hi")
        assert joined.daemon.requests("JoinGroup").count({"Group": 77}) == 1 + times
        joined.daemon.send_event(77, "later %d" % times, on=-1)
        joined.wait_for('^EVENT 77:\n"later %d"\n.*> kolor hi$' % times)
    joined.send("nt\r")
    joined.wait_for("^kolor: command not found.$")
    assert len(joined.daemon.requests("Login")) == 3


def test_groups_that_a_command_joined_again(joined):
    def answer(request, connection):
        closes = request["method"] == "SaveConfig" and connection is joined.daemon.connections[0]
        return ScriptedDaemon.CLOSE if closes else joined.daemon.result({})
    joined.daemon.answer = answer
    assert joined.run("save").startswith("Status: OK")
    joined.wait_for(OPEN_AGAIN)
    assert joined.daemon.requests("JoinGroup").count({"Group": 77}) == 2


@pytest.mark.parametrize("reply", [None, ScriptedDaemon.CLOSE])
def test_groups_that_cannot_be_joined_again_wait_for_a_command(joined, reply):
    joined.daemon.answer = lambda request, connection: reply
    joined.daemon.connections[0].shutdown(socket.SHUT_RDWR)
    joined.wait_for(STILL_CLOSED)
    joined.settle(1)
    assert len(re.findall("may be lost", joined.text())) == 1
    harness.wait_for_rest(joined)
    joined.daemon.answer = lambda request, connection: joined.daemon.result({})
    assert joined.run("save") == "Status: OK"
    joined.daemon.send_event(77, "later", on=-1)
    joined.wait_for('^EVENT 77:\n"later"$')


def test_a_connection_that_is_closed_again_and_again(joined):
    def answer(request, connection):
        closes = request["method"] == "JoinGroup"
        return [joined.daemon.result({})] + ([ScriptedDaemon.CLOSE] if closes else [])
    joined.daemon.answer = answer
    joined.daemon.connections[0].shutdown(socket.SHUT_RDWR)
    joined.wait(lambda: joined.text().count("may be lost") >= 2, "two losses")
    assert harness.timed(lambda: joined.wait(lambda: joined.text().count("may be lost") >= 5, "three more"))[1] > 1
    assert re.search("^120 100 55", joined.run("color hint"), re.M)


def test_groups_that_a_daemon_dropped_during_a_lua_loop(obxd, terminal):
    client = obxd.client()
    shell = terminal("-g", "77", daemon=obxd)
    shell.prompt()
    shell.send("lua local e = os.time() + 3 while os.time() < e do end\r")
    for _ in range(220):
        client.send({"jsonrpc": "2.0", "method": "Event", "group": 77, "params": "e" * 60000})
    shell.wait_for(OPEN_AGAIN)
    client.send({"jsonrpc": "2.0", "method": "Event", "group": 77, "params": "later"})
    shell.wait_for('^EVENT 77:\n"later"$')
    shell.prompt()


def test_a_daemon_that_restarts_has_no_groups_to_be_joined_again(obxd, terminal):
    shell = terminal("-g", "77", daemon=obxd)
    shell.prompt()
    obxd.restart()
    assert shell.end() == 0
    assert shell.text().endswith("Connection dropped")


def test_a_terminal_that_goes_away(daemon):
    terminal = harness.Terminal(daemon=daemon)
    terminal.prompt()
    master, terminal.master = terminal.master, os.open("/dev/null", os.O_RDONLY)
    os.close(master)
    assert terminal.process.wait(harness.PATIENCE) is not None
    terminal.close()


def test_a_daemon_that_talks_nonsense(scripted, terminal):
    def answer(request, connection):
        return b"nonsense\n" if request["method"] == "SaveConfig" else daemon.result({})
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    for _ in range(3):
        assert re.fullmatch(r"\[-10\] .+", shell.run("save"))
    daemon.answer = (lambda request, connection: daemon.result({}))
    assert shell.run("save") == "Status: OK"


def test_a_daemon_that_says_nothing(session):
    session.daemon.answer = lambda request, connection: None
    asked = len(session.daemon.received)
    assert harness.timed(lambda: session.run("ls -l"))[1] > 0.9
    assert len(session.daemon.received) > asked
    session.daemon.answer = lambda request, connection: ScriptedDaemon.result({})
    assert session.run("save") == "Status: OK"


# --- the system fails --------------------------------------------------------------------------------------------


def test_poll_fails(daemon, open_shell):
    session = open_shell(env=harness.environment(leaks=False))  # a leak check needs descriptors of its own
    session.daemon = daemon
    pid = int(subprocess.check_output(["pgrep", "-n", "-f", "obxc -u " + session.daemon.socket]).split()[0])
    # poll refuses more entries than the process may have descriptors.
    resource.prlimit(pid, resource.RLIMIT_NOFILE, (1, 1))
    session.send("x")
    assert session.end() == 0
    assert session.text().endswith("\nError poll(): Invalid argument")
