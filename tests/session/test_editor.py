"""The line editor as a person sees it: typing, search, bindings, hints, completion, paste."""

import os
import re
import signal

import pytest

from harness import PATIENCE, environment
from harness.timing import scheduled

GREY_GREEN = "008700"  # the hint colour on 256 colours
OCHRE = "878700"       # the autocomplete colour
LEFT, RIGHT, UP = "\x1b[D", "\x1b[C", "\x1b[A"


def type_line(session, text, shown=None):
    """Types and waits until the cursor's line shows it."""
    session.send(text)
    session.wait_line(re.escape("root@obxc:> " + (text if shown is None else shown)))


# Typing

def test_editing_keys(session):
    session.send("abcd" + LEFT + LEFT + "X\x7fY")
    session.wait_line("root@obxc:> abYcd")
    session.send("\x01>\x05<")
    session.wait_line("root@obxc:> >abYcd<")
    session.send("\x15")
    session.prompt()


def test_text_beyond_ascii(session):
    session.send("sh echo \u4e2d\u6587e\u0301\u00e9x")
    session.wait_line("root@obxc:> sh echo .*x")
    assert session.cursor()[0] == len("root@obxc:> sh echo ") + 4 + 1 + 1 + 1
    session.send(LEFT + LEFT + "\x7f" + "\r")
    session.wait_for("^\u4e2d\u6587\u00e9x$")


def test_plain_typing_costs_one_byte_a_key(session):
    session.settle()
    before = len(session.raw)
    text = "zz plain typing of a line"
    for key in text:
        session.send(key)
    session.wait_line("root@obxc:> " + text)
    session.settle()
    assert len(session.raw) - before <= 1.2 * len(text)


def test_keys_typed_ahead_cost_one_byte_each(session):
    session.prompt()
    session.type_slowly("zz plain")
    before = len(session.raw)
    session.send(" typing ahead")
    session.wait_line("root@obxc:> zz plain typing ahead")
    assert session.raw[before:] == b" typing ahead"


@pytest.mark.parametrize("keys, line, cursor", [
    ("\x7f\x7f", "zz one tw", 9),
    (LEFT + LEFT + LEFT + "X", "zz one tXwo!", 9),
    ("\x17\x17", "zz ", 3),
    ("\x17\x19", "zz one two!", 11),
    ("\x15\x1f", "zz one two!", 11),
    ("\x01\x0b", "", 0),
    ("\x01>", ">zz one two!", 1),
    ("\x0c", "zz one two!", 11),
    ("\x0cx", "zz one two!x", 12),
    ("\x1bu", "zz one two!", 11),
    ("\x1b3x", "zz one two!xxx", 14),
    ("\x16a", "zz one two!a", 12),
    ("\u00e9", "zz one two!\u00e9", 12),
    ("\x1b[200~ paste\x1b[201~x", "zz one two! pastex", 18),
    ("\x12zz\x05", "zz one two!", 11),
    ("\t", "zz one two!", 11),
    ("\x14", "zz one tw!o", 11),
])
def test_editing_after_plain_typing(session, keys, line, cursor):
    session.type_slowly("zz one two!")
    session.send(keys)
    session.settle()
    assert session.line() == ("root@obxc:> " + line).rstrip()
    assert session.cursor()[0] == len("root@obxc:> ") + cursor
    session.type_slowly("q")
    session.send("\x05")
    session.settle()
    assert session.line() == "root@obxc:> " + line[:cursor] + "q" + line[cursor:]


def test_plain_typing_goes_over_the_edge(open_shell):
    session = open_shell(columns=30)
    text = "zz " + "0123456789" * 5
    session.type_slowly(text)
    session.settle()
    assert "".join(line for line in session.screen() if line).endswith("root@obxc:> " + text)
    session.send("\x7f" * 40)
    session.wait_line("root@obxc:> " + text[:-40])
    session.type_slowly("abc")
    assert session.line() == "root@obxc:> " + text[:-40] + "abc"


def test_event_above_a_plainly_typed_line(session, daemon):
    session.type_slowly("zz one two")
    daemon.send_event(2, {"a": 1})
    session.wait_for("^EVENT")
    session.wait_line("root@obxc:> zz one two")
    session.type_slowly("!")
    session.send("\x7f\x7f")
    session.wait_line("root@obxc:> zz one tw")
    assert session.text().count("zz one") == 1


def test_commands_get_a_terminal_in_line_mode(session):
    assert session.modes() == (False, False)
    shown = session.run("sh stty -a")
    for mode in ("icanon", "echo", "isig"):
        assert re.search(r"(?<!-)\b%s\b" % mode, shown), shown
    assert session.modes() == (False, False)


