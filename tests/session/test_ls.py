"""ls: children in columns, and the table of their attributes."""

import pytest

from harness import ScriptedDaemon, after, obxc, timed
from small_model import SmallModel, typed

A_NAMES = ["Bits", "Flag", "Json", "Mask", "Mode", "Plain.", "Ratio", "Run.", "State", "Text"]

A_TABLE = """\
Type                 Access  Perms    Flags  Name
object               RW               O      .
unsignedInt          RW               -      Bits
boolean              RW               -      Flag
json                 RW               -      Json
unsignedInt[0:4095]  RW               -      Mask
unsignedInt          RW               -      Mode
method               RW               -      Plain
decimal              RW               -      Ratio
method               RW               -      Run
string               RO      guest/-  -      State
string(64)           RW               -      Text
"""


def listed(base):
    return "".join("%s%s\n" % (base, name) for name in A_NAMES)


@pytest.mark.parametrize("lines, expected", [
    (["ls"], "Device.\n"),
    (["ls :"], ":.Device.\n"),
    (["ls -a"], ".\nDevice.\n"),
    (["ls -x"], "Device.\n"),
    (["ls -"], "Device.\n"),
    (["ls Device"], "Device.A.\nDevice.List.\nDevice.Rules.\n"),
    (["ls Device."], "Device.A.\nDevice.List.\nDevice.Rules.\n"),
    (["ls device.a"], listed("device.a.")),
    (["ls Device.A"], listed("Device.A.")),
    (["cd Device.A", "ls"], listed("")),
    (["cd Device.A", "ls -a"], ".\n" + listed("")),
    (["ls Device.A.Text"], "Device.A.Text\n"),
    (["ls Device.A.Text."], "Device.A.Text.\n"),
    (["ls -a Device.A.Text"], "Device.A.Text\n"),
    (["cd Device.A.Text", "ls"], ""),
    (["ls Device.List"], "Device.List.1.\nDevice.List.2.\nDevice.List.max_instance\n"),
    (["ls Device.Rules.3"], "".join("Device.Rules.3.%s\n" % n for n in ("Name", "index", "order"))),
    (["ls Device.Rules"], "".join("Device.Rules.%s\n" % n for n in ("1.", "3.", "max_instance", "order."))),
    (["ls Device.None"], "ls: Device.None: no such node\n"),
    (["ls -l Device.None"], "ls: Device.None: no such node\n"),
    (["ls Device.A.Text Device.None"], "Device.A.Text:\nDevice.A.Text\n\nDevice.None:\nls: Device.None: no such node\n\n"),
    (["ls Device.None -a Device"], "Device.None:\nls: Device.None: no such node\n\n"
     "Device:\n.\nDevice.A.\nDevice.List.\nDevice.Rules.\n\n"),
    (["ls -l Device.A"], A_TABLE),
    (["ls Device.A. -l"], A_TABLE),
    (["cd Device.A", "ls -la"], A_TABLE),
    (["ls -l Device.Rules"], "Type         Access  Perms  Flags  Name\n"
                             "object       RW             OO     #template.\n"
                             "object       RW             OMO    .\n"
                             "unsignedInt  RO             -      max_instance\n"),
])
def test_listings(scripted, lines, expected):
    assert typed(scripted(SmallModel()), *lines) == expected


def test_the_dot_entry_stands_before_names_that_sort_before_it(scripted):
    model = SmallModel()
    model.nodes.append(("Device.A.$x", {"type": "string"}))
    shown = typed(scripted(model), "cd Device.A", "ls -a", "ls")
    assert shown.startswith(".\n$x\nBits\n")
    assert shown.count("\n$x\nBits\n") == 2


def test_the_long_form_asks_once_with_a_final_dot(scripted):
    daemon = scripted(SmallModel())
    typed(daemon, "ls -l")
    assert daemon.requests("GetParameterAttributes")[-1] == {"ParameterNames": ["."], "Level": 1}
    typed(daemon, "ls -l Device.List.1")
    assert daemon.requests("GetParameterAttributes")[-1] == {"ParameterNames": ["Device.List.1."], "Level": 1}


