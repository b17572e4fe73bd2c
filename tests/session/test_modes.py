"""The run modes, their exit statuses, and what every start does before them."""

import json
import os
import re
import signal
import socket
import subprocess
import time

import pytest

import harness
from harness import ScriptedDaemon, obxc


def start(daemon, *args, **options):
    """obxc without a terminal, still running."""
    return subprocess.Popen([harness.OBXC, "-u", daemon.socket, *args], stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, stdin=subprocess.DEVNULL,
                            env=options.pop("env", None) or harness.environment(), **options)


def methods(daemon):
    return [message.get("method") for message in daemon.received]


# --- connecting -------------------------------------------------------------------------------------------------


def test_no_daemon():
    end = obxc("-u", "/nonexistent/socket", "-r", "ls")
    assert end.status == 1
    assert re.fullmatch(r"Cannot connect to obxd\(requests\) - .+\(-5\)\n", end.out)
    assert end.err == ""


def test_the_events_connection_fails(directory):
    path = os.path.join(directory, "s")
    listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    listener.bind(path)
    listener.listen(0)  # room for one
    end = obxc("-u", path, "-r", "ls")
    listener.close()
    assert end.status == 1
    assert re.fullmatch(r"Cannot connect to obxd\(events\) - .+\(-\d+\)\n", end.out)


def test_bad_options_do_not_connect(scripted):
    daemon = scripted()
    end = obxc("-r", "a", "-n", "b", daemon=daemon)
    assert (end.status, end.out) == (1, "")
    assert end.err == "Cannot execute 'notify' and 'request' modes simultaneously.\n"
    end = obxc("-x", daemon=daemon)
    assert (end.status, end.out) == (1, "")
    assert end.err.startswith("Ombrix Management System client.\nUsage: obxc [options]\n\nOptions:\n\t-r, --request")
    end = obxc("-g", "1,x", "-l", daemon=daemon)
    assert (end.status, end.err) == (1, "Invalid group number: 'x'.\n")
    end = obxc("-h", daemon=daemon)
    assert (end.status, end.err) == (0, "")
    assert end.out.endswith("\t-v, --version                       Display obxc version.\n")
    assert obxc("-v").out == "Ombrix Management System client.\nobxc version 0.2.1\n"
    assert daemon.received == []


def test_output_that_cannot_be_written(scripted):
    with open("/dev/full", "w") as full:
        process = subprocess.run([harness.OBXC, "-v"], stdout=full, stderr=subprocess.PIPE,
                                 env=harness.environment())
    assert process.returncode == 1
    assert b"cannot write standard output" in process.stderr


def test_closed_standard_descriptors(scripted):
    """A connection must not end up where the person's input and output would be."""
    daemon = scripted()
    process = subprocess.run(["sh", "-c", "exec %s -u %s <&- 2>&-" % (harness.OBXC, daemon.socket)],
                             stdout=subprocess.PIPE, env=harness.environment(), timeout=harness.PATIENCE)
    assert process.returncode == 0
    assert process.stdout.endswith(b"'q' for exit.\n")
    process = subprocess.run(["sh", "-c", "exec %s -u %s -r save >&-" % (harness.OBXC, daemon.socket)],
                             stderr=subprocess.PIPE, env=harness.environment(), timeout=harness.PATIENCE)
    assert process.returncode == 1
    assert b"cannot write standard output: Bad file descriptor" in process.stderr
    assert all(isinstance(message, dict) for message in daemon.received)


def test_credentials_do_not_show_in_the_process_list(scripted):
    daemon = scripted()
    process = start(daemon, "-l", "-a", "admin:topsecret")
    daemon.wait_for_request("JoinGroup")
    with open("/proc/%d/cmdline" % process.pid) as line:
        assert "topsecret" not in line.read()
    process.kill()
    process.communicate()


# --- groups and login before the mode ---------------------------------------------------------------------------


def test_groups_are_joined(scripted):
    joined = []
    daemon = scripted(lambda request, connection: joined.append((request["method"], request.get("params"),
                                                                 daemon.connections.index(connection)))
                      or daemon.result({}))
    assert obxc("-n", "x", "-g", "7,,9", "-g", "3", daemon=daemon).out == "Unsupported :(\n"
    # The events connection joins the model changes, the requests connection what was asked for, in order.
    assert joined == [("JoinGroup", {"Group": 4}, 1), ("JoinGroup", {"Group": 7}, 0), ("JoinGroup", {"Group": 9}, 0),
                      ("JoinGroup", {"Group": 3}, 0)]


