"""Lists of candidates that are longer than the screen."""

import os
import re

import pytest

from harness import environment

PROMPT = "root@obxc:> "
LINE = PROMPT + "upload config f"
COUNT = 60


@pytest.fixture
def long_list(open_shell, directory):
    """Opens a shell of 10 rows with a list of 60 of one row each on the screen, as far as it is shown."""
    for i in range(COUNT):
        open(os.path.join(directory, "f%02d%s" % (i, "x" * 40)), "w").close()

    def opened(keys="\t", inputrc=""):
        path = os.path.join(directory, ".inputrc")
        with open(path, "w") as file:
            file.write(inputrc)
        session = open_shell(cwd=directory, columns=60, env=environment(INPUTRC=path))
        session.resize(60, 10)
        session.settle()
        session.send("upload config f" + keys)
        return session
    return opened


def shown(session):
    """The numbers of the files on the screen."""
    session.settle()
    return [int(number) for number in re.findall(r"^f(\d\d)x", "\n".join(session.screen()), re.M)]


def test_pages_and_rows(long_list):
    session = long_list()
    session.wait_line("--More--")
    assert shown(session) == list(range(9))
    session.send("\r")
    assert shown(session) == list(range(1, 10))
    session.send(" ")
    assert shown(session) == list(range(10, 19))
    session.send("y")
    assert shown(session) == list(range(19, 28))
    assert session.line() == "--More--"
    session.send("z")
    assert session.line() == "--More--" and shown(session) == list(range(19, 28))
    session.send("   ")
    assert shown(session) == list(range(46, 55))
    session.send(" ")
    session.wait_line(LINE)
    assert shown(session) == list(range(51, 60))
    session.send("x\x15pwd\r")
    session.wait_for("^:$")


@pytest.mark.parametrize("key", ["q", "Q", "n", "N", "\x7f", "\x07"])
def test_a_list_that_is_ended(long_list, key):
    session = long_list()
    session.wait_line("--More--")
    session.send(key)
    session.wait_line(LINE)
    assert shown(session) == list(range(9)) and "More" not in session.text()
    session.send("\t")
    session.wait_line("--More--")


def test_ctrl_c_ends_the_list_and_the_line(long_list):
    session = long_list()
    session.wait_line("--More--")
    session.interrupt()
    session.prompt()
    assert session.run("pwd") == ":"


def test_a_screen_that_changes_ends_the_list(long_list):
    session = long_list()
    session.wait_line("--More--")
    session.resize(70, 12)
    session.settle()
    session.send("x")
    session.wait_line(LINE + "x")


@pytest.mark.parametrize("number, asks", [(COUNT, True), (COUNT + 1, False), (0, False), (-1, False)])
def test_the_number_from_which_it_asks(long_list, number, asks):
    session = long_list(inputrc="set completion-query-items %d\n" % number)
    session.wait_line(r"Display all 60 possibilities\? \(y or n\)" if asks else "--More--")
    if asks:
        session.send("y")
        session.wait_line("--More--")
        assert shown(session) == list(range(9))


def test_without_pages(long_list):
    session = long_list(inputrc="set page-completions off\n")
    session.wait_line(LINE)
    assert shown(session) == list(range(51, 60))


def test_show_all_if_ambiguous(open_shell, directory):
    for name in ("one-a", "one-b"):
        open(os.path.join(directory, name), "w").close()
    path = os.path.join(directory, "inputrc")
    for setting, lists in (("off", False), ("on", True)):
        with open(path, "w") as file:
            file.write("set show-all-if-ambiguous %s\n" % setting)
        session = open_shell(cwd=directory, env=environment(INPUTRC=path))
        session.send("upload config o\t")
        session.wait_line(PROMPT + "upload config one-")
        session.settle()
        assert ("one-a  one-b" in session.text()) == lists
