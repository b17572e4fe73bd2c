"""What did not come of the model is asked for again by the next command, and what came is not."""

import pytest

from harness import ScriptedDaemon
from small_model import SmallModel, typed

METHOD = "GetParameterAttributes"
NODE = ["Device.A."]


def lost(request):
    return ScriptedDaemon.CLOSE


def broken(request):
    return b'{"jsonrpc": "2.0", "id": %d, "result": {"ParameterList": [{"Name"]}\n' % request["id"]


def of_another(request):
    return {"jsonrpc": "2.0", "id": request["id"], "result": {"Other": 1}}


def no_object(request):
    return {"jsonrpc": "2.0", "id": request["id"], "result": "text"}


def no_list(request):
    return {"jsonrpc": "2.0", "id": request["id"], "result": {"ParameterList": {"Name": 1}}}


FAILURES = [lost, broken, of_another, no_object, no_list]


class Failing(SmallModel):
    """Answers requests for a node so until `well`."""

    def __init__(self, fail, names, method=METHOD):
        super().__init__()
        self.fail, self.names, self.method, self.well, self.failed = fail, names, method, False, 0

    def __call__(self, request, connection):
        params = request.get("params") or {}
        if request["method"] == "SaveConfig":
            self.well = True
        asked = params.get("ParameterNames", params.get("ParameterPath"))
        if request["method"] == self.method and asked == self.names and not self.well:
            self.failed += 1
            return self.fail(request)
        return super().__call__(request, connection)


def shown(scripted, model, *lines):
    """What the lines print behind "Status: OK", when the daemon became well."""
    text = typed(scripted(model), *lines)
    assert model.failed > 0
    return text.split("Status: OK\n", 1)[1]


@pytest.mark.parametrize("fail", FAILURES)
@pytest.mark.parametrize("first, then, wanted", [
    ("ls Device.A", "ls Device.A", "A.Text"),
    ("ls Device.A.Text", "cd Device.A.Text\npwd", ":Device.A.Text"),
    ("ls Device.A", "attr Device.A.Text", "Canonical path:     :Device.A.Text"),
    ("cat Device.A.Text", "ls Device.A", "A.Text"),
])
def test_a_node_that_did_not_come(scripted, fail, first, then, wanted):
    text = shown(scripted, Failing(fail, NODE), first, "save", then)
    assert wanted in text, text


@pytest.mark.parametrize("fail", FAILURES)
@pytest.mark.parametrize("names, method", [
    (["Device.List."], METHOD),
    ("Device.List.", "GetParameterNames"),
    (["Device.List.1.", "Device.List.2."], METHOD),
])
def test_instances_that_did_not_come(scripted, fail, names, method):
    text = shown(scripted, Failing(fail, names, method), "ls Device.List", "save", "ls Device.List")
    assert "List.1" in text and "List.2" in text, text


@pytest.mark.parametrize("fail", FAILURES)
def test_tab_asks_again(scripted, terminal, fail):
    model = Failing(fail, NODE)
    shell = terminal(daemon=scripted(model))
    shell.prompt()
    shell.send("ls Device.A.Te\t")
    shell.settle(0.4)
    assert model.failed > 0
    model.well = True
    shell.send("\t")
    shell.wait_line(r".*ls Device\.A\.Text ?$")


def test_an_answer_that_is_one_is_kept(scripted):
    """A refusal is the answer: it is not asked for again by each command."""
    model = Failing(lambda request: ScriptedDaemon.error(9001, "Request denied"), NODE)
    typed(scripted(model), "ls Device.A", "ls Device.A", "ls Device.A")
    assert model.failed == 1
