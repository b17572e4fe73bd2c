"""The interactive loop: start, lines, events while somebody types, Ctrl-C, recording, the end."""

import os
import random
import re
import resource
import signal
import socket
import subprocess
import time

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


def values(daemon, **known):
    """An answer function: values by the last component of their names, {} for every other request."""
    def answer(request, connection):
        if request["method"] == "GetParameterValues":
            name = request["params"]["ParameterNames"][0]
            last = name.rstrip(".").split(".")[-1]
            if last in known:
                return ScriptedDaemon.result({"ParameterList": [{"Name": name, "Value": known[last]}]})
        return ScriptedDaemon.result({})
    return answer


def event_on(daemon, index, group, params=None):
    """An event on one of the daemon's connections: 0 is the one of requests, 1 the one of events."""
    event = {"jsonrpc": "2.0", "method": "Event", "group": group, "params": params}
    daemon.connections[index].sendall(harness.json.dumps(event).encode())


@pytest.fixture
def daemon(scripted):
    return scripted()


@pytest.fixture
def session(daemon, terminal):
    """A shell on a daemon whose every answer is {}, at its prompt."""
    opened = terminal(daemon=daemon)
    opened.prompt()
    opened.daemon = daemon
    return opened


def processor_time(process):
    with open("/proc/%d/stat" % process.pid) as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


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
def test_the_history_outlives_the_shell(daemon, terminal, directory, keys):
    # Both programs see the same /tmp, a private one.
    script = "mount -t tmpfs tmpfs /tmp && %s -u %s; exec %s -u %s" % (harness.OBXC, daemon.socket, harness.OBXC,
                                                                    daemon.socket)
    if not harness.OWN_TMP:
        pytest.skip("no private /tmp here")
    shell = terminal(command=["sh", "-c", script.split("&& ", 1)[1]])
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
    event_on(session.daemon, 1, 7, {"Name": "x", "List": [1]})
    session.wait_for(r'^EVENT 7:\n\{\n    "Name": "x",\n    "List": \[\n        1\n    \]\n\}\n')
    session.wait_line(r".*> kolor hi")
    session.send("nt\r")
    session.wait_for(r"^kolor: command not found.$")


def test_an_event_on_the_requests_connection(session):
    event_on(session.daemon, 0, 2, "text")
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


def test_text_of_an_event_does_not_steer_the_terminal(session):
    event_on(session.daemon, 1, 7, {"Name": "a\u009b31mb\x7fc"})
    session.wait_for(r"EVENT 7:")
    session.settle()
    assert b"\xc2\x9b" not in session.raw and b"\x7f" not in session.raw
    assert r"\x7fc" in session.text() or r"\x7Fc" in session.text()


def test_events_while_a_command_runs_come_afterwards(session):
    session.send("sh sleep 0.3\r")
    session.read(0.1)
    event_on(session.daemon, 1, 7, "later")
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
    before = processor_time(session.process)
    session.daemon.connections[0].shutdown(socket.SHUT_RDWR)
    session.settle(0.5)
    assert processor_time(session.process) - before < 0.2, "the shell spins"
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
    begin = time.monotonic()
    session.run("ls -l")
    assert len(session.daemon.received) > asked
    assert 0.9 < time.monotonic() - begin < 5
    session.daemon.answer = lambda request, connection: ScriptedDaemon.result({})
    assert session.run("save") == "Status: OK"


# --- Ctrl-C -----------------------------------------------------------------------------------------------------


def test_ctrl_c_drops_the_line(session):
    session.send("half a line")
    session.wait_line(".*> half a line")
    session.interrupt()
    session.wait_for(r"> half a line\^C\n\S*obxc:>$")
    session.prompt()
    assert session.run("color hint") == "120 100 55"


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
    session.send("sh echo started; sleep 30\r")
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


def test_ctrl_c_leaves_a_completion_and_keeps_the_line(scripted, terminal):
    def answer(request, connection):
        if request["method"] != "GetParameterAttributes":
            return daemon.result({})
        if request["params"]["ParameterNames"] != ["."]:
            return None
        attributes = [{"Name": name, "Attributes": {"type": "object"}} for name in (".", "Device.")]
        return daemon.result({"ParameterList": attributes})
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.prompt()
    for _ in range(3):
        shell.send("cd Device.x\t")
        shell.settle(0.3)
        shell.interrupt()
        shell.send("y")
        shell.wait_line(r".*> cd Device\.xy")
        shell.interrupt()
        shell.prompt()
    assert ["Device."] in [params["ParameterNames"] for params in daemon.requests("GetParameterAttributes")]
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
    event_on(daemon, 1, 7, "still there")
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


# --- the system fails --------------------------------------------------------------------------------------------


