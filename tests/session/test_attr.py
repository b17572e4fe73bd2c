"""attr and info: schema attributes, from the daemon or from what the shell knows."""

import pytest

from harness import ScriptedDaemon, obxc
from small_model import SmallModel, typed

ROOT = "Canonical path:     :\nType:               config root\nConst:              true\n"
MASK = """\
Canonical path:     :Device.A.Mask
Type:               unsignedInt
Base:               hex
Default:            0xff
Minimal inclusive:  0x0
Maximum inclusive:  0xfff
"""
STATE = """\
Canonical path:     :Device.A.State
Type:               string
Const:              true
Enum: 
  'Up'
  'Down'
"""
RULES = """\
Canonical path:     :Device.Rules
Type:               object
Ordered:            true
Multi-instance:     true
"""


@pytest.mark.parametrize("lines, expected", [
    (["attr"], ROOT),
    (["attr :"], ROOT),
    (["info ."], ROOT),
    (["attr Device.A.Mask"], MASK),
    (["info :device.a.mask."], MASK),
    (["cd Device.A.Mask", "attr"], MASK),
    (["attr Device.A.State"], STATE),
    (["attr Device.Rules"], RULES),
    (["attr Device.None"], "attr: Device.None: no such node\n"),
    (["attr Device.A.State Device.None :"],
     "Device.A.State:\n" + STATE + "\nDevice.None:\nattr: Device.None: no such node\n\n::\n" + ROOT + "\n"),
])
def test_listings(scripted, lines, expected):
    assert typed(scripted(SmallModel()), *lines) == expected


@pytest.mark.parametrize("line, name", [
    ("attr Device.A.Mask", "Device.A.Mask"),
    ("attr Device.A", "Device.A."),
    ("attr Device.List.1", "Device.List.1."),
    ("attr Device.A.Run", "Device.A.Run."),
])
def test_what_is_asked(scripted, line, name):
    daemon = scripted(SmallModel())
    typed(daemon, line)
    assert daemon.requests("GetParameterAttributes")[-1] == {"ParameterNames": [name], "Level": 0}


def at_level_0(answer):
    return lambda params: answer if params["Level"] == 0 else NotImplemented


@pytest.mark.parametrize("answer", [
    ScriptedDaemon.error(9001, "Request denied"),
    ScriptedDaemon.result({}),
    ScriptedDaemon.result({"ParameterList": []}),
    ScriptedDaemon.result({"ParameterList": [{"Name": "x"}]}),
    ScriptedDaemon.result({"ParameterList": 5}),
    None,
])
def test_without_an_answer_what_is_known_is_shown(scripted, answer):
    daemon = scripted(SmallModel(GetParameterAttributes=at_level_0(answer)))
    assert typed(daemon, "attr Device.A.Mask") == MASK


def test_the_daemons_answer_goes_before_what_is_known(scripted):
    answer = {"ParameterList": [{"Name": "x", "Attributes": {"type": "string", "default": "now"}}]}
    daemon = scripted(SmallModel(GetParameterAttributes=at_level_0(answer)))
    assert typed(daemon, "attr Device.A.Mask") == (
        "Canonical path:     :Device.A.Mask\nType:               string\nDefault:            'now'\n")


def test_attributes_without_a_type(scripted):
    answer = {"ParameterList": [{"Name": "x", "Attributes": {"const": True}}]}
    shown = typed(scripted(SmallModel(GetParameterAttributes=at_level_0(answer))), "attr Device.A.Mask")
    assert shown.startswith("attr parse error on 1:")
    assert shown.endswith(" : Object item not found: type\nCanonical path:     :Device.A.Mask\nType:               \n")


@pytest.mark.parametrize("word", ["attr", "info", "GetParameterAttributes"])
def test_in_request_mode_the_words_go_to_the_daemon(scripted, word):
    daemon = scripted(SmallModel())
    done = obxc("-r", word, "Device.A.Mask", "Device.A.State", daemon=daemon)
    assert (done.out, done.status) == (MASK + "\n" + STATE + "\n", 0)
    assert daemon.requests("GetParameterAttributes") == [
        {"ParameterNames": ["Device.A.Mask", "Device.A.State"], "Level": 0}]


@pytest.mark.parametrize("word", ["attr", "info"])
def test_in_request_mode_an_error_is_one_word(scripted, word):
    done = obxc("-r", word, "Device.None", daemon=scripted(SmallModel()))
    assert (done.out, done.status) == (word + ": ERROR\n", 255)


def test_in_request_mode_odd_elements_are_survived(scripted):
    answer = {"ParameterList": [5, {"Name": "N"}, {"Name": "M", "Attributes": {"type": "t"}}]}
    done = obxc("-r", "attr", "x", daemon=scripted(SmallModel(GetParameterAttributes=answer)))
    assert done.status == 0
    assert done.out.endswith("\nCanonical path:     :M\nType:               t\n\n")


def test_texts_cannot_steer_a_terminal(terminal, scripted):
    answer = {"ParameterList": [{"Name": "x", "Attributes": {
        "type": "t\x1b[2J", "regex": "\x07", "handlers": [{"action": 1, "handler": "h\x1b"}],
        "relations": [{"verdict": 1, "match": "m\x9b"}]}}]}
    shell = terminal(daemon=scripted(SmallModel(GetParameterAttributes=at_level_0(answer))))
    assert shell.run("attr Device.A.Mask") == (
        "Canonical path:     :Device.A.Mask\n"
        "Type:               t\\x1b[2J\n"
        "Handler set:        h\\x1b\n"
        "Regex:              '\\x07'\n"
        "Relations:\n"
        "  cascade before 'm\\xc2\\x9b' delete")


def test_the_router(shared_obxd):
    assert typed(shared_obxd, "attr Device.DeviceInfo.UpTime") == (
        "Canonical path:     :Device.DeviceInfo.UpTime\n"
        "Type:               unsignedInt\nConst:              true\nRuntime:            true\n")
