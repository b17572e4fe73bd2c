"""The statuses that README and the manual pages tell."""

import json
import os
import subprocess

import pytest

import harness
from harness import obxc

HOST = "Device.DeviceInfo.HostName"
MAPPING = "Device.NAT.PortMapping."
NONE = "Device.None."


def request(line):
    return ["-a", "root", "-r"] + line.split()


def raw(method, **params):
    return ["--raw", json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": params})]


@pytest.mark.parametrize("words, status", [
    ("get " + HOST, 0), ("get " + NONE, 0), ("cat " + NONE, 0), ("ls " + NONE, 0), ("del " + NONE, 0),
    ("rm %s1" % MAPPING, 0), ("order %s99 1" % MAPPING, 0), ("save", 0), ("del", 255), ("order x", 255),
    ("reboot -- -x", 255), ('set %s="x"' % HOST, 0), ("set %s1=1" % NONE, 0), ("set %s=x" % HOST, 255), ("set", 255),
    ("add " + MAPPING, 5), ("touch " + MAPPING, 5), ("add " + NONE, 0), ("attr " + HOST, 0), ("info " + NONE, 255),
    ("select " + HOST, 0), ("select " + NONE, 255), ("execute " + NONE, 255), ("upload", 255), ("download", 255),
    ("upgrade /nothing", 255), ("lua error()", 0), ("lua os.exit(3)", 3), ("sh false", 0), ("nothing", 255),
    ("cd Device.", 255), ("login -- root -p bad", 255), ("login -- admin -p admin", 0),
])
def test_requests(obxd, words, status):
    done = obxc(*request(words), daemon=obxd)
    assert done.status == status, done


@pytest.mark.parametrize("arguments, status", [
    (raw("GetParameterValues", ParameterNames=[NONE]), 45),
    (raw("SaveConfig"), 41), (raw("JoinGroup", Group=1), 0), (raw("Nothing"), 167), (["--raw", "{"], 255),
    (["--raw", "{}"], 255),
    (["-e", "2", "{}"], 0), (["-x"], 1), (["-a", "root:bad", "-r", "save"], 1), (["-s", "/nothing"], 255),
    (["-S", "/nothing"], 255), (["-h"], 0), (["-u", "/nothing", "-r", "save"], 1),
])
def test_other_modes(obxd, arguments, status):
    done = obxc(*arguments, daemon=obxd)
    assert done.status == status, done


@pytest.mark.parametrize("option, text, status", [
    ("-s", 'set %s="y"' % HOST, 0), ("-s", 'set %s1=1\nset %s="y"' % (NONE, HOST), 0), ("-s", "nothing\nsave", 255),
    ("-s", "add " + MAPPING, 5), ("-s", "add %s\nsave" % MAPPING, 0), ("-S", "x = 1", 0), ("-S", "error('x')", 0), ("-S", "x = =", 0),
    ("-S", "os.exit(7)", 7), ("-S", "os.exit(false)", 1), ("-S", "os.exit(pcall(error))", 1),
])
def test_scripts(obxd, directory, option, text, status):
    path = os.path.join(directory, "script")
    with open(path, "w") as script:
        script.write(text + "\n")
    done = obxc("-a", "root", option, path, daemon=obxd)
    assert done.status == status, done


def test_a_shell(obxd):
    assert obxc("-a", "root", daemon=obxd, stdin="set %s1=1\n" % NONE).status == 0
    assert obxc("-a", "root", daemon=obxd, stdin="reboot -f\n").status == 0


def test_obxd():
    for arguments, status in ((["--help"], 0), (["--nothing"], 2), (["--model", "/nothing"], 1)):
        done = subprocess.run([harness.OBXD, *arguments], capture_output=True, timeout=harness.PATIENCE)
        assert done.returncode == status, done
