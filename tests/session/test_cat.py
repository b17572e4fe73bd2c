"""cat and get: values, aligned."""

import pytest

from harness import ScriptedDaemon, obxc
from small_model import SmallModel, interrupt_listing, typed, values

A_VALUES = values(("Device.A.Text", "it's"), ("Device.A.Flag", True), ("Device.A.Mask", 255), ("Device.A.Mode", 420),
                  ("Device.A.Bits", 6), ("Device.A.Ratio", 0.5), ("Device.A.Json", [1, {"a": None}]),
                  ("Device.A.Object", {"x": 1}), ("Device.A.Null", None), ("Device.A.Deep.Name", ""))
A_SHOWN = """\
Text      = 'it's'
Flag      = true
Mask      = 0xff
Mode      = 0644
Bits      = 0b110
Ratio     = 0.5
Json      = [1, {"a": null}]
Object   
Null      = null
Deep.Name = ''
"""


def shown(scripted, answer, *lines):
    return typed(scripted(SmallModel(GetParameterValues=answer)), *lines)


@pytest.mark.parametrize("line", ["cat Device.A", "cat Device.A.", "get :Device.A", "cat device.a"])
def test_values_of_an_object(scripted, line):
    daemon = scripted(SmallModel(GetParameterValues=lambda params: A_VALUES if params["ParameterNames"] == ["Device.A."] else {}))
    assert typed(daemon, "cd Device.A.Text", "cd", line) == A_SHOWN


def test_a_number_beyond_64_bits_is_told_and_not_another_one(scripted):
    out = shown(scripted, values(("Device.A.Mask", 2 ** 64 - 1)), "cat Device.A.Mask")
    assert out == "[-10] Broken message: a number is beyond 64 bits\n"
    last = values(("Device.A.Ratio", 2 ** 63 - 1))
    assert shown(scripted, last, "cat Device.A.Ratio") == " = 9223372036854775807\n"


def test_number_bases_are_known_only_where_the_model_was_visited(scripted):
    assert shown(scripted, values(("Device.A.Mask", 255)), "cat Device.A") == "Mask = 255\n"


@pytest.mark.parametrize("lines, query", [
    (["cat"], "."),
    (["cat ."], "."),
    (["cat :"], "."),
    (["cd Device.A", "cat"], "Device.A."),
    (["cd Device.A", "cat Text"], "Device.A.Text"),
    (["cat Device.A.Text."], "Device.A.Text"),
    (["cat Device.List.1"], "Device.List.1."),
    (["cat Device.List.9"], "Device.List.9."),
    (["cat Device.List.max_instance"], "Device.List.max_instance"),
    (["cat Device.Rules.1.order"], "Device.Rules.1.order"),
    (["cat Device.List.*"], "Device.List.#template."),
    (["cat Device.List.*.Name"], "Device.List.#template.Name"),
])
def test_what_is_asked(scripted, lines, query):
    daemon = scripted(SmallModel())
    typed(daemon, *lines)
    params = daemon.requests("GetParameterValues")[-1]
    assert params["ParameterNames"] == [query]
    assert params.get("IgnoreAccessError") == (True if "#" in query else None)


def test_the_prefix_goes_only_from_names_that_begin_with_it(scripted):
    answer = values(("Device.A.Text", 1), ("Device.A.", 2), ("Device.B.Text", 3), ("", 4))
    assert shown(scripted, answer, "cat Device.A") == (
        "Text          = 1\n"
        "              = 2\n"
        "Device.B.Text = 3\n"
        "              = 4\n")


def test_a_parameter_is_shown_without_its_name(scripted):
    assert shown(scripted, values(("Device.A.Mask", 16)), "cat Device.A.Mask") == " = 0x10\n"


def test_all_instances_are_named_from_their_number_on(scripted):
    answer = values(("Device.List.1.Name", "a"), ("Device.List.12.Name", "b"))
    assert shown(scripted, answer, "cat Device.List.*") == "1.Name  = 'a'\n12.Name = 'b'\n"


def test_the_root_keeps_its_names_whole(scripted):
    answer = values(("DataModelVersion", "1"), ("Device.A.Text", "x"))
    assert shown(scripted, answer, "cat") == "DataModelVersion = '1'\nDevice.A.Text    = 'x'\n"


