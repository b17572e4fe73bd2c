"""add, touch, take, del, rm, order: instances of multi-instance objects."""

import pytest

from harness import ScriptedDaemon, obxc
from small_model import SmallModel, typed

OK = "Status: OK\n"
ADDED = "Instance number: 7\n" + OK
ADD = {"AddObject": {"InstanceNumber": 7}}


@pytest.mark.parametrize("lines, path", [
    (["add"], "."),
    (["add ."], "."),
    (["add Device.List"], "Device.List."),
    (["touch Device.List."], "Device.List."),
    (["add :"], "."),
    (["add :device.list"], "Device.List."),
    (["add Device.List 3"], "Device.List."),
    (["add Device.List x"], "Device.List."),
    (["cd Device.List", "add"], "Device.List."),
    (["cd Device.List.1", "touch <"], "Device.List."),
])
def test_add(scripted, lines, path):
    daemon = scripted(SmallModel(**ADD))
    assert typed(daemon, *lines) == ADDED
    assert daemon.requests("AddObject") == [{"ObjectName": path}]


@pytest.mark.parametrize("line, message", [
    ("add a b c", "syntax: add <path> [<order_num>]\n"),
    ("touch a b c", "syntax: touch <path> [<order_num>]\n"),
    ("add Device.None", "add: Device.None: no such node.\n"),
    ("touch None x", "touch: None: no such node.\n"),
    ("take a b c", "syntax: take <path> [<order_num>]\n"),
    ("take Device.None", "take: Device.None: no such node.\n"),
    ("del", "syntax: del <path>\n"),
    ("rm a b", "syntax: rm <path>\n"),
    ("del Device.None", "del: Device.None: no such node.\n"),
    ("rm None", "rm: None: no such node.\n"),
    ("order", "syntax: order <path> <order_num>\n"),
    ("order Device.Rules.1", "syntax: order <path> <order_num>\n"),
    ("order Device.Rules.1 1 2", "syntax: order <path> <order_num>\n"),
    ("order Device.Rules.1 12x", "order: invalid order integer: 12x\n"),
    ("order Device.Rules.1 -1", "order: invalid order integer: -1\n"),
    ("order Device.Rules.1 0x1", "order: invalid order integer: 0x1\n"),
    ("order Device.Rules.1 9223372036854775808", "order: invalid order integer: 9223372036854775808\n"),
    ("order None x", "order: invalid order integer: x\n"),
    ("order None 1", "order: None: no such node.\n"),
    ("order Device.List.1 1", "order: Device.List.1: is not an ordered instance.\n"),
    ("order Device.A 1", "order: Device.A: is not an ordered instance.\n"),
])
def test_local_errors_send_nothing(scripted, line, message):
    daemon = scripted(SmallModel(**ADD))
    assert typed(daemon, line) == message
    changed = {"AddObject", "DeleteObject", "SetParameterValues", "ChangeOrder"}
    assert changed.isdisjoint(message["method"] for message in daemon.received)


@pytest.mark.parametrize("answer, shown, status", [
    ({"InstanceNumber": 7}, ADDED, 7),
    ({}, OK, 0),
    ({"InstanceNumber": 0}, OK, 0),
    ({"InstanceNumber": -4}, OK, 252),
    ({"InstanceNumber": "7"}, OK, 0),
    (ScriptedDaemon.result(None), OK, 0),
    (ScriptedDaemon.error(9004, "Resources exceeded"), "[9004] Resources exceeded\n", 0),
])
def test_answers_of_add(scripted, answer, shown, status):
    done = obxc("-r", "add", "Some.Path", daemon=scripted(SmallModel(AddObject=answer)))
    assert (done.out, done.status) == (shown, status)


def test_without_a_model_paths_go_as_typed(scripted):
    daemon = scripted(SmallModel(**ADD))
    assert obxc("-r", "add", "device.list", daemon=daemon).out == ADDED
    assert obxc("-r", "AddObject", daemon=daemon).out == ADDED
    assert daemon.requests("AddObject") == [{"ObjectName": "device.list"}, {"ObjectName": "."}]
    assert obxc("-r", "del", "<x", daemon=daemon).out == OK
    assert daemon.requests("DeleteObject") == [{"ObjectName": "<x"}]
    assert obxc("-r", "order", "some.path", "3", daemon=daemon).out == OK
    assert daemon.requests("SetParameterValues") == [{"ParameterList": [{"Name": "some.path", "Value": 3}]}]


@pytest.mark.parametrize("lines, place", [
    (["take Device.List"], "Device.List.7"),
    (["take Device.List."], "Device.List.7"),
    (["take device.list"], "Device.List.7"),
    (["cd Device", "take List"], "Device.List.7"),
    (["cd Device.List", "take"], "Device.List.7"),
    (["cd Device.List", "take ."], "Device.List.7"),
])
def test_take_moves_into_the_new_instance(scripted, lines, place):
    assert typed(scripted(SmallModel(**ADD)), *lines, "pwd") == ADDED + ":" + place + "\n"


@pytest.mark.parametrize("answer", [ScriptedDaemon.error(9001, "No"), ScriptedDaemon.result({})])
def test_a_failed_take_stays_where_it_is(scripted, answer):
    shown = typed(scripted(SmallModel(AddObject=answer)), "cd Device.A", "take :Device.List", "pwd", "cd -", "pwd")
    assert shown.endswith("\n:Device.A\n:\n:\n")


