"""A daemon that means harm, or is broken: the shell stays usable, its memory bounded, the terminal in its hands."""

import json
import random
import re
import threading

import pytest

import harness
from harness import ScriptedDaemon

# Clears the screen, sets the title, rings, moves, a C1 control in UTF-8, a new line.
ODD = "\x1b[2J\x1b]0;own\x07\r\b\x9b31m\n\t"
# What the shell itself sends: colours, bracketed paste, erasing and moving while a line is edited.
OWN = re.compile(rb"\x1b\[(\d+(;\d+)*)?m|\x1b\[\?2004[hl]|\x1b\[\d*[KDCA]|\x1b\[H\x1b\[2?J")
STEERING = re.compile(rb"[\x00-\x06\x0b\x0c\x0e-\x1a\x1c-\x1f\x7f]|\x1b|\xc2[\x80-\x9f]")


def odd_attributes(kind="string"):
    return {"type": kind, "access": "readWrite" + ODD, "perms": "p" + ODD, "default": "d" + ODD, "regex": ODD,
            "enum": ["e" + ODD, "f" + ODD], "foreign_key": ODD, "offValue": ODD,
            "handlers": [{"action": 1, "handler": ODD}], "mappings": [ODD, {ODD: ODD}],
            "relations": [{"verdict": 1, "match": ODD}]}


def odd_names(base):
    return [(base, {"type": "object", "access": ODD}), (base + "Plain", odd_attributes()),
            (base + "Odd" + ODD, odd_attributes()), (base + "Kind", odd_attributes("t" + ODD)),
            (base + "Obj" + ODD + ".", {"type": "object"}), (base + "Run", {"type": "method"}),
            (base + "Run.#input.", {"type": "object"}), (base + "Run.#input.Arg" + ODD, odd_attributes())]


def odd_answer(request, connection):
    """Answers of the right shape with texts that are made to steer a terminal."""
    method, params = request.get("method"), request.get("params") or {}
    if method == "GetParameterAttributes":
        name = params["ParameterNames"][0]
        nodes = odd_names("." if name == "." else "Device.")
        nodes = [(".", {"type": "object"})] + [(n[1:] or ".", a) for n, a in nodes[1:]] + odd_names("Device.") \
            if name == "." else [node for node in nodes if node[0].startswith(name)]
        return ScriptedDaemon.result({"ParameterList": [{"Name": n, "Attributes": a} for n, a in nodes]})
    if method == "GetParameterValues":
        names = [n for n, _ in odd_names("Device.")]
        return ScriptedDaemon.result({"ParameterList": [{"Name": n, "Value": "v" + ODD} for n in names]
                                      + [{"Name": "Device.Tree", "Value": {ODD: [ODD, {ODD: 1}]}}]})
    results = {
        "GetDataModel": {"Datamodel": {"Device": {"#attr": {"type": "object"}, "O" + ODD: {"#attr": odd_attributes()}}}},
        "GetConfig": {"Config": {"Device": {"O" + ODD: "v" + ODD, "J": {ODD: [ODD]}}}},
        "Select": {"Matches": {"Device.O" + ODD: {"P" + ODD: "v" + ODD}}},
        "Execute": {"ParameterList": [{"Name": "Device.Run.Out" + ODD, "Value": "v" + ODD}]},
        "JoinGroup": {}, "Login": {}, "Logout": {},
    }
    if method in results:
        return ScriptedDaemon.result(results[method])
    return ScriptedDaemon.error(9001, "text" + ODD, {"Detail": "d" + ODD, "n" + ODD: {ODD: ODD}, "t" + ODD: ODD})


