"""Lua script files (-S, the name obxc_lua) and the lua command."""

import time

import pytest

import harness
from harness import obxc


def test_arguments(shared_obxd, script):
    path = script("print(...) print(arg[0], arg[1], arg[2], #arg, select('#', ...))")
    done = obxc("-S", path, "one", "two words", daemon=shared_obxd)
    assert done.out == "one\ttwo words\n%s\tone\ttwo words\t2\t2\n" % path
    assert done.status == 0


def test_under_its_own_name(shared_obxd, script):
    path = script("print(arg[0], ...)")
    done = obxc("-u", shared_obxd.socket, path, "x", "y", program="obxc_lua")
    assert done.out == "%s\tx\ty\n" % path


def test_first_line_of_an_interpreter(shared_obxd, script):
    path = script("#!/usr/bin/env obxc_lua\nprint('runs')\nerror('here')\n")
    done = obxc("-S", path, daemon=shared_obxd)
    assert done.out.startswith("runs\n%s:3: here\nstack traceback:\n" % path)
    assert done.status == 0


def test_byte_order_mark_is_skipped(shared_obxd, script):
    done = obxc("-S", script(b"\xef\xbb\xbfprint('runs')\nerror('here')\n"), daemon=shared_obxd)
    assert done.out.startswith("runs\n") and "script.lua:2: here\n" in done.out
    done = obxc("-S", script(b"\xef\xbb\xbf#!/usr/bin/env obxc_lua\nprint('too')\n"), daemon=shared_obxd)
    assert done.out == "too\n"
    assert obxc("-S", script(b"\xef\xbb\xbf"), daemon=shared_obxd).out == ""
    assert "unexpected symbol" in obxc("-S", script(b"\xef\xbbprint(1)"), daemon=shared_obxd).out


def test_rows_of_a_dump_are_aligned_by_columns(shared_obxd, script, tree_modules):
    path = script(r"""
local dump = require "ombrix.dump"
dump.rows({{Name = "Küche", Place = 1}, {Name = "居間", Place = 2}, {Name = "e\u{301}t\u{e9}", Place = 3},
           {Name = "Wohnzimmer", Place = 4}, {Name = "\xff\n", Place = 5}, "no record", {Place = 6}},
          {"Name", "Place"})
dump.rows({b = {x = 1, y = true}, a = {z = "last"}})
dump.rows({}, {"Name"})
""")
    assert obxc("-S", path, daemon=shared_obxd).out == (
        "#  Name        Place\n"
        "1  Küche       1\n"
        "2  居間        2\n"
        "3  e\u0301té         3\n"
        "4  Wohnzimmer  4\n"
        "5  \\xff\\x0a    5\n"
        "7  -           6\n"
        "#  x  y     z\n"
        "a  -  -     last\n"
        "b  1  true  -\n"
        "#  Name\n")


def test_first_line_without_newline_is_left(shared_obxd, script):
    done = obxc("-S", script("#!/usr/bin/env obxc_lua"), daemon=shared_obxd)
    assert "unexpected symbol near '#'" in done.out
    assert done.status == 0


def test_empty_file(shared_obxd, script):
    done = obxc("-S", script(""), daemon=shared_obxd)
    assert (done.out, done.err, done.status) == ("", "", 0)


def test_missing_file(shared_obxd):
    done = obxc("-S", "/nonexistent.lua", daemon=shared_obxd)
    assert done.out == "Cannot open script file /nonexistent.lua\n"
    assert done.status == 255


def test_directory_is_no_script(shared_obxd, directory):
    done = obxc("-S", directory, daemon=shared_obxd)
    assert (done.out, done.err) == ("Cannot open script file %s\n" % directory, "")
    assert done.status == 255


