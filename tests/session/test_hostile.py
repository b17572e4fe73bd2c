"""Answers that no daemon should give: wrong types, missing members, odd names. The shell must take them all."""

import random

import pytest

from harness import ScriptedDaemon, obxc
from small_model import SmallModel

KEYS = ["ParameterList", "Name", "Value", "Attributes", "type", "enum", "handlers", "relations", "verdict", "action",
        "match", "handler", "base", "default", "Datamodel", "Config", "Matches", "InstanceNumber", "#attr", "#template",
        "max_instance", "Device", "A", "1", "minInclusive", "maxLength", "Status", "#info", "#fetched", "order", "#input"]
TEXTS = ["", "Device.", "Device.A.", "Device.A.Text", "Device.List.1.Name", "Device.List.#template.", "object", "string",
         "method", "\x00x", "%s%n", "." * 50, "a." * 300, "\u00e9\x1b", ".", ":"]
NUMBERS = [0, 1, -1, 2 ** 31, 2 ** 63 - 1, -2 ** 63, 16, 8, 2, 0.5, -1e300]
LISTS = {"GetDataModel": "Datamodel", "GetConfig": "Config", "Select": "Matches"}
LINES = ["ls", "ls -l Device.A", "ls Device.List Device.Rules.1", "cat", "cat Device.List.*", "attr Device.A.Mask",
         "set Device.A.Mask=1", "add Device.List", "take Device.List", "del Device.List.1", "order Device.Rules.1 1",
         "tree Device", "catree Device.A Device.List.1", "execute Device.A.Run Host=1", "select Device.A",
         "cd Device.List.1", "up", "save"]


class Hostile:
    """The small model, with every third answer replaced by something made up."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.model = SmallModel()

    def value(self, depth):
        pick = self.random.choice
        kind = self.random.randrange(8) if depth > 0 else self.random.randrange(4)
        if kind < 4:
            return [None, pick([True, False]), pick(NUMBERS), pick(TEXTS)][kind]
        if kind < 6:
            return [self.value(depth - 1) for _ in range(self.random.randrange(4))]
        return {pick(KEYS): self.value(depth - 1) for _ in range(self.random.randrange(5))}

    def element(self):
        return {"Name": self.random.choice(TEXTS), "Value": self.value(3), "Attributes": self.value(3)}

    def __call__(self, request, connection):
        method = request["method"]
        if method in ("Login", "JoinGroup") or self.random.random() > 0.35:
            return self.model(request, connection)
        form = self.random.randrange(3)
        if form == 0:
            return ScriptedDaemon.result(self.value(6))
        if form == 1:
            return {"jsonrpc": "2.0", "error": {"code": self.random.choice([-1, 0, 9005, 2 ** 31]),
                                                "message": self.value(1), "data": self.value(2)}}
        member = LISTS.get(method)
        return ScriptedDaemon.result({member: self.value(6)} if member else
                                     {"ParameterList": [self.element() for _ in range(5)]})


@pytest.mark.parametrize("seed", range(12))
def test_made_up_answers_are_survived(scripted, seed):
    hostile = Hostile(seed)
    daemon = scripted(hostile)
    lines = [hostile.random.choice(LINES) for _ in range(25)]
    done = obxc(daemon=daemon, stdin="\n".join(lines + ["sh echo still here"]) + "\n")
    assert done.status == 0, (lines, done)
    assert done.out.endswith("still here\n")
    for word in ("ls", "cat", "attr", "execute", "select"):
        assert obxc("-r", word, "Device.A", daemon=daemon).status in (0, 255)
