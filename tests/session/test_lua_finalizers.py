"""Finalizers that fail, wherever the collector runs them."""

import pytest

import harness

CALM = "for i = 1, 10000 do if pcall(collectgarbage) then break end end"
FAILING = "for i = 1, 3000 do setmetatable({}, {__gc = function(o) o.x.y = 1 end}) end"


def lua_mode(daemon, *lines):
    return harness.obxc(daemon=daemon, stdin="\n".join(("lua",) + lines + ("q", "q", "")))


@pytest.mark.parametrize("statement", [
    "return table.unpack(t)",
    "return t",
    "'" + "x" * 5000 + "'",
    "return setmetatable({}, {__tostring = function() return ('x'):rep(100000) end})",
])
def test_in_lua_mode(shared_obxd, statement):
    done = lua_mode(shared_obxd, "setmt = setmetatable", "t = {} for i = 1, 2000 do t[i] = {i} end",
                    FAILING.replace("setmetatable", "setmt"), statement, statement, CALM, "print('still', 'here')")
    assert done.status == 0, done
    assert "still\there\n" in done.out
    assert "PANIC" not in done.err


def test_a_result_behind_failing_finalizers_is_shown(shared_obxd):
    done = lua_mode(shared_obxd, "collectgarbage('stop')", FAILING, "collectgarbage('restart')", "40 + 2")
    assert "= 42\n" in done.out, done


def test_a_collector_that_was_stopped_stays_so(shared_obxd):
    done = lua_mode(shared_obxd, "collectgarbage('stop')", "{1}", "collectgarbage('isrunning')")
    assert "= false\n" in done.out, done


def test_while_a_session_is_recorded(shared_obxd, directory):
    path = directory + "/recorded.lua"
    text = "x = '%s'" % ("y" * 3000)
    done = harness.obxc(daemon=shared_obxd, stdin="\n".join(["luarecord " + path, FAILING] + [text] * 50 + ["q", "q", ""]))
    assert done.status == 0, done
    with open(path, encoding="utf-8") as file:
        assert file.read() == "\n".join([FAILING] + [text] * 50) + "\n"


def test_in_a_script(shared_obxd, directory):
    path = directory + "/script.lua"
    with open(path, "w", encoding="utf-8") as file:
        file.write("%s error(12)" % FAILING)
    assert harness.obxc("-S", path, daemon=shared_obxd).status == 0