@pytest.mark.parametrize("error, text", [
    ("error('text')", "%s:1: text\n"),
    ("error('text', 0)", "text\n"),
    ("error(12)", "12\n"),
    ("error({})", "(error object is a table value)\n"),
    ("error(nil)", "(error object is a nil value)\n"),
    ("error(true)", "(error object is a boolean value)\n"),
    ("error(setmetatable({}, {__tostring = function() return 'mine' end}))", "mine\n"),
    ("x = = 1", "%s:1: unexpected symbol near '='\n"),
    ("local t = nil; t.x = 1", "%s:1: attempt to index a nil value (local 't')\n"),
])
def test_errors_of_any_type_become_text(shared_obxd, script, error, text):
    path = script(error)
    done = obxc("-S", path, daemon=shared_obxd)
    assert done.out.startswith(text.replace("%s", path)), done
    assert done.status == 0


def test_output_of_all_kinds_in_order(shared_obxd, script):
    path = script("print(1, nil, true) io.write('a', 2, '\\n'):write('b\\n') io.stdout:write('c\\n') print()"
                  "io.output():write('d\\0e\\n') print(setmetatable({}, {__tostring = function() return 'T' end}))")
    done = obxc("-S", path, daemon=shared_obxd)
    assert done.raw == b"1\tnil\ttrue\na2\nb\nc\n\nd\0e\nT\n"


def test_nothing_printed_is_lost(shared_obxd, script):
    path = script("for i = 1, 200000 do print('line', i) end\nerror('end', 0)")
    done = obxc("-S", path, daemon=shared_obxd)
    lines = done.out.splitlines()
    assert lines[:200000] == ["line\t%d" % i for i in range(1, 200001)]
    assert lines[200000] == "end"
    path = script("print('before') os.exit(3)")
    done = obxc("-S", path, daemon=shared_obxd)
    assert (done.out, done.status) == ("before\n", 3)


def test_output_of_finalizers_is_not_lost(shared_obxd, script):
    path = script("kept = setmetatable({}, {__gc = function() print('at the end', "
                  "ox.get('Device.NoSuchThing') == nil) end}) print('first')")
    assert obxc("-S", path, daemon=shared_obxd).out == "first\nat the end\ttrue\n"


@pytest.mark.parametrize("write", ["io.write(text)", "io.stdout:write(text)", "print(text)"])
def test_large_output_takes_no_memory(shared_obxd, script, write):
    path = script("""
local text = ("x"):rep(999)
for i = 1, 50000 do %s end
for line in io.lines("/proc/self/status") do
  if line:match("VmHWM") then io.stderr:write(line:match("%%d+")) end
end
""" % write)
    done = obxc("-S", path, daemon=shared_obxd)
    assert len(done.out) >= 999 * 50000
    if harness.BARE:
        assert int(done.err) < 16000, done.err


def test_output_appears_while_a_script_waits(shared_obxd, script, terminal):
    path = script("print('at once') ox.sleep(600) print('late')")
    session = terminal("-S", path, daemon=shared_obxd)
    session.wait_for("^at once")


def test_command_in_request_mode(shared_obxd):
    done = obxc("-r", "lua", "print(1)", daemon=shared_obxd)
    assert (done.out, done.status) == ("print(1) \n1\n", 0)
    done = obxc("-r", "lua", "io.write('no newline')", daemon=shared_obxd)
    assert done.out == "io.write('no newline') \nno newline"
    done = obxc("-r", "lua", "error('x')", daemon=shared_obxd)
    assert (done.out, done.status) == ("error('x') \nLUA ERROR: lua:1: x\n", 0)
    done = obxc("-r", "lua", "print(", "'a", "b')", daemon=shared_obxd)
    assert done.out == "print( 'a b') \na b\n"


def test_command_in_the_shell(shell):
    assert shell.run("lua print('a # b')") == "print('a # b')\na # b"
    assert shell.run("lua x = 1; print(x)") == "x = 1; print(x)\n1"
    assert shell.run("lua print(x)") == "print(x)\nnil"  # a state of its own each time
    assert shell.run("lua (").startswith("(\nLUA ERROR: ")


