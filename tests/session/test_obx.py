"""obx, the program for scripts: its commands and how they end."""

import json
import os
import re
import subprocess

import pytest

import harness
from harness import obx

CHANNEL = "Device.WiFi.Radio.1.Channel"
MAPPING = "Device.NAT.PortMapping."


def check(done, out="", status=0, err=""):
    assert (done.status, done.out, done.err) == (status, out, err), done


def value_of(obxd, path):
    [entry] = obxd.client().call("GetParameterValues", {"ParameterNames": [path]})["ParameterList"]
    return entry["Value"]


def rows_of(obxd, table):
    names = obxd.client().call("GetParameterNames", {"ParameterPath": table, "NextLevel": True})["ParameterList"]
    return [each["Name"] for each in names]


def test_get_one_is_bare(shared_obxd):
    check(obx("get", "Device.DeviceInfo.HostName", daemon=shared_obxd), "router\n")
    check(obx("get", ":" + CHANNEL, daemon=shared_obxd), "6\n")


def test_get_several_in_the_order_of_the_words(shared_obxd):
    check(obx("get", CHANNEL, "Device.DeviceInfo.HostName", CHANNEL, daemon=shared_obxd), "6\nrouter\n6\n")


@pytest.mark.parametrize("path", ["Device.DNS.Relay.Forwarding.1.", "Device.DNS.Relay.Forwarding.1",
                                  "Device.DNS.Relay.Forwarding.*.", "Device.DNS.Relay.Forwarding.[Enable==true]"])
def test_get_sets_are_lines_of_paths_and_values(shared_obxd, path):
    done = obx("get", path, daemon=shared_obxd)
    assert done.status == 0
    assert "Device.DNS.Relay.Forwarding.1.DNSServer=203.0.113.53" in done.out.splitlines()


def test_get_is_refused_as_a_whole(shared_obxd):
    check(obx("get", "Device.DeviceInfo.HostName", "Device.None", daemon=shared_obxd), "", 1,
          "obx: Invalid parameter name: Device.None\n")
    check(obx("get", "Device.None", daemon=shared_obxd), "", 1, "obx: Device.None: Invalid parameter name\n")


FORMATS = {
    "--json": '[{"path":"%s","value":6}]\n',
    "--jsonl": '{"path":"%s","value":6}\n',
    "--csv": "path,value\n%s,6\n",
    "--tsv": "path\tvalue\n%s\t6\n",
    "--table": "PATH                         VALUE\n%s  6\n",
}


@pytest.mark.parametrize("option", FORMATS)
def test_formats(shared_obxd, option):
    check(obx("get", option, CHANNEL, daemon=shared_obxd), FORMATS[option] % CHANNEL)
    check(obx(option, "get", CHANNEL, daemon=shared_obxd), FORMATS[option] % CHANNEL)


@pytest.fixture
def odd(obxd):
    """A daemon with a value that holds what separates others."""
    value = 'a "b", c\\d\te\nf=g 日本'
    client = obxd.client()
    client.call("SetParameterValues", {"ParameterList": [{"Name": MAPPING + "1.Description", "Value": value}]})
    obxd.odd = value
    return obxd


def test_odd_values(odd):
    path = MAPPING + "1.Description"
    check(obx("get", path, daemon=odd), odd.odd + "\n")
    line = odd.odd.replace("\\", "\\\\").replace("\t", "\\t").replace("\n", "\\n")
    check(obx("get", path, path, daemon=odd), line + "\n" + line + "\n")
    assert json.loads(obx("get", "--json", path, daemon=odd).out) == [{"path": path, "value": odd.odd}]
    check(obx("get", "--csv", path, daemon=odd), 'path,value\n%s,"%s"\n' % (path, odd.odd.replace('"', '""')))
    check(obx("get", "--tsv", path, daemon=odd), "path\tvalue\n%s\t%s\n" % (path, line))


