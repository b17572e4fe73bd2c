"""set: assignments, checked here and sent together."""

import pytest

from harness import ScriptedDaemon, obxc
from small_model import SmallModel, typed

OK = "Status: OK\n"


def echo(key, value):
    return "key = %s, value = %s\n" % (key, value)


def pair(name, value):
    return {"Name": name, "Value": value}


@pytest.mark.parametrize("line, key, text, name, value", [
    ("set Device.A.Text=hello", "Device.A.Text", "hello", "Device.A.Text", "hello"),
    ("set device.a.TEXT=x", "device.a.TEXT", "x", "Device.A.Text", "x"),
    ("set :Device.A.Text=x", ":Device.A.Text", "x", "Device.A.Text", "x"),
    ("set Device.A.Text=", "Device.A.Text", "", "Device.A.Text", ""),
    ("set Device.A.Text=a=b=", "Device.A.Text", "a=b=", "Device.A.Text", "a=b="),
    ("set Device.A.Text=-l", "Device.A.Text", "-l", "Device.A.Text", "-l"),
    ("set 'Device.A.Text=two words'", "Device.A.Text", "two words", "Device.A.Text", "two words"),
    ("set Device.A.Text=\"'quoted'\"", "Device.A.Text", "'quoted'", "Device.A.Text", "'quoted'"),
    ("set Device.A.Text=" + "v" * 5000, "Device.A.Text", "v" * 5000, "Device.A.Text", "v" * 5000),
    ("set Device.A.Flag=TRUE", "Device.A.Flag", "TRUE", "Device.A.Flag", True),
    ("set Device.A.Flag=False", "Device.A.Flag", "False", "Device.A.Flag", False),
    ("set Device.A.Mask=0x10", "Device.A.Mask", "0x10", "Device.A.Mask", 16),
    ("set Device.A.Mask=010", "Device.A.Mask", "010", "Device.A.Mask", 8),
    ("set Device.A.Mask=-3", "Device.A.Mask", "-3", "Device.A.Mask", -3),
    ("set Device.A.Mask=4294967295", "Device.A.Mask", "4294967295", "Device.A.Mask", 4294967295),
    ("set Device.A.Mask=9223372036854775807", "Device.A.Mask", "9223372036854775807", "Device.A.Mask", 2 ** 63 - 1),
    ("set Device.A.Ratio=2", "Device.A.Ratio", "2", "Device.A.Ratio", 2.0),
    ("set Device.List.1.Name=n", "Device.List.1.Name", "n", "Device.List.1.Name", "n"),
    ("set Device.List.77.Name=n", "Device.List.77.Name", "n", "Device.List.77.Name", "n"),
    ("set Device.List.*.Name=n", "Device.List.*.Name", "n", "Device.List.#template.Name", "n"),
])
def test_an_assignment(scripted, line, key, text, name, value):
    daemon = scripted(SmallModel())
    assert typed(daemon, line) == echo(key, text) + OK
    sent = daemon.requests("SetParameterValues")
    assert sent == [{"ParameterList": [pair(name, value)]}]
    assert type(sent[0]["ParameterList"][0]["Value"]) is type(value)


@pytest.mark.parametrize("word, message", [
    ("b", "set: b: no value.\n"),
    ("None=1", echo("None", "1") + "set: None: no such node.\n"),
    ("=1", echo("", "1") + "set: : is an object or doesn't have default value.\n"),
    ("Device.A=1", echo("Device.A", "1") + "set: Device.A: is an object or doesn't have default value.\n"),
    ("Device.A.Run=1", echo("Device.A.Run", "1") + "set: Device.A.Run: is an object or doesn't have default value.\n"),
    ("Device.A.State=Up",
     echo("Device.A.State", "Up") + "set: Device.A.State: is an object or doesn't have default value.\n"),
    ("Device.A.Flag=1", echo("Device.A.Flag", "1") + "set: Device.A.Flag: invalid value 1.\n"),
    ("Device.A.Flag=", echo("Device.A.Flag", "") + "set: Device.A.Flag: invalid value .\n"),
    ("Device.A.Mask=1.5", echo("Device.A.Mask", "1.5") + "set: Device.A.Mask: invalid value 1.5.\n"),
    ("Device.A.Mask=", echo("Device.A.Mask", "") + "set: Device.A.Mask: invalid value .\n"),
    ("Device.A.Mask=99999999999999999999",
     echo("Device.A.Mask", "9" * 20) + "set: Device.A.Mask: invalid value %s.\n" % ("9" * 20)),
    ("Device.A.Mask=9223372036854775808",
     echo("Device.A.Mask", 2 ** 63) + "set: Device.A.Mask: invalid value 9223372036854775808.\n"),
    ("Device.A.Ratio=x", echo("Device.A.Ratio", "x") + "set: Device.A.Ratio: invalid value x.\n"),
    ("Device.A.Json=[]", echo("Device.A.Json", "[]") + "set: Device.A.Json: invalid value [].\n"),
])
def test_a_faulty_assignment_is_told_and_the_others_are_sent(scripted, word, message):
    daemon = scripted(SmallModel())
    assert typed(daemon, "set " + word) == message + "set: no argument.\n"
    assert daemon.requests("SetParameterValues") == []
    good = echo("Device.A.Text", "x")
    assert typed(daemon, "set %s Device.A.Text=x" % word) == message + good + OK
    assert typed(daemon, "set Device.A.Text=x " + word) == good + message + OK
    assert daemon.requests("SetParameterValues") == [{"ParameterList": [pair("Device.A.Text", "x")]}] * 2