def test_ctrl_c_leaves_the_command(shell):
    for statement in ("while true do end", "ox.sleep(60)", "pcall(function() while true do end end) ox.sleep(60)",
                      "coroutine.wrap(function() while true do pcall(error) end end)()"):
        shell.send("lua %s\r" % statement)
        shell.settle(0.3)
        shell.interrupt()
        shell.prompt()
    assert shell.run("lua print(ox.get('Device.WiFi.Radio.1.Channel') ~= nil)").endswith("\ntrue")


def test_integers_are_64_bits(shared_obxd, script):
    path = script("local t = ox.json.decode('[9223372036854775807, -9223372036854775808, 1.0]')"
                  "print(t[1], t[2], t[3], math.type(t[1]), ox.json.encode(t))")
    done = obxc("-S", path, daemon=shared_obxd)
    assert done.out == ("9223372036854775807\t-9223372036854775808\t1.0\tinteger\t"
                        "[9223372036854775807,-9223372036854775808,1.0]\n")


def test_what_cannot_be_json(shared_obxd, script):
    path = script("""
for _, value in ipairs{print, 0/0, 1/0, "\\xff", {[{}] = 1}, {x = coroutine.create(print)},
                       {["a\\0b"] = 1}} do
  print((select(2, pcall(ox.json.encode, value))))
end
local t = {} t.t = t
print((select(2, pcall(ox.json.encode, t))))
print(ox.json.decode("{"))
print(ox.json.decode("[1,"))
""")
    done = obxc("-S", path, daemon=shared_obxd)
    lines = done.out.splitlines()
    assert lines[:8] == [
        "a function cannot be JSON", "a number that is not finite cannot be JSON",
        "a number that is not finite cannot be JSON", "a text is not valid UTF-8",
        "a table cannot be a key in JSON", "a thread cannot be JSON",
        "a key with a zero byte cannot be JSON", "a table is nested too deep for JSON, or contains itself"]
    assert lines[8].startswith("nil\t") and lines[8].endswith("\t-32700")


def test_wrong_arguments_raise(shared_obxd, script):
    path = script("""
for _, f in ipairs{ox.get, ox.set, ox.add, ox.del, ox.names, ox.attrs, ox.exec, ox.call, ox.on, ox.select, ox.sleep} do
  assert(not pcall(f))
  assert(not pcall(f, print))
  assert(not pcall(f, {}, {}, {}) or f == ox.set)
end
assert(not pcall(ox.set, "Device.X", nil))
assert(not pcall(ox.get, "Device.\\0X"))
assert(not pcall(ox.on, 0, print))
assert(not pcall(ox.wait, {}))
for _, seconds in ipairs{-1, -1/0, 1/0, 0/0, "x"} do
  assert(not pcall(ox.wait, seconds))
  assert(not pcall(ox.wait, print, seconds))
  assert(not pcall(ox.sleep, seconds))
end
for _, f in ipairs{ox.get, ox.set, ox.add, ox.del, ox.names, ox.attrs, ox.config, ox.select, ox.exec, ox.object} do
  local ok, message = pcall(f, "Device.\\xff", f == ox.set and 1 or nil)
  assert(not ok and message:find("must be valid UTF-8", 1, true), message)
end
print("fine")
""")
    assert obxc("-S", path, daemon=shared_obxd).out == "fine\n"


def test_daemon_that_goes_away(scripted, script):
    def answer(request, connection):
        if request["method"] == "GetParameterValues":
            return scripted_daemon.CLOSE
        return scripted_daemon.result({})
    scripted_daemon = scripted(answer)
    path = script("local v, message, code = ox.get('Device.X') print(v, type(message), code)")
    done = obxc("-S", path, daemon=scripted_daemon)
    assert done.out == "nil\tstring\t-7\n", done