def test_more_groups_than_a_small_list_holds(scripted):
    daemon = scripted()
    assert obxc("-n", "x", "-g", ",".join(str(i) for i in range(10, 210)), daemon=daemon).status == 0
    assert [params["Group"] for params in daemon.requests("JoinGroup")] == [4] + list(range(10, 210))


@pytest.mark.parametrize("mode", [["--raw", '{"jsonrpc":"2.0","method":"x"}'], ["-r", "nothing"]])
def test_raw_and_request_do_not_join_the_model_changes(scripted, mode):
    daemon = scripted()
    obxc(*mode, daemon=daemon)
    assert daemon.requests("JoinGroup") == []


def test_a_refused_group_stops_nothing(scripted):
    daemon = scripted(lambda request, connection: daemon.error(9001, "no"))
    assert obxc("-n", "x", "-g", "7", daemon=daemon).status == 0


def test_auth_by_name(scripted):
    daemon = scripted()
    assert obxc("-a", "admin:pa:ss", "-n", "x", daemon=daemon).status == 0
    assert daemon.requests("Login") == [{"Login": "admin", "Password": "pa:ss"}]


def test_auth_by_token(scripted):
    def answer(request, connection):
        if request["method"] == "Login":
            return daemon.error(9001, "Request denied")
        if request["method"] == "GetParameterValues":
            name = request["params"]["ParameterNames"][0]
            return daemon.result({"ParameterList": [{"Name": name, "Value": "bob"}]})
        return daemon.result({})
    daemon = scripted(answer)
    assert obxc("-a", "t0k3n", "-n", "x", "-g", "5", daemon=daemon).status == 0
    assert daemon.requests("Login") == [{"Login": "t0k3n", "Password": None}]
    assert [m.get("auth") for m in daemon.received if m["method"] == "JoinGroup"] == [None, "t0k3n"]


def test_auth_refused_ends_the_start(scripted):
    daemon = scripted(lambda request, connection: daemon.error(9001, "Request denied"))
    end = obxc("-a", "admin:wrong", "-n", "x", daemon=daemon)
    assert end.status == 1
    assert "Unsupported" not in end.out
    assert daemon.requests("JoinGroup") == []


# --- raw --------------------------------------------------------------------------------------------------------


def test_raw_request(scripted):
    daemon = scripted(lambda request, connection: daemon.result({"a": [1, "b"]}))
    end = obxc("--raw", '{"jsonrpc":"2.0","id":1,"method":"M","params":{"p":1}}', "ignored", daemon=daemon)
    assert end.status == 0
    assert end.out.startswith("<< {\n    \"") and end.out.endswith("}\n")
    shown = json.loads(end.out[3:])
    assert shown["method"] == "M" and shown["params"] == {"p": 1} and shown["result"] == {"a": [1, "b"]}
    assert [m["method"] for m in daemon.received] == ["M"]


def test_raw_request_that_fails_ends_with_its_code(scripted):
    daemon = scripted(lambda request, connection: daemon.error(5, "five"))
    end = obxc("--raw", '{"jsonrpc":"2.0","id":1,"method":"M"}', daemon=daemon)
    assert end.status == 5
    assert json.loads(end.out[3:])["error"]["code"] == 5


def test_raw_keeps_its_own_id(scripted):
    daemon = scripted()
    assert obxc("--raw", '{"jsonrpc":"2.0","id":77,"method":"M"}', daemon=daemon).status == 0
    assert daemon.received[0]["id"] == 77


def test_raw_text_that_is_no_json(scripted):
    for text in ("{", "", "5", "\"x\"", "{} {}", '{"a":"\udcff"}'):
        end = obxc("--raw", text, daemon=scripted())
        assert (end.status, end.out) == (255, "Invalid raw JSON message.\n"), text


def test_raw_json_that_is_no_message(scripted):
    for text in ("{}", "[]", '{"method":"M"}', '{"jsonrpc":"1.0","method":"M"}', '{"jsonrpc":"2.0"}'):
        end = obxc("--raw", text, daemon=scripted())
        assert (end.status, end.out) == (255, "Incorrect message.\n"), text


