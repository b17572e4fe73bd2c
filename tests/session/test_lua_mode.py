"""Lua mode at the prompt."""

import os
import re

import pytest

import harness

LUA_PROMPT = r"\S*obxc-lua(\(fail\))?:\S*>"


class LuaMode:
    """A terminal in Lua mode."""

    def __init__(self, terminal):
        self.terminal = terminal
        terminal.prompt()
        terminal.send("lua\r")
        self.prompt()

    def prompt(self):
        return self.terminal.wait_line(LUA_PROMPT).group(0)

    def run(self, line):
        """Types a line; returns what was printed until the next prompt of any kind."""
        mark = self.terminal.shown()
        self.terminal.send(line + "\r")
        self.terminal.wait(lambda: self.terminal.shown() > mark and
                           re.fullmatch(LUA_PROMPT + "|>", self.terminal.line()), "the prompt after %r" % line)
        return self.terminal.since(mark)

    def complete(self, text):
        """Types text and Tab; returns the line that stands there afterwards, without the prompt."""
        self.terminal.send("\x15" + text + "\t~")
        self.terminal.wait(lambda: self.terminal.line().endswith("~"), "the key behind Tab")
        self.terminal.send("\x7f")
        self.terminal.wait(lambda: not self.terminal.line().endswith("~"), "the end of that key")
        line = re.sub("^" + LUA_PROMPT + " ?", "", self.terminal.line())
        return line


@pytest.fixture
def lua(obxd, terminal):
    return LuaMode(terminal("-a", "root", daemon=obxd))


def test_results_are_numbered(lua):
    assert lua.run("1+1") == "_[1] = 2"
    assert lua.run("_[1]*10") == "_[2] = 20"
    assert lua.run("x = 5") == ""
    assert lua.run("x, 'y', {1, k = x}") == '_[3] = 5\n_[4] = "y"\n_[5] = { 1,\n  k = 5,\n}'
    assert lua.run("nil") == "_[6] = nil"
    assert lua.run("_ = 7 return _") == "_[7] = 7"
    assert lua.run("_ and _[2]") == "_[8] = 20"
    assert lua.run("#_") == "_[9] = 8"


def test_errors_are_red_on_standard_error_and_keep_the_mode(lua):
    text = lua.run("error('bad', 0)")
    assert text.startswith("bad\n\nStack trace:\n")
    assert "#0 [C]: in function ?" in text
    assert "#1 [C]: in function 'error'" in text
    assert '#2 [string "stdin"]:1: in the main chunk' in text
    assert b"\x1b[0;31mbad" in lua.terminal.raw
    assert lua.prompt().endswith("obxc-lua:>")
    assert "unexpected symbol" in lua.run("x = = 1")
    assert lua.prompt().endswith("obxc-lua(fail):>")
    lua.run("x = 1")
    assert lua.prompt().endswith("obxc-lua:>")
    assert lua.run("error(setmetatable({}, {__tostring = function() return 'mine' end}))").startswith("mine\n")
    assert lua.run("error({})").startswith("(no error message)\n")


def test_statement_over_several_lines(lua):
    assert lua.run("for i = 1, 3 do") == ""
    assert lua.terminal.line() == ">"
    assert lua.run("q = i") == ""
    assert lua.run("print(i) end") == "1\n2\n3"
    lua.terminal.send("\x1b[A")
    lua.terminal.wait_for(r"print\(i\) end\s*\Z")
    lua.terminal.send("\x15")


def test_q_inside_a_statement_is_lua(lua):
    lua.run("q = 5")
    lua.run("f = function() return")
    lua.run("q")
    lua.run("end")
    assert lua.run("f()") == "_[1] = 5"


def test_paste_of_a_function(lua):
    lua.terminal.send("function add(a, b)\r  local sum = a + b\r  return sum\rend\radd(40, 2)\r")
    lua.terminal.wait_for(r"^_\[1\] = 42")


def test_value_whose_printing_fails(lua):
    # Longer texts stand in the printer's buffer first: nothing of them is shown again.
    lua.run("('old'):rep(30)")
    lua.run("bad = setmetatable({}, {__eq = function() error({}) end})")
    assert lua.run("{bad}") == "_[2] = {\n"
    lua.run("bad = setmetatable({}, {__eq = function() error('no', 0) end})")
    assert lua.run("{bad}") == "_[3] = {\n  no"


