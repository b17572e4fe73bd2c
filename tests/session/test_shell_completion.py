"""What bash, zsh and fish offer for the words of obxc: options, commands of the table, and the daemon's paths and values."""

import json
import os
import re
import shutil
import subprocess
import time

import pytest

import harness

SHARE = os.path.join(harness.BUILD, "share")
PATIENT = str(harness.PATIENCE)  # where the answer matters, not how soon it comes
PATH = os.path.dirname(harness.OBXC) + ":" + os.environ.get("PATH", "/usr/bin:/bin")


def offers(*words, timeout=PATIENT, program="obxc"):
    """The words that are offered in the place of the last one."""
    process = subprocess.run(os.path.join(SHARE, "obxc", "complete"), input="\n".join([program, *words, ""]),
                             capture_output=True, check=True, text=True, env=harness.environment(PATH=PATH, OBX_COMPLETION_TIMEOUT=timeout))
    assert process.stderr == ""
    return [line.split("\t")[0] for line in process.stdout.splitlines()]


@pytest.fixture(scope="module")
def odd_modes(tmp_path_factory):
    """A daemon whose device has modes of odd names."""
    directory = tmp_path_factory.mktemp("odd")
    modes = ["a b", "it's", "$(echo x)", "x:y=z", "*", "new\nline", "\x1b[31m"]
    mode = {"type": "string", "read": "guest", "write": "guest", "access": "readWrite", "default": "a b", "enum": modes}
    (directory / "model.json").write_text(json.dumps({"schema": {"Device": {"DeviceInfo": {"DeviceMode": mode}}}}))
    daemon = harness.Obxd("--model", str(directory / "model.json"))
    yield daemon
    daemon.close()


def test_options_are_those_of_the_usage():
    usage = harness.obxc("--help").out
    assert sorted(option.rstrip("=") for option in offers("-")) == sorted(re.findall(r"--[a-z-]+", usage))
    assert offers("--sc") == ["--script="]
    assert offers("") == offers("-")


@pytest.mark.parametrize("words, expected", [
    (["-r", "re"], ["reboot", "reset"]),
    (["--request", "cat"], ["cat"]),
    (["--request=up"], ["--request=upgrade", "--request=upload"]),
    (["-r", "cd"], []),  # of the shell alone
    (["-r", "debug", ""], ["disabled", "permanent", "temporary"]),
    (["-r", "download", "f"], ["file", "firmware"]),
    (["-r", "download", "config", ""], [":files"]),
    (["-r", "sh", "l"], [":programs"]),
    (["-r", "sh", "ls", ""], [":files"]),
    (["-r", "save", ""], []),
    (["-r", "none", ""], []),
    (["-r", "get", "--ss"], ["--ssl"]),
    (["-r", "get", "--", "--ss"], []),
    (["-c", ""], [":files"]),
    (["--config=/e"], [":files"]),
    (["-S", "script.lua", "x"], [":files"]),
    (["-a", ""], []),
    (["--raw", "{"], []),
])
def test_words_that_need_no_daemon(words, expected):
    assert offers("-u", "/nonexistent/socket", *words) == expected


@pytest.mark.parametrize("words, expected", [
    (["-r", "get", "Dev"], ["Device."]),
    (["-r", "get", "Device.DeviceInfo.Model"], ["Device.DeviceInfo.ModelName", "Device.DeviceInfo.ModelNumber"]),
    (["-r", "get", "Device.DeviceInfo.modelna"], ["Device.DeviceInfo.ModelName"]),
    (["-r", "get", "Device.NoSuchThing."], []),
    (["-r", "GetParameterValues", "Device.DeviceInfo.ModelNa"], ["Device.DeviceInfo.ModelName"]),
    (["-r", "get", "Device.DNS.", "Device.DeviceInfo.ModelNa"], ["Device.DeviceInfo.ModelName"]),
    (["-r", "get", "Device.Hosts.Host.*.IPA"], ["Device.Hosts.Host.*.IPAddress"]),
    (["-r", "add", "Device.NAT."], ["Device.NAT.InterfaceSetting.", "Device.NAT.PortMapping."]),
    (["-r", "set", "Device.DeviceInfo.Model"], []),  # read-only
    (["-r", "set", "Device.WiFi.Radio.1.Enab"], ["Device.WiFi.Radio.1.Enable"]),
    (["-r", "set", "Device.WiFi.Radio.1.Enable="],
     ["Device.WiFi.Radio.1.Enable=true", "Device.WiFi.Radio.1.Enable=false"]),
    (["-r", "set", "Device.DeviceInfo.DeviceMode=\"B"], ["Device.DeviceInfo.DeviceMode=\"Bridge\""]),
    (["-r", "set", "Device.DeviceInfo.ModelName="], []),
    (["-r", "set", "Device.DNS.Relay.Forwarding.1.Interface=\"Device.IP.interf"],
     ["Device.DNS.Relay.Forwarding.1.Interface=\"Device.IP.InterfaceNumberOfEntries",
      "Device.DNS.Relay.Forwarding.1.Interface=\"Device.IP.Interface."]),
    (["-r", "order", "Device.NAT.I"], ["Device.NAT.InterfaceSettingNumberOfEntries", "Device.NAT.InterfaceSetting."]),
    (["-r", "order", "Device.NAT.PortMapping.1.", ""], []),
    (["-r", "reset", ""], ["Router", "Bridge", "AccessPoint", "Repeater"]),
    (["-r", "reboot", "--", ""], ["-f", "Router", "Bridge", "AccessPoint", "Repeater"]),
    (["-r", "reboot", "R"], ["Router", "Repeater"]),
])
def test_words_of_the_daemon(shared_obxd, words, expected):
    assert offers("-a", "root", "-u", shared_obxd.socket, *words) == expected