def test_raw_event_is_sent_without_waiting(scripted):
    daemon = scripted(lambda request, connection: None)
    event = {"jsonrpc": "2.0", "method": "Event", "group": 9, "params": {"x": 1}}
    end = obxc("--raw", json.dumps(event), daemon=daemon)
    assert (end.status, end.out) == (0, "")
    harness.wait_until(lambda: daemon.received)
    assert daemon.received == [event]


def test_raw_timeout(scripted):
    """Within the five seconds that hold without the option there is an answer."""
    daemon = scripted(harness.after(4.5, lambda request, connection: daemon.result({})))
    end, took = harness.timed(lambda: obxc("-t", "1", "--raw", '{"jsonrpc":"2.0","id":1,"method":"M"}', daemon=daemon))
    assert took >= 1
    assert end.status == (-11) & 255
    assert json.loads(end.out[3:])["error"]["code"] == -11


def test_a_lost_connection_is_tried_twice(scripted):
    daemon = scripted(lambda request, connection: daemon.CLOSE)
    end = obxc("--raw", '{"jsonrpc":"2.0","id":1,"method":"M"}', daemon=daemon)
    assert end.status == (-7) & 255
    assert methods(daemon) == ["M", "M"]


def test_another_failure_is_tried_once(scripted):
    daemon = scripted(lambda request, connection: b"this is no message\n")
    end = obxc("--raw", '{"jsonrpc":"2.0","id":1,"method":"M"}', daemon=daemon)
    assert end.status == (-10) & 255
    assert methods(daemon) == ["M"]


# --- request, notify, event -------------------------------------------------------------------------------------


def test_request_of_an_unknown_method(scripted):
    for word in ("nothing", "?", "cd", "help", "LS", "tree"):
        end = obxc("-r", word, daemon=scripted())
        assert (end.status, end.out) == (255, word + ": unknown method.\n")


def test_event(scripted):
    daemon = scripted(lambda request, connection: daemon.result({}) if "id" in request else None)
    for args, group, params in [(["-e", "9", '{"a":1}'], 9, {"a": 1}), (["-e", "9"], 9, None),
                                (["-e", "9", "no json"], 9, None), (["-e", "9", '"\udcff"'], 9, None)]:
        daemon.received.clear()
        assert obxc(*args, daemon=daemon).status == 0
        event = harness.wait_until(lambda: [m for m in daemon.received if m["method"] == "Event"])[0]
        assert event.get("group") == group and event.get("params") == params


def test_event_with_a_bad_id_is_sent_to_group_zero(scripted):
    daemon = scripted(lambda request, connection: daemon.result({}) if "id" in request else None)
    end = obxc("-e", "x", "{}", daemon=daemon)
    assert end.err == "Group id must be an integer.\n"
    assert [m["group"] for m in harness.wait_until(lambda: [m for m in daemon.received if m["method"] == "Event"])] == [0]


def test_notify():
    # It is no mode that needs anything of the daemon, but every start connects.
    assert obxc("-u", "/nonexistent", "-n", "x").status == 1


# --- listen -----------------------------------------------------------------------------------------------------


class Listener:
    def __init__(self, daemon, *args, **options):
        self.process = start(daemon, "-l", *args, **options)
        self.output = b""
        os.set_blocking(self.process.stdout.fileno(), False)

    def wait_for(self, text):
        def found():
            self.output += self.process.stdout.read() or b""
            return text in self.output.decode()
        harness.wait_until(found, repr(text))

    def end(self):
        status = self.process.wait(harness.PATIENCE)
        self.output += self.process.stdout.read() or b""
        self.process.stdout.close()
        error = self.process.stderr.read().decode()
        self.process.stderr.close()
        harness.check_sanitizers(error)
        return status


def test_listen_prints_events_and_survives_ctrl_c(scripted):
    daemon = scripted()
    listener = Listener(daemon, "-g", "1,2")
    daemon.wait_for_request("JoinGroup", 3)
    daemon.send_event(2, {"Name": "x", "List": [1]})
    listener.wait_for('\nEVENT 2:\n{\n    "Name": "x",\n    "List": [\n        1\n    ]\n}\n')
    listener.process.send_signal(signal.SIGINT)
    daemon.send_event(4294967295)
    listener.wait_for("\nEVENT 4294967295:\n")
    listener.process.send_signal(signal.SIGINT)
    daemon.send_event(4, {"Action": "Add"})
    listener.wait_for('\nEVENT 4:\n{\n    "Action": "Add"\n}\n')
    listener.process.terminate()
    assert listener.end() == -signal.SIGTERM


