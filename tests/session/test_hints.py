"""Hints and a daemon that takes its time: no key waits for an answer, and no question is asked twice."""

import json
import os
import queue
import socket
import threading
import time

import pytest

import harness
from harness import ScriptedDaemon
from small_model import SmallModel


class Gate:
    """A small model whose answers about nodes wait while the gate is shut."""

    def __init__(self):
        self.model = SmallModel()
        self.open = threading.Event()
        self.open.set()

    def __call__(self, request, connection):
        if request["method"].startswith("GetParameter"):
            self.open.wait(60)
        return self.model(request, connection)


@pytest.fixture
def gate():
    made = Gate()
    yield made
    made.open.set()


@pytest.fixture
def daemon(scripted, gate):
    return scripted(gate)


@pytest.fixture
def shell(daemon, terminal):
    opened = terminal(daemon=daemon)
    opened.prompt()
    return opened


def asked(daemon):
    """The names of the nodes that were asked for, without the root, which each shell asks for."""
    return [name for params in daemon.requests("GetParameterAttributes") for name in params["ParameterNames"]
            if name != "."]


def shows(shell, typed, hint=""):
    shell.wait(lambda: shell.line() == ("root@obxc:> " + typed + hint).rstrip()
               and shell.cursor()[0] == len("root@obxc:> " + typed), "%r and the hint %r" % (typed, hint))


def types(shell, text, before=""):
    """Types key by key; each one is shown before the next."""
    for at in range(1, len(text) + 1):
        shell.send(text[at - 1])
        shell.wait(lambda: shell.line().startswith(("root@obxc:> " + before + text[:at]).rstrip())
                   and shell.cursor()[0] == len("root@obxc:> " + before + text[:at]), "the echo of %r" % text[:at])


def test_keys_are_shown_while_no_answer_comes_and_the_hint_when_it_does(shell, daemon, gate):
    gate.open.clear()
    types(shell, "cat Device.A.Fl")
    shell.settle(2.5)  # a wait of one's own would be told of by now
    assert "Waiting" not in shell.text()
    shows(shell, "cat Device.A.Fl")
    assert asked(daemon) == ["Device."]
    gate.open.set()
    shows(shell, "cat Device.A.Fl", "ag")
    assert asked(daemon) == ["Device.", "Device.A."]
    shell.send("\x1b[C")
    shows(shell, "cat Device.A.Flag")


def test_tab_takes_the_answer_that_is_on_its_way(shell, daemon, gate):
    gate.open.clear()
    types(shell, "cat Device.A.Fl")
    shell.send("\t")
    shell.wait_for("Waiting for the daemon")
    gate.open.set()
    shows(shell, "cat Device.A.Flag")
    assert asked(daemon) == ["Device.", "Device.A."]


def test_a_command_takes_the_answer_that_is_on_its_way(shell, daemon, gate):
    gate.open.clear()
    types(shell, "ls Device.A")
    shell.send("\r")
    shell.settle(0.3)
    gate.open.set()
    shell.wait_for(r"^Device.A.Flag ")
    shell.prompt()
    assert asked(daemon) == ["Device.", "Device.A."]


def test_other_commands_run_meanwhile(shell, daemon, gate):
    gate.open.clear()
    types(shell, "cat Device.A.Fl")
    shell.send("\x15")
    assert shell.run("pwd") == ":"
    shell.send("save\r")  # behind the other answer, since answers come in order
    gate.open.set()
    shell.wait_for("^Status: OK$")
    shell.prompt()
    shell.send("cat Device.A.Fl")
    shows(shell, "cat Device.A.Fl", "ag")
    assert asked(daemon) == ["Device.", "Device.A."]


def test_ctrl_c_leaves_the_wait_and_not_the_question(shell, daemon, gate):
    gate.open.clear()
    types(shell, "cat Device.A.Fl")
    for _ in range(2):
        shell.send("\t")
        shell.settle(0.3)
        shell.interrupt()
        shell.wait_for(r"\^C")
        shell.send("x\x7f")
        shows(shell, "cat Device.A.Fl")
    shell.interrupt()
    shell.prompt()
    assert shell.run("pwd") == ":"
    gate.open.set()
    shell.send("cat Device.A.Fl")
    shows(shell, "cat Device.A.Fl", "ag")
    assert asked(daemon) == ["Device.", "Device.A."]


def test_a_lost_connection_ends_the_question_in_silence(shell, daemon, gate):
    gate.open.clear()
    types(shell, "cat Device.A.Fl")
    before = shell.text()
    daemon.connections[0].shutdown(2)
    shell.settle(0.5)
    types(shell, "a", "cat Device.A.Fl")
    assert shell.text() == before + "a"
    gate.open.set()
    shell.send("\t")
    shows(shell, "cat Device.A.Flag")
    assert "Device.A." in asked(daemon)


def test_what_another_user_was_answered_is_asked_again(shell, daemon, gate):
    gate.open.clear()
    types(shell, "cat Device.A.Fl")
    shell.send("\x15logout\r")
    shell.settle(0.3)
    gate.open.set()
    shell.wait_line("obxc:>")
    shell.send("cat Device.A.Fl")
    shell.wait_line("obxc:> cat Device.A.Flag")
    assert asked(daemon) == ["Device.", "Device.", "Device.A."]


def test_an_answer_that_never_comes_is_given_up_when_a_later_one_does(scripted, terminal):
    model = SmallModel()
    lost = []

    def answer(request, connection):
        if not lost and (request.get("params") or {}).get("ParameterNames") == ["Device."]:
            lost.append(request)
            return None
        return model(request, connection)

    shell = terminal(daemon=scripted(answer))
    shell.prompt()
    types(shell, "cat Device.A.Fl")
    shell.send("\x15")
    shell.run("save")
    shell.send("cat Device.A.Fl")
    shows(shell, "cat Device.A.Fl", "ag")


