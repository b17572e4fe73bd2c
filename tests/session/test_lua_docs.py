"""Every example of docs/lua.md runs, each on a fresh interpreter: as installed, and as ./run has it."""

import os
import re
import subprocess

import pytest

import harness


with open(os.path.join(harness.SOURCE, "docs", "lua.md"), encoding="utf-8") as page:
    EXAMPLES = re.findall(r"^```lua\n(.*?)^```", page.read(), re.M | re.S)
NEEDS_LOGIN = "-- obxc -a root\n"


def path_of_run():
    """The module path that ./run sets."""
    with open(os.path.join(harness.SOURCE, "run"), encoding="utf-8") as script:
        setting = re.search(r"^export LUA_PATH_5_3=.*$", script.read(), re.M).group()
    command = 'top=%s\n%s\nprintf "%%s" "$LUA_PATH_5_3"' % (harness.SOURCE, setting)
    return subprocess.run(["sh", "-eu", "-c", command], stdout=subprocess.PIPE, check=True, env={}).stdout.decode()


@pytest.fixture
def run_example(directory, shared_obxd):
    """A function that runs an example; returns how it ended."""
    def run(number, *options, **more):
        path = os.path.join(directory, "example.lua")
        with open(path, "w", encoding="utf-8") as script:
            script.write(EXAMPLES[number] + 'io.write("to the end\\n")\n')
        return harness.obxc(*options, "-S", path, daemon=shared_obxd, **more)
    return run


def check(done):
    assert done.status == 0
    assert done.out.endswith("to the end\n"), done.out
    assert done.err == ""


def test_there_are_examples():
    assert len(EXAMPLES) > 10


@pytest.mark.parametrize("number", range(len(EXAMPLES)))
def test_example_as_installed(number, run_example, tree_modules):
    check(run_example(number, "-a", "root"))


@pytest.mark.parametrize("number", range(len(EXAMPLES)))
def test_example_from_the_tree(number, run_example):
    check(run_example(number, "-a", "root", env=harness.environment(LUA_PATH_5_3=path_of_run())))


@pytest.mark.parametrize("number", range(len(EXAMPLES)))
def test_example_without_a_login(number, run_example, tree_modules):
    done = run_example(number)
    if EXAMPLES[number].startswith(NEEDS_LOGIN):
        assert "to the end" not in done.out
    else:
        check(done)


def test_options_of_a_script(shared_obxd, directory):
    path = os.path.join(directory, "words.lua")
    with open(path, "w", encoding="utf-8") as script:
        script.write("print(...)")
    assert harness.obxc("-S", path, "--", "-v", "word", daemon=shared_obxd).out == "-v\tword\n"
    assert harness.obxc("-u", shared_obxd.socket, path, "--", "-v", program="obxc_lua").out == "-v\n"


def test_modules_are_preloaded(shared_obxd, terminal):
    session = terminal(command=[harness.TREE_MODULES, "-u", shared_obxd.socket])
    session.prompt()
    session.send("lua\r")
    session.wait_for("> preloaded wait")
    session.wait_for("> preloaded snapshot")
    session.wait_for("> preloaded dump")
    session.wait_line(r"\S*obxc-lua:>")
    session.send("type(wait.wait_until), type(snapshot.take), type(dump.text)\r")
    session.wait_for(r'_\[3\] = "function"')


def test_snapshot_brings_back_values_and_instances(obxd, directory, tree_modules):
    path = os.path.join(directory, "snapshot.lua")
    with open(path, "w", encoding="utf-8") as script:
        script.write("""
local snapshot = require "ombrix.snapshot"
local root = "Device.NAT.PortMapping."
local kept = assert(ox.add(root, {Description = "kept", ExternalPort = 4001}))
local before = assert(snapshot.take(root))
assert(ox.set(root .. kept .. ".Description", "changed"))
local extra = assert(ox.add(root, {Description = "extra", ExternalPort = 4002}))
local gone = assert(ox.del(root .. "1."))

local undo = assert(snapshot.apply(before))
print(ox.get(root .. kept .. ".Description"), ox.object(root)[extra], #ox.object(root))
local after = assert(snapshot.take(root))
print(#snapshot.diff(before, after).added, #snapshot.diff(before, after).removed)
assert(undo())
print(ox.get(root .. kept .. ".Description"))
""")
    done = harness.obxc("-a", "root", "-S", path, daemon=obxd)
    lines = done.out.splitlines()
    count = len([n for n in obxd.client().call("GetParameterNames", {
        "ParameterPath": "Device.NAT.PortMapping.", "NextLevel": True})["ParameterList"]
        if n["Name"] != "Device.NAT.PortMapping."])
    assert lines[0].startswith("kept\tnil\t"), done
    assert lines[1] == "1\t1"
    assert lines[2] == "changed"
    assert count > 0