def test_listen_outlives_the_daemon(obxd):
    listener = Listener(obxd, "-a", "root", "-g", "2")

    def hears(word):
        obxc("-a", "root", "-e", "2", '["%s"]' % word, daemon=obxd)
        listener.output += listener.process.stdout.read() or b""
        return b'\nEVENT 2:\n[\n    "%s"\n]\n' % word.encode() in listener.output
    harness.wait_until(lambda: hears("before"), "the first event")
    obxd.stop()
    time.sleep(0.7)
    assert listener.process.poll() is None
    obxd.start()
    harness.wait_until(lambda: hears("after"), "an event of the new daemon")
    listener.process.terminate()
    listener.process.wait(harness.PATIENCE)
    assert b"dropped" not in listener.output
    assert re.fullmatch(rb"Connection dropped - .+\(-7\)\n", listener.process.stderr.read())


def test_listen_shows_no_control_characters_on_a_terminal(terminal, scripted):
    daemon = scripted()
    listener = terminal("-l", "-g", "7", daemon=daemon)
    daemon.wait_for_request("JoinGroup", 2)
    listener.settle()
    daemon.send_event(7, {"x": "\u009b31mred\x7f"})
    listener.wait_for(r'^    "x": "\\xc2\\x9b31mred\\x7f"$')
    assert b"\xc2\x9b" not in listener.raw and b"\x7f" not in listener.raw


def test_listen_waits_between_its_attempts(scripted):
    daemon = scripted()
    listener = Listener(daemon)
    daemon.wait_for_request("JoinGroup")
    start = time.monotonic()
    for attempt in range(1, 4):
        daemon.drop_connections()
        harness.wait_until(lambda: len(daemon.connections) >= 2 + 2 * attempt, "the next attempt")
    assert time.monotonic() - start >= 1.4
    listener.process.terminate()
    listener.end()


def test_listen_ends_quietly_when_nobody_reads(scripted):
    daemon = scripted()
    listener = Listener(daemon)
    daemon.wait_for_request("JoinGroup")
    listener.process.stdout.close()
    daemon.send_event(2, {"x": 1})
    status = listener.process.wait(harness.PATIENCE)
    assert status in (0, -signal.SIGPIPE)
    assert listener.process.stderr.read() == b""
    listener.process.stderr.close()


# --- the start-up script ----------------------------------------------------------------------------------------


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as out:
        out.write(text)
    return path


def test_the_start_up_script_runs_before_every_mode(scripted, directory):
    marker = os.path.join(directory, "marker")
    write(os.path.join(directory, ".local/obxc/config"), "echo hidden\nsh echo ran >>%s\necho hidden\n" % marker)
    env = harness.environment(home=directory)
    for mode in (["-n", "x"], ["-r", "nothing"], ["--raw", "x"], ["-e", "5"], ["-s", "/dev/null"], ["-S", "/dev/null"]):
        if os.path.exists(marker):
            os.remove(marker)
        end = obxc(*mode, daemon=scripted(), env=env)
        assert "hidden" not in end.out and "ran" not in end.out
        with open(marker) as text:
            assert text.read() == "ran\n", mode


def test_a_start_up_script_of_ones_own(scripted, directory):
    marker = os.path.join(directory, "marker")
    config = write(os.path.join(directory, "c"), "color prompt 1\nhelp\nsh touch %s\nnothing\nsh rm %s\n" % (marker, marker))
    end = obxc("-c", config, "-n", "x", daemon=scripted(), env=harness.environment(home=directory))
    # Shell commands work there; its output is discarded; the first failure stops the script, not the program.
    assert (end.status, end.out) == (0, "Unsupported :(\n")
    assert os.path.exists(marker)


def test_what_is_no_start_up_script_is_skipped(scripted, directory):
    os.makedirs(os.path.join(directory, ".local/obxc/config"))
    for args, home in (([], directory), ([], "/nonexistent"), (["-c", directory], "/nonexistent"),
                       (["-c", "/nonexistent/x"], "/nonexistent"), ([], "/" + "x" * 300)):
        end = obxc(*args, "-n", "x", daemon=scripted(), env=harness.environment(home=home))
        assert (end.status, end.out, end.err) == (0, "Unsupported :(\n", "")