def test_several_paths_have_headings(scripted):
    def answer(params):
        return values((params["ParameterNames"][0], 1))
    assert shown(scripted, answer, "cat Device.A.Text Device.None Device.A.Flag") == (
        "Device.A.Text:\n = 1\nDevice.None:\ncat: Device.None: no such node.\nDevice.A.Flag:\n = 1\n")


def test_an_unknown_path_asks_nothing(scripted):
    daemon = scripted(SmallModel())
    assert typed(daemon, "get Device.None") == "get: Device.None: no such node.\n"
    assert ["Device.None."] not in [params["ParameterNames"] for params in daemon.requests("GetParameterValues")]


@pytest.mark.parametrize("answer, expected", [
    (ScriptedDaemon.error(9005, "Invalid parameter name"), "[9005] Invalid parameter name\n"),
    (ScriptedDaemon.error(9002), "[9002] \n"),
    (ScriptedDaemon.error(9001, "Denied", {"Detail": "d", "K": ["v"]}), '[9001] Denied: d\nK: ["v"]\n'),
    (ScriptedDaemon.result({}), ""),
    (ScriptedDaemon.result([]), ""),
    (ScriptedDaemon.result({"ParameterList": {"Name": "x"}}), ""),
    (ScriptedDaemon.result({"ParameterList": [1, None, {"Value": 5}, {"Name": 6, "Value": 5}]}), ""),
    (ScriptedDaemon.result({"ParameterList": [{"Name": "N"}, {"Name": "M", "Value": 1}]}), "N\nM = 1\n"),
])
def test_answers_of_other_kinds(scripted, answer, expected):
    assert shown(scripted, answer, "cat Device.A") == expected


def test_a_failed_read_is_no_failure_of_the_command(scripted):
    daemon = scripted(SmallModel(GetParameterValues=ScriptedDaemon.error(9005, "Invalid parameter name")))
    done = obxc("-r", "cat", "a", "b", daemon=daemon)
    line = "[9005] Invalid parameter name\n"
    assert (done.out, done.status) == ("a:\n" + line + "b:\n" + line, 0)


def test_without_a_model_paths_go_as_typed(scripted):
    daemon = scripted(SmallModel(GetParameterValues=lambda params: values((params["ParameterNames"][0] + "X", 255))))
    for path in ("device.a.", "A<.*", "-x.", "Device.A.Mask"):
        done = obxc("-r", "get", "--", path, daemon=daemon)
        assert (done.out, done.status) == ("X = 255\n", 0)
        assert daemon.requests("GetParameterValues")[-1] == {"ParameterNames": [path]}
    done = obxc("-r", "GetParameterValues", daemon=daemon)
    assert daemon.requests("GetParameterValues")[-1] == {"ParameterNames": ["."]}


def test_values_cannot_steer_a_terminal(terminal, scripted):
    hostile = values(("Device.A.T\x1b", "a\x1b[31m\nb\x07"), ("Device.A.Text", ["\x7f"]), ("Device.A.Zero", "x\x00y"))
    daemon = scripted(SmallModel(GetParameterValues=hostile))
    shell = terminal(daemon=daemon)
    assert shell.run("cat Device.A") == ("T\\x1b = 'a\\x1b[31m\\x0ab\\x07'\n"
                                         "Text  = [\"\\x7f\"]\n"
                                         "Zero  = 'x\\x00y'")
    assert b"a\x1b[31m" not in shell.raw
    # In pipes the bytes stay as they are.
    assert typed(daemon, "cat Device.A") == "T\x1b   = 'a\x1b[31m\nb\x07'\nText = [\"\x7f\"]\nZero = 'x\x00y'\n"


def test_ctrl_c_ends_a_long_listing(terminal, scripted):
    many = values(*[("Device.A.Name%d" % i, "v" * 50) for i in range(50000)])
    interrupt_listing(terminal(daemon=scripted(SmallModel(GetParameterValues=many))), "cat Device.A")


def test_the_router(shared_obxd):
    done = obxc("-r", "get", "Device.DeviceInfo.Manufacturer", daemon=shared_obxd)
    assert done.out == " = 'Ombrix'\n"
    assert typed(shared_obxd, "cat Device.None") == "cat: Device.None: no such node.\n"
    assert "1.HostName" in typed(shared_obxd, "cat Device.Hosts.Host.*.HostName")
