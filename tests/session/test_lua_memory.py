"""Lua code that runs out of memory."""

import os
import resource
import subprocess

import pytest

import harness

pytestmark = pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer needs all addresses")

LIMIT = (64 if harness.EMULATED else 24) << 20


def limit_addresses():
    resource.setrlimit(resource.RLIMIT_AS, (LIMIT, LIMIT))


def limited(*args, stdin=""):
    """Runs obxc with little memory; its output and status."""
    env, before = harness.environment(), limit_addresses
    if harness.EMULATED:  # the bound is the program's, and not the emulator's
        env, before = harness.environment(QEMU_RESERVED_VA=hex(LIMIT)), None
    done = subprocess.run(["obxc"] + list(args), executable=harness.OBXC, input=stdin.encode(), stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, env=env, timeout=4 * harness.PATIENCE, preexec_fn=before)
    return done.stdout.decode(), done.returncode


@pytest.fixture
def run_limited(shared_obxd, directory):
    def run_script(text):
        path = os.path.join(directory, "script.lua")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return limited("-u", shared_obxd.socket, "-S", path)
    return run_script


@pytest.mark.parametrize("code", (
    "local t = {} while true do t[#t + 1] = {} end",
    "t = {} while true do t = {t} end",
    "local t = {} while true do t[#t + 1] = ('x'):rep(1000) .. #t end",
    "local s = 'x' while true do s = s .. s end",
    "local s = {} while true do s[#s + 1] = ox.config('Device.') or error('none') end",
    "local s, t = '[' .. ('[1,{\"a\":\"text\"}],'):rep(20000) .. '1]', {} while true do t[#t + 1] = ox.json.decode(s) end",
    "local s, t = {}, {} for i = 1, 9999 do t[i] = 'text' .. i end while true do s[#s + 1] = ox.json.encode(t) end",
    "coroutine.wrap(function() local t = {} while true do t[#t + 1] = {} end end)()",
), ids=("small", "kept", "texts", "large", "config", "decode", "encode", "coroutine"))
def test_a_script_ends_with_what_it_printed(run_limited, code):
    out, status = run_limited("print('first')\n" + code)
    assert out.startswith("first\n")
    assert "not enough memory" in out and "assertion" not in out and "PANIC" not in out
    assert status == 1


def test_a_script_survives(run_limited):
    assert run_limited("""
print('first')
print(pcall(function() local t = {} while true do t[#t + 1] = {} end end))
collectgarbage()
print(select('#', ox.get('Device.DeviceInfo.ModelName')), #ox.json.decode('[1,2,3]'))
print((select(2, pcall(string.rep, 'x', 1 << 30)):match('not enough memory')))
print('last')
""") == ("first\nfalse\tnot enough memory\n1\t3\nnot enough memory\nlast\n", 0)


def test_more_is_printed_than_there_is_memory(run_limited):
    out, status = run_limited("for i = 1, 60 do io.write(('x'):rep(2000000), '\\n') end print('last')")
    assert (len(out), out[-5:], status) == (60 * 2000001 + 5, "last\n", 0)


def test_the_shell_goes_on(shared_obxd):
    out, status = limited("-u", shared_obxd.socket, stdin=(
        "lua while true do io.write(('y'):rep(100000), '\\n') end\n"
        "lua\nt = {} while true do t = {t} end\nt = nil\ncollectgarbage() collectgarbage()\n'after', 6 * 7\nq\npwd\n"))
    assert "LUA ERROR: not enough memory\n" in out
    assert '_[2] = 42\n' in out and out.endswith("\n:\n")
    assert "PANIC" not in out and status == 0


def test_each_function_of_the_end_is_called_once_without_memory(run_limited):
    """What it needs may not be there; then that is told, once for each."""
    out, status = run_limited("""
print('first')
ox.atexit(function() t = nil collectgarbage() print('last') end)
ox.atexit(function() t = nil collectgarbage() print('last') end)
t = {} while true do t = {t} end
""")
    lines = out.splitlines()
    assert lines.count("last") + lines.count("ox.atexit: not enough memory") == 2
    assert "first" in lines and status == 1