OWN_COMMAND = """
local output = require "ombrix.obx.output"
return {
    summary = "names with their lengths",
    usage = "NAME...",
    options = {{"    --twice", "each one twice"}},
    least = 1,
    run = function(words, options)
        local out = output.open(options, {"name", "columns"}, function(record) return record.name end)
        for _, word in ipairs(words) do
            for _ = 1, options.twice and 2 or 1 do out.add{name = word, columns = ox.width(word)} end
        end
        out.finish()
        return ox.get("Device.DeviceInfo.HostName") == "router" and 0 or 1
    end,
}
"""


@pytest.fixture
def home(directory):
    """The home of a user with a command "names" of his own, and one that is no Lua."""
    commands = os.path.join(directory, ".local", "obxc", "commands")
    os.makedirs(commands)
    for name, text in (("names", OWN_COMMAND), ("broken", "return {")):
        with open(os.path.join(commands, name + ".lua"), "w", encoding="utf-8") as file:
            file.write(text)
    return harness.obx_environment(home=directory)


def test_own_command(shared_obxd, home):
    check(obx("names", "a", "--twice", daemon=shared_obxd, env=home), "a\na\n")
    check(obx("names", daemon=shared_obxd, env=home), "", 2, "obx: too few words: usage: obx names NAME...\n")
    assert obx("names", "--help", env=home).out.startswith("Usage: obx names [options] NAME...\n")
    assert "\n  names      names with their lengths\n" in obx("help", env=home).out
    done = obx("broken", daemon=shared_obxd, env=home)
    assert done.status == 2 and "broken.lua:1:" in done.err and done.err.count("\n") == 1


def test_wide_characters_are_aligned(shared_obxd, home):
    check(obx("names", "--table", "日本語", "cafe\u0301", "plain", daemon=shared_obxd, env=home),
          "NAME    COLUMNS\n日本語  6\ncafe\u0301    4\nplain   5\n")


def test_set_is_all_or_none(obxd):
    check(obx("set", CHANNEL + "=11", "Device.DeviceInfo.HostName=a b=c", daemon=obxd))
    assert value_of(obxd, CHANNEL) == 11
    assert value_of(obxd, "Device.DeviceInfo.HostName") == "a b=c"
    check(obx("set", CHANNEL + "=1", MAPPING + "1.ExternalPort=99999", daemon=obxd), "", 1,
          "obx: Device.NAT.PortMapping.1.ExternalPort: must be 0 to 65535\n")
    assert value_of(obxd, CHANNEL) == 11
    check(obx("set", "-v", CHANNEL + "=1", daemon=obxd), CHANNEL + "=1\n")
    check(obx("set", CHANNEL, daemon=obxd), "", 2, "obx: %s: PATH=VALUE expected\n" % CHANNEL)


def test_set_by_a_guest_is_refused(obxd):
    done = obx("set", "-a", "user:user", "Device.Users.User.1.Username=x", daemon=obxd)
    assert done.status == 1 and done.out == "" and done.err.count("\n") == 1


def test_add_and_del(obxd):
    done = obx("add", MAPPING, "ExternalPort=4022", "Description=s s h", daemon=obxd)
    check(done, MAPPING + "5.\n")
    assert value_of(obxd, MAPPING + "5.Description") == "s s h"
    check(obx("add", "Device.NAT.PortMapping", "ExternalPort=99999", daemon=obxd), "", 1,
          "obx: Device.NAT.PortMapping.6.ExternalPort: must be 0 to 65535\n")
    assert MAPPING + "6." not in rows_of(obxd, MAPPING)
    check(obx("del", MAPPING + "5.", MAPPING + "99.", MAPPING + "4.", daemon=obxd), "", 5,
          "obx: Device.NAT.PortMapping.99.: Invalid parameter name; deleted before: Device.NAT.PortMapping.5.\n")
    check(obx("del", MAPPING + "99.", daemon=obxd), "", 1, "obx: Device.NAT.PortMapping.99.: Invalid parameter name\n")
    check(obx("del", MAPPING + "4.", daemon=obxd))
    assert MAPPING + "4." not in rows_of(obxd, MAPPING)