def test_all_assignments_go_in_one_request(scripted):
    daemon = scripted(SmallModel())
    assert typed(daemon, "cd Device.A", "set Text=a Flag=true Text=b") == (
        echo("Text", "a") + echo("Flag", "true") + echo("Text", "b") + OK)
    assert daemon.requests("SetParameterValues") == [{"ParameterList": [
        pair("Device.A.Text", "a"), pair("Device.A.Flag", True), pair("Device.A.Text", "b")]}]


def test_without_words(scripted):
    daemon = scripted(SmallModel())
    assert typed(daemon, "set") == "set: no argument.\n"
    assert obxc("-r", "set", daemon=daemon).status == 255


def test_invalid_utf_8_is_no_value(scripted):
    daemon = scripted(SmallModel())
    shown = typed(daemon, "set Device.A.Text=\udcff", "pwd")
    assert shown.endswith(":\n")
    assert daemon.requests("SetParameterValues") == []


def test_a_refusal_is_reported(scripted):
    refusal = ScriptedDaemon.error(9003, "Invalid arguments", {"Detail": "d", "Device.A.Text": {"code": 9007}})
    shown = typed(scripted(SmallModel(SetParameterValues=refusal)), "set Device.A.Text=x")
    assert shown == echo("Device.A.Text", "x") + '[9003] Invalid arguments: d\nDevice.A.Text: {"code": 9007}\n'


@pytest.mark.parametrize("word, key, text, value", [
    ('Some.Path="text"', "Some.Path", '"text"', "text"),
    ("Some.Path=5", "Some.Path", "5", 5),
    ("Some.Path=null", "Some.Path", "null", None),
    ("p=[1, {}]", "p", "[1, {}]", [1, {}]),
    ("-odd=true", "-odd", "true", True),
])
@pytest.mark.parametrize("method", ["set", "SetParameterValues"])
def test_without_a_model_values_are_json(scripted, method, word, key, text, value):
    daemon = scripted(SmallModel())
    done = obxc("-r", method, "--", word, daemon=daemon)
    assert (done.out, done.status) == (echo(key, text) + OK, 0)
    sent = "SetParameterValues" if method == "set" else "RawSetParameterValues"
    assert daemon.requests(sent) == [{"ParameterList": [pair(key, value)]}]
    assert len([m for m in daemon.received if m["method"].endswith("SetParameterValues")]) == 1


def test_without_a_model_what_is_no_json_is_left_out(scripted):
    daemon = scripted(SmallModel())
    done = obxc("-r", "set", "a=text", "b", "c={", daemon=daemon)
    assert done.out == echo("a", "text") + "set: b: no value.\n" + echo("c", "{") + "set: no argument.\n"
    assert done.status == 255
    assert daemon.received == []


def test_the_router(obxd):
    name = "Device.DeviceInfo.HostName"
    assert typed(obxd, "set %s=changed" % name, "cat %s" % name) == echo(name, "changed") + OK + " = 'changed'\n"
    shown = typed(obxd, "set Device.DeviceInfo.HostName=%s Device.DeviceInfo.FriendlyName=f" % ("x" * 300))
    assert "\n[9003] " in shown or "\n[9007] " in shown
    assert obxd.client().get("Device.DeviceInfo.FriendlyName") != "f"


def test_without_a_model_a_number_beyond_64_bits_is_told(scripted):
    daemon = scripted(SmallModel())
    done = obxc("-r", "set", "Device.A=9223372036854775808", "Device.B=1", daemon=daemon)
    assert "set: Device.A: invalid value 9223372036854775808.\n" in done.out, done
    assert daemon.requests("SetParameterValues") == [{"ParameterList": [pair("Device.B", 1)]}]
