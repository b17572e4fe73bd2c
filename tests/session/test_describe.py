"""What a node is: the page on F1 and Alt-h, in Lua, and the details that attr prints."""

import os

import pytest

import harness
from harness import obxc
from small_model import SmallModel, typed

F1 = "\x1bOP"
ALT_H = "\x1bh"
DETAILS = {"units": "seconds", "since": "2.4", "status": "deprecated", "ranges": [{"min": 1, "max": 14}, {"min": 36}],
           "description": "How long it takes until somebody has\nread all of this, and what it was good for."}


class DetailedModel(SmallModel):
    """Gives details where it is asked for them."""

    def attributes(self, names, level):
        answer = super().attributes(names, level)
        for element in answer.get("result", {}).get("ParameterList", []):
            if element["Name"] == "Device.A.State":
                element["Attributes"] = {**element["Attributes"], **(DETAILS if self.details else {})}
        return answer

    def __call__(self, request, connection):
        self.details = (request.get("params") or {}).get("Details") is True
        return super().__call__(request, connection)


STATE_PAGE = """Device.A.State
  Type      string
  Range     1 to 14, at least 36
  Units     seconds
  Values    'Up', 'Down'
  Since     2.4
  Status    deprecated

  How long it takes until somebody has
  read all of this, and what it was good
  for."""
RUN_PAGE = """Device.A.Run
  Type      method, asynchronous
  Arguments Host: string, default ''
            Count: unsignedInt, default 1
            Bare: string
            Block.Size: unsignedInt,
            default 64"""
FLAG_PAGE = """Device.A.Flag
  Type      boolean
  Default   false"""
LIST_PAGE = """Device.List
  Type      object, multi-instance"""


@pytest.fixture
def daemon(scripted):
    return scripted(DetailedModel())


@pytest.fixture
def shell(daemon, terminal):
    opened = terminal(daemon=daemon, columns=42)
    opened.prompt()
    return opened


def rows(text, columns=42):
    """The rows that a text takes on the screen."""
    return [row[at:at + columns].rstrip() for row in text.split("\n") for at in range(0, max(len(row), 1), columns)]


def shows(shell, line, key, page):
    """The key shows the page above the line, which stays as it was."""
    prompt = shell.prompt()
    top = shell.shown()
    shell.send(line)
    shell.wait(lambda: shell.line().startswith((prompt + " " + line).rstrip()), "the line")
    shell.send(key)
    expected = rows(page)
    shell.wait(lambda: shell.text().split("\n")[top:shell.shown()] == expected
               and shell.line().startswith((prompt + " " + line).rstrip()), "the page of %r" % line)


@pytest.mark.parametrize("line, page", [
    ("cat Device.A.State", STATE_PAGE),
    ("set Device.A.State=Do", STATE_PAGE),
    ("set A=1 Device.A.State=", STATE_PAGE),
    ("cat Device.A.St", STATE_PAGE),
    ("cat :device.a.fla", FLAG_PAGE),
    ("cat Device.List.", LIST_PAGE),
    ("cat Device.List.None", LIST_PAGE),
    ("execute Device.A.Run", RUN_PAGE),
    ("execute Device.A.Run ", RUN_PAGE),
    ("execute Device.A.Run Cou", RUN_PAGE),
    ("pwd", "pwd - print current path"),
    ("?", "help - show this message"),
    ("ca", "cat [<path1> <path2>...] - retrieve node's values\n"
           "catree [<path1> <path2>...] - retrieve node's values and print as tree"),
    ("rm ", "rm <path> - same as 'del'"),
    ("cat Nothing.At.All", "cat [<path1> <path2>...] - retrieve node's values"),
    ("opt hint o", "opt autocomplete|hint on|off - enable/disable shell options"),
])
def test_f1(shell, line, page):
    shows(shell, line, F1, page)
    shell.send("\x15")
    assert shell.run("pwd") == ":"


@pytest.mark.parametrize("key", [F1, "\x1b[11~", "\x1b[[A", ALT_H])
def test_keys(shell, key):
    shows(shell, "cat Device.A.Flag", key, FLAG_PAGE)


def test_the_cursor_says_which_word(shell):
    prompt = shell.prompt()
    shell.send("cat Device.A.Flag Device.List")
    shell.wait_line(".*List.*")
    shell.send("\x1b[D" * len(" Device.List") + F1)
    shell.wait_for("^  Type      boolean$")
    shell.wait(lambda: shell.line() == prompt + " cat Device.A.Flag Device.List", "the line")
    assert shell.cursor()[0] == len(prompt + " cat Device.A.Flag")


def test_nothing_is_known_of_other_words(shell):
    for line in ("nothing Device.A", "debug "):
        shell.send(line + F1 + "!")
        shell.wait_line(r".*> %s!" % line)
        shell.send("\x15")
        prompt = shell.prompt()
    assert "  Type" not in shell.text() and shell.line() == prompt


