"""Answers that are large, or only pretend to be: read in parts, refused in a line, and cheap in memory."""

import json
import re

import harness
from harness import ScriptedDaemon


def resident(shell):
    with open("/proc/%d/status" % shell.process.pid) as status:
        return int(re.search(r"VmHWM:\s+(\d+)", status.read()).group(1)) / 1024


def test_a_message_that_grows_in_memory_is_refused_in_a_line(scripted, terminal):
    pieces = [b"{},", b"[[]],", b'{"Name":{}},', b"1,"]
    piece = []

    def answer(request, connection):
        if request["method"] != "GetParameterValues" or not piece:
            return daemon.result({})
        text = piece[0] * ((4 << 20) // len(piece[0])) + b"1"
        return [b'{"jsonrpc":"2.0","id":%d,"result":{"a":[' % request["id"] + text + b"]}}\n"]

    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.prompt()
    for piece[:] in ([each] for each in pieces):
        shown = shell.run("cat .", 60)
        assert shown == "[-10] Broken message: it takes too much memory", (piece, shown)
    piece.clear()
    assert shell.run("sh echo still here") == "still here"
    if harness.BARE:
        assert resident(shell) < 3 * 4 + 48


def test_elements_without_use_print_nothing(scripted):
    daemon = scripted(lambda request, connection: daemon.result({"ParameterList": [{}] * 20000 + [5, [], None]}))
    for command in ("attr", "cat"):
        out = harness.obxc("-u", daemon.socket, "-r", command, "Device.").out
        assert len(out) < 200, command


def test_values_that_are_too_many_for_an_answer_are_read_by_their_children(scripted):
    """The daemon refuses what would be longer than 64 MiB; here that is whatever names more than one row."""
    rows = ["Device.T.%d." % number for number in range(1, 8)]

    def answer(request, connection):
        params = request.get("params") or {}
        if request["method"] == "GetParameterNames":
            under = {"Device.": ["Device.A", "Device.Do()", "Device.T."], "Device.T.": rows}.get(params["ParameterPath"], [])
            return ScriptedDaemon.result({"ParameterList": [{"Name": name, "Writable": False} for name in under]})
        if request["method"] != "GetParameterValues":
            return ScriptedDaemon.result({})
        names = params["ParameterNames"]
        asked.append(names)
        if "Device.Do()" in names:
            return ScriptedDaemon.error(9005, "Invalid parameter name", {"Detail": "Device.Do()"})
        if any(name in ("Device.", "Device.T.", "Device.T.5.") for name in names) or len(names) > 2:
            return ScriptedDaemon.error(9004, "Resources exceeded", {"Detail": "The answer is longer than 64 MiB"})
        return ScriptedDaemon.result({"ParameterList": [
            {"Name": name + ("X" if name.endswith(".") else ""), "Value": "v"} for name in names]})

    asked = []
    daemon = scripted(answer)
    out = harness.obxc("-u", daemon.socket, "-r", "cat", "Device.").out
    shown = ["A     = 'v'"] + ["T.%d.X = 'v'" % number for number in range(1, 8) if number != 5]
    assert out.splitlines() == shown + ["cat: Device.T.5.: too large for an answer"]
    assert len(asked) < 30
    # What nothing came of is the daemon's error, as ever.
    out = harness.obxc("-u", daemon.socket, "-r", "cat", "Device.T.5.").out
    assert out == "[9004] Resources exceeded: The answer is longer than 64 MiB\n"
    # Lua reads in parts as well, and has all or an error.
    read = "local t, why, code = ox.get('%s') if t then for k, v in pairs(t) do print(k, v) end else print(why, code) end"
    out = harness.obxc("-u", daemon.socket, "-r", "lua", read % "Device.T.5.").out
    assert out.endswith("Resources exceeded: The answer is longer than 64 MiB\t9004\n")
    rows.remove("Device.T.5.")
    for path in ("Device.", "Device.T."):
        out = harness.obxc("-u", daemon.socket, "-r", "lua", read % path).out
        assert {line for line in out.splitlines() if line.startswith("Device.T")} == {row + "X\tv" for row in rows}


def test_a_list_before_its_id_counts_too(scripted):
    def answer(request, connection):
        text = {"jsonrpc": "2.0", "result": {"ParameterList": [{"Name": "A.B", "Value": 1}]}, "id": request["id"]}
        other = {"jsonrpc": "2.0", "id": 99, "result": {"ParameterList": [{"Name": "No", "Value": 2}]}}
        return [json.dumps(other).encode() + b"\n", json.dumps(text).encode() + b"\n"]

    daemon = scripted(answer)
    out = harness.obxc("-u", daemon.socket, "-r", "cat", "A.").out
    assert out == "B = 1\n"


def test_a_cut_answer_prints_its_error_alone(scripted):
    def answer(request, connection):
        head = b'{"jsonrpc":"2.0","id":%d,"result":{"ParameterList":[' % request["id"]
        return [head + b'{"Name":"A.B","Value":1},' * 1000, daemon.CLOSE]

    daemon = scripted(answer)
    out = harness.obxc("-u", daemon.socket, "-r", "cat", "A.").out
    assert re.fullmatch(r"\[-7\] .*\n", out)