def test_what_was_typed_ahead_is_for_the_command(session):
    session.send("sh head -n 1\rfor head\n")
    session.wait_for("^for head$")
    session.prompt()
    assert "command not found" not in session.text()


def test_end_signal_gives_the_terminal_back(session):
    session.send("half a line")
    session.wait_line("root@obxc:> half a line")
    os.kill(session.pid(), signal.SIGTERM)
    session.end()
    assert session.modes() == (True, True)
    assert b"\x1b[?2004l" in session.raw[-60:]


def test_search_in_history(session):
    session.run("sh echo first")
    session.run("sh echo second")
    session.send("\x12irs")
    session.wait_line(r"\(reverse-i-search\)`irs': sh echo first")
    session.send("\r")
    session.wait_for("first\n.*second(.|\n)*^first$")
    session.prompt()
    session.send(UP)
    session.wait_line("root@obxc:> sh echo first")


# The user's own settings

@pytest.fixture
def inputrc(directory):
    def write(text):
        path = os.path.join(directory, "inputrc")
        with open(path, "w") as file:
            file.write(text)
        return environment(INPUTRC=path)
    return write


def test_vi_mode(open_shell, inputrc):
    session = open_shell(env=inputrc("set editing-mode vi\nset keyseq-timeout 50\n"))
    session.send("sh echo oone")
    session.wait_line("root@obxc:> sh echo oone")
    session.send("\x1b")
    session.settle()
    session.send("bx")
    session.wait_line("root@obxc:> sh echo one")
    session.send("A two\r")
    session.wait_for("^one two$")


def test_own_bindings_and_conditions(open_shell, inputrc):
    session = open_shell(env=inputrc('$if obxc\n"\\C-t": "sh echo bound"\n"\\C-o": complete\n$endif\n'))
    session.send("\x14")
    session.wait_line("root@obxc:> sh echo bound")
    session.send("\x15rebo\x0f")
    session.wait_line("root@obxc:> reboot")


def test_own_bindings_that_are_read_again(open_shell, inputrc):
    session = open_shell(env=inputrc('TAB: complete\n'))
    inputrc('TAB: complete\n"\\C-o": complete\n"\\C-ox": "sh echo macro"\n')
    session.send("\x18\x12rebo\t")
    session.wait_line("root@obxc:> reboot")
    session.send("\x15rese\x0f ")  # the prefix of another binding alone, and then a key that is none of its
    session.wait_line("root@obxc:> reset")
    session.send("\x15\x0fx")
    session.wait_line("root@obxc:> sh echo macro")


def test_menu_complete_goes_through_the_candidates(open_shell, inputrc):
    session = open_shell(env=inputrc('"\\C-t": menu-complete\n"\\C-o": menu-complete-backward\n'))
    session.send("re")
    session.wait_line("root@obxc:> re")
    for line in ("reboot", "reset", "record", "re", "reboot"):
        session.send("\x14")
        session.wait_line("root@obxc:> " + line)
    for line in ("re", "record"):
        session.send("\x0f")
        session.wait_line("root@obxc:> " + line)
    session.send(" x\x14")
    session.settle()
    assert session.line() == "root@obxc:> record x"


# Hints

def test_hint_is_drawn_behind_the_cursor_and_taken_with_the_right_arrow(session):
    session.send("reb")
    session.wait_line("root@obxc:> reboot")
    assert session.cursor()[0] == len("root@obxc:> reb")
    row = session.cursor()[1]
    assert session.colour_at(len("root@obxc:> reb"), row) == GREY_GREEN
    assert session.colour_at(len("root@obxc:> "), row) == "default"
    session.send(RIGHT)
    session.wait(lambda: session.cursor()[0] == len("root@obxc:> reboot"))
    session.settle()
    assert session.line() == "root@obxc:> reboot"
    assert session.colour_at(len("root@obxc:> reb"), row) == "default"


def test_hint_is_no_part_of_the_line(session):
    session.send("cle")
    session.wait_line("root@obxc:> clear")
    session.send("\r")
    session.wait_for("^cle: command not found")
    assert "root@obxc:> clear" not in session.text()
    assert re.search("^root@obxc:> cle$", session.text(), re.M)


def test_hint_stays_out_of_a_line_that_comes_all_at_once(session):
    """Typed ahead, by a program or without bracketed paste: readline runs the Enter itself."""
    for _ in range(5):
        session.send("rebo\r")
        session.wait_line("root@obxc:>")
    assert "reboot" not in session.text(), session.text()


