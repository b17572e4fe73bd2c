"""save, reboot and reset: what is sent, what is printed, and what the device does."""

import pytest

import harness
from harness import ScriptedDaemon, obxc

SYNTAX_RESET = "syntax: reset <DeviceMode> [all]\n"
SYNTAX_REBOOT = "syntax: reboot [-f] [<DeviceMode>]\n"


@pytest.mark.parametrize("words, method, params", [
    (["save"], "SaveConfig", None),
    (["save", "nightly"], "SaveConfig", {"RestorePointName": "nightly"}),
    (["save", "nightly", "extra"], "SaveConfig", {"RestorePointName": "nightly"}),
    (["reset"], "FactoryReset", {}),
    (["reset", "all"], "FactoryReset", {"CleanAll": True}),
    (["reset", "ALL"], "FactoryReset", {"DeviceMode": "ALL"}),
    (["reset", "a", "b"], "FactoryReset", {"DeviceMode": "a"}),
    (["reset", "Bridge", "all"], "FactoryReset", {"DeviceMode": "Bridge", "CleanAll": True}),
    (["reboot"], "Reboot", {}),
    (["reboot", "-f"], "Reboot", {"Force": True}),
    (["reboot", "-f", "-f"], "Reboot", {"Force": True}),
    (["reboot", "-f", "Bridge"], "Reboot", {"Force": True, "DeviceMode": "Bridge"}),
])
def test_what_is_sent(scripted, words, method, params):
    daemon = scripted()
    done = obxc("-r", words[0], "--", *words[1:], daemon=daemon)
    assert done.out == "Status: OK\n"
    assert done.status == 0
    assert daemon.requests(method) == [params]


@pytest.mark.parametrize("words, text", [
    (["reset", "all", "x", "y"], SYNTAX_RESET),
    (["reset", "a", "b", "c"], SYNTAX_RESET),
    (["reboot", "a", "b"], SYNTAX_REBOOT),
    (["reboot", "-f", "a", "b"], SYNTAX_REBOOT),
])
def test_syntax_errors_send_nothing(scripted, words, text):
    daemon = scripted()
    done = obxc("-r", words[0], "--", *words[1:], daemon=daemon)
    assert done.out == text
    assert done.status == 255
    assert daemon.received == []


def refuse(request, connection):
    return ScriptedDaemon.error(9001, "Request denied", {"Detail": "not now", "Reason": "busy"})


@pytest.mark.parametrize("words, extra, status", [
    (["save"], "", 0),
    (["reset"], "", 0),
    (["reboot"], SYNTAX_REBOOT, 255),
])
def test_a_refusal_is_reported(scripted, words, extra, status):
    done = obxc("-r", words[0], "--", *words[1:], daemon=scripted(refuse))
    assert done.out == '[9001] Request denied: not now\nReason: "busy"\n' + extra
    assert done.status == status


def test_reboot_when_the_connection_drops(scripted):
    """The request is sent twice (the second time on a new connection); then the loss is reported."""
    daemon = scripted(lambda request, connection: ScriptedDaemon.CLOSE)
    done = obxc("-r", "reboot", daemon=daemon)
    assert done.out.startswith("[-7] ")
    assert done.out.endswith(SYNTAX_REBOOT)
    assert done.status == 255
    assert len(daemon.requests("Reboot")) == 2


def test_saved_values_survive_a_reboot(shell):
    name = "Device.DeviceInfo.HostName"
    shell.run("set %s=kept" % name)
    assert shell.run("save") == "Status: OK"
    shell.run("set %s=lost" % name)
    shell.send("reboot\r")
    shell.wait_for("Connection dropped")
    assert shell.end() == 0


def test_what_was_saved_is_back_after_the_reboot(obxd):
    name = "Device.DeviceInfo.HostName"
    admin = ("-a", "root:")
    for words in (["set", name + '="kept"'], ["save"], ["set", name + '="lost"']):
        assert "Status: OK" in obxc(*admin, "-r", *words, daemon=obxd).out
    obxc(*admin, "-r", "reboot", daemon=obxd)
    harness.wait_until(lambda: obxd.if_up(lambda client: client.get(name)) == "kept", "the saved host name")


def test_errors_of_several_lines_are_shown_as_such(scripted, terminal):
    text = ScriptedDaemon.error(9002, "First\n\tsecond", {"Detail": "third\n\033[2Jfourth", "Key": "a\nb"})
    shell = terminal(daemon=scripted(lambda request, _: text if request["method"] == "SaveConfig" else
                                     ScriptedDaemon.result({})))
    shown = shell.run("save").split("\n")
    assert [line.strip() for line in shown] == ["[9002] First", "second: third", "\\x1b[2Jfourth", 'Key: "a\\nb"']
