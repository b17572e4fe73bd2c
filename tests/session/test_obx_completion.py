"""What is offered for the words of obx: commands, options, and the daemon's paths and values."""

import os
import shutil
import subprocess

import pytest

import harness

SHARE = os.path.join(harness.BUILD, "share")
PATIENT = str(harness.PATIENCE)  # where the answer matters, not how soon it comes
CHANNEL = "Device.WiFi.Radio.1.Channel"


def environment(home=None, **extra):
    env = harness.obx_environment(home=home, OBX_COMPLETION_TIMEOUT=PATIENT, **extra)
    env["PATH"] = os.path.dirname(harness.OBX) + ":" + env["PATH"]
    return env


def offers(*words, env=None):
    """The words that are offered in the place of the last one."""
    done = subprocess.run(os.path.join(SHARE, "obx", "complete"), input="\n".join(["obx", *words, ""]), text=True,
                          capture_output=True, check=True, env=env or environment())
    assert done.stderr == ""
    return [line.split("\t")[0] for line in done.stdout.splitlines()]


@pytest.mark.parametrize("words, expected", [
    (["re"], ["reboot"]),
    (["do"], ["doc"]),
    (["-u", ""], [":files"]),
    (["-a", ""], []),
    (["get", "--js"], ["--json", "--jsonl"]),
    (["--ss"], ["--ssl"]),
    (["set", "--dry"], ["--dry-run"]),
    (["watch", "--every", ""], []),
    (["apply", ""], [":files"]),
    (["upgrade", ""], [":files"]),
    (["wait", "Device.X", ">"], [">", ">="]),
    (["help", "wa"], ["watch", "wait"]),
    (["none", ""], []),
])
def test_words_that_need_no_daemon(words, expected):
    assert offers(*words) == expected


@pytest.mark.parametrize("words, expected", [
    (["get", "Device.WiFi.Radio.1.ChannelsI"], ["Device.WiFi.Radio.1.ChannelsInUse"]),
    (["get", "Device.Hosts.Host.*.IPA"], ["Device.Hosts.Host.*.IPAddress"]),
    (["get", "-v", ":Device.DeviceInfo.modelna"], [":Device.DeviceInfo.ModelName"]),
    (["set", "Device.WiFi.Radio.1.Channe"], [CHANNEL + "="]),
    (["set", "Device.DeviceInfo.ModelNa"], []),  # read-only
    (["set", "A=1", "Device.WiFi.Radio.1.Enable="], ["Device.WiFi.Radio.1.Enable=true", "Device.WiFi.Radio.1.Enable=false"]),
    (["add", "Device.NAT.P"], ["Device.NAT.PortMapping."]),
    (["add", "Device.NAT.PortMapping.", "Desc"], ["Description="]),
    (["add", "Device.NAT.PortMapping", "Protocol=T"], ["Protocol=TCP"]),
    (["call", "Device.IP.Diagnostics.IPP"], ["Device.IP.Diagnostics.IPPing"]),
    (["call", "Device.IP.Diagnostics.IPPing", "Ho"], ["Host="]),
    (["wait", "Device.WiFi.Radio.1.Enable", "==", "t"], ["true"]),
    (["export", "Device.NA"], ["Device.NAT."]),
    (["diff", "file", "Device.NA"], ["Device.NAT."]),
    (["reboot", "Br"], ["Bridge"]),
    (["get", "Device.None."], []),
])
def test_words_of_the_daemon(shared_obxd, words, expected):
    assert offers("-u", shared_obxd.socket, *words) == expected


def test_own_commands(directory):
    commands = os.path.join(directory, ".local", "obxc", "commands")
    os.makedirs(commands)
    with open(os.path.join(commands, "hello.lua"), "w") as file:
        file.write('return {summary = "greets", options = {{"    --loud", "louder"}}, words = {"file"}, run = print}')
    env = environment(home=directory)
    assert offers("hel", env=env) == ["help", "hello"]
    assert offers("hello", "--lo", env=env) == ["--loud"]
    assert offers("hello", "", env=env) == [":files"]


def test_a_daemon_that_hangs_offers_nothing(scripted):
    env = dict(environment(), OBX_COMPLETION_TIMEOUT="0.05")
    assert offers("-u", scripted(lambda request, connection: None).socket, "get", "D", env=env) == []


BASH = """
. %s/bash-completion/completions/obx
COMP_LINE="obx -u $S get Device.WiFi.Radio.1.Enab" COMP_WORDS=(obx -u $S get Device.WiFi.Radio.1.Enab)
COMP_POINT=${#COMP_LINE} COMP_CWORD=4
_obx
echo ${COMPREPLY[@]}
""" % SHARE
FISH = "source %s/fish/vendor_completions.d/obx.fish; complete -C \"obx -u $S get Device.WiFi.Radio.1.Enab\"" % SHARE


@pytest.mark.parametrize("shell, lines", [("bash", BASH), ("fish", FISH)])
def test_shells_ask_it(shared_obxd, directory, shell, lines):
    if not shutil.which(shell):
        pytest.skip("%s is not installed" % shell)
    done = subprocess.run([shell, "-c", lines], capture_output=True, text=True,
                          env=environment(home=directory, S=shared_obxd.socket), timeout=4 * harness.PATIENCE)
    assert done.stdout.split() == ["Device.WiFi.Radio.1.Enable"], done
