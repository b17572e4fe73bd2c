"""Memory that runs out at any one place: what is sent is the request as it should be or none, and what is shown is right, or
one clear line tells why it is not."""

import itertools
import os
import re
import subprocess
from concurrent.futures import ThreadPoolExecutor

import pytest

import harness
from harness import BUILD, OBXC, ScriptedDaemon, Terminal, environment

pytestmark = pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer has its own allocator")

SHIM = os.path.join(BUILD, "tests", "failing_memory.so")
REASONS = ("xmalloc failed", "out of memory", "Out of memory", "not enough memory", "out of virtual memory", "Cannot allocate memory")
EVERY = int(os.environ.get("OBX_EVERY", "61"))  # of the allocations of a shell on a terminal

ATTRIBUTES = {
    ".": [(".", "object"), ("Device.", "object")],
    "Device.": [("Device.", "object"), ("Device.Name", "string"), ("Device.On", "boolean"), ("Device.Box.", "object")],
    "Device.Box.": [("Device.Box.", "object"), ("Device.Box.Size", "unsignedInt"), ("Device.Box.Söße", "string")],
}
VALUES = {"Device.Name": "Grüße \u20ac\n\"quoted\"", "Device.On": True, "Device.Box.Size": 7}
RESULTS = {
    "GetConfig": {"Config": {"Device": {"Name": VALUES["Device.Name"], "Box": {"Size": 7}}}},
    "GetDataModel": {"Datamodel": {"Device": {"#attr": {"type": "object"}, "Name": {"#attr": {"type": "string"}},
                                              "Box": {"#attr": {"type": "object"}, "Size": {"#attr": {"type": "int"}}}}}},
    "Select": {"Matches": {"Device.Box": {"Size": 7}}},
}


def answer(request, connection):
    method, params = request.get("method"), request.get("params") or {}
    if method == "GetParameterValues":
        names = params.get("ParameterNames", [])
        found = [name for name in VALUES if any(name.startswith(given) for given in names)]
        return ScriptedDaemon.result({"ParameterList": [{"Name": name, "Value": VALUES[name]} for name in found]})
    if method == "GetParameterAttributes":
        nodes = ATTRIBUTES.get(params["ParameterNames"][0], [])
        return ScriptedDaemon.result({"ParameterList": [
            {"Name": name, "Attributes": {"type": kind, "access": "readWrite"}} for name, kind in nodes]})
    return ScriptedDaemon.result(RESULTS.get(method, {}))


def failing(at, **extra):
    return environment(leaks=False, LD_PRELOAD=SHIM, OBX_FAIL_AT=str(at), **extra)


class Runs:
    """One command, run with no or with one failing allocation, each on a daemon of its own."""

    def __init__(self, scripted, directory, words, stdin=""):
        self.scripted, self.words, self.stdin = scripted, words, stdin
        self.count_path = os.path.join(directory, "count")

    def run(self, at, **extra):
        daemon = self.scripted(answer)
        process = subprocess.run(["obxc", "-u", daemon.socket] + self.words, executable=OBXC, capture_output=True,
                                 input=self.stdin.encode(), env=failing(at, **extra), timeout=4 * harness.PATIENCE)
        sent = [{key: value for key, value in message.items() if key != "id"} for message in daemon.received]
        daemon.close()
        err = re.sub("qemu: uncaught target signal .*\n", "", process.stderr.decode())  # an emulator tells of an abort
        return process.returncode, process.stdout.decode(), err, sent

    def allocations(self):
        good = self.run(0, OBX_FAIL_COUNT=self.count_path)
        with open(self.count_path) as file:
            return good, int(file.read())


def check(at, good, done):
    """A run in which an allocation failed against the one in which none did."""
    status, out, err, sent = done
    reason = any(reason in out + err for reason in REASONS)
    for message in sent:  # after a reading that failed, others may follow than otherwise
        assert message in good[3] or (message["method"] == "GetParameterValues" and reason), (at, message)
    if (status, out) == good[:2]:
        return
    assert status in (-6, 1, 2, 255) or (status == 0 and good[0] == 0), (at, done)
    assert reason, (at, done)
    assert len(err.strip().split("\n")) <= 1, (at, err)