def test_call_waits_and_prints_outputs(obxd):
    done = obx("call", "Device.IP.Diagnostics.IPPing", "Host=127.0.0.1", "NumberOfRepetitions=1", daemon=obxd)
    assert done.status == 0 and "SuccessCount=1" in done.out.splitlines()
    done = obx("call", "Device.WiFi.Radio.1.ChannelScan", daemon=obxd)
    assert done.status == 0 and "Status=Success" in done.out.splitlines()
    done = obx("call", "--wait", "0.05", "Device.ScheduleTimer", "DelaySeconds=30", daemon=obxd)
    assert done.status == 4 and done.err.startswith("obx: Device.ScheduleTimer: it has not ended within 0.05")
    check(obx("call", "--wait", "0", "Device.ScheduleTimer", "DelaySeconds=1", daemon=obxd))
    done = obx("call", "Device.IP.Diagnostics.IPPing", "Host=127.0.0.1", "NumberOfRepetitions=many", daemon=obxd)
    check(done, "", 1, 'obx: NumberOfRepetitions: "many" is no unsignedInt\n')
    check(obx("call", CHANNEL, daemon=obxd), "", 1, "obx: %s: it is no method\n" % CHANNEL)


def test_find(shared_obxd):
    done = obx("find", "PHONE", "Device.Hosts.", daemon=shared_obxd)
    assert done.status == 0 and "Device.Hosts.Host.5.HostName=phone-anna" in done.out.splitlines()
    done = obx("find", "-E", "^phone-(anna|ben)$", daemon=shared_obxd)
    assert len(done.out.splitlines()) == 2
    check(obx("find", "no such text anywhere", daemon=shared_obxd), "", 1)
    assert obx("find", "-E", "(", daemon=shared_obxd).status == 2


def test_wait(obxd):
    check(obx("wait", CHANNEL + " == 6", daemon=obxd))
    check(obx("wait", CHANNEL, ">=", "6", "-v", daemon=obxd), CHANNEL + "=6\n")
    check(obx("wait", "Device.DeviceInfo.HostName ~ ^rou", daemon=obxd))
    check(obx("wait", "--timeout", "0.2", CHANNEL + " > 6", daemon=obxd), "", 4,
          "obx: %s: not so within 0.2 seconds\n" % CHANNEL)
    check(obx("wait", "--timeout", "1", CHANNEL + " > 6", daemon=obxd), "", 4, "obx: %s: not so within 1 second\n" % CHANNEL)
    check(obx("wait", "Device.None == 1", daemon=obxd), "", 1, "obx: Device.None: Invalid parameter name\n")
    assert obx("wait", CHANNEL, daemon=obxd).status == 2


def test_save_and_doc(obxd):
    check(obx("save", daemon=obxd))
    check(obx("save", "evening", daemon=obxd))
    done = obx("save", "no/name", daemon=obxd)
    assert done.status == 1 and done.err.count("\n") == 1
    done = obx("doc", CHANNEL, daemon=obxd)
    assert done.status == 0 and "unsignedInt" in done.out
    assert obx("doc", "Device.None", daemon=obxd).status == 1


def test_reboot_waits_until_the_device_is_back(start_obxd):
    obxd = start_obxd("--reboot-ms", "300")
    check(obx("reboot", "--wait", daemon=obxd))
    assert value_of(obxd, "Device.DeviceInfo.UpTime") < 60
    done = obx("reboot", "-a", "user:user", daemon=obxd)
    assert done.status == 1 and done.err.count("\n") == 1


@pytest.mark.parametrize("words", [["get", "Device."], ["set", "Device.X=1"], ["add", "Device.X."], ["del", "Device.X"],
                                   ["call", "Device.X"], ["find", "x"], ["watch", "Device."], ["export"], ["diff", "-"], ["apply", "-"],
                                   ["confirm"], ["reboot"],
                                   ["save"], ["doc", "Device."], ["upgrade", "/dev/null"],
                                   ["wait", "--timeout", "0.2", "Device.X == 1"]])