def test_inputrc_names_the_key(daemon, terminal, directory):
    path = os.path.join(directory, "inputrc")
    with open(path, "w") as file:
        file.write('"\\C-o": describe-word\n"\\eh": "typed"\n')
    shell = terminal(daemon=daemon, columns=42, env=harness.environment(INPUTRC=path))
    shell.prompt()
    shows(shell, "cat Device.A.Flag", "\x0f", FLAG_PAGE)
    shell.send("\x15" + ALT_H)
    shell.wait_line(".*> typed")


def test_ctrl_c_leaves_the_wait_for_a_page(scripted, terminal):
    model = SmallModel()
    silent = []

    def answer(request, connection):
        if (request.get("params") or {}).get("Details"):
            silent.append(request)
            return None
        return model(request, connection)

    shell = terminal(daemon=scripted(answer))
    prompt = shell.prompt()
    shell.send("cat Device.A.Flag" + F1)
    shell.wait(lambda: silent, "the question")
    shell.interrupt()
    shell.wait_for(r"\^C")
    shell.send(" x")
    shell.wait_line(".*> cat Device.A.Flag x")
    shell.send("\x15")
    shell.wait_line(prompt)
    assert shell.run("pwd") == ":"


def test_a_page_cannot_steer_the_terminal(scripted, terminal):
    model = SmallModel()
    model.nodes.append(("Device.A.Bad", {"type": "string", "description": "red \x1b[31m bell \x07"}))
    shell = terminal(daemon=scripted(model))
    shell.prompt()
    shell.send("cat Device.A.Bad" + F1)
    shell.wait_for(r"^  red \\x1b\[31m bell \\x07$")


UNITS = """Units:              'seconds'
Since:              '2.4'
Status:             'deprecated'
Description:        '%s'
""" % DETAILS["description"].replace("\n", " ")


@pytest.mark.parametrize("word", ["attr", "info"])
def test_attr_prints_the_details_behind_its_lines(daemon, word):
    listing = typed(daemon, word + " Device.A.State")
    assert listing.startswith("Canonical path:     :Device.A.State\nType:               string\n")
    assert listing.endswith(UNITS)
    done = obxc("-r", word, "Device.A.State", "Device.A.Flag", daemon=daemon)
    assert UNITS in done.out and done.status == 0


def test_only_who_tells_permissions_is_asked_for_details(daemon):
    typed(daemon, "attr Device.A.Flag")
    obxc("-r", "attr", "Device.A.Flag", daemon=daemon)
    assert not any("Details" in params for params in daemon.requests("GetParameterAttributes"))
    typed(daemon, "attr Device.A.State")
    assert daemon.requests("GetParameterAttributes")[-1] == {
        "ParameterNames": ["Device.A.State"], "Level": 0, "Details": True}


def test_details_that_come_unasked_are_printed_too(scripted):
    model = SmallModel()
    model.nodes.append(("Device.A.Told", {"type": "int", "units": "ms", "since": 5}))
    shown = "Canonical path:     :Device.A.Told\nType:               int\nUnits:              'ms'\n"
    assert typed(scripted(model), "attr Device.A.Told") == shown
    assert obxc("-r", "attr", "Device.A.Told", daemon=scripted(model)).out == shown + "\n"


def lua(daemon, text):
    done = obxc("-r", "lua", text, daemon=daemon)
    assert done.status == 0
    return done.out


def test_lua_gives_the_details(daemon):
    ask = "local a = ox.attrs('Device.A.State'%s) print(a.units, a.ranges and a.ranges[2].min, a.type)"
    assert lua(daemon, ask % "").endswith("nil\tnil\tstring\n")
    assert lua(daemon, ask % ", {details = true}").endswith("seconds\t36\tstring\n")
    assert lua(daemon, ask % ", {details = false}").endswith("nil\tnil\tstring\n")


def test_lua_gives_the_page(daemon):
    for path, page in (("Device.A.State", STATE_PAGE), ("Device.A.Run", RUN_PAGE), ("Device.A.Flag", FLAG_PAGE)):
        assert lua(daemon, "print(ox.page('%s', 42))" % path).endswith(page + "\n")
    assert "nil\t" in lua(daemon, "print(ox.page('Device.None'))")
    assert "no number of columns" in lua(daemon, "print(ox.page('Device.A.Flag', -1))")


def test_the_module_prints_pages(daemon, tree_modules):
    out = lua(daemon, "local doc = require 'ombrix.doc' doc('Device.A.Flag', 'Device.None') print(#doc.page('Device.A.Flag'))")
    assert out.endswith(FLAG_PAGE + "\n\nDevice.None: Invalid parameter name: Device.None\n%d\n" % len(FLAG_PAGE))
