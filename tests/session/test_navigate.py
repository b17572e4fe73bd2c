"""cd, up, pwd, and what the shell asks the daemon while it walks through the model."""

import pytest

from harness import ScriptedDaemon
from small_model import SmallModel, typed


@pytest.mark.parametrize("lines, shown", [
    (["pwd"], ":\n"),
    (["cd -", "pwd"], ":\n:\n"),
    (["cd device.list.2", "pwd"], ":Device.List.2\n"),
    (["cd Device..List.", "cd 2.name", "pwd"], ":Device.List.2.Name\n"),
    (["cd Device.A", "cd :", "cd -", "cd -", "pwd"], ":Device.A\n:\n:\n"),
    (["cd Device.A", "cd", "pwd"], ":\n"),
    (["cd Device.A", "cd ..", "cd .", "pwd", "cd -"], ":Device.A\n:Device.A\n"),
    (["cd Device.A", "cd <.List.*", "pwd"], ":Device.List.#template\n"),
    (["cd Device.A", "cd <<<<", "pwd"], ":\n"),
    (["cd Device.A", "cd <x", "pwd"], "cd: <x: no such node\n:Device.A\n"),
    (["cd Device.A", "cd Nope", "cd -", "pwd"], "cd: Nope: no such node\n:\n:\n"),
    (["cd Device.#attr", "cd #attr", "cd '#input'"],
     "cd: #input: no such node\n"),
    (["cd \"Device.#attr\"", "cd Device.List.**", "cd Device.A.*"],
     "cd: Device.#attr: no such node\ncd: Device.List.**: no such node\ncd: Device.A.*: no such node\n"),
    (["cd DataModelVersion", "ls"], "cd: DataModelVersion: no such node\nDevice.\n"),
    (["cd Device.List.1", "up", "pwd", "up 5", "pwd"], ":Device.List\n:\n"),
    (["cd Device.List.1", "up 0", "up x", "pwd"], ":Device\n"),
    (["cd Device.List.1", "up -3", "cd -", "pwd"], ":Device.List.1\n:Device.List.1\n"),
    (["cd %s" % ("Device." * 50)], "cd: %s: no such node\n" % ("Device." * 50)),
    (["cd %s" % ("x" * 5000)], "cd: %s: no such node\n" % ("x" * 5000)),
])
def test_places(scripted, lines, shown):
    assert typed(scripted(SmallModel()), *lines) == shown


def test_too_many_arguments_are_refused_without_a_newline(scripted):
    assert typed(scripted(SmallModel()), "cd Device A", "pwd") == "syntax: cd [<path>]:\n"


def fetched(daemon):
    """The requests about metadata, as short texts."""
    texts = []
    for message in daemon.received:
        params = message.get("params") or {}
        if message["method"] == "GetParameterAttributes":
            skipping = " skipping" if params.get("IgnoreAccessError") is True else ""
            texts.append("attributes %s %d%s" % (" ".join(params["ParameterNames"]), params["Level"], skipping))
        elif message["method"] == "GetParameterNames":
            assert params["NextLevel"] is True
            texts.append("names " + params["ParameterPath"])
    return texts


INSTANCES = ["attributes Device.List. 1", "names Device.List.",
             "attributes Device.List.1. Device.List.2. -1 skipping"]


def test_each_node_is_fetched_once_with_its_instances(scripted):
    daemon = scripted(SmallModel())
    assert typed(daemon, "cd device.list.1.sub", "cd :Device.List.2.Sub.Level", "cd :Device.List") == ""
    assert fetched(daemon) == ["attributes . 1", "attributes Device. 1"] + INSTANCES


def test_an_unknown_instance_is_asked_for_and_named_by_its_template(scripted):
    daemon = scripted(SmallModel())
    assert typed(daemon, "cd Device.List.9", "pwd", "cd Name", "pwd") == ":Device.List.9\n:Device.List.9.Name\n"
    assert fetched(daemon) == ["attributes . 1", "attributes Device. 1"] + INSTANCES + [
        "attributes Device.List.#template. 1"]


@pytest.mark.parametrize("answer", [
    ScriptedDaemon.error(9002, "Internal error"), {}, {"ParameterList": []},
    {"ParameterList": [None, 1, {}, {"Name": 3}, {"Name": "Other.X"}]}, {"ParameterList": [{"Name": "a." * 200000}]},
], ids=["error", "nothing", "empty", "broken", "deep"])
def test_a_node_without_an_answer_has_no_children(scripted, answer):
    def of_node(params):
        return answer if params["ParameterNames"] == ["Device.A."] else NotImplemented

    daemon = scripted(SmallModel(GetParameterAttributes=of_node))
    assert typed(daemon, "cd Device.A.Text", "cd Device.A.Text", "ls Device.A", "cd Device.A", "pwd") == (
        "cd: Device.A.Text: no such node\n" * 2 + ":Device.A\n")
    assert fetched(daemon).count("attributes Device.A. 1") == 1


def test_a_connection_that_breaks_loses_no_node(scripted):
    broken = []

    def of_node(params):
        if params["ParameterNames"] == ["Device.A."] and len(broken) < 2:  # the request, and once more after the reconnect
            broken.append(params)
            return ScriptedDaemon.CLOSE
        return NotImplemented

    daemon = scripted(SmallModel(GetParameterAttributes=of_node))
    assert typed(daemon, "cd Device.A.Text", "cd Device.A.Text", "pwd") == (
        "cd: Device.A.Text: no such node\n:Device.A.Text\n")


def test_a_login_starts_at_the_root_again(shell):
    shell.run("cd Device.Hosts")
    shell.run("cd Host")
    shell.run("login")
    assert shell.run("pwd") == ":"
    assert shell.run("ls") == "Device."
    assert shell.run("cd -") == ":Device.Hosts"