def test_without_home_the_password_entry_says_where(scripted):
    end = obxc("-n", "x", daemon=scripted(), env=harness.environment(HOME=None))
    assert end.status == 0


# --- scripts ----------------------------------------------------------------------------------------------------


def test_script(scripted, directory):
    daemon = scripted()
    path = write(os.path.join(directory, "s"), "echo  one\nsleep x\nls\ncd Device\necho never\n")
    for args, program in ((["--script=" + path], None), (["-s", path], None), ([path], "obxc_interpreter")):
        end = obxc(*args, daemon=daemon, program=program)
        assert end.status == 255
        assert end.out.startswith(" one\n") and end.out.endswith("cd: unknown method.\n")


def test_script_from_standard_input(scripted):
    end = obxc("-s", daemon=scripted(), stdin="echo one\n# x\necho tw\\\no")
    assert (end.status, end.out) == (0, "one\ntwo\n")


def test_script_that_is_not_there(scripted):
    end = obxc("-s", "/nonexistent/s", daemon=scripted())
    assert (end.status, end.out) == (255, "Cannot open script file /nonexistent/s\n")


def test_script_logs_in_by_default(scripted):
    daemon = scripted()
    obxc("-s", daemon=daemon, stdin="")
    assert len(daemon.requests("Login")) == 1
    daemon = scripted()
    obxc("-a", "admin:x", "-s", daemon=daemon, stdin="")
    assert daemon.requests("Login") == [{"Login": "admin", "Password": "x"}]


def test_a_script_answers_its_own_password_prompt(scripted):
    daemon = scripted()
    end = obxc("-s", daemon=daemon, stdin="login erin\nse cret\necho done\n")
    assert daemon.requests("Login")[-1] == {"Login": "erin", "Password": "se cret"}
    assert end.out.endswith("[obxc] password for erin: \ndone\n")


def test_output_of_a_script_comes_before_it_waits(scripted):
    process = start(scripted(), "-s", "/dev/stdin")
    process.kill()
    process.communicate()
    process = subprocess.Popen([harness.OBXC, "-u", scripted().socket, "-s"], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, env=harness.environment())
    process.stdin.write(b"echo early\nsleep 30\n")
    process.stdin.close()
    assert process.stdout.readline() == b"early\n"
    process.send_signal(signal.SIGINT)  # in a script the default action holds
    assert process.wait(harness.PATIENCE) == -signal.SIGINT
    process.stdout.close()


def test_the_options_conflict_under_the_other_names(scripted):
    end = obxc("-l", daemon=scripted(), program="obxc_interpreter")
    assert (end.status, end.err) == (1, "Cannot execute 'listen' and 'interactive' modes simultaneously.\n")


# --- the report of a response -----------------------------------------------------------------------------------


REPORTS = [
    ({"code": 9005, "message": "Invalid parameter name"}, "[9005] Invalid parameter name\n"),
    ({"code": 9005}, "[9005] \n"),
    ({"code": -5, "message": "x", "data": {"Detail": "more"}}, "[-5] x: more\n"),
    ({"code": 1, "message": "x", "data": {"Detail": "d", "A.b": "text", "n": 5, "o": {"k": [1]}, "t": None}},
     '[1] x: d\nA.b: "text"\nn: 5\no: {"k": [1]}\nt: null\n'),
    ({"code": 1, "message": "x", "data": {}}, "[1] x\n"),
]


@pytest.mark.parametrize("error,expected", REPORTS)
def test_the_report_of_an_error(scripted, error, expected):
    daemon = scripted(lambda request, connection: {"jsonrpc": "2.0", "error": error})
    assert obxc("-r", "save", daemon=daemon).out == expected


def test_the_outcome_of_a_broken_exchange(scripted):
    for answer, pattern in ((b"no json\n", r"\[-10\] .+\n"), (b"[1]\n", r"\[-10\] .+\n"),
                            (b'{"jsonrpc":"2.0","id":1,"re', r"\[-7\] .+\n")):
        daemon = scripted(lambda request, connection: [answer, ScriptedDaemon.CLOSE])
        assert re.fullmatch(pattern, obxc("-r", "save", daemon=daemon).out)


def test_the_report_of_success(scripted):
    assert obxc("-r", "save", daemon=scripted()).out == "Status: OK\n"