def test_poll_fails(session):
    pid = int(subprocess.check_output(["pgrep", "-n", "-f", "obxc -u " + session.daemon.socket]).split()[0])
    # poll refuses more entries than the process may have descriptors.
    resource.prlimit(pid, resource.RLIMIT_NOFILE, (1, 1))
    session.send("x")
    assert session.end() == 0
    assert session.text().endswith("\nError poll(): Invalid argument")


# --- recording --------------------------------------------------------------------------------------------------


def read(path):
    with open(path) as text:
        return text.read()


def test_a_recording(session, directory):
    path = os.path.join(directory, "rec")
    session.run("color prompt")
    assert session.run("record " + path) == ""
    assert session.line().endswith("obxc-record:>")
    assert session.run("record other") == "record: already recording."
    session.run("color hint")
    session.run("help")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(path) == "record other\ncolor hint\nhelp\n"
    assert os.stat(path).st_mode & 0o777 == 0o600
    session.send("q\r")
    assert session.end() == 0


def test_quit_ends_a_recording_only(session, directory):
    path = os.path.join(directory, "rec")
    session.run("record " + path)
    session.send("quit\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(path) == ""
    assert session.run("color hint") == "120 100 55"


def test_an_aborted_recording(session, directory):
    path = os.path.join(directory, "rec")
    assert session.run("record abort") == "record: no record found."
    session.run("record " + path)
    session.run("color hint")
    assert session.run("record abort") == ""
    assert session.line().endswith("@obxc:>")
    assert read(path) == ""


def test_a_recording_that_nobody_ends(session, directory):
    path = os.path.join(directory, "rec")
    session.run("record " + path)
    session.run("color hint")
    session.send("\x04")
    assert session.end() == 0
    assert read(path) == ""


def test_a_blank_line_shifts_the_recording(session, directory):
    path = os.path.join(directory, "rec")
    session.run("color prompt")
    session.run("record " + path)
    session.run("  color autocomplete")
    session.run("color hint")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(path) == "record %s\ncolor hint\n" % path


def test_record_misuse(session, directory):
    syntax = "syntax: record <filename>|abort"
    assert session.run("record") == syntax
    assert session.run("record a b") == syntax
    missing = os.path.join(directory, "no", "such")
    assert session.run("record " + missing) == "record: can't create record file %s." % missing
    long = directory + "/" + "x" * 300
    session.run("record " + long)
    assert "record: can't create record file %s." % long in session.text().replace("\n", "")


# --- login ------------------------------------------------------------------------------------------------------


def test_the_default_login_shows_in_the_prompt(session):
    assert session.line() == "root@obxc:>"
    session.run("logout")
    assert session.line() == "obxc:>"
    session.run("login admin -p secret")
    assert session.line() == "admin@obxc:>"
    assert session.daemon.requests("Login")[-1] == {"Login": "admin", "Password": "secret"}


def test_a_password_is_typed_unseen(session):
    session.send("login erin\r")
    session.wait_line(r"\[obxc\] password for erin:.*")
    session.send("se cret\r")
    session.wait_line(r"erin@obxc:>")
    assert "cret" not in session.text()
    assert session.daemon.requests("Login")[-1] == {"Login": "erin", "Password": "se cret"}


def test_a_failed_login(scripted, terminal):
    def answer(request, connection):
        if request["method"] == "GetParameterAttributes":
            return daemon.result({})
        return daemon.error(9001, "Request denied")
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.prompt()
    assert shell.line() == "obxc:>"
    assert shell.run("login admin -p wrong") == "[9001] Request denied\nFailed to authenticate user"
    assert [m.get("auth") for m in daemon.received if m["method"] == "Logout"] == [None, None]


def test_system_access_changes_the_prompt_colour(scripted, terminal):
    daemon = scripted()
    daemon.answer = values(daemon, SystemAccess=True)
    shell = terminal(daemon=daemon)
    shell.prompt()
    root = shell.colour_at(0, shell.cursor()[1])
    daemon.answer = values(daemon, SystemAccess=False)
    shell.run("login admin -p x")
    assert shell.colour_at(0, shell.cursor()[1]) != root


def test_a_user_name_does_not_steer_the_terminal(scripted, terminal):
    def answer(request, connection):
        if request["method"] == "Login":
            return daemon.error(9001, "Request denied")
        return values(daemon, CurrentUser="a\x1b[31mb")(request, connection)
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.wait_line(r"a\\x1[bB]\[31mb@obxc:>")


def test_without_colours(daemon, terminal):
    for extra in ({"TERM": "dumb"}, {"TERM": None}, {"NO_COLOR": "1"}):
        shell = terminal(daemon=daemon, env=harness.environment(**extra))
        shell.prompt()
        assert b"38;" not in shell.raw and b"\x1b[3" not in shell.raw