@pytest.mark.parametrize("line, path", [
    ("del Device.List.1", "Device.List.1."),
    ("rm Device.List.2.", "Device.List.2."),
    ("del device.list.1", "Device.List.1."),
    ("del Device.List.99", "Device.List.99."),
    ("del Device.A.Text", "Device.A.Text"),
    ("del Device.A.Text.", "Device.A.Text"),
    ("del .", "."),
    ("del :", "."),
    ("del Device.List.*", "Device.List.#template."),
])
def test_del(scripted, line, path):
    daemon = scripted(SmallModel())
    assert typed(daemon, line) == OK
    assert daemon.requests("DeleteObject") == [{"ObjectName": path}]


def test_refusals_are_reported(scripted):
    refusal = ScriptedDaemon.error(9005, "Invalid parameter name", {"Detail": "gone"})
    daemon = scripted(SmallModel(DeleteObject=refusal, SetParameterValues=refusal))
    shown = "[9005] Invalid parameter name: gone\n"
    assert typed(daemon, "del Device.List.1", "order Device.Rules.1 2") == shown * 2


@pytest.mark.parametrize("line, value", [
    ("order Device.Rules.1 1", 1),
    ("order :device.rules.1. 007", 7),
    ("order Device.Rules.1 0", 0),
    ("order Device.Rules.1 4294967296", 4294967296),
])
def test_order_writes_the_index(scripted, line, value):
    daemon = scripted(SmallModel())
    assert typed(daemon, line) == OK
    assert daemon.requests("SetParameterValues") == [
        {"ParameterList": [{"Name": "Device.Rules.1.index", "Value": value}]}]


def test_the_router(obxd):
    base = "Device.NAT.PortMapping"
    shown = typed(obxd, "take %s" % base, "pwd", "set Description=new", "cd", "ls %s" % base)
    number = shown.split("Instance number: ")[1].split("\n")[0]
    assert "\n:%s.%s\n" % (base, number) in shown
    assert "%s.%s.\n" % (base, number) in shown
    client = obxd.client()
    assert client.get("%s.%s.Description" % (base, number)) == "new"
    assert typed(obxd, "rm %s.%s" % (base, number)) == OK
    assert client.request("GetParameterValues", {"ParameterNames": ["%s.%s." % (base, number)]})["error"]["code"] == 9005


def test_order_on_the_router(obxd):
    assert typed(obxd, "order Device.Firewall.Level.2 1", "cat Device.Firewall.Level.2.order",
                 "cat Device.Firewall.Level.1.order") == OK + " = 1\n = 2\n"


def test_a_listing_shows_every_change_at_once(obxd, shell):
    base = "Device.NAT.PortMapping"
    shell.run("cd " + base)
    before = shell.run("ls").split()
    own = shell.run("add").split("Instance number: ")[1].split("\n")[0]
    assert set(shell.run("ls").split()) == set(before) | {own + "."}
    client = obxd.client()
    other = str(client.call("AddObject", {"ObjectName": base + "."})["InstanceNumber"])
    assert set(shell.run("ls").split()) == set(before) | {own + ".", other + "."}
    assert "Enable" in shell.run("ls " + other)
    client.call("DeleteObject", {"ObjectName": "%s.%s." % (base, own)})
    assert set(shell.run("ls").split()) == set(before) | {other + "."}
    shell.run("del " + other)
    assert shell.run("ls").split() == before


def test_a_listing_shows_many_changes_at_once(obxd):
    base = "Device.NAT.PortMapping"
    adds = "for i = 1, 25 do ox.add('%s.') end" % base
    # The daemon tells of the last one just after it has answered.
    shown = typed(obxd, "cd " + base, "ls", "lua " + adds, "sh sleep 0.5", "ls")
    before, after = shown.split(adds)
    assert len(after.split()) == len(before.split()) + 25


def test_own_changes_are_listed_before_their_events(scripted):
    """A daemon that sends no events, or late."""
    model = SmallModel(AddObject={"InstanceNumber": 12})
    model.nodes += [("Device.List.12.", {"type": "object"}), ("Device.List.12.Name", {"type": "string"})]
    shown = typed(scripted(model), "ls Device.List", "del Device.List.1", "add Device.List", "ls Device.List",
                  "ls Device.List.12")
    listed = "Device.List.%s.\nDevice.List.%s.\nDevice.List.max_instance\n"
    assert shown == (listed % (1, 2) + OK + ADDED.replace("7", "12") + listed % (2, 12) + "Device.List.12.Name\n")


def test_a_refused_delete_changes_no_listing(scripted):
    refusal = ScriptedDaemon.error(9001, "No")
    shown = typed(scripted(SmallModel(DeleteObject=refusal)), "ls Device.List", "del Device.List.1", "ls Device.List")
    first, second = shown.split("[9001] No\n")
    assert first == second


def test_instances_stand_in_the_order_of_their_numbers(obxd):
    base = "Device.NAT.PortMapping"
    shown = typed(obxd, *["add " + base] * 8, "ls " + base, "cd " + base, "ls")
    numbers = [line.split(".")[3] for line in shown.split("\n") if line.startswith(base + ".")]
    assert len(numbers) > 10
    assert numbers[:-1] == sorted(numbers[:-1], key=int) and numbers[-1] == "max_instance" or numbers == sorted(
        numbers, key=int)