def test_prints_go_straight_out(lua):
    assert lua.run("print('a') io.write('b\\n') io.stdout:write('c\\n')") == "a\nb\nc"


def test_leading_blank_keeps_it_out_of_the_history(lua):
    lua.run("first = 1")
    lua.run(" second = 2")
    lua.terminal.send("\x1b[A")
    lua.terminal.wait_line(LUA_PROMPT + " first = 1")
    lua.terminal.send("\x15")
    assert lua.run("second") == "_[1] = 2"


def test_leaving_and_coming_back(lua):
    lua.run("kept = 1")
    lua.terminal.send("q\r")
    lua.terminal.wait_line(r"\S*obxc:>")
    lua.terminal.send("lua\r")
    lua.prompt()
    assert lua.run("kept") == "_[1] = nil"
    lua.terminal.send("\x1b[A\x1b[A")
    lua.terminal.wait_line(LUA_PROMPT + " kept = 1")
    lua.terminal.send("\x15\x04")
    lua.terminal.wait_line(r"\S*obxc:>")
    lua.terminal.send("\x1b[A")
    lua.terminal.wait_line(r"\S*obxc:> lua")


@pytest.mark.parametrize("statement", [
    "while true do end",
    "while true do pcall(function() while true do end end) end",
    "ox.sleep(60)",
    "coroutine.wrap(function() while true do end end)()",
    "setmetatable({}, {__tostring = function() while true do end end})",
])
def test_ctrl_c_and_its_consequence(lua, statement):
    lua.run("before = 1")
    lua.terminal.send(statement + "\r")
    lua.terminal.settle(0.4)
    lua.terminal.interrupt()
    lua.prompt()
    assert "1" not in lua.run("print(before)")
    assert "1" not in lua.run("print(before)")
    lua.terminal.send("quit\r")
    lua.terminal.wait_line(r"\S*obxc:>")
    lua.terminal.send("lua\r")
    lua.prompt()
    assert lua.run("40 + 2") == "_[1] = 42"
    assert lua.run("ox.get('Device.WiFi.Radio.1.Enable')") == "_[2] = true"


def test_ctrl_c_drops_a_pending_statement(lua):
    lua.run("for i = 1, 3 do")
    assert lua.terminal.line() == ">"
    lua.terminal.interrupt()
    lua.prompt()
    # As after any Ctrl-C in a statement: nothing runs until Lua mode is left.
    assert "1" not in lua.run("print(1 + 0)")


def test_ctrl_c_at_the_prompt_only_drops_the_line(lua):
    lua.terminal.send("half")
    lua.terminal.wait_line(LUA_PROMPT + " half")
    lua.terminal.interrupt()
    lua.prompt()
    assert lua.run("1") == "_[1] = 1"


def test_ctrl_c_and_text_at_once(lua):
    for _ in range(20):
        lua.terminal.send("drop me")
        lua.terminal.wait_line(LUA_PROMPT + " drop me")
        lua.terminal.send("\x03keep me")
        lua.terminal.wait_line(LUA_PROMPT + " keep me")
        lua.terminal.interrupt()
        lua.prompt()


def test_ctrl_c_while_the_daemon_is_silent(scripted, terminal):
    daemon = scripted(lambda request, connection: None if "Slow" in str(request.get("params"))
                      else harness.ScriptedDaemon.result({}))
    lua = LuaMode(terminal(daemon=daemon))
    lua.terminal.send("ox.get('Slow')\r")
    harness.wait_until(lambda: "Slow" in str(daemon.requests("GetParameterValues")), "the request")
    lua.terminal.interrupt()
    lua.prompt()
    lua.terminal.send("q\r")
    lua.terminal.wait_line(r"\S*obxc:>")


def test_values_from_elsewhere_cannot_steer_the_terminal(lua):
    lua.run("('x\\27[31my\\n'):rep(30)")
    assert b"\x1b[31my" not in lua.terminal.raw
    assert "\\x1b[31m" in lua.terminal.text()


def test_a_script_has_its_own_colours(lua):
    lua.run("c = setmetatable({}, {__tostring = function() return '\\27[35mred\\27[0m' end})")
    assert lua.run("c, {c}") == "_[1] = red\n_[2] = {\n  red,\n}"
    assert lua.terminal.raw.count(b"\x1b[35mred\x1b[0m") == 2


