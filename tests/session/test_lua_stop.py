"""Ctrl-C in one call of a standard function that would go on for ever, and in finalizers."""

import os
import signal
import subprocess
import time

import pytest

import harness

SLOW = "('a'):rep(30), ('a*'):rep(30) .. 'b'"
LONG_CALLS = [
    "string.find(%s)" % SLOW,
    "string.match(%s)" % SLOW,
    "string.gsub(%s, '')" % SLOW,
    "for word in string.gmatch(%s) do end" % SLOW,
    "string.gsub('aaa', '.', function() return string.find(%s) end)" % SLOW,
    "coroutine.wrap(function() return string.find(%s) end)()" % SLOW,
    "table.move({}, 1, 1 << 60, 2)",
    "local s, t = ('x'):rep(1 << 20), {} for i = 1, 70000 do t[i] = s end table.sort(t)",
    "table.insert(setmetatable({}, {__len = function() return 1 << 60 end}), 1, 'x')",
    "table.remove(setmetatable({}, {__len = function() return 1 << 60 end}), 1)",
    "setmetatable({}, {__gc = function() while true do end end}) collectgarbage()",
    "setmetatable({}, {__gc = function() string.find(%s) end}) collectgarbage()" % SLOW,
]
LOOPS_AT_END = "X = setmetatable({}, {__gc = function() while true do end end})"


def state(shell):
    """What a command finds and leaves as it was: the terminal's modes, and the open files."""
    files = "/proc/%d/fd" % shell.pid()
    return shell.modes(), sorted((name, os.readlink(os.path.join(files, name))) for name in os.listdir(files))


def assert_as_before(shell, before):
    assert shell.run("color hint") == "120 100 55"
    assert shell.run("cat Device.DeviceInfo.HostName").endswith("= 'router'")
    shell.settle()
    assert state(shell) == before


@pytest.fixture
def before(shell):
    shell.run("lua print(1)")
    return state(shell)


def enter_lua(shell):
    shell.send("lua\r")
    shell.wait_line(r"\S*obxc-lua:>")


def leave_lua(shell):
    shell.send("q\r")
    shell.wait_line(r"\S*obxc:>")


@pytest.mark.parametrize("call", LONG_CALLS)
def test_in_lua_mode(shell, before, call):
    enter_lua(shell)
    shell.send("kept = 41\r")
    shell.wait_line(r"\S*obxc-lua:>")
    shell.send(call + "\r")
    shell.settle(0.5)
    shell.interrupt()
    shell.wait_line(r"\S*obxc-lua:>")
    leave_lua(shell)
    enter_lua(shell)
    shell.send("40 + 2\r")
    shell.wait_for(r"^_\[1\] = 42$")
    leave_lua(shell)
    assert_as_before(shell, before)


@pytest.mark.parametrize("call", LONG_CALLS)
def test_in_the_lua_command(shell, before, call):
    shell.send("lua " + call + "\r")
    shell.settle(0.5)
    shell.interrupt()
    shell.prompt()
    assert_as_before(shell, before)


def test_a_finalizer_that_runs_at_the_end_of_the_lua_command(shell, before):
    shell.send("lua " + LOOPS_AT_END + "\r")
    shell.settle(0.5)
    shell.interrupt()
    shell.prompt()
    assert_as_before(shell, before)


def test_a_finalizer_that_runs_at_the_end_of_lua_mode(shell, before):
    enter_lua(shell)
    shell.send(LOOPS_AT_END + "\r")
    shell.wait_line(r"\S*obxc-lua:>")
    shell.send("q\r")
    shell.settle(0.5)
    shell.interrupt()
    shell.wait_line(r"\S*obxc:>")
    assert_as_before(shell, before)


@pytest.fixture
def start(shared_obxd, directory):
    """A function that starts a script and waits until it is at work."""
    started = []

    def run(text):
        path = os.path.join(directory, "script.lua")
        with open(path, "w", encoding="utf-8") as file:
            file.write("print('ready') io.flush() " + text)
        started.append(subprocess.Popen([harness.OBXC, "-u", shared_obxd.socket, "-S", path], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, bufsize=0, env=harness.environment()))
        assert started[-1].stdout.readline() == b"ready\n"
        time.sleep(0.3)
        return started[-1]
    yield run
    for process in started:
        if process.poll() is None:
            process.kill()
        process.communicate()


@pytest.mark.parametrize("call", LONG_CALLS)
def test_a_script_cleans_up(start, call):
    process = start("ox.atexit(function() print('cleaned', ox.get('Device.DeviceInfo.HostName')) end) " + call)
    process.send_signal(signal.SIGINT)
    out, err = process.communicate(timeout=harness.PATIENCE)
    assert (out, err, process.returncode) == (b"cleaned\trouter\n", b"", -signal.SIGINT)


@pytest.mark.parametrize("call", LONG_CALLS)
def test_a_script_catches_it(start, call):
    process = start("local ok, e = pcall(function() %s end) print(ok, tostring(e):match('interrupted!'))" % call)
    process.send_signal(signal.SIGTERM)
    out, err = process.communicate(timeout=harness.PATIENCE)
    assert (out, err, process.returncode) == (b"false\tinterrupted!\n", b"", -signal.SIGTERM)


def test_a_finalizer_that_runs_at_the_end_of_a_script(start):
    process = start(LOOPS_AT_END + " print('last words')")
    process.send_signal(signal.SIGINT)
    out, err = process.communicate(timeout=harness.PATIENCE)
    assert (out, err, process.returncode) == (b"last words\n", b"", -signal.SIGINT)