def test_broken_answers(scripted, script):
    answers = [{}, {"ParameterList": 5}, {"ParameterList": [5, {}, {"Name": 1}]}, {"ParameterList": []}, None, "text"]
    daemon = scripted(lambda request, connection: harness.ScriptedDaemon.result(
        answers[0] if request["method"] != "GetParameterValues" else answers[request["id"] % len(answers)]))
    path = script("""
for i = 1, 12 do
  print(pcall(ox.get, "Device.A", "Device.B."))
  for _, f in ipairs{ox.names, ox.attrs, ox.config, ox.select, ox.exec, ox.add} do pcall(f, "Device.A.") end
  pcall(function() for k, v in pairs(ox.object("Device.A")) do print(k, v) end end)
end
print("to the end")
""")
    done = obxc("-S", path, daemon=daemon)
    assert done.out.endswith("to the end\n")


def test_every_binding_keeps_its_error(scripted, script):
    daemon = scripted(lambda request, connection: harness.ScriptedDaemon.result({})
                      if request["method"] in ("Login", "JoinGroup") else
                      harness.ScriptedDaemon.error(9001, "Request denied", {"Detail": "why", "Extra": 7}))
    path = script("""
local function show(v, message, code, data) print(v, message, code, data and data.Extra) end
show(ox.get("A.")) show(ox.set("A", 1)) show(ox.set{A = 1, B = 2}) show(ox.add("A.")) show(ox.del("A."))
show(ox.names("A.")) show(ox.attrs("A.")) show(ox.config("A.")) show(ox.select("A.")) show(ox.exec("A"))
show(ox.call("Any"))
ox.strict = true
local ok, err = pcall(ox.get, "A.")
print(ok, err.code, err.message, err.data.Extra, err)
print(pcall(function() return ox.object("A.").B end))
""")
    done = obxc("-S", path, daemon=daemon)
    lines = done.out.splitlines()
    assert lines[:11] == ["nil\tRequest denied: why\t9001\t7"] * 11
    assert lines[11] == "false\t9001\tRequest denied: why\t7\t[9001] Request denied: why"
    assert lines[12].startswith("false\t") and "[9001] Request denied: why" in lines[12]


def test_set_of_many_is_one_request(scripted, script):
    daemon = scripted()
    obxc("-S", script("ox.set{['A.B'] = 1, ['A.C.'] = {D = true, E = {F = 'x'}}}"), daemon=daemon)
    requests = daemon.requests("SetParameterValues")
    assert len(requests) == 1
    assert sorted((entry["Name"], entry["Value"]) for entry in requests[0]["ParameterList"]) == [
        ("A.B", 1), ("A.C.D", True), ("A.C.E.F", "x")]


def test_refused_values_take_the_new_instance_away(obxd, script):
    path = script("""
local before = #ox.object("Device.NAT.PortMapping.")
print(ox.add("Device.NAT.PortMapping.", {ExternalPort = 700000}))
print(#ox.object("Device.NAT.PortMapping.") == before)
""")
    done = obxc("-a", "root", "-S", path, daemon=obxd)
    lines = done.out.splitlines()
    assert lines[0].startswith("nil\t") and lines[1] == "true"


def test_events_reach_the_right_function(obxd, script, terminal):
    path = script("""
ox.on(77, function(params, group) print("got", params.X, group) if params.X == 3 then stop = true end end)
print("ready")
print(ox.wait(function() return stop end, 30))
ox.on(77, nil)
print(ox.wait(0.05))
""")
    session = terminal("-S", path, daemon=obxd)
    session.wait_for("^ready")
    client = obxd.client()
    for x in (1, 2, 3):
        client.send({"jsonrpc": "2.0", "method": "Event", "group": 77, "params": {"X": x}})
    session.wait_for("got\\s+1\\s+77\ngot\\s+2\\s+77\ngot\\s+3\\s+77\ntrue\n0")