@pytest.mark.parametrize("typed, expected", [
    ("a", ["a b"]), ("it", ["it's"]), ("$", ["$(echo x)"]), ("x", ["x:y=z"]), ("*", ["*"]),
    ("new", []), ("\x1b", []), ("", ["a b", "it's", "$(echo x)", "x:y=z", "*"]),
])
def test_values_are_offered_as_they_are_but_no_control_characters(odd_modes, typed, expected):
    """The shells quote them."""
    assert offers("-u", odd_modes.socket, "-r", "reset", typed) == expected


def test_daemon_is_the_one_that_the_words_name(shared_obxd):
    path = "Device.DeviceInfo.ModelNa"
    assert offers("-r", "get", path, "--unixpath=" + shared_obxd.socket, "Device.DeviceInfo.ModelNu") == [
        "Device.DeviceInfo.ModelNumber"]
    assert offers("-u", shared_obxd.socket, "-r", "get", path, program=harness.OBXC) == ["Device.DeviceInfo.ModelName"]
    assert offers("-u", shared_obxd.socket, "-r", "get", path, program="/none/obxc") == ["Device.DeviceInfo.ModelName"]
    assert offers("-u", shared_obxd.socket + "x", "-r", "get", path) == []


def test_password_is_given_to_no_program(shared_obxd, directory):
    """What stands among a program's arguments can be seen by everybody on the host."""
    spy = os.path.join(directory, "obxc")
    with open(spy, "w") as file:
        file.write("#!/bin/sh\necho \"$*\" >>%s/arguments\n" % directory)
    os.chmod(spy, 0o755)
    offers("-a", "admin:secret", "-u", shared_obxd.socket, "-r", "get", "Device.", program=spy)
    offers("-a", "root", "-u", shared_obxd.socket, "-r", "get", "Device.", program=spy)
    with open(os.path.join(directory, "arguments")) as file:
        first, second = file.read().splitlines()
    assert "secret" not in first and " -S " in first
    assert " -a root " in second


def test_commands_of_the_start_are_not_run(shared_obxd, directory):
    mark = os.path.join(directory, "mark")
    config = os.path.join(directory, ".local", "obxc", "config")
    os.makedirs(os.path.dirname(config))
    with open(config, "w") as file:
        file.write("sh touch %s\n" % mark)
    env = harness.environment(home=directory, PATH=PATH, OBX_COMPLETION_TIMEOUT=PATIENT)
    assert harness.obxc("-r", "get", "Device.DeviceInfo.UpTime", daemon=shared_obxd, env=env).status == 0
    assert os.path.exists(mark)  # so such commands do run
    os.remove(mark)
    subprocess.run(os.path.join(SHARE, "obxc", "complete"), input="obxc\n-u\n%s\n-r\nget\nD\n" % shared_obxd.socket,
                   stdout=subprocess.DEVNULL, env=env, check=True, text=True)
    assert not os.path.exists(mark)


def test_who_waits_for_the_daemon_is_given_up(directory):
    waiting = os.path.join(directory, "obxc")
    with open(waiting, "w") as file:
        file.write("#!/bin/sh\nexec sleep 600\n")
    os.chmod(waiting, 0o755)
    start = time.monotonic()
    assert offers("-r", "get", "Device.", program=waiting, timeout="") == []
    assert time.monotonic() - start < 300