def test_opening_a_pipe_that_nobody_writes(shell, before, directory):
    pipe = os.path.join(directory, "pipe")
    os.mkfifo(pipe)
    for code in ('io.open("%s")', 'pcall(io.open, "%s", "w")'):
        shell.send("lua %s\r" % (code % pipe))
        shell.settle(0.3)
        shell.interrupt()
        shell.prompt()
    assert_as_before(shell, before)


def same_as(shared_obxd, directory, text):
    path = os.path.join(directory, "script.lua")
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return harness.obxc("-S", path, daemon=shared_obxd).out


@pytest.mark.parametrize("code, shown", [
    ("(''):rep(1 << 62)", ""),
    ("('ab'):rep(3, '-')", "ab-ab-ab"),
    ("pcall(string.rep, 'x', 1 << 40)", "false\tresulting string too large"),
    ("('hello world'):find('o w')", "5\t7"),
    ("('a.b'):find('.', 1, true)", "2\t2"),
    ("('a\\0b'):find('\\0b')", "2\t3"),
    ("('abc'):find('b', -2)", "2\t2"),
    ("('abc'):find('', 10)", "nil"),
    ("('abc'):find('', 4)", "4\t3"),
    ("('key = value'):match('^(%w+)%s*=%s*(%w+)$')", "key\tvalue"),
    ("('x(a(b)c)y'):match('%b()')", "(a(b)c)"),
    ("('THE (quick) fox'):find('%f[%a]%a+%f[%A]')", "1\t3"),
    ("('\"it\\'s\"'):match('([\"\\'])(.-)%1')", "\"\tit's"),
    ("('hello'):match('()ll()')", "3\t5"),
    ("('aXb'):gsub('%u', '[%0%%]')", "a[X%]b\t1"),
    ("('abc'):gsub('', '-')", "-a-b-c-\t4"),
    ("('abc def'):gsub('%w+', {abc = 1, def = false})", "1 def\t2"),
    ("('abc'):gsub('(%w)', function(c) return c ~= 'b' and c:upper() end, 2)", "Abc\t2"),
    ("pcall(string.find, 'a', '[a')", "false\tmalformed pattern (missing ']')"),
    ("pcall(string.find, 'a', '%')", "false\tmalformed pattern (ends with '%')"),
    ("pcall(string.find, 'a', '(a')", "false\tunfinished capture"),
    ("pcall(string.match, 'a', 'a)')", "false\tinvalid pattern capture"),
    ("pcall(string.gsub, 'a', 'a', '%2')", "false\tinvalid capture index %2"),
    ("pcall(string.gsub, 'a', 'a', '%x')", "false\tinvalid use of '%' in replacement string"),
    ("pcall(string.find, ('a'):rep(300), ('a?'):rep(300))", "false\tpattern too complex"),
    ("table.concat(table.move({1, 2, 3}, 1, 3, 2), ',')", "1,1,2,3"),
    ("pcall(table.insert, {1, 2}, 4, 'x')", "false\tbad argument #2 to 'table.insert' (position out of bounds)"),
    ("pcall(table.insert, {1, 2}, 0, 'x')", "false\tbad argument #2 to 'table.insert' (position out of bounds)"),
    ("pcall(table.remove, {1, 2}, 4)", "false\tbad argument #1 to 'table.remove' (position out of bounds)"),
    ("(function(t) table.insert(t, 1, 'a') table.insert(t, 4, 'b') return table.concat(t, ',') end)({1, 2})", "a,1,2,b"),
    ("(function(t) return table.remove(t, 1), table.remove(t, 2), table.concat(t, ',') end)({1, 2, 3})", "1\t3\t2"),
    ("table.remove({1, 2}, 3)", "nil"),
    ("table.remove({}, 0)", "nil"),
    ("#table.move(('x'):rep(200000):gsub('x', '') and {}, 1, 200000, 2)", "0"),
])
def test_what_the_functions_give(shared_obxd, directory, code, shown):
    assert same_as(shared_obxd, directory, "print(%s)" % code) == shown + "\n"


def test_long_lists(shared_obxd, directory):
    text = """
        local t = {} for i = 1, 200000 do t[i] = i * 7919 % 200003 end
        table.sort(t) for i = 2, #t do assert(t[i - 1] < t[i]) end
        local last = t[#t]
        table.move(t, 1, #t, 3) assert(#t == 200002 and t[#t] == last and t[1] == t[3])
        table.move(t, 3, #t, 1) assert(t[#t - 2] == last)
        assert(#table.move(t, 1, 200000, 1, {}) == 200000)
        t[5] = 'x' print(pcall(table.sort, t))
    """
    assert same_as(shared_obxd, directory, text).startswith("false\tattempt to compare ")


def test_finalizers_are_called_as_ever(shared_obxd, directory):
    text = """
        local meta = {__gc = function(o, ...) print('gone', o.n, ...) return 'given', o.n end}
        for i = 1, 3 do setmetatable({n = i}, meta) end
        collectgarbage()
        print(meta.__gc({n = 4}, 'more'))
        print(pcall(function() setmetatable({}, {__gc = function() error('bad', 0) end}) collectgarbage() end))
        LAST = setmetatable({n = 5}, meta)
    """
    assert same_as(shared_obxd, directory, text) == (
        "gone\t3\ngone\t2\ngone\t1\ngone\t4\tmore\ngiven\t4\nfalse\terror in __gc metamethod (bad)\ngone\t5\n")


@pytest.mark.parametrize("number", [signal.SIGHUP, signal.SIGTERM])
def test_a_signal_that_ends_a_statement_ends_the_shell(shell, number):
    enter_lua(shell)
    shell.send("while true do end\r")
    shell.settle(0.5)
    os.kill(shell.pid(), number)
    assert shell.end() == (0 if number == signal.SIGHUP else -number)
    assert shell.modes() == (True, True)
