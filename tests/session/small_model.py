"""A scripted daemon that serves a small model, so that a test can state every request and every answer.

    def test_ls(scripted):
        daemon = scripted(SmallModel())
        assert typed(daemon, "ls A") == "A.Bits\\n..."
"""

import os
import re

from harness import ScriptedDaemon, obxc


def attributes(kind, **more):
    return {"type": kind, "access": "readWrite", **more}


TEMPLATES = {
    "Device.List.": [
        ("", attributes("object")),
        ("Name", attributes("string", default="")),
        ("Sub.", attributes("object")),
        ("Sub.Level", attributes("int", default=0)),
    ],
    "Device.Rules.": [
        ("", attributes("object", ordered=True)),
        ("Name", attributes("string", default="")),
        ("order", attributes("unsignedInt", const=True)),
        ("index", attributes("unsignedInt")),
    ],
}
INSTANCES = {"Device.List.": ["1", "2"], "Device.Rules.": ["1", "3"]}


def build():
    nodes = [
        (".", attributes("object")),
        ("DataModelVersion", attributes("string", const=True)),
        ("Device.", attributes("object")),
        ("Device.A.", attributes("object")),
        ("Device.A.Text", attributes("string", default="", maxLength=64)),
        ("Device.A.Flag", attributes("boolean", default=False)),
        ("Device.A.Mask", attributes("unsignedInt", default=255, base=16, minInclusive=0, maxInclusive=4095)),
        ("Device.A.Mode", attributes("unsignedInt", default=420, base=8)),
        ("Device.A.Bits", attributes("unsignedInt", default=0, base=2)),
        ("Device.A.Ratio", attributes("decimal", default=1.5)),
        ("Device.A.Json", attributes("json", default=[])),
        ("Device.A.State", attributes("string", const=True, perms="guest/-", enum=["Up", "Down"])),
        ("Device.A.Plain", attributes("method")),
        ("Device.A.Run", attributes("method", **{"async": True})),
        ("Device.A.Run.#input.", attributes("object")),
        ("Device.A.Run.#input.Host", attributes("string", default="")),
        ("Device.A.Run.#input.Count", attributes("unsignedInt", default=1)),
        ("Device.A.Run.#input.Bare", attributes("string")),
        ("Device.A.Run.#input.Block.", attributes("object")),
        ("Device.A.Run.#input.Block.Size", attributes("unsignedInt", default=64)),
    ]
    for name, marks in (("Device.List.", {"multi": True}), ("Device.Rules.", {"multi": True, "ordered": True})):
        nodes.append((name, attributes("object", **marks)))
        for instance in ["#template"] + INSTANCES[name]:
            nodes += [(name + instance + ("." + rest if rest else "."), given) for rest, given in TEMPLATES[name]]
        nodes.append((name + "max_instance", attributes("unsignedInt", const=True)))
    return nodes


def parent(name):
    cut = name.rstrip(".").rfind(".")
    return "." if cut < 0 else name[:cut + 1]


class SmallModel:
    """An answer function of ScriptedDaemon. `answers` maps methods to a result, a whole message, or a function of the
    params; they go before the model's own answers."""

    def __init__(self, **answers):
        self.nodes = build()
        self.answers = answers

    def __call__(self, request, connection):
        method, params = request["method"], request.get("params") or {}
        if method in self.answers:
            answer = self.answers[method]
            answer = answer(params) if callable(answer) else answer
            if answer is not NotImplemented:
                whole = not isinstance(answer, dict) or "jsonrpc" in answer
                return answer if whole else ScriptedDaemon.result(answer)
        if method == "GetParameterAttributes":
            return self.attributes(params["ParameterNames"], params.get("Level", -1))
        if method == "GetParameterNames":
            base = params["ParameterPath"]
            return self.listed([base + instance + "." for instance in INSTANCES.get(base, [])])
        return ScriptedDaemon.result({})

    def listed(self, names):
        known = dict(self.nodes)
        return ScriptedDaemon.result({"ParameterList": [{"Name": n, "Attributes": known[n]} for n in names]})

    def attributes(self, names, level):
        found = []
        for asked in names:
            name = asked if asked == "." else asked.rstrip(".")
            own = [n for n, _ in self.nodes if n.rstrip(".") == name.rstrip(".")]
            if not own:
                return ScriptedDaemon.error(9005, "Invalid parameter name", {"Detail": asked})
            found += own
            for child, _ in self.nodes:
                below = child != own[0] and (own[0] == "." or child.startswith(own[0].rstrip(".") + "."))
                if not below or level == 0:
                    continue
                if level == 1 and (parent(child) != (own[0].rstrip(".") + "." if own[0] != "." else ".")
                                   or re.search(r"\.\d+\.$", child)):
                    continue
                found.append(child)
        return self.listed(found)


def typed(daemon, *lines, status=0):
    """What the shell prints for these lines, without its greeting."""
    done = obxc(daemon=daemon, stdin="".join(line + "\n" for line in lines))
    assert done.status == status, done
    greeting = "Enter 'help' or '?' for help, 'q' for exit.\n"
    assert greeting in done.out, done
    return done.out.split(greeting, 1)[1]


def values(*pairs):
    """A ParameterList of names and values."""
    return {"ParameterList": [{"Name": name, "Value": value} for name, value in pairs]}


def interrupt_listing(shell, line):
    """Types a line that lists Name0 to Name49999, presses Ctrl-C early on, and checks that the listing was left and the
    shell is sound."""
    shell.prompt()
    shell.send(line + "\r")
    data = b""
    while b"Name10 " not in data:
        data += os.read(shell.master, 4096)
    os.write(shell.master, b"\x03")
    while b"obxc:> " not in data:
        data += os.read(shell.master, 65536)
    assert b"Name49999" not in data
    shell.send("pwd\r")
    shell.wait_for("^:$")