def test_no_daemon(words, directory):
    done = obx("-u", directory + "/none", *words)
    assert (done.status, done.out, done.err) == (
        3, "", "obx: %s/none: cannot connect to obxd: No such socket\n" % directory), done


@pytest.mark.parametrize("words", [["get"], ["set"], ["frobnicate"], ["get", "--no-such", "x"], ["get", "--json=1", "x"],
                                   ["watch", "--every", "x", "Device."], ["get", "--json", "--csv", "x"], ["save", "a", "b"]])
def test_usage(words):
    done = obx(*words)
    assert done.status == 2 and done.out == "" and done.err.startswith("obx: ") and done.err.count("\n") == 1


def test_help_needs_no_daemon():
    done = obx()
    assert done.status == 0 and "\n  get " in done.out
    assert obx("get", "--help").out.startswith("Usage: obx get [options] PATH...\n")
    assert obx("help", "get").out == obx("get", "-h").out


def page_blocks():
    """The examples of the manual page, as they are read."""
    with open(os.path.join(harness.SOURCE, "docs", "obx.1"), encoding="utf-8") as page:
        blocks = re.findall(r"^\.EX\n(.*?)^\.EE", page.read(), re.M | re.S)
    for escape, text in (("\\(aq", "'"), ("\\(dq", '"'), ("\\-", "-"), ("\\e", "\\")):
        blocks = [block.replace(escape, text) for block in blocks]
    return blocks


def test_examples_of_the_manual_page(obxd, directory):
    """They are one script, each line with what it prints."""
    steps = re.split(r"^\$ ", page_blocks()[1], flags=re.M)[1:]
    script = 'obx() { %s -u %s "$@"; }\n' % (harness.OBX, obxd.socket)
    expected = ""
    for step in steps:
        command, _, printed = step.partition("\n")
        script += command + "\n"
        expected += printed
    done = subprocess.run(["sh", "-c", script], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=directory,
                          env=harness.obx_environment(), timeout=8 * harness.PATIENCE)
    assert len(steps) > 10 and done.stdout.decode() == expected


def test_own_command_of_the_manual_page(shared_obxd, directory):
    commands = os.path.join(directory, ".local", "obxc", "commands")
    os.makedirs(commands)
    with open(os.path.join(commands, "rows.lua"), "w") as file:
        file.write(page_blocks()[0])
    check(obx("rows", "Device.WiFi.Radio.", daemon=shared_obxd, env=harness.obx_environment(home=directory)), "2\n")


def test_manual_page_names_every_command_and_option():
    with open(os.path.join(harness.SOURCE, "docs", "obx.1"), encoding="utf-8") as file:
        page = file.read().replace("\\-", "-")
    text = obx("help").out
    for command in re.findall(r"^  (\w+)  ", text, re.M):
        assert "\\fB%s\\fR" % command in page, command
        text += obx("help", command).out
    for option in set(re.findall(r"--[a-z-]+", text)):
        assert option in page, option


def test_on_the_connection_of_obxc(shared_obxd, tree_modules):
    """From a tree, where its interpreter has no name of its own."""
    words = ["-S", harness.OBX, "--", "get", "Device.Users.CurrentUser"]
    check(harness.obxc("-a", "admin:admin", *words, daemon=shared_obxd), "admin\n")
    check(harness.obxc(*words, daemon=shared_obxd), "\n")  # a guest, as every script is
    done = harness.obxc("-S", harness.OBX, "--", "get", "Device.None", daemon=shared_obxd)
    check(done, "", 1, "obx: Device.None: Invalid parameter name\n")


def test_no_secret_in_the_list_of_processes(obxd):
    process = subprocess.Popen([harness.OBX, "-u", obxd.socket, "-a", "admin:admin", "watch", CHANNEL],
                               env=harness.obx_environment(), stdout=subprocess.PIPE)
    try:
        def covered():
            with open("/proc/%d/cmdline" % process.pid, "rb") as file:
                return b"***********\0watch" in file.read()
        harness.wait_until(covered, "the covered login")
    finally:
        process.terminate()
        process.communicate()