SCRIPT = 'get Device.Name\nset Device.Name="a" Device.On=false\nexecute Device.Run X=1\n'
LUA = """ox.strict = true
print(ox.get("Device.Name"))
ox.set("Device.Name", "ä")
ox.set{["Device.On"] = false}
print(ox.json.encode(ox.config("Device.")))
print(#ox.json.decode('[1,"zwei",{"a":null}]'))
"""
SHELL = "tree Device\ncd Device.Box\nls -l\nattr Size\ncat\nset Size=8\nlua print(ox.get('Device.Name'))\nhelp\nq\n"
COMMANDS = {
    "get": (["-r", "get", "Device.Name"], ""),
    "set": (["-r", "set", 'Device.Name="a"', "Device.On=false"], ""),
    "reset": (["-r", "reset", "all"], ""),
    "reboot": (["-r", "reboot", "Router"], ""),
    "download": (["-r", "download", "file", "/etc/passwd", "target"], ""),
    "attr": (["-r", "attr", "Device.Name"], ""),
    "login": (["-a", "admin:admin", "-g", "7", "-r", "save"], ""),
    "raw": (["--raw", '{"jsonrpc":"2.0","id":3,"method":"GetConfig","params":{"Path":"Device."}}'], ""),
    "event": (["-e", "9", '{"a":["b"]}'], ""),
    "tree": ([], "tree\nq\n"),
}


@pytest.mark.parametrize("kind", COMMANDS)
def test_a_command(scripted, directory, kind):
    words, stdin = COMMANDS[kind]
    sweep(Runs(scripted, directory, words, stdin))


def sweep(runs, every=1):
    good, count = runs.allocations()
    assert count > 20, good
    with ThreadPoolExecutor(4) as pool:
        numbers = range(1, count + 1, every)
        for at, done in zip(numbers, pool.map(runs.run, numbers)):
            check(at, good, done)


def test_a_script(scripted, directory, script):
    sweep(Runs(scripted, directory, ["-s", script(SCRIPT, "script")]))


def test_a_lua_script(scripted, directory, script):
    sweep(Runs(scripted, directory, ["-S", script(LUA)]))


def test_a_shell_in_a_pipe(scripted, directory):
    sweep(Runs(scripted, directory, [], SHELL), 7)


@pytest.mark.parametrize("option, text", [("-S", LUA), ("-s", SCRIPT)])
def test_all_allocations_from_one_on(scripted, directory, script, option, text):
    """Nothing is left for those who tell of it, either."""
    runs = Runs(scripted, directory, [option, script(text)])
    good, count = runs.allocations()
    for at in itertools.chain(range(1, 60), range(60, count, 7)):
        check(at, good, runs.run(at, OBX_FAIL_ON="1"))


class Blind(Terminal):
    """A terminal of which only the bytes are kept: quick enough for hundreds of shells."""

    def _show(self, data):
        self.raw += data

    def text(self):
        return self.raw.decode("utf-8", "replace")


def shell_with_tab_and_hints(scripted, at, **extra):
    """Keys for a shell in which the allocation `at` fails. It ends with a clear line and the terminal in its usual modes, or
    goes on."""
    daemon = scripted(answer)
    shell = Blind(daemon=daemon, env=failing(at, **extra))
    while not shell.raw and shell.process.poll() is None:  # a Ctrl-C before it has begun ends any program
        shell.read()
    for keys in ("cd Dev\t", "Bo\t\r", "cat Si", "\x1b[C\r", "ls \t\t\x15", "\x12cd\r", "q\r"):
        if shell.process.poll() is None:
            shell.settle(0.02)
            shell.send(keys)
    shell.settle(0.02)
    if shell.process.poll() is None:
        shell.send("\x03\x15q\r")
    status, text, modes = shell.end(10), shell.text(), shell.modes()
    shell.close()
    daemon.close()
    assert status in (0, 1, 2, 255, -6), (at, status, text)
    assert status == 0 or any(reason in text for reason in REASONS), (at, text)
    assert status == 0 or modes == (True, True), (at, text)
    return status


def allocations_of_the_shell(scripted, directory):
    count_path = os.path.join(directory, "count")
    assert shell_with_tab_and_hints(scripted, 0, OBX_FAIL_COUNT=count_path) == 0
    with open(count_path) as file:
        return int(file.read())


def test_a_shell_with_tab_and_hints(scripted, directory):
    for at in range(1, allocations_of_the_shell(scripted, directory), EVERY):
        shell_with_tab_and_hints(scripted, at)