def test_no_text_steers_the_terminal(scripted, terminal):
    daemon = scripted(odd_answer)
    shell = terminal(daemon=daemon, columns=120, lines=50)
    shell.settle()
    lines = ["ls", "ls -l", "cat", "attr", "tree", "catree", "cd Device", "ls", "ls -l", "cat", "cat Plain", "attr Plain",
             "attr Kind", "tree", "catree", "execute Run", "execute Run Arg=1", "select x", "save", "add .", "reset",
             "set Plain=x", "lua return ox.get('Device.')", "login root -p x"]
    for line in lines:
        shell.send(line + "\r")
        shell.settle(0.05)
    for keys in ["cd O\t\t", "attr O\t\t", "cat \t\t", "set Od\t=\t", "set Plain=\t\t", "execute Run \t\t", "ls O\x1b[C"]:
        shell.send(keys)
        shell.settle(0.05)
        shell.send("\r")
        shell.settle(0.05)
    daemon.send_event(9, {"a" + ODD: [ODD]})
    shell.wait_for("EVENT 9:")
    shell.settle()
    shown = OWN.sub(b"", shell.raw)
    assert not STEERING.search(shown), shown[max(0, STEERING.search(shown).start() - 200):][:400]
    for seen in ("9001", "EVENT", "Plain", "Canonical path"):
        assert seen in shell.text()


VALUES = [None, True, 5, -1, 2 ** 63 - 1, 1.5, "", "text", "Device.", [], [1], [[]], {}, {"a": 1}, {"": ""},
          {"Name": 5}, [{"Name": 5}], [{"Name": "Device."}], [{"Name": "Device.", "Attributes": 5}],
          [{"Name": "..", "Value": 1}], [{"Name": "", "Attributes": {}}], {"type": "object"}, [None] * 3]


def wrong(generator, value, depth=0):
    """The value with some part of it replaced by what does not belong there."""
    if generator.random() < 0.25 or depth > 6:
        return generator.choice(VALUES)
    if isinstance(value, dict) and value:
        key = generator.choice(list(value))
        return {**value, key: wrong(generator, value[key], depth + 1)}
    if isinstance(value, list) and value:
        at = generator.randrange(len(value))
        return value[:at] + [wrong(generator, value[at], depth + 1)] + value[at + 1:]
    return generator.choice(VALUES)


@pytest.mark.parametrize("seed", range(3))
def test_wrong_types_everywhere(scripted, terminal, seed):
    # One for who types and one for each connection, whose threads come in any order.
    generators = [random.Random("%d %d" % (seed, number)) for number in range(16)]
    generator = generators[0]

    def generator_of(connection):
        return generators[1 + daemon.connections.index(connection) % 15]

    def answer(request, connection):
        generator = generator_of(connection)
        right = odd_answer(request, connection)
        return {"jsonrpc": "2.0", "id": request.get("id"), **wrong(generator, {
            key: value for key, value in right.items() if key != "jsonrpc"})} if generator.random() < 0.8 else right

    def one(request, connection):
        try:
            return answer(request, connection)
        except TypeError:  # the whole message was replaced
            if request["method"] in ("JoinGroup", "Login", "Logout"):
                return daemon.result({})  # on the events connection it would rightly end the shell
            return json.dumps(generator_of(connection).choice(VALUES)).encode() + b"\n"

    daemon = scripted(one)
    shell = terminal("-t", "1", daemon=daemon, columns=120, lines=50)
    shell.prompt()  # a Ctrl-C before it ends the program
    commands = ["ls", "ls -l", "cat Device", "attr Device.Plain", "tree", "catree", "cd Device", "cd", "execute Device.Run",
                "select x", "save", "add Device.Obj", "take Device", "set Device.Plain=x", "order Device.Obj 1", "reboot",
                "reset", "login root", "login a -p b", "login_if_guest a b", "lua return ox.config('Device.')",
                "lua for k, v in pairs(ox.object('Device.')) do print(k, v) end", "download file /etc/hostname",
                "upgrade /etc/hostname", "upload config http://x/", "del Device.Obj", "info Device.Run"]
    for _ in range(40):
        shell.send(generator.choice(commands) + "\r")
        shell.settle(0.03)
        shell.send("cat De\t\t" + "\x15")
        shell.settle(0.03)
        daemon.send_event(generator.choice([4, 9, 0]), generator.choice(VALUES))
    daemon.answer = lambda request, connection: daemon.result({})
    shell.send("\x03")
    shell.settle(0.3)
    shell.send("\x03")
    shell.settle(0.3)
    assert shell.process.poll() is None, shell.text()
    shell.send("\x15sh echo still here\r")
    shell.wait_for("^still here$")


def resident(shell):
    with open("/proc/%d/status" % shell.process.pid) as status:
        return int(re.search(r"VmHWM:\s+(\d+)", status.read()).group(1)) / 1024