def refusing(path, answer):
    return lambda params: answer if params["ParameterNames"] == [path] else NotImplemented


@pytest.mark.parametrize("answer", [
    ScriptedDaemon.error(9002, "Internal error"),
    ScriptedDaemon.result({}),
    ScriptedDaemon.result([]),
    ScriptedDaemon.result({"ParameterList": "none"}),
    ScriptedDaemon.result({"ParameterList": [5, None, {"Attributes": {}}]}),
])
def test_a_useless_answer_gives_the_heading_alone(scripted, answer):
    daemon = scripted(SmallModel(GetParameterAttributes=refusing("Device.A.", answer)))
    # The node is resolved from its parent's answer; its own attributes are what fails.
    assert typed(daemon, "ls -l Device.A") == "Type Access Perms Flags Name\n".replace(" ", "  ")


def test_a_silent_daemon_is_waited_for_a_second(scripted):
    """And not for the five that requests have elsewhere, within which there is an answer."""
    def answer(request, connection):
        listing = request["method"] == "GetParameterAttributes" and request["params"]["ParameterNames"] == ["Device.A."]
        return (late if listing else model)(request, connection)
    model = SmallModel()
    late = after(4, model)
    shown, took = timed(lambda: typed(scripted(answer), "ls -l Device.A"))
    assert shown == "Type  Access  Perms  Flags  Name\n" and took >= 1


def test_without_a_model_the_root_is_listed(scripted):
    daemon = scripted(SmallModel())
    done = obxc("-r", "ls", daemon=daemon)
    assert (done.out, done.status) == ("Device.\n", 0)
    done = obxc("-r", "GetParameterNames", "Device.A", daemon=daemon)
    assert (done.out, done.status) == ("Device.A.Device.\n", 0)
    assert obxc("-r", "ls", "Device.None", "x", daemon=daemon).status == 0
    done = obxc("-r", "ls", "--", "-l", "Device.A", daemon=daemon)
    assert done.out == ("Type    Access  Perms  Flags  Name\n"
                        "object  RW             O      .\n"
                        "object  RW             O      Device.\n"
                        "string  RO             -      DataModelVersion\n")


def test_on_a_terminal_names_stand_in_columns_and_cannot_steer_it(terminal, scripted):
    model = SmallModel()
    model.nodes.append(("Device.A.Evil\x1b[2J", {"type": "string\x07", "perms": "\x1b"}))
    shell = terminal(daemon=scripted(model), columns=60)
    assert shell.run("cd Device.A") == ""
    shown = shell.run("ls")
    assert "Evil\\x1b[2J" in shown
    assert len(shown.split("\n")) < 6
    assert "string\\x07" in shell.run("ls -l")
    row, column = next((y, line.index("Mask")) for y, line in enumerate(shell.screen()) if "[0:4095]" in line)
    assert shell.colour_at(column, row) != "default"
    assert shell.colour_at(0, row) == "default"


def test_the_router(shared_obxd):
    assert typed(shared_obxd, "ls Device.Time.") == "".join(
        "Device.Time.%s\n" % name for name in ("CurrentLocalTime", "Enable", "LocalTimeZone", "Status"))


def test_the_table_of_an_object_with_instances_lists_them(obxd):
    base = "Device.NAT.PortMapping"
    names = typed(obxd, "ls " + base, "ls -l " + base, "ls -l %s.1" % base).split("Type ", 1)
    short = [line[len(base) + 1:] for line in names[0].split()]
    table, instance = names[1].split("Type ", 1)
    shown = [line.split()[-1] for line in table.split("\n")[1:] if line]
    assert sorted(shown) == sorted(short + [".", "#template."]) and "1." in shown
    assert " Enable\n" in instance
