"""Lua modules in C: those of the distribution, and one in the module directory."""

import os

import pytest

import harness
from harness import obxc

LUA_PROMPT = r"\S*obxc-lua(\(fail\))?:\S*>"
MODULES = (
    ("lpeg", "local p = require 'lpeg' print(p.match(p.C(p.R'az'^1) * '=' * p.C(p.P(1)^0), 'key=value'))", "key\tvalue"),
    ("cjson", "local c = require 'cjson' print(c.encode(c.decode('[1,{\"a\":[true,null]}]')))", '[1,{"a":[true,null]}]'),
    ("posix", "local u = require 'posix.unistd' print(u.getpid() > 1, u.access('/', 'r'))", "true\t0"),
)


@pytest.mark.parametrize("name, code, expected", MODULES, ids=[name for name, _, _ in MODULES])
def test_a_module_of_the_distribution(shared_obxd, directory, name, code, expected):
    path = os.path.join(directory, name + ".lua")
    with open(path, "w", encoding="utf-8") as file:
        file.write(code)
    assert obxc("-S", path, daemon=shared_obxd).out == expected + "\n"


def test_modules_at_the_prompt(shared_obxd, terminal):
    session = terminal(daemon=shared_obxd)
    session.prompt()
    session.run("lua print(require('lpeg').match(require('lpeg').P'a'^1,'aab'))")
    session.wait_for("^3$")
    session.send("lua\r")
    session.wait_line(LUA_PROMPT)
    session.send("require 'cjson'.encode{1, 'two'}\r")
    session.wait_for(r'^_\[1\] = "\[1,\\"two\\"\]"')


def test_a_module_in_the_module_directory(shared_obxd, directory, terminal, tree_modules):
    env = harness.environment(OBX_TEST_MODULE_DIR=os.path.join(harness.BUILD, "tests", "modules", "ombrix"))
    path = os.path.join(directory, "script.lua")
    with open(path, "w", encoding="utf-8") as file:
        file.write("print(require('ombrix.answer').twice(21), pcall(require('ombrix.answer').twice, 'x'))")
    done = obxc("-S", path, daemon=shared_obxd, env=env)
    assert done.out == "42\tfalse\tbad argument #1 to 'ombrix.answer.twice' (number expected, got string)\n"
    session = terminal(daemon=shared_obxd, env=env)
    session.prompt()
    session.send("lua\r")
    session.wait_for("^> preloaded answer$")
    session.wait_line(LUA_PROMPT)
    session.send("answer.twice(4)\r")
    session.wait_for(r"^_\[1\] = 8")


def test_the_third_ctrl_c_leaves_a_module_that_never_comes_back(shared_obxd, terminal, tree_modules):
    env = harness.environment(OBX_TEST_MODULE_DIR=os.path.join(harness.BUILD, "tests", "modules", "ombrix"), leaks=False)
    session = terminal(daemon=shared_obxd, env=env)
    session.prompt()
    modes = session.modes()

    def press(prompt):
        session.settle(0.4)
        for _ in range(3):
            session.interrupt()
            session.settle(0.1)
        session.wait_line(prompt)

    for _ in range(3):
        session.send("lua require('ombrix.answer').spin()\r")
        press(r"\S*obxc:>")
        assert session.run("cat Device.DeviceInfo.HostName").endswith("= 'router'")
    session.send("lua\r")
    session.wait_line(LUA_PROMPT)
    session.send("kept = 1\r")
    for _ in range(3):
        session.send("answer.spin()\r")
        press(LUA_PROMPT)
        session.send("kept, answer.twice(4)\r")
        session.wait_for(r"^_\[1\] = nil\n_\[2\] = 8")
        session.send("kept = 2\r")
    session.send("setmetatable({}, {__gc = answer.spin}) q = 1\r")
    session.send("q\r")
    press(r"\S*obxc:>")
    assert session.run("cat Device.DeviceInfo.HostName").endswith("= 'router'")
    session.settle()
    assert session.modes() == modes
