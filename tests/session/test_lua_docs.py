"""Every example of docs/lua.md runs, each on a fresh interpreter, with the modules of this tree."""

import os
import re

import pytest

import harness

PROGRAM = os.path.join(harness.BUILD, "tests", "obxc_tree_modules")

with open(os.path.join(harness.SOURCE, "docs", "lua.md"), encoding="utf-8") as page:
    EXAMPLES = re.findall(r"^```lua\n(.*?)^```", page.read(), re.M | re.S)


def test_there_are_examples():
    assert len(EXAMPLES) > 10


@pytest.mark.parametrize("number", range(len(EXAMPLES)))
def test_example(number, shared_obxd, directory, monkeypatch):
    monkeypatch.setattr(harness, "OBXC", PROGRAM)
    path = os.path.join(directory, "example.lua")
    with open(path, "w", encoding="utf-8") as script:
        script.write(EXAMPLES[number] + 'io.write("to the end\\n")\n')
    done = harness.obxc("-a", "root", "-S", path, daemon=shared_obxd)
    assert done.status == 0
    assert done.out.endswith("to the end\n"), done.out
    assert done.err == ""


def test_modules_are_preloaded(shared_obxd, terminal):
    session = terminal(command=[PROGRAM, "-u", shared_obxd.socket])
    session.prompt()
    session.send("lua\r")
    session.wait_for("> preloaded wait")
    session.wait_for("> preloaded snapshot")
    session.wait_for("> preloaded dump")
    session.wait_line(r"\S*obxc-lua:>")
    session.send("type(wait.wait_until), type(snapshot.take), type(dump.text)\r")
    session.wait_for(r'_\[3\] = "function"')


def test_snapshot_brings_back_values_and_instances(obxd, directory, monkeypatch):
    monkeypatch.setattr(harness, "OBXC", PROGRAM)
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