def test_hint_goes_with_ctrl_c_and_with_the_cursor(session):
    session.send("cle")
    session.wait_line("root@obxc:> clear")
    session.send(LEFT)
    session.wait_line("root@obxc:> cle")
    session.send(RIGHT)
    session.wait_line("root@obxc:> clear")
    session.interrupt()
    session.prompt()
    assert re.search(r"^root@obxc:> cle\^C$", session.text(), re.M), session.text()


def test_hint_is_cut_at_the_edge(open_shell):
    session = open_shell(columns=19)
    session.send("downl")
    # One column stays free: root@obxc:> downl takes 17 of 19.
    session.wait_line("root@obxc:> downlo")
    assert session.cursor()[0] == 17
    session.send("oad")
    session.wait(lambda: session.line() == "d")
    assert session.screen()[session.cursor()[1] - 1] == "root@obxc:> downloa"


def test_no_hint_without_colour_or_on_a_poor_terminal(open_shell):
    session = open_shell(env=environment(TERM="vt100"))
    session.send("reb")
    session.wait_line("root@obxc:> reboot")
    assert b"\x1b[38" not in session.raw
    poor = open_shell(env=environment(TERM="dumb"))
    poor.send("reb")
    poor.settle()
    assert poor.line() == "root@obxc:> reb"


# Completion

def test_tab_inserts_what_is_sure_and_lists_the_rest(session):
    session.send("luar\t")
    session.wait_line("root@obxc:> luarecord")
    session.send("\x15re\t")
    session.wait_for("^reboot  reset  record$")
    session.wait_line("root@obxc:> re")
    row = session.cursor()[1]
    assert session.colour_at(0, row - 1) == OCHRE
    session.send("c\t")
    session.wait_line("root@obxc:> record")


def test_tab_within_the_line_keeps_what_follows(session):
    session.send("rebo x" + LEFT + LEFT)
    session.wait_line("root@obxc:> rebo x")
    session.send("\t")
    session.wait_line("root@obxc:> reboot x")
    session.send("\x1f")
    session.wait_line("root@obxc:> rebo x")


def test_tab_without_candidates_changes_nothing(session):
    session.send("zzz\t")
    session.settle()
    assert session.line() == "root@obxc:> zzz"


def test_long_list_asks_first(open_shell, directory):
    for i in range(150):
        open(os.path.join(directory, "file%03d" % i), "w").close()
    session = open_shell(cwd=directory)
    session.send("upload config fi\t")
    session.wait_line("root@obxc:> upload config file")
    session.send("\t")
    session.wait_line(r"Display all 150 possibilities\? \(y or n\)")
    session.send("n")
    session.wait_line("root@obxc:> upload config file")
    assert "file149" not in session.text()
    session.send("\ty")
    session.wait_for("file149")
    session.wait_line("root@obxc:> upload config file")
    session.send("\t")
    session.wait_line("Display all 150.*")
    session.interrupt()
    session.prompt()
    session.send("pw\t")
    session.wait_line("root@obxc:> pwd")


# Paste

def paste(text):
    return "\x1b[200~" + text + "\x1b[201~"


def test_paste_is_text_not_keys(session):
    session.send(paste("sh echo 'a\tb'"))
    session.wait_line(r"root@obxc:> sh echo 'a +b'")
    session.send("\r")
    session.wait_for("^a +b$")
    session.prompt()


def test_pasted_lines_wait_for_enter_and_run_one_by_one(session):
    lines = ["sh echo line-%d" % i for i in range(200)]
    session.send(paste("\r\n".join(lines[:100]) + "\n\n" + "\r".join(lines[100:]) + "\rsh echo the rest"))
    session.settle()
    assert not re.search("^line-", session.text(), re.M)
    session.send(" of it\r")
    session.wait_for("^the rest of it$", 3 * PATIENCE)  # two hundred programs are run
    assert re.findall(r"^line-(\d+)$", session.text(), re.M) == [str(i) for i in range(200)]
    session.prompt()
    session.send(UP)
    session.wait_line("root@obxc:> sh echo the rest of it")


def test_pasted_lines_are_rows_of_the_line(session):
    session.send(paste("sh echo one\nsh echo two\n"))
    session.wait_for("^root@obxc:> sh echo one\nsh echo two$")
    assert session.cursor()[0] == len("sh echo two")
    session.send(LEFT * len("\nsh echo two") + "\x7f" * 3 + "ONE")  # up into the row above
    session.wait_for("^root@obxc:> sh echo ONE\nsh echo two$")
    session.send("\r")
    session.wait_for("^two$")
    session.prompt()
    shown = session.text()
    assert re.findall("^(ONE|one|two)$", shown, re.M) == ["ONE", "two"], shown


