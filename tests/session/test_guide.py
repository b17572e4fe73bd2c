"""Every example of docs/guide.md is what one sees."""

import os
import re
import subprocess

import pytest

import harness

with open(os.path.join(harness.SOURCE, "docs", "guide.md"), encoding="utf-8") as page:
    BLOCKS = re.findall(r"^```(\w+)\n(.*?)^```", page.read(), re.M | re.S)


def blocks(kind):
    found = [text for word, text in BLOCKS if word == kind]
    assert len(found) > 3
    return found


def steps(block, prompt):
    """(prompt, command, output) of each step of a block."""
    parts = re.split(prompt, block, flags=re.M)
    assert parts[0] == ""
    for mark, rest in zip(parts[1::2], parts[2::2]):
        command, _, output = rest.partition("\n")
        yield mark, command, output.rstrip("\n")


@pytest.mark.parametrize("block", blocks("session"))
def test_session(block, obxd, terminal):
    shell = terminal(daemon=obxd, columns=120)
    for prompt, command, output in steps(block, r"^(root@obxc\S*>) "):
        assert shell.prompt() == prompt
        assert shell.run(command) == output


@pytest.mark.parametrize("block", blocks("console"))
def test_console(block, obxd, directory):
    programs = 'obxc() { %s -u %s "$@"; }; ' % (harness.OBXC, obxd.socket)
    programs += 'obx() { %s -u %s "$@"; }; ' % (harness.OBX, obxd.socket)
    for _, command, output in steps(block, r"^(\$) "):
        done = subprocess.run(["sh", "-c", programs + command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              env=harness.obx_environment(), cwd=directory, timeout=4 * harness.PATIENCE)
        assert done.stdout.decode().rstrip("\n") == output


def test_inputrc(obxd, terminal, directory):
    path = os.path.join(directory, "inputrc")
    with open(path, "w") as file:
        file.write("".join(text for word, text in BLOCKS if word == "inputrc"))
    shell = terminal(daemon=obxd, env=harness.environment(INPUTRC=path))
    shell.prompt()
    shell.send("\x07")
    shell.wait_for(r"^ = \d+$")


def test_own_command(shared_obxd, directory):
    [text] = [text for word, text in BLOCKS if word == "lua"]
    place = os.path.join(directory, ".local", "obxc", "commands")
    os.makedirs(place)
    with open(os.path.join(place, "leases.lua"), "w") as file:
        file.write(text)
    env = harness.obx_environment(home=directory)
    done = harness.obx("leases", daemon=shared_obxd, env=env)
    assert done.status == 0 and "phone-anna\n" in done.out
    everybody = harness.obx("leases", "--all", "--csv", daemon=shared_obxd, env=env).out.splitlines()
    assert everybody[0] == "name,address" and len(everybody) > len(done.out.splitlines())
    assert "leases     who is in the house" in harness.obx("help", env=env).out
