"""tree and catree: parts of the model as trees."""

import pytest

import harness
from harness import ScriptedDaemon, obxc
from small_model import SmallModel, interrupt_listing, typed

LEAF = {"#attr": {"type": "string"}}
SCHEME = {"Datamodel": {
    "#attr": {"type": "object"},
    "Device": {
        "#attr": {"type": "object"},
        "A": {"#attr": {"type": "object"}, "Sub": {"#attr": {"type": "object"}, "Deep": LEAF}, "Text": LEAF,
              "Mask": {"#attr": {"type": "unsignedInt", "base": 16}}},
        "List": {"#attr": {"type": "object", "multi": True},
                 "max_instance": {"#attr": {"type": "unsignedInt"}},
                 "#template": {"#attr": {"type": "object"}, "Name": LEAF, "Box": {"#attr": {"type": "object"}, "X": LEAF}}},
        "Void": {},
    },
}}
CONFIG = {"Config": {"Device": {
    "A": {"Sub": {"Deep": "d"}, "Text": "t", "Mask": 255},
    "List": {"max_instance": 3, "1": {"Box": {"X": "x"}, "Name": "one"}, "3": {"Box": {}, "Name": "three"}},
    "Void": {"E": {}},
}}}
MODEL = {"GetDataModel": SCHEME, "GetConfig": CONFIG}

TREE_A = """\
Device.A
├── Text
├── Mask
└── Sub
    └── Deep
"""
TREE_DEVICE = """\
Device
├── A
│   ├── Text
│   ├── Mask
│   └── Sub
│       └── Deep
└── List
    ├── #template
    │   ├── Name
    │   └── Box
    │       └── X
    └── max_instance
"""
TREE_ROOT = ".\n└── " + TREE_DEVICE.replace("\n", "\n    ")[:-4]
CATREE_DEVICE = """\
Device
├── A
│   ├── Text = 't'
│   ├── Mask = 0xff
│   └── Sub 
│       └── Deep = 'd'
└── List
    ├── 1           
    │   ├── Name = 'one'
    │   └── Box 
    │       └── X = 'x'
    ├── 3           
    │   └── Name = 'three'
    └── max_instance = 3
"""
CATREE_A = """\
Device.A
├── Text = 't'
├── Mask = 0xff
└── Sub 
    └── Deep = 'd'
"""


@pytest.mark.parametrize("lines, expected", [
    (["tree Device"], TREE_DEVICE),
    (["tree :Device."], TREE_DEVICE),
    (["tree"], TREE_ROOT),
    (["tree Device.A"], TREE_A),
    (["tree Device.A ignored words"], TREE_A),
    (["cd Device.A", "tree"], TREE_A),
    (["cd Device", "tree A"], TREE_A),
    (["cd Device", "tree :Device.A"], TREE_A),
    (["tree Device.A.Text"], "Device.A.Text\n"),
    (["tree Device.None.At.All"], TREE_DEVICE.replace("Device", "Device.None.At.All", 1)),
    (["tree Device.Void"], ""),
    (["catree Device"], CATREE_DEVICE),
    (["catree Device.A"], CATREE_A),
    (["cd Device.A", "catree"], CATREE_A),
    (["catree Device.A Device.A.Text"], CATREE_A + "Device.A.Text = 't'\n"),
    (["catree Device.Void"], ""),
    (["catree Device.List.1"], "Device.List.1\n├── Name = 'one'\n└── Box \n    └── X = 'x'\n"),
    (["catree Device.List.max_instance"], "Device.List.max_instance = 3\n"),
])
def test_trees(scripted, lines, expected):
    assert typed(scripted(SmallModel(**MODEL)), *lines) == expected


def test_what_is_asked(scripted):
    daemon = scripted(SmallModel(**MODEL))
    typed(daemon, "cd Device.A", "tree", "catree Sub. <")
    assert daemon.requests("GetDataModel") == [{"ParameterNames": [path], "Level": -1}
                                               for path in ("Device.A", "Device.A.Sub", "Device")]
    assert daemon.requests("GetConfig") == [{"Path": "Device.A.Sub"}, {"Path": "Device"}]
    typed(daemon, "tree")
    assert daemon.requests("GetDataModel")[-1]["ParameterNames"] == ["."]


def test_a_plain_terminal_gets_plain_branches(scripted):
    daemon = scripted(SmallModel(**MODEL))
    done = obxc(daemon=daemon, stdin="catree Device.A\n", env=harness.environment(LANG="C"))
    assert done.out.endswith("Device.A\n|-- Text = 't'\n|-- Mask = 0xff\n|__ Sub \n    |__ Deep = 'd'\n")