@pytest.mark.parametrize("rest", ["", "\n", "\r\n\r\n"])
def test_one_pasted_line_waits_for_enter_too(session, rest):
    session.send(paste("sh echo pasted" + rest))
    session.wait_line("root@obxc:> sh echo pasted")
    session.settle()
    assert not re.search("^pasted$", session.text(), re.M)
    session.send("\r")
    session.wait_for("^pasted$")


def test_a_paste_behind_a_paste_goes_on_where_that_ended(session):
    session.send(paste("sh echo one\n") + paste("sh echo t") + paste("wo\n"))
    session.wait_for("^root@obxc:> sh echo one\nsh echo two$")
    session.send("\r")
    session.wait_for("^one\n(.*\n)*two$")


def test_pasted_lines_go_to_lua_mode_and_to_questions(session):
    session.send(paste("lua\nfor i = 1, 2 do\nprint(i * 11)\nend\nq\nsh echo back\n") + "\r")
    session.wait_for("^11\n22\n(.*\n)*back$")


def test_tab_completes_in_the_row_of_the_cursor(session):
    session.send(paste("pwd\nrebo") + "\t")
    session.wait_for("^root@obxc:> pwd\nreboot$")


def test_an_event_leaves_pasted_rows_whole(session):
    session.send(paste("pwd one\npwd two\npwd three"))
    session.wait_line("pwd three")
    session.daemon.send_event(2, {})
    session.wait_for("^EVENT 2:\n{}\nroot@obxc:> pwd one\npwd two\npwd three$")
    assert session.text().count("pwd two") == 1


def test_ctrl_c_drops_pasted_rows(session):
    session.send(paste("sh echo one\nsh echo two\n"))
    session.wait_line("sh echo two")
    session.interrupt()
    session.prompt()
    assert session.run("pwd") == ":"
    assert not re.search("^(one|two)$", session.text(), re.M)


def test_interrupt_drops_the_rest_of_a_paste(session, daemon):
    healthy = daemon.answer
    daemon.answer = lambda request, connection: None if request["method"] == "SaveConfig" else healthy(
        request, connection)
    session.send(paste("save\nsh echo never\n") + "\r")
    daemon.wait_for_request("SaveConfig")
    session.settle()
    session.interrupt()
    session.prompt()
    session.run("sh echo later")
    assert not re.search("^never$", session.text(), re.M)


def test_ctrl_c_among_typed_ahead_keys(session):
    """What stands in front of it is dropped, what stands behind it is typed."""
    for _ in range(5):
        session.send("zz" * 300 + "\x03sh echo kept\r")
        session.wait_for("^kept$")
        session.prompt()
    assert len(re.findall("^kept$", session.text(), re.M)) == 5
    assert "not found" not in session.text()


@pytest.mark.parametrize("words, count", [("0123456789 abcd ", 1024), ("\u00dcn\u00efc\u00f6d\u00e9 ", 1500)])
def test_16_kilobytes_pasted_without_marks_are_drawn_at_once(session, words, count):
    """Not key by key: then four times as much would cost sixteen times as much."""
    def seconds(count):
        session.settle()
        task = "%d/task/%d" % (session.pid(), session.pid())
        before, _ = scheduled(task)
        session.send("zz " + words * count + "END")
        session.wait(lambda: re.search("E\n?N\n?D$", session.text()), "the end of the line")
        ran = scheduled(task)[0] - before
        session.interrupt()
        session.prompt()
        return ran

    seconds(count // 4)
    assert seconds(count) < 10 * seconds(count // 4)


@pytest.mark.parametrize("word", ["0123456789", "\u00dcn\u00efc\u00f6d\u00e9"])
def test_no_byte_of_a_long_line_is_lost(session, word):
    session.send("sh printf %s " + word * 1600 + " | wc -c\r")
    session.wait_for("^%d$" % len(word.encode() * 1600))


def test_lines_typed_all_at_once(session):
    session.send("".join("pwd%d\r" % i for i in range(50)))
    session.wait_for("^pwd49: command not found")
    found = re.findall(r"^pwd(\d+): command not found", session.text(), re.M)
    assert found == [str(i) for i in range(50)]


def test_unfinished_paste_does_not_hang(session):
    session.send("\x1b[200~half")
    session.wait_line("root@obxc:> half")
    session.send("\x15")
    session.prompt()