SETUP = {
    "bash": (["bash", "--norc", "--noprofile", "-i"],
             ["bind 'set bell-style none'", "PS1='> '", ". %s/bash-completion/completions/obxc" % SHARE]),
    "zsh": (["zsh", "-f", "-i"],
            ["PROMPT='> '", "fpath=(%s/%s $fpath)" % (SHARE, harness.configured("OBX_ZSH_DIR")), "autoload -Uz compinit", "compinit -D -u"]),
    "fish": (["fish", "--no-config", "-i"],
             ["function fish_prompt; echo '> '; end", "source %s/fish/vendor_completions.d/obxc.fish" % SHARE]),
}


@pytest.fixture(params=sorted(SETUP))
def prompt(request, shared_obxd, directory, terminal):
    """A function that types words of obxc, and Tab, into a shell: it waits for the line that becomes of them."""
    return open_prompt(request.param, shared_obxd, directory, terminal)


@pytest.fixture
def bash_prompt(shared_obxd, directory, terminal):
    return open_prompt("bash", shared_obxd, directory, terminal)


def open_prompt(shell, shared_obxd, directory, terminal):
    command, lines = SETUP[shell]
    if not shutil.which(command[0]):
        pytest.skip("%s is not installed" % command[0])
    for name in ("data.txt", "data one.bin"):
        open(os.path.join(directory, name), "w").close()
    opened = terminal(command=command, columns=250, cwd=directory, env=harness.environment(
        home=directory, PATH=PATH, OBX_COMPLETION_TIMEOUT=PATIENT, S=shared_obxd.socket))
    for line in [*lines, "clear"]:
        opened.send(line + "\r")
        opened.settle()
    opened.wait_line("> ?", 3 * harness.PATIENCE)  # zsh reads all its functions first

    def complete(words, expected):
        opened.send("\x15")  # what stood there goes
        opened.wait_line("> ?")
        opened.send("obxc -a root -u %s -r %s" % (shared_obxd.socket, words))
        opened.wait_line(".*" + re.escape(words))
        opened.send("\t")
        opened.wait(lambda: opened.line().endswith("-r " + expected.rstrip()), "%r in %s" % (expected, shell))
        opened.send("x")  # shows whether a blank was put behind it
        opened.wait(lambda: opened.line().endswith("-r " + expected + "x"), "%r and a mark" % expected)
        return opened

    return complete


def test_shells_complete_commands_and_paths(prompt):
    prompt("sel", "select ")
    prompt("get Dev", "get Device.")
    prompt("get Device.DeviceInfo.ModelNa", "get Device.DeviceInfo.ModelName ")
    prompt("get Device.DeviceInfo.modelna", "get Device.DeviceInfo.ModelName ")
    prompt("get Device.DeviceInfo.Mod", "get Device.DeviceInfo.ModelN")


def test_shells_complete_values_as_they_have_to_be_quoted(prompt):
    prompt("set Device.WiFi.Radio.1.Enable=t", "set Device.WiFi.Radio.1.Enable=true ")
    prompt("set Device.DeviceInfo.DeviceMode=\\\"Br", "set Device.DeviceInfo.DeviceMode=\\\"Bridge\\\" ")


def test_shells_complete_within_quotes(prompt):
    prompt("get \"Device.DeviceInfo.ModelNa", "get \"Device.DeviceInfo.ModelName\" ")
    prompt("set 'Device.DeviceInfo.DeviceMode=\"Br", "set 'Device.DeviceInfo.DeviceMode=\"Bridge\"' ")
    prompt("set \"Device.DeviceInfo.DeviceMode=\\\"Br", "set \"Device.DeviceInfo.DeviceMode=\\\"Bridge\\\"\" ")


@pytest.mark.parametrize("words, expected", [
    ("set Device.DeviceInfo.DeviceMode='\"Br", "set Device.DeviceInfo.DeviceMode='\"Bridge\"' "),
    ("set 'Device.DeviceInfo.DeviceMode'=\\\"Br", "set 'Device.DeviceInfo.DeviceMode'=\\\"Bridge\\\" "),
    ("add Device.\"NAT.PortM", "add Device.\"NAT.PortMapping."),
])
def test_bash_puts_in_what_stands_behind_a_quote_within_the_word(bash_prompt, words, expected):
    bash_prompt(words, expected)


def test_shells_complete_files_and_options(prompt):
    prompt("download file data.t", "download file data.txt ")
    prompt("download file data\\ o", "download file data\\ one.bin ")
    prompt("get --vers", "get --version ")