def test_errors_cannot_steer_the_terminal(lua):
    text = lua.run("error('\\27]0;title\\7\\27[31mred\\u{9b}2Jx\\tgr\\u{fc}n\\nnext', 0)")
    assert text.startswith("\\x1b]0;title\\x07\\x1b[31mred\\xc2\\x9b2Jx"), text
    assert "gr\u00fcn\nnext\n\nStack trace:\n" in text
    assert b"\x1b[1m[C]:\x1b[22m" in lua.terminal.raw


def test_globals_that_refuse_unknown_names(lua):
    lua.run("x = setmetatable(_G, {__index = function(_, k) error('no ' .. k) end, __newindex = function() error('no') end})")
    assert lua.run("1 + 1") == "_[1] = 2"
    lua.complete("unkn")
    lua.terminal.send("\x15")
    assert lua.run("_[1]") == "_[2] = 2"


def test_record(lua, obxd, directory):
    path = os.path.join(directory, "recorded.lua")
    lua.run("not_recorded = 1")
    lua.terminal.send("q\r")
    lua.terminal.wait_line(r"\S*obxc:>")
    lua.terminal.send("luarecord %s\r" % path)
    lua.prompt()
    lua.run("x = 1")
    lua.run("for i = 1, 3 do")
    lua.run("x = x * 2 end")
    lua.run("x = x + 1")
    lua.run("x = x + 1")
    lua.run("x -- shown")
    lua.run("x = = nonsense")
    lua.run(" x = 1000")
    lua.run("print('x is', x)")
    lua.terminal.send("q\r")
    lua.terminal.wait_line(r"\S*obxc:>")
    with open(path, encoding="utf-8") as file:
        assert file.read() == ("x = 1\nfor i = 1, 3 do\nx = x * 2 end\nx = x + 1\nx = x + 1\n"
                               "print(x -- shown\n)\n-- x = = nonsense\nprint('x is', x)\n")
    assert harness.obxc("-S", path, daemon=obxd).out == "10\nx is\t10\n"


@pytest.mark.parametrize("closing", ("", "0, true"))
def test_a_recording_that_os_exit_ends(lua, obxd, directory, closing):
    path = os.path.join(directory, "recorded.lua")
    lua.terminal.send("q\r")
    lua.terminal.wait_line(r"\S*obxc:>")
    lua.terminal.send("luarecord %s\r" % path)
    lua.prompt()
    lua.run("x = 6")
    lua.run("for i = 1, 2 do if i == 2 then return end end")
    lua.run("x * 7")
    lua.terminal.send("os.exit(%s)\r" % closing)
    assert lua.terminal.end() == 0
    with open(path, encoding="utf-8") as file:
        assert file.read() == ("x = 6\n;(function(...)\nfor i = 1, 2 do if i == 2 then return end end\nend)(...)\n"
                               "print(x * 7)\nos.exit(%s)\n" % closing)
    assert harness.obxc("-S", path, daemon=obxd).out == "42\n"


def test_a_recording_of_the_shell_goes_through_lua_mode(lua, obxd, directory):
    lua.run("not_recorded = 1")
    lua.terminal.send("q\r")
    path = os.path.join(directory, "recorded")
    lua.terminal.wait_line(r"\S*obxc:>")
    lua.terminal.run("record %s" % path)
    for line in ("cat Device.DeviceInfo.HostName", 'set Device.DeviceInfo.HostName="first"'):
        lua.terminal.run(line)
    lua.terminal.send("lua\r")
    lua.prompt()
    for line in ("1+1", "if true then", "ox.set('Device.DeviceInfo.HostName', 'second') end", "x = [[it's]]",
                 "x = 1 -- one", "x = 'a  b'", "x = #'abc'", "print( #'abc')", "x = \"it's\""):
        lua.run(line)
    lua.terminal.send("q\r")
    lua.terminal.wait_line(r"\S*obxc:>")
    hole = "# a Lua statement that no line can hold\n"
    with open(path, encoding="utf-8") as file:
        assert file.read() == (
            'cat Device.DeviceInfo.HostName\nset Device.DeviceInfo.HostName="first"\nlua print(1+1)\n'
            "lua if true then ox.set('Device.DeviceInfo.HostName', 'second') end\n" + 5 * hole +
            "lua x = \"it's\"\n")
    done = harness.obxc("-a", "root:", "-s", path, daemon=obxd)
    assert done.status == 0 and "\n2\n" in done.out, done
    assert obxd.client().get("Device.DeviceInfo.HostName") == "second"