def test_answers_of_any_size_and_depth(scripted, terminal):
    """Too long or too deep an answer is an error of that request; what was taken for it is given back."""
    huge = json.dumps({"jsonrpc": "2.0", "id": 1, "result": {"ParameterList": "x" * (70 << 20)}}).encode()
    kinds = {
        "long": huge,
        "endless": b"[" + b" " * (70 << 20),
        "deep": lambda request: b'{"jsonrpc":"2.0","id":%d,"result":%s}' % (
            request["id"], b'{"a":' * 100000 + b"1" + b"}" * 100000),
        "deep list": lambda request: b'{"jsonrpc":"2.0","id":%d,"result":{"ParameterList":%s}}' % (
            request["id"], b"[" * 1500 + b"]" * 1500),
        "unclosed": b'{"jsonrpc":"2.0","id":1,"result":{"a":"',
    }
    kind = []

    def answer(request, connection):
        if request["method"] != "GetParameterValues" or not kind:
            return daemon.result({})
        text = kinds[kind[0]]
        return [text(request) if callable(text) else text] + ([daemon.CLOSE] if kind[0] == "unclosed" else [])

    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.prompt()
    for each in kinds:
        kind[:] = [each]
        shown = shell.run("cat .", 60)
        assert re.match(r"\[-\d+\] .", shown) or each == "deep list", (each, shown)
        kind.clear()
        assert shell.run("sh echo after %s" % each) == "after " + each
        shell.run("save")
    assert shell.run("save") == "Status: OK"
    if harness.BARE:
        assert resident(shell) < 220, resident(shell)


def test_a_flood_of_events_while_typing(scripted, terminal):
    """Keys are served between events, nothing is lost, and what cannot be shown yet does not pile up."""
    daemon = scripted()
    shell = terminal(daemon=daemon)
    shell.prompt()

    def flood():
        for number in range(300):
            daemon.send_event(9, {"number": number})
            daemon.send_event(4, {"Action": "Add", "Path": "Device.List.", "InstanceNumber": number})
        daemon.send_event(9, "last")

    # From a thread: who reads the screen must not wait for the shell, which waits for the screen to be read.
    threading.Thread(target=flood, daemon=True).start()
    for _ in range(10):
        shell.send("x")
        shell.read(0.02)
    shell.wait(lambda: shell.raw.count(b'"last"') == 2, "the last event of each connection")
    shell.wait_line(".*> x{10}")
    seen = re.findall(r'"number": (\d+)', shell.raw.decode())
    assert sorted(seen) == sorted([str(number) for number in range(300)] * 2)  # one from each connection
    shell.interrupt()
    shell.prompt()

    message = {"Action": "Add", "Path": "Device." + "p" * 1000, "InstanceNumber": 7}
    sender = threading.Thread(target=lambda: [daemon.send_event(4, message) for _ in range(500)], daemon=True)
    sender.start()
    while sender.is_alive():
        assert shell.run("sh echo ready") == "ready"
    if harness.BARE:
        assert resident(shell) < 60, resident(shell)


def test_errors_of_lua_do_not_steer_the_terminal(scripted, terminal, script):
    """Those of the shell and of a script alike; what goes elsewhere keeps its bytes."""
    daemon = scripted(lambda request, connection: ScriptedDaemon.error(9005, "no" + ODD) if request["method"] ==
                      "GetParameterValues" else ScriptedDaemon.result({}))
    path = script("print((ox.plain('a\\27[2J\\n\\tb\\194\\155')))\nox.strict = true\nox.get('Device.X')\n")
    shell = terminal(daemon=daemon)
    shell.run("lua ox.strict = true ox.get('Device.X')")
    lone = terminal("-S", path, daemon=daemon)
    lone.end()
    for each in (shell, lone):
        assert b"\x1b]0;own" not in each.raw and b"\x1b[2J" not in each.raw and b"\x07" not in each.raw
        assert r"no\x1b[2J\x1b]0;own\x07" in each.text()
    assert lone.text().startswith("a\\x1b[2J\n        b")
    piped = harness.obxc("-S", path, daemon=daemon)
    assert "no" + ODD[:4] in piped.out