@pytest.mark.parametrize("answers", [
    {},
    {"GetDataModel": ScriptedDaemon.error(9005, "Invalid parameter name"),
     "GetConfig": ScriptedDaemon.error(9005, "Invalid parameter name")},
    {"GetDataModel": {"Datamodel": None}, "GetConfig": {"Config": {}}},
    {"GetDataModel": ScriptedDaemon.result(5), "GetConfig": ScriptedDaemon.result([])},
])
def test_a_failed_fetch_draws_nothing(scripted, answers):
    shown = typed(scripted(SmallModel(**answers)), "catree Device.A", "tree Device.B", "pwd")
    assert shown.replace("Device.B = null\n", "").replace("Device.B\n", "") == ":\n"


def test_values_without_schema_are_drawn_all_the_same(scripted):
    shown = typed(scripted(SmallModel(GetConfig=CONFIG)), "catree Device.A")
    assert shown == "Device.A\n├── Sub \n│   └── Deep = 'd'\n├── Text = 't'\n└── Mask = 255\n"


@pytest.mark.parametrize("command", ["tree", "catree"])
@pytest.mark.parametrize("path, nearest", [
    ("Device.DeviceInfo.No.Such", "Device.DeviceInfo"),
    ("Device.DNS.Relay.Forwarding.99.Nothing", "Device.DNS.Relay.Forwarding"),
    ("Nothing.At.All", "."),
])
def test_a_missing_path_draws_its_nearest_ancestor(shared_obxd, command, path, nearest):
    def drawn(asked):
        return typed(shared_obxd, "%s %s" % (command, asked)).split("\n", 1)

    heading, tree = drawn(path)
    assert heading.strip() == path
    expected = drawn(nearest)[1]
    if "99" in path and command == "tree":
        expected = drawn("Device.DNS.Relay.Forwarding.99")[1]  # the layout of any instance
    # What tells the time differs from one request to the next.
    assert [line.split("=")[0] for line in tree.split("\n")] == [line.split("=")[0] for line in expected.split("\n")]
    assert len(tree.split("\n")) > 3


def test_lua_takes_no_ancestor_for_a_missing_path(shared_obxd):
    shown = typed(shared_obxd, "lua print(ox.config('Device.DNS.No')) print(ox.config('Device.DNS.Relay').Enable)")
    assert shown.endswith("nil\tInvalid parameter name: Device.DNS.No\t9005\tnil\ntrue\n")


def test_a_path_that_is_too_long_draws_nothing(scripted):
    daemon = scripted(SmallModel(**MODEL))
    assert typed(daemon, "tree " + "a." * 200, "catree :" + "b" * 300) == ""
    assert daemon.requests("GetDataModel") == []


def test_very_deep_documents_are_cut(scripted):
    deep = "x"
    for _ in range(900):
        deep = {"n": deep}
    shown = typed(scripted(SmallModel(GetConfig={"Config": deep})), "catree")
    assert shown.startswith(".\n└── n\n    └── n\n")
    assert shown.count("\n") == 257


def test_trees_exist_only_in_the_shell(scripted):
    for word in ("tree", "catree"):
        assert obxc("-r", word, daemon=scripted(SmallModel(**MODEL))).status != 0


def test_values_are_coloured_and_cannot_steer_a_terminal(terminal, scripted):
    config = {"Config": {"Device": {"A": {"T\x1b": "v\x1b[2J", "Text": "t"}}}}
    shell = terminal(daemon=scripted(SmallModel(GetConfig=config, GetDataModel=SCHEME)))
    assert shell.run("catree Device.A") == "Device.A\n├── Text  = 't'\n└── T\\x1b = 'v\\x1b[2J'"
    row = next(y for y, line in enumerate(shell.screen()) if "Text" in line)
    assert shell.colour_at(shell.screen()[row].index("'t'"), row) != "default"
    assert shell.colour_at(4, row) == "default"


def test_the_router(shared_obxd):
    assert typed(shared_obxd, "tree Device.Time") == (
        "Device.Time\n├── Enable\n├── Status\n├── CurrentLocalTime\n└── LocalTimeZone\n")
    shown = typed(shared_obxd, "catree Device.Firewall.Level")
    assert "└── max_instance = 2\n" in shown
    assert "│   ├── Name               = 'Medium'\n" in shown
    assert typed(shared_obxd, "tree Device.None.Such").startswith("Device.None.Such\n├── ")


def test_ctrl_c_ends_a_long_tree(terminal, scripted):
    config = {"Config": {"Device": {"A": {"Name%d" % i: "v" * 50 for i in range(50000)}}}}
    interrupt_listing(terminal(daemon=scripted(SmallModel(GetConfig=config))), "catree Device.A")