def test_values_that_cannot_be_sent_add_no_instance(obxd, script):
    path = script("""
local before = #ox.object("Device.NAT.PortMapping.")
for _, values in ipairs{{Description = "\\xff"}, {[{}] = 1}, {[true] = 1}, {Description = print}} do
  print(pcall(ox.add, "Device.NAT.PortMapping.", values))
end
print(#ox.object("Device.NAT.PortMapping.") - before)
local number = ox.add("Device.NAT.PortMapping", {Description = "it", ExternalPort = 5})
print(ox.get("Device.NAT.PortMapping." .. number .. ".Description", "Device.NAT.PortMapping." .. number .. ".ExternalPort"))
""")
    done = obxc("-a", "root", "-S", path, daemon=obxd)
    lines = done.out.splitlines()
    assert [line[:6] for line in lines[:4]] == ["false\t"] * 4
    assert lines[4:] == ["0", "it\t5"]


def test_a_wait_ends_though_events_come_faster_than_their_functions_run(obxd, script, terminal):
    path = script("""
ox.on(78, function() ox.sleep(0.02) end)
print("ready")
ox.wait(function() return false end, 0.5)
print("counted", ox.wait(1.5) > 1, ox.wait(0) > 1)
ox.on(79, print)
print("joined")
""")
    session = terminal("-S", path, daemon=obxd)
    session.wait_for("^ready")
    client = obxd.client()
    end = time.monotonic() + harness.PATIENCE
    while time.monotonic() < end and "joined" not in session.text():
        for _ in range(20):
            client.send({"jsonrpc": "2.0", "method": "Event", "group": 78, "params": {}})
        session.read(0.05)
    assert "joined" in session.text()  # while they still came
    session.wait_for("^counted\\s+true\\s+true\njoined")


def test_a_wait_of_no_time_hands_over_what_is_there(obxd, script, terminal):
    path = script("""
local count = 0
ox.on(80, function() count = count + 1 end)
print("ready")
while not io.open(arg[1]) do ox.sleep(0.05) end
print(ox.wait(0), count)
""")
    go = path + ".go"
    session = terminal("-S", path, go, daemon=obxd)
    session.wait_for("^ready")
    client = obxd.client()
    for _ in range(50):
        client.send({"jsonrpc": "2.0", "method": "Event", "group": 80, "params": {}})
    client.get("Device.DeviceInfo.UpTime")
    time.sleep(0.2)
    open(go, "w").close()
    session.wait_for("^50\\s+50")


def test_instances_by_number_and_lists(scripted, script):
    daemon = scripted()
    obxc("-S", script("""
ox.set("A.", {R = {{C = 1}, {C = 2}}, S = {[2] = {C = 3}}, List = {1, 2}, Marked = ox.json.array{{1}}, Mixed = {{1}, 2}})
"""), daemon=daemon)
    [request] = daemon.requests("SetParameterValues")
    assert sorted((entry["Name"], entry["Value"]) for entry in request["ParameterList"]) == [
        ("A.List", [1, 2]), ("A.Marked", [[1]]), ("A.Mixed", [[1], 2]), ("A.R.1.C", 1), ("A.R.2.C", 2), ("A.S.2.C", 3)]


def test_an_instance_by_a_float(obxd, script):
    path = script("""
local radio = ox.object("Device.WiFi.Radio.")
radio[1.0] = {RetryLimit = 3}
print(radio[1.0].RetryLimit)

""")
    assert obxc("-a", "root", "-S", path, daemon=obxd).out.startswith("3\n")


def test_snapshot_tells_of_a_refused_delete(obxd, script, tree_modules):
    path = script("""
local snapshot = require "ombrix.snapshot"
local mapping = ox.object("Device.NAT.PortMapping.")
local one = ox.add(mapping, {Description = "old"})
local before = snapshot.take(mapping)
ox.set(tostring(mapping) .. one .. ".Description", "new")
local two = ox.add(mapping)
local del = ox.del
ox.del = function() return nil, "refused", 9001, {why = "so"} end
local undo, message, code, data = snapshot.apply(before)
print(undo, message, code, data and data.why, mapping[one].Description)
ox.del = del
print(type(snapshot.apply(before)), mapping[one].Description, mapping[two])
""")
    done = obxc("-a", "root", "-S", path, daemon=obxd)
    assert done.out == "nil\trefused\t9001\tso\tnew\nfunction\told\tnil\n", done