def test_a_change_by_others_waits_for_no_key_either(shell, daemon, gate):
    shell.run("ls Device.List")
    gate.open.clear()
    gate.model.nodes.append(("Device.List.77.", {"type": "object", "access": "readWrite"}))
    daemon.send_event(4, {"Action": "Add", "Path": "Device.List.", "InstanceNumber": 77}, on=1)
    types(shell, "cd Device.List.7")
    gate.open.set()
    shows(shell, "cd Device.List.7", "7.")


class FarDaemon:
    """A real daemon at a distance of `delay` seconds. No byte of it arrives while `hold` is held."""

    def __init__(self, obxd, delay):
        self.socket = os.path.join(obxd.directory, "far.sock")
        self.obxd, self.delay = obxd, delay
        self.hold = threading.Lock()
        self.passed = 0
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(self.socket)
        self.listener.listen()
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                near, _ = self.listener.accept()
            except OSError:
                return
            far = socket.socket(socket.AF_UNIX)
            far.connect(self.obxd.socket)
            late = queue.Queue()
            for work in ((self.forth, near, far), (self.keep, far, late), (self.back, late, near)):
                threading.Thread(target=work[0], args=work[1:], daemon=True).start()

    def forth(self, near, far):
        while data := near.recv(65536):
            far.sendall(data)
        far.close()

    def keep(self, far, late):
        while True:
            try:
                data = far.recv(65536)
            except OSError:
                data = b""
            late.put((time.monotonic() + self.delay, data))
            if not data:
                return

    def back(self, late, near):
        while True:
            due, data = late.get()
            time.sleep(max(0.0, due - time.monotonic()))
            if not data:
                near.close()
                return
            with self.hold:
                try:
                    near.sendall(data)
                except OSError:
                    return
                self.passed += len(data)


def test_no_key_waits_for_a_far_daemon(start_obxd, terminal):
    """Between a key and its echo nothing arrives, so that what waits for an answer would wait for ever."""
    daemon = start_obxd("--rows", "Device.Hosts.Host=3000")
    far = FarDaemon(daemon, 0.3)
    shell = terminal(daemon=far)
    shell.prompt()
    line = "cat Device.Hosts.Host.2999.HostN"
    typed = ""
    passed = [far.passed]
    for key in list(line) + ["\x7f", "N"] * 200:
        typed = typed[:-1] if key == "\x7f" else typed + key
        with far.hold:
            shell.send(key)
            shell.wait(lambda: shell.line().startswith(("root@obxc:> " + typed).rstrip())
                       and shell.cursor()[0] == len("root@obxc:> " + typed), "the echo of %r" % typed)
            passed.append(far.passed)
        shell.read(0.01)
        if len(typed) == len(line) and shell.line().endswith("HostName"):
            break
    shows(shell, line, "ame")
    assert len(set(passed)) > 3, "all answers came at once"
    far.listener.close()


ROWS = 10000


class Table(SmallModel):
    """A table of many rows; its answer stops after `first` bytes until `go` is set."""

    def __init__(self):
        super().__init__()
        self.go = threading.Event()
        self.names = ["Device.Big.%d." % number for number in range(1, ROWS + 1)]
        self.nodes.append(("Device.Big.", {"type": "object", "access": "readWrite", "multi": True}))
        self.half_sent = threading.Event()

    def __call__(self, request, connection):
        params = request.get("params") or {}
        if params.get("ParameterPath") == "Device.Big.":
            return ScriptedDaemon.result({"ParameterList": [{"Name": n, "Writable": True} for n in self.names]})
        if len(params.get("ParameterNames", [])) < 100:
            return super().__call__(request, connection)
        rows = [{"Name": name + rest, "Attributes": {"type": kind, "access": "readWrite", "default": ""}}
                for name in params["ParameterNames"] for rest, kind in (("", "object"), ("HostName", "string"))]
        text = json.dumps({"jsonrpc": "2.0", "id": request["id"], "result": {"ParameterList": rows}}).encode()
        connection.sendall(text[:len(text) // 2])
        self.half_sent.set()
        self.go.wait(60)
        return text[len(text) // 2:] + b"\n"


def test_keys_are_shown_while_a_long_answer_comes(scripted, terminal):
    table = Table()
    shell = terminal(daemon=scripted(table))
    shell.prompt()
    types(shell, "cat Device.Big.7777.")
    shell.wait(table.half_sent.is_set, "half of the answer")
    types(shell, "Host", "cat Device.Big.7777.")
    table.go.set()
    types(shell, "N", "cat Device.Big.7777.Host")
    shows(shell, "cat Device.Big.7777.HostN", "ame")
    assert "Waiting" not in shell.text()


@pytest.mark.skipif(not harness.BARE, reason="measures time")
def test_no_key_waits_for_what_is_read_of_a_long_answer(scripted, terminal):
    """The longest wait for an echo in the best of several tries: the machine has other things to do, too."""
    best = []
    for _ in range(5):
        table = Table()
        table.go.set()
        shell = terminal(daemon=scripted(table))
        shell.prompt()
        shell.send("cat Device.Big.7777.")
        longest = 0.0
        typed = 0
        while not shell.line().endswith("HostName") and typed < 2000:
            watch = harness.Stopwatch(shell)
            size = len(shell.raw)
            shell.send("H" if typed % 2 == 0 else "\x7f")
            while len(shell.raw) == size:
                shell.read(0.001)
            longest = max(longest, watch.seconds())
            typed += 1
            shell.read(0.002)
        best.append(longest)
        if longest < 0.03:
            break
    assert min(best) < 0.1, best