def test_record_command_checks(shell, directory):
    assert shell.run("luarecord") == "syntax: luarecord <filename>|abort"
    assert shell.run("luarecord abort") == "luarecord: no record found."
    assert shell.run("luarecord /nonexistent/x") == "luarecord: can't create record file /nonexistent/x."
    shell.run("record %s" % os.path.join(directory, "r"))
    assert shell.run("luarecord %s" % os.path.join(directory, "s")) == "luarecord: already recording."


def test_luarecord_abort_ends_the_recording_and_enters_lua_mode(shell, directory):
    path = os.path.join(directory, "aborted")
    shell.run("record %s" % path)
    shell.send("luarecord abort\r")
    shell.wait_line(LUA_PROMPT)
    shell.send("x = 1\r")
    shell.wait_line(LUA_PROMPT)
    shell.send("q\r")
    shell.wait_line(r"\S*obxc:>")
    with open(path, encoding="utf-8") as file:
        assert file.read() == ""


def test_completion(lua):
    assert lua.complete("retu") == "return"
    assert lua.complete("str") == "string"
    assert lua.complete("string") == "string."
    assert lua.complete("x=string.fo") == "x=string.format"
    assert lua.complete("print(string.rever") == "print(string.reverse"
    lua.terminal.send("\x15")
    lua.run("t = {alpha = 1, beta = function() end, nested = {gamma = 2}, [10] = true, ['a b'] = 1}")
    assert lua.complete("t.al") == "t.alpha"
    assert lua.complete("t:be") == "t:beta"
    assert lua.complete("t.nested.ga") == "t.nested.gamma"
    assert lua.complete("t[1") == "t[10]"
    assert lua.complete("t['alp") == "t['alpha']"
    assert lua.complete("t.nes") == "t.nested"
    assert lua.complete("t.nested") == "t.nested."
    lua.terminal.send("\x15")
    lua.run("m = setmetatable({}, {__index = {method = print}})")
    assert lua.complete("m:me") == "m:method"


def test_completion_in_the_model(lua, obxd):
    lua.run("dev = ox.object('Device.')")
    assert lua.complete("dev.WiFi.Radi").startswith("dev.WiFi.Radio")
    assert lua.complete("dev.WiFi.Radio[1].ChannelsIn") == "dev.WiFi.Radio[1].ChannelsInUse"
    assert lua.complete("dev.WiFi.Radio[1].Stats.Res") == "dev.WiFi.Radio[1].Stats.Reset"
    lua.terminal.send("\x15")
    lua.run("names = {} for name in pairs(dev.WiFi.Radio[1].Stats) do names[name] = true end")
    assert lua.run("names.Reset") == "_[1] = nil"


def test_completion_changes_nothing(lua, obxd):
    client = obxd.client()
    client.set("Device.WiFi.Radio.1.RetryLimit", 4)
    called = os.path.join(lua.terminal.tmp, "called")
    lua.run("function f() os.execute('touch %s') ran = true return {} end" % called)
    lua.run("bad = setmetatable({}, {__index = function() ox.set('Device.WiFi.Radio.1.RetryLimit', 7) "
            "ox.call('Reboot', {}) return {} end})")
    lua.run("dev = ox.object('Device.')")
    for text in ("f().x", "f'x'.y", "f{}.", "f[[x]].y", "f\"x\".z", "bad.x.y", "bad.x", "bad[1].",
                 "ox.set('Device.WiFi.Radio.1.RetryLimit',7).", "dev.WiFi.Radio[1].RetryLimit="):
        lua.complete(text)
    lua.terminal.send("\x15")
    assert lua.run("ran") == "_[1] = nil"
    assert not os.path.exists(called)
    assert client.get("Device.WiFi.Radio.1.RetryLimit") == 4


def test_completion_survives_hostile_values(lua):
    lua.run("h = setmetatable({}, {__index = function() error('i') end, __pairs = function() error('p') end, "
            "__tostring = function() error('t') end})")
    lua.run("slow = setmetatable({}, {__index = function() while true do pcall(error) end end, "
            "__pairs = function() while true do end end})")
    lua.run("endless = setmetatable({}, {__pairs = function() return function() return 'x' end end})")
    lua.run("odd = setmetatable({}, {__pairs = function() return 5, {}, print end, __index = io.stdout})")
    for text in ("h.", "h.a.b", "h[", "slow.", "slow.x.", "endless.", "odd.", "odd:", "h:", ".", "[", ":", "'", "\"",
                 "a[b[", "[[", "x]", "..", "-", "%", "*"):
        lua.complete(text)
    lua.terminal.send("\x15")
    assert lua.run("6 * 7") == "_[1] = 42"


