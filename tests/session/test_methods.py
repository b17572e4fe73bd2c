"""execute and select: methods of the model, and paths that match a selector."""

import pytest

from harness import ScriptedDaemon, obxc
from small_model import SmallModel, typed, values

OK = "Status: OK\n"


def echo(key, value):
    return "key = %s, value = %s\n" % (key, value)


def pair(name, value):
    return {"Name": name, "Value": value}


@pytest.mark.parametrize("line, shown, path, arguments", [
    ("execute Device.A.Plain", "", "Device.A.Plain", None),
    ("execute :", "", ".", None),
    ("execute :device.a.plain.", "", "Device.A.Plain", None),
    ("execute Device.A.Run", "", "Device.A.Run", None),
    ("execute Device.A.Run Host=h", echo("Host", "h"), "Device.A.Run", [pair("Host", "h")]),
    ("execute Device.A.Run host=h", echo("host", "h"), "Device.A.Run", [pair("host", "h")]),
    ("execute Device.A.Run Host= Count=0x10", echo("Host", "") + echo("Count", "0x10"), "Device.A.Run",
     [pair("Host", ""), pair("Count", 16)]),
    ("execute Device.A.Run Host=a=b", echo("Host", "a=b"), "Device.A.Run", [pair("Host", "a=b")]),
    ("execute Device.A.Run Block.Size=1", echo("Block.Size", "1"), "Device.A.Run", [pair("Block.Size", 1)]),
    ("execute Device.A.Run Host=" + "x" * 400, echo("Host", "x" * 400), "Device.A.Run", [pair("Host", "x" * 400)]),
])
def test_what_is_sent(scripted, line, shown, path, arguments):
    daemon = scripted(SmallModel())
    assert typed(daemon, line) == shown + OK
    sent = {"Path": path}
    if arguments is not None:
        sent["ParameterList"] = arguments
    request = daemon.requests("Execute")[0]
    assert {key: value for key, value in request.items() if value is not None} == sent


@pytest.mark.parametrize("line, message", [
    ("execute", "execute: no method.\n"),
    ("execute Device.None", "execute: Device.None: no such method.\n"),
    ("execute Device.A.Plain x=1", "execute: this method does not have input arguments.\n"),
    ("execute Device.A.Plain x", "execute: this method does not have input arguments.\n"),
    ("execute Device.A.Run word", "execute: word: no value.\n"),
    ("execute Device.A.Run Host=h word Count=1", echo("Host", "h") + "execute: word: no value.\n"),
    ("execute Device.A.Run None=1", echo("None", "1") + "execute: None: no such node.\n"),
    ("execute Device.A.Run Block=1",
     echo("Block", "1") + "execute: Block: is an object or doesn't have default value.\n"),
    ("execute Device.A.Run Bare=1",
     echo("Bare", "1") + "execute: Bare: is an object or doesn't have default value.\n"),
    ("execute Device.A.Run Count=many", echo("Count", "many") + "execute: Count: invalid value many.\n"),
])
def test_local_errors_send_nothing(scripted, line, message):
    daemon = scripted(SmallModel())
    assert typed(daemon, line) == message
    assert daemon.requests("Execute") == []


def test_output_parameters_are_drawn(scripted):
    output = values(("Device.A.Run.Host", "h"), ("Device.A.Run.Times.1", 5), ("Device.A.Run.Ok", True))
    assert typed(scripted(SmallModel(Execute=output)), "execute Device.A.Run") == (
        "Device.A.Run\n"
        "└── Device\n"
        "    └── A\n"
        "        └── Run\n"
        "            ├── Host = 'h'\n"
        "            ├── Times\n"
        "            │   └── 1 = 5\n"
        "            └── Ok   = true\n")


@pytest.mark.parametrize("answer, shown, status", [
    ({}, OK, 255),
    ({"ParameterList": []}, OK, 255),
    ({"ParameterList": "x"}, OK, 255),
    ({"ParameterList": [5]}, "", 0),
    (values(("N", 5)), "Some.Method\n└── N = 5\n", 0),
    (ScriptedDaemon.error(9000, "Method not supported", {"Detail": "d"}), "[9000] Method not supported: d\n", 255),
])
def test_answers_in_request_mode(scripted, answer, shown, status):
    daemon = scripted(SmallModel(Execute=answer))
    done = obxc("-r", "execute", "Some.Method", daemon=daemon)
    assert (done.out, done.status) == (shown, status)
    assert daemon.requests("Execute")[0]["Path"] == "Some.Method"


