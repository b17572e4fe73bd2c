"""Whole jobs that people do with a router, and what goes wrong around a shell."""

import os
import subprocess

import pytest

import harness
from harness import obxc

# Lines that mean the same to the shell and to a script: whole paths, and values that are JSON once the shell has
# taken nothing off them but the quotes of a text.
MAPPING = "Device.NAT.PortMapping.%d"
CHAIN = "Device.Firewall.Chain.1.Rule"


def job(mapping, rule):
    """A router configured from scratch; the numbers are those that the new instances get."""
    mapping = MAPPING % mapping
    rule = "%s.%d" % (CHAIN, rule)
    return [
        "add Device.NAT.PortMapping",
        'set %s.Interface="Device.IP.Interface.1" %s.Protocol="TCP"' % (mapping, mapping),
        'set %s.ExternalPort=8443 %s.InternalPort=443 %s.InternalClient="192.168.1.20"' % (mapping, mapping, mapping),
        'set %s.Description="-l=odd,but=fine"' % mapping,
        "set %s.Enable=true" % mapping,
        'set Device.WiFi.SSID.1.SSID="Kaffeehaus-Grün"',
        'set Device.WiFi.AccessPoint.1.Security.ModeEnabled="WPA2-Personal"',
        'set Device.WiFi.AccessPoint.1.Security.KeyPassphrase="correct-horse-battery"',
        "set Device.WiFi.Radio.1.AutoChannelEnable=false Device.WiFi.Radio.1.Channel=11",
        "add " + CHAIN,
        'set %s.Target="Drop" %s.Protocol=6 %s.DestPort=8080' % (rule, rule, rule),
        'set %s.SourceMask="203.0.113.0/24"' % rule,
        "order %s 1" % rule,
        "set %s.Enable=true" % rule,
    ]


def configuration(daemon):
    """Everything that people configure: what can be set, and which instances there are; nothing that lives."""
    client = daemon.client()
    names = client.call("GetParameterNames", {"ParameterPath": ".", "NextLevel": False})["ParameterList"]
    writable = {entry["Name"] for entry in names if entry["Writable"] and not entry["Name"].endswith(".")}
    found = {entry["Name"]: None for entry in names if entry["Name"].endswith(".")}

    def collect(node, path):
        for key, value in node.items():
            name = path + key
            if isinstance(value, dict) and name + "." in found:
                collect(value, name + ".")
            elif name in writable or key in ("max_instance", "order") or key.endswith("NumberOfEntries"):
                found[name] = value

    collect(client.call("GetConfig", {"Path": "."})["Config"], "")
    client.close()
    return found


def test_a_router_is_configured_recorded_and_replayed(obxd, shell, directory):
    recording = os.path.join(directory, "recording")
    fresh = configuration(obxd)
    # What a new instance is called is seen in the shell first; the recording relies on it.
    lines = job(fresh["Device.NAT.PortMapping.max_instance"] + 1, fresh[CHAIN + ".max_instance"] + 1)
    assert shell.run("record " + recording) == ""
    for line in lines:
        shown = shell.run(line).split("\n")
        assert shown[-1] == "Status: OK", (line, shown)
    shell.send("q\r")
    shell.wait_line("root@obxc:>")
    with open(recording) as text:
        assert text.read().split("\n") == lines + [""]

    configured = configuration(obxd)
    rule = "%s.%d." % (CHAIN, configured[CHAIN + ".max_instance"])
    assert configured[rule + "Order"] == 1 and configured[rule + "SourceMask"] == "203.0.113.0/24"
    assert configured["Device.WiFi.SSID.1.SSID"] == "Kaffeehaus-Grün"
    assert configured["Device.WiFi.Radio.1.Channel"] == 11

    def replay(daemon):
        assert configuration(daemon) == fresh != configured
        done = obxc("-s", recording, daemon=daemon)
        assert done.status == 0 and done.out.count("Status: OK\n") == len(lines), done
        assert configuration(daemon) == configured

    assert shell.run("reset all") == "Status: OK"
    replay(obxd)
    other = harness.Obxd()
    try:
        replay(other)
    finally:
        other.close()


def test_several_shells_at_once(obxd, terminal):
    """What one changes the others see; each has its own place and user."""
    shells = [terminal(daemon=obxd) for _ in range(4)]
    for number, shell in enumerate(shells):
        assert shell.run("set Device.WiFi.SSID.1.SSID=net-%d" % number).endswith("Status: OK")
    shells[0].run("cd Device.WiFi")
    assert shells[0].line() == "root@obxc:Device.WiFi>" and shells[1].line() == "root@obxc:>"
    for shell in shells:
        assert shell.run("cat :Device.WiFi.SSID.1.SSID") == " = 'net-3'"
        assert "EVENT" not in shell.text()


@pytest.mark.parametrize("redirection", [">&-", ">/dev/full", "| head -1", "| true", "<&-"])
@pytest.mark.parametrize("options", ["", "-r cat Device.", "-s"])
def test_output_and_input_that_are_gone(shared_obxd, options, redirection):
    """It ends, with nothing but a message of its own."""
    line = "echo 'cat Device.' | \"$0\" -u \"$1\" %s %s" % (options, redirection)
    if redirection == "<&-":
        line = '"$0" -u "$1" %s %s' % (options, redirection)
    done = subprocess.run(["sh", "-c", line, harness.OBXC, shared_obxd.socket], capture_output=True,
                                  env=harness.environment(), timeout=harness.PATIENCE)
    harness.check_sanitizers(done.stderr)
    assert done.returncode in (0, 1, 255), done
    assert done.stderr == b"" or b"standard output" in done.stderr, done


@pytest.mark.parametrize("word, value", [
    ("-l", "-l"), ("--help", "--help"), ("-", "-"), ("", ""), ("a=b=", "a=b="), ("#5", ""), ("'#5'", "#5"),
    ("'two  words'", "two  words"), ("ü日本", "ü日本"), ("%s%n", "%s%n"), ("x" * 33, None), ("\udcff", None)])
def test_odd_texts_arrive_as_they_are(shared_obxd, word, value):
    """Capitals of the path do not matter; a value that does not fit (None) leaves the old one; "#" starts a comment."""
    client = shared_obxd.client()
    client.set("Device.WiFi.SSID.1.SSID", "before")
    obxc(daemon=shared_obxd, stdin="set dEVICE.wIfI.ssid.1.SsId=%s\n" % word)
    assert client.get("Device.WiFi.SSID.1.SSID") == ("before" if value is None else value)
    client.close()


@pytest.mark.parametrize("text, value", [
    ("0x10", 16), ("010", 8), ("65535", 65535), ("65536", None), ("4294967296", None), ("18446744073709551615", None),
    ("9" * 400, None), ("-1", None), ("", None), ("1e3", None), ("1.5", None)])
def test_odd_numbers(shared_obxd, text, value):
    client = shared_obxd.client()
    client.set("Device.NAT.PortMapping.1.ExternalPort", 2222)
    obxc(daemon=shared_obxd, stdin="set 'Device.NAT.PortMapping.1.ExternalPort=%s'\n" % text)
    assert client.get("Device.NAT.PortMapping.1.ExternalPort") == (2222 if value is None else value)
    client.close()