def test_completion_loads_a_module(lua, directory):
    with open(os.path.join(directory, "obxmod.lua"), "w", encoding="utf-8") as file:
        file.write("return {answer = 42}")
    os.mkdir(os.path.join(directory, "obxpack"))
    for name in ("init", "part"):
        with open(os.path.join(directory, "obxpack", name + ".lua"), "w", encoding="utf-8") as file:
            file.write("return {}")
    lua.run("package.path = '%s/?.lua'" % directory)
    assert lua.complete("obxmo") == "obxmod"
    lua.complete("obxmod")
    lua.terminal.wait_for("^Loaded module 'obxmod'\\.")
    lua.terminal.send("\x15")
    assert lua.run("obxmod.answer") == "_[1] = 42"
    lua.run("obxmod = nil")
    lua.complete("obxmod")
    lua.terminal.wait_for("^Globalized module 'obxmod'\\.")
    assert lua.complete("require 'obxpack.") == "require 'obxpack.part'"


def test_ctrl_c_leaves_a_module_that_hangs_while_it_is_loaded(shared_obxd, terminal, directory):
    os.makedirs(os.path.join(directory, "ombrix", "dump"))
    with open(os.path.join(directory, "ombrix", "dump", "init.lua"), "w", encoding="utf-8") as file:
        file.write("print('hangs') while true do end")
    session = terminal(command=[harness.TREE_MODULES, "-u", shared_obxd.socket],
                       env=harness.environment(LUA_PATH=directory + "/?/init.lua;;"))
    session.prompt()
    session.send("lua\r")
    session.wait_for("^hangs")
    session.interrupt()
    session.wait_line(LUA_PROMPT)
    session.send("6 * 7\r")
    session.wait_for(r"^_\[1\] = 42")


def test_completion_evaluates_what_stands_before(lua):
    lua.run("i = 1 t = {{}, {beta = 2}}")
    assert lua.complete("t[i+1].b") == "t[i+1].beta"
    assert lua.complete("t[#t].b") == "t[#t].beta"
    assert lua.complete('require"string".for') == 'require"string".format'


def test_completion_leaves_the_terminal_alone(lua):
    lua.run("function say() print('said') io.stderr:write('told') return {one = 1} end")
    row = lua.terminal.shown()
    assert lua.complete("say''.o") == "say''.one"
    assert lua.complete("io.read'l'.o") == "io.read'l'.o"
    assert lua.complete("os.execute'echo ran'.o") == "os.execute'echo ran'.o"
    assert lua.terminal.shown() == row
    lua.terminal.send("\x15")
    assert lua.run("1") == "_[1] = 1"


def test_output_of_a_completion_stands_between_whole_lines(lua, directory):
    with open(os.path.join(directory, "obxloud.lua"), "w", encoding="utf-8") as file:
        file.write("print('loading') io.write('half') return {}")
    lua.run("package.path = '%s/?.lua'" % directory)
    rows = ["loading", "half", "Loaded module 'obxloud'."]
    lua.terminal.send("\x15\x0c")
    lua.terminal.settle(0.1)
    lua.terminal.send("-- obxloud\t")
    lua.terminal.wait_for(rows[-1])
    lua.terminal.settle(0.2)
    assert re.fullmatch(LUA_PROMPT + r" -- obxloud\.?", lua.terminal.line()), lua.terminal.screen()
    shown = [row.strip() for row in lua.terminal.screen()]
    first = next(i for i, row in enumerate(shown) if row.endswith("-- obxloud"))
    assert shown[first + 1:first + 1 + len(rows)] == rows


def test_output_of_what_a_completion_evaluates_is_dropped(lua):
    lua.run("loud = setmetatable({}, {__pairs = function(t) io.write('walks') return next, {one = 1} end})")
    assert lua.complete("loud.o") == "loud.one"
    assert "walks" not in lua.terminal.text().split("loud = ")[1].split("\n", 2)[2]