def test_names_that_are_too_deep_are_left_out(scripted):
    answer = values(("a." * 1000000, 1), ("b", 2))
    done = obxc("-r", "execute", "Some.Method", daemon=scripted(SmallModel(Execute=answer)))
    assert (done.out, done.status) == ("Some.Method\n└── b = 2\n", 0)


def test_request_mode_knows_no_input_arguments(scripted):
    daemon = scripted(SmallModel())
    done = obxc("-r", "execute", "Some.Method", "a=1", daemon=daemon)
    assert (done.out, done.status) == ("execute: this method does not have input arguments.\n", 255)
    assert obxc("-r", "execute", "", daemon=daemon).out == "execute: no method.\n"
    assert daemon.received == []


MATCHES = {"Device.A.Mask": 255, "Device.A": {"Text": "t", "Mask": 16}, "Device.Gone": {}, "Other": [1]}
SCHEME = {"Datamodel": {"Device": {"A": {"Mask": {"#attr": {"type": "unsignedInt", "base": 16}},
                                         "Text": {"#attr": {"type": "string"}}}}}}


def test_matches_are_drawn_in_their_order(scripted):
    daemon = scripted(SmallModel(Select={"Matches": MATCHES}, GetDataModel=SCHEME))
    assert typed(daemon, "select Device.*{A, B}") == (
        "Device.A.Mask = 0xff\n"
        "Device.A\n"
        "├── Text = 't'\n"
        "└── Mask = 0x10\n"
        "Other = [1]\n")
    assert daemon.requests("Select") == [{"Selector": "Device.*{A, B}"}]
    assert daemon.requests("GetDataModel") == [{"ParameterNames": ["Device."], "Level": -1}]


@pytest.mark.parametrize("selector, schema_path", [
    ("Device.A", "Device.A"),
    ("Device.List[x].y", "Device.List"),
    ("Device.{A,B}", "Device."),
    ("Device.List.*.Name", "Device.List."),
    ("*", "."),
])
def test_the_schema_is_asked_up_to_the_first_pattern(scripted, selector, schema_path):
    daemon = scripted(SmallModel(Select={"Matches": {}}, GetDataModel=SCHEME))
    done = obxc("-r", "select", selector, daemon=daemon)
    assert (done.out, done.status) == ("", 0)
    assert daemon.requests("GetDataModel") == [{"ParameterNames": [schema_path], "Level": -1}]


def test_a_failed_selection_is_told_once(scripted):
    refusal = ScriptedDaemon.error(9003, "Invalid arguments", {"Detail": "bad"})
    daemon = scripted(SmallModel(Select=refusal, GetDataModel=refusal))
    done = obxc("-r", "select", "Device.", daemon=daemon)
    assert (done.out, done.status) == ("[9003] Invalid arguments: bad\n", 255)
    assert obxc("-r", "select", daemon=daemon).out == "syntax: select <selector>\n"


def test_a_selection_without_matches_in_its_answer_is_a_failure_of_its_own(scripted):
    def answer(params):
        return ScriptedDaemon.error(9003, "Earlier") if params["Selector"] == "x" else {}
    shown = typed(scripted(SmallModel(Select=answer)), "select x", "select y")
    assert shown == "[9003] Earlier\n[-10] Incomplete answer: Matches\n"
    done = obxc("-r", "select", "y", daemon=scripted(SmallModel(Select={"Matches": 5})))
    assert (done.out, done.status) == ("[-10] Incomplete answer: Matches\n", 255)


def test_a_selector_begins_as_completion_begins_a_path(shared_obxd):
    for selector in ("Device.Firewall.Level.1", "Device.Hosts.Host.*[HostName==nas].IPAddress",
                     "Device.System.{FeatureFlags,LEDMask}"):
        shown = typed(shared_obxd, "select " + selector)
        assert " = " in shown and typed(shared_obxd, "select :" + selector) == shown


@pytest.mark.usefixtures("localhost")
def test_the_names_of_arguments_may_have_other_capitals(shared_obxd):
    shown = typed(shared_obxd, "execute Device.DNS.Diagnostics.NSLookupDiagnostics hostname=localhost")
    assert "not called" not in shown and "127.0.0.1" in shown


def test_the_router(shared_obxd):
    assert typed(shared_obxd, "select Device.Hosts.Host[HostName=='nas'].IPAddress".replace("'", "\\\"")) == (
        "Device.Hosts.Host.1.IPAddress = '192.168.1.10'\n")
    assert typed(shared_obxd, "select Device.Hosts.Host[HostName==\\\"nobody\\\"]") == ""
    shown = typed(shared_obxd, "execute Device.IP.Diagnostics.TCPConnect Host=127.0.0.1 Port=1")
    assert "Status        = 'Error_Refused'\n" in shown
