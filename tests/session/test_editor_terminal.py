"""The line editor and its terminal: events, resize, stop, poor terminals, pipes, Ctrl-C."""

import os
import re
import signal
import termios
import time

import pytest

import harness
from harness import environment, obxc

LEFT, RIGHT, UP = "\x1b[D", "\x1b[C", "\x1b[A"


def test_event_is_printed_above_a_long_half_typed_line(open_shell, daemon):
    session = open_shell(columns=30)
    text = "set a line that takes more than one row"
    session.send(text + LEFT * 4)
    session.wait(lambda: " ".join(session.text().split("root@obxc:>")[-1].split("\n")))
    session.settle()
    column, row = session.cursor()
    daemon.send_event(2, {"What": "happened"})
    session.wait_for("^EVENT 2:$")
    session.settle()
    shown = session.text()
    assert shown.count("set a line") == 1
    assert shown.index("happened") < shown.index("set a line")
    assert session.cursor()[0] == column
    session.send("X\x05")
    session.settle()
    assert "one" + "X row" in session.text().replace("\n", "") or "oneX row" in session.text().replace("\n", "")


def test_resize_redraws_and_is_no_interrupt(session):
    text = "sh echo " + "x" * 40
    session.send(text)
    session.wait_line("root@obxc:> " + text)
    session.resize(30, 20)
    session.settle()
    session.send("y")
    session.settle()
    assert "^C" not in session.text()
    session.resize(100, 30)
    session.settle()
    session.send("\r")
    session.wait_for("^x{40}y$")


@pytest.mark.parametrize("text", ["zz plain words", "col"])
def test_a_resize_to_the_same_size_changes_nothing(session, text):
    session.prompt()
    session.type_slowly(text)
    session.settle()
    before, cursor = session.screen(), session.cursor()
    os.kill(session.pid(), signal.SIGWINCH)
    session.settle()
    session.send(LEFT)
    session.wait(lambda: session.cursor() == (cursor[0] - 1, cursor[1]), "the cursor one to the left")
    assert session.screen()[cursor[1]].startswith("root@obxc:> " + text)
    assert session.text().count(text) == "\n".join(before).count(text)


def test_a_hang_up_keeps_the_history(terminal, daemon):
    session = terminal(daemon=daemon)
    session.run("color hint")
    session.send("half a line")
    session.wait_line("root@obxc:> half a line")
    os.kill(session.pid(), signal.SIGHUP)
    assert session.end() == 0
    with open(os.path.join(session.tmp, ".obxc.hist")) as history:
        assert history.read() == "color hint\n"


def test_the_end_keeps_the_history(terminal, daemon):
    session = terminal(daemon=daemon)
    session.run("color hint")
    session.send("half a line")
    session.wait_line("root@obxc:> half a line")
    os.kill(session.pid(), signal.SIGTERM)
    assert session.end() == -signal.SIGTERM
    with open(os.path.join(session.tmp, ".obxc.hist")) as history:
        assert history.read() == "color hint\n"


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
@pytest.mark.parametrize("command", ["save", "lua while true do end", "lua ox.sleep(100)"])
def test_the_end_during_a_command_keeps_the_history(terminal, scripted, command, number):
    daemon = scripted(lambda request, connection: None if request["method"] == "SaveConfig" else daemon.result({}))
    session = terminal(daemon=daemon)
    session.run("color hint")
    session.send(command + "\r")
    session.settle(0.3)
    os.kill(session.pid(), number)
    assert session.end() == (0 if number == signal.SIGHUP else -number)
    with open(os.path.join(session.tmp, ".obxc.hist")) as history:
        assert history.read() == "color hint\n%s\n" % command


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
def test_the_end_while_the_prompt_is_drawn_gives_the_terminal_back(terminal, daemon, number):
    """The terminal takes no output, so the prompt stands half-way between the command and the editor."""
    session = terminal(daemon=daemon)
    session.run("color hint")
    slave = os.open("/proc/%d/fd/0" % session.pid(), os.O_RDWR | os.O_NOCTTY)
    session.send("sh sleep 0.5\r")
    session.wait(lambda: session.modes() == (True, True), "the command")
    termios.tcflow(slave, termios.TCOOFF)
    session.wait(lambda: session.modes() == (False, False), "the editor")
    session.settle(0.2)
    os.kill(session.pid(), number)
    session.settle(0.2)
    termios.tcflow(slave, termios.TCOON)
    os.close(slave)
    assert session.end() == (0 if number == signal.SIGHUP else -number)
    assert session.modes() == (True, True)
    with open(os.path.join(session.tmp, ".obxc.hist")) as history:
        assert history.read() == "color hint\nsh sleep 0.5\n"


@pytest.mark.parametrize("keys, line", [
    ("\x1b[200~true\npwd\x1b[201~", "pwd"), (UP, "root@obxc:> color hint"), ("x", "root@obxc:> sh x")])
def test_a_key_that_is_no_answer_is_a_key_of_the_line(session, keys, line):
    session.run("color hint")
    session.send("sh \t")
    session.wait_for(r"Display all \d+ possibilities\? \(y or n\)$")
    session.send(keys)
    session.wait_line(line)
    assert "not found" not in session.text() and "200~" not in session.text()
    assert ("sh true" in session.text()) == (line == "pwd")


def test_a_resize_drops_the_question(session):
    session.send("sh \t")
    session.wait_for(r"Display all \d+ possibilities\? \(y or n\)$")
    session.resize(80)
    session.settle()
    session.send("x")
    session.wait_line("root@obxc:> sh x")


def test_an_event_at_the_question_leaves_the_line_above_whole(open_shell, daemon, directory):
    for i in range(150):
        open(os.path.join(directory, "file%03d" % i), "w").close()
    session = open_shell(columns=40, cwd=directory)
    session.send("sh echo a line that takes two rows file\t")
    session.wait_for(r"Display all 150 possibilities\? \(y or n\)$")
    daemon.send_event(2, {"What": "happened"})
    session.wait_for("^EVENT 2:$")
    session.settle()
    assert "Display all" not in session.text()
    assert session.text().replace("\n", "").count("sh echo a line that takes two rows file") == 2
    session.send("x")
    session.settle()
    assert session.line().endswith(" filex")


def test_no_hint_behind_a_tab(session):
    session.send("cat \x16\tDevice.Dev")
    session.settle()
    assert session.line().endswith("Device.Dev") and session.cursor()[0] == len(session.line())


def test_resize_during_a_command(session):
    session.send("sh echo ready; sleep 0.3\r")
    session.wait_for("^ready$")
    session.resize(40)
    session.prompt()
    session.send("z" * 40)
    session.settle()
    assert session.screen()[session.cursor()[1] - 1] == "root@obxc:> " + "z" * 28


def test_stop_and_continue(daemon, terminal):
    session = terminal(command=["bash", "--norc", "--noprofile", "-i"], env=environment(PS1="outer$ "))
    session.wait_line(r"outer\$")
    session.send("%s -u %s\r" % (harness.SHELL, daemon.socket))
    session.prompt()
    session.send("sh echo half")
    session.wait_line("root@obxc:> sh echo half")
    session.send("\x1a")
    session.wait_line(r"outer\$")
    session.send("stty -a\r")
    session.wait_for(r"(?<!-)\bicanon\b")
    session.wait_line(r"outer\$")
    session.send("fg\r")
    session.wait_line("root@obxc:> sh echo half")
    session.send(" whole\r")
    session.wait_for("^half whole$")
    assert "^C" not in session.text()[session.text().rindex("fg"):]
    session.prompt()
    session.send("q\r")
    session.wait_line(r"outer\$")


@pytest.fixture
def outer(daemon, terminal):
    """A job-control shell that obxc was started from, at obxc's prompt."""
    session = terminal(command=["bash", "--norc", "--noprofile", "-i"], env=environment(PS1="outer$ "))
    session.wait_line(r"outer\$")
    session.send("%s -u %s\r" % (harness.OBXC, daemon.socket))
    session.prompt()
    return session


def test_a_password_is_asked_for_again_after_a_stop(outer):
    question = r"\[obxc\] password for somebody:"
    outer.send("login somebody\r")
    outer.wait_line(question)
    outer.send("half\x1a")
    outer.wait_line(r"outer\$")
    assert outer.modes()[0] is False  # bash edits the line by itself
    outer.send("fg\r")
    outer.wait_line(question)
    outer.send("secret\r")
    outer.prompt()
    assert "secret" not in outer.text() and "half" not in outer.text()


def test_no_hint_stays_on_a_stopped_line(outer):
    outer.send("cle")
    outer.wait_line("root@obxc:> clear")
    outer.send("\x1a")
    outer.wait_line(r"outer\$")
    assert re.search("^root@obxc:> cle$", outer.text(), re.M), outer.text()
    outer.send("fg\r")
    outer.wait_line("root@obxc:> clear")


@pytest.mark.parametrize("binding, keys", [
    ('"\\C-t": "cle\\C-m"', "\x14"), ('"Q": "\\C-m"', "cleQ"), ('"Q": accept-line', "cleQ"),
    ('"\\C-t": "e\\C-m"', "cl\x14")])
def test_no_hint_stays_on_a_line_that_a_macro_accepts(open_shell, directory, binding, keys):
    path = os.path.join(directory, "inputrc")
    with open(path, "w") as file:
        file.write(binding + "\n")
    session = open_shell(env=environment(INPUTRC=path))
    for key in keys:
        session.send(key)
        session.settle()
    session.wait_for("^cle: command not found")
    assert re.search("^root@obxc:> cle$", session.text(), re.M), session.text()


def test_interrupted_password_leaves_echo_on(session):
    session.send("login somebody\r")
    session.wait_line(r"\[obxc\] password for somebody:")
    assert session.modes()[0] is False
    session.interrupt()
    session.prompt()
    assert re.search(r"(?<!-)\becho\b", session.run("sh stty -a"))


# Poor terminals and pipes

@pytest.mark.parametrize("term", [None, "", "dumb", "no-such-terminal"])
def test_poor_terminals_get_no_escape_codes(open_shell, term):
    session = open_shell(env=environment(TERM=term))
    session.send("sh echo hellp\x7fo\r")
    session.wait_for("^hello$")
    session.prompt()
    session.send("rec\t")
    session.wait_line("root@obxc:> record")
    session.send("\x15q\r")
    session.end()
    assert b"\x1b" not in session.raw


def test_lines_from_a_pipe(daemon):
    done = obxc(daemon=daemon, stdin="sh echo one\nsh cat\nfor cat\n")
    assert done.out.endswith("one\nfor cat\n")
    assert "\x1b" not in done.out and "obxc:>" not in done.out
    assert obxc(daemon=daemon, stdin="sh echo last").out.endswith("last\n")


def test_long_line_from_a_pipe(daemon):
    started = time.monotonic()
    done = obxc(daemon=daemon, stdin="# " + "x" * (1 << 20) + "\nsh echo after\n")
    assert done.out.endswith("after\n")
    assert time.monotonic() - started < harness.PATIENCE


def test_output_into_a_pipe(daemon, terminal):
    session = terminal(command=["sh", "-c", '"$1" -u "$2" | cat', "sh", harness.SHELL, daemon.socket])
    session.wait_for("for exit")
    session.send("sh echo piped\n")
    session.wait_for("^piped$")
    session.send("q\n")
    session.end()
    assert b"\x1b" not in session.raw


def test_interrupted_search_starts_afresh(session):
    session.run("sh echo found")
    session.send("\x12ech")
    session.wait_line(r"\(reverse-i-search\)`ech': sh echo found")
    session.interrupt()
    session.prompt()
    assert session.run("sh echo next") == "next"


def test_ctrl_c_covers_nothing_of_a_long_line(open_shell):
    """Wherever the cursor is, the line stays readable and the prompt stands below all of its rows."""
    session = open_shell(columns=40)
    line = "sh echo " + "0123456789" * 9
    session.send(line)
    session.wait(lambda: session.text().replace("\n", "").endswith(line))
    session.send("\x01")
    session.wait(lambda: session.cursor()[0] == len("root@obxc:> "))
    session.interrupt()
    session.prompt()
    assert session.text().replace("\n", "").endswith("root@obxc:> " + line + "^Croot@obxc:>"), session.text()


def test_stop_of_the_terminals_first_process(session):
    """Nobody could continue it, so it goes on, and the line is as it was."""
    session.send("sh echo half")
    session.wait_line("root@obxc:> sh echo half")
    for _ in range(3):
        session.send("\x1a")
        session.settle()
        assert session.line() == "root@obxc:> sh echo half"
    session.send(" whole\r")
    session.wait_for("^half whole$")
    session.prompt()
    assert session.modes() == (False, False)


def test_rows_are_ended_once_after_ctrl_d(shell):
    """Ctrl-D ends an edited line, not the ones that follow it (Lua mode was left, the shell goes on)."""
    shell.send("lua\r")
    shell.wait_line(r"\S*obxc-lua:>")
    shell.send("\x04")
    shell.wait_line(r"\S*obxc:>")
    assert shell.run("pwd") == ":"
    assert shell.run("pwd") == ":"


# Characters beyond ASCII, whatever the locale

@pytest.mark.parametrize("locale", [{}, {"LANG": "C"}, {"LC_ALL": "C"}, {"LANG": "POSIX"}, {"LC_CTYPE": "POSIX"},
                                    {"LANG": "xx_XX"}, {"LC_ALL": "xx_XX.UTF-8", "LANG": "C.UTF-8"},
                                    {"LANG": "C.UTF-8"}])
@pytest.mark.parametrize("pasted", [False, True])
def test_letters_beyond_ascii_are_text_in_every_locale(open_shell, locale, pasted):
    """They are no keys with Meta, which would recall and run another line."""
    session = open_shell(env=environment(**{"LANG": None, **locale}))
    session.run("sh echo recalled")
    for number in range(2):  # the locale is taken anew with each line
        text = "sh echo Gr\u00fc\u4e2d\u00e9%d" % number
        session.send("\x1b[200~" + text + "\x1b[201~" if pasted else text)
        session.wait_line("root@obxc:> " + text)
        assert session.cursor()[0] == len("root@obxc:> " + text) + 1
        session.send(LEFT + LEFT + "\x7f!")
        session.wait_line("root@obxc:> sh echo Gr\u00fc!\u00e9%d" % number)
        session.send("\r")
        session.wait_for("^Gr\u00fc!\u00e9%d$" % number)
        session.prompt()
    assert session.text().count("recalled") == 2
    assert session.run("sh echo ${LC_ALL-none}") == locale.get("LC_ALL", "none")


def test_meta_keys_stay_where_the_user_wants_them(open_shell, directory):
    path = os.path.join(directory, "inputrc")
    with open(path, "w") as file:
        file.write("set convert-meta on\n")
    session = open_shell(env=environment(LANG=None, INPUTRC=path))
    session.send(b"abc \xe3")  # Meta-c capitalizes a word
    session.send("x")
    session.settle()
    assert session.line() == "root@obxc:> abc x"


# Output that ends without a newline

@pytest.fixture
def narrow(open_shell):
    return open_shell(columns=60)


def check_editing(session, rows):
    """A line that wraps is drawn, changed and wiped where it stands; `rows` stand above it."""
    line = "".join(chr(ord("a") + i % 26) for i in range(55))
    prompt = "root@obxc:> "
    session.wait_line(prompt.rstrip())
    column = session.cursor()[0]

    def shown():
        return session.text().rstrip().split("\n")

    above = shown()[:-1]
    assert above[-len(rows):] == rows, session.text()
    session.send(line)
    session.wait(lambda: shown() == above + [(prompt + line)[:60], (prompt + line)[60:]], "the line")
    session.send("\x01X")
    session.wait(lambda: shown() == above + [(prompt + "X" + line)[:60], (prompt + "X" + line)[60:]], "X")
    session.send("\x05\x15")
    session.wait(lambda: shown() == above + [prompt.rstrip()] and session.cursor()[0] == column, "the empty line")
    assert session.line() == prompt.rstrip()
    assert session.run("pwd") == ":"


@pytest.mark.parametrize("command, rows", [
    ("sh printf a", ["root@obxc:> sh printf a", "a"]),
    ("sh printf abc", ["root@obxc:> sh printf abc", "abc"]),
    ("sh printf '%59d' 7", ["root@obxc:> sh printf '%59d' 7", " " * 58 + "7"]),
    ("sh printf '%60d' 7", ["root@obxc:> sh printf '%60d' 7", " " * 59 + "7"]),
    ("sh printf '%61d' 7", ["root@obxc:> sh printf '%61d' 7", "", "7"]),
    ("sh echo abc", ["root@obxc:> sh echo abc", "abc"]),
    ("sh true", ["root@obxc:> sh true"]),
])
@pytest.mark.parametrize("bottom", [False, True])
def test_the_prompt_stands_in_column_0(narrow, command, rows, bottom):
    if bottom:
        narrow.run("sh seq 40")
    narrow.send(command + "\r")
    narrow.wait_for(r"(?s)%s\n.*obxc:>$" % re.escape(rows[0]))
    check_editing(narrow, rows)


@pytest.mark.parametrize("bottom", [False, True])
@pytest.mark.parametrize("columns", [100, 60, 40, 18])
def test_the_prompt_follows_an_own_message_on_its_row(open_shell, daemon, columns, bottom):
    session = open_shell(columns=columns)
    if bottom:
        session.run("sh seq 40")
    session.send("cd a b\r")
    message = "syntax: cd [<path>]"
    line = message + "root@obxc:> "
    shown = lambda: session.text().replace("\n", "").rstrip()
    session.wait(lambda: shown().endswith("cd a b" + line.rstrip()), "the prompt")
    keys = "".join(chr(ord("a") + i % 26) for i in range(2 * columns))
    session.send(keys)
    session.wait(lambda: shown().endswith("cd a b" + line + keys), "the keys")
    session.send("\x01X\x05")
    session.wait(lambda: shown().endswith("cd a b" + line + "X" + keys), "the X")
    session.send("\x15")
    session.wait(lambda: shown().endswith("cd a b" + line.rstrip()), "the prompt again")
    daemon.send_event(2, {})
    session.wait(lambda: session.text().count("EVENT 2:") == 2 and session.text().endswith("root@obxc:>"),
                 "the events of both connections")
    assert re.search(r"\[<path>\]\n\nEVENT 2:\n\{\}\n(.*\n)*root@obxc:>$", session.text()) or columns < 60
    session.send("opt hint maybe\r")
    session.wait(lambda: shown().endswith("syntax: opt autocomplete|hint on|offroot@obxc:>"), "the next message")
    session.interrupt()
    session.wait(lambda: session.line() == "root@obxc:>", "a row of its own")
    assert session.run("pwd") == ":"


def test_no_blanks_are_written_before_a_prompt(shell):
    shell.settle()
    start = len(shell.raw)
    for line in ("pwd", "ls", "opt hint off", "cd Device", "unknown", "", "cat x", "cd a b"):
        shell.send(line + "\r")
        shell.settle()
    shell.send("lua\r")
    shell.wait_line(r"\S*obxc-lua:\S*>")
    for line in ("x = 1", "print(x)", "x", "error('e')", "io.write('a\\n')",
                 "local x = io.stderr:write('a\\n')"):
        shell.send(line + "\r")
        shell.settle()
    assert b" " * 50 not in shell.raw[start:]


@pytest.mark.parametrize("statement", [
    "local x = io.write('abc')", "print('x') io.write('abc') io.flush()", "local x = os.execute('printf abc')",
    "io.stdout:write('abc'):flush()", "io.stderr:write('abc')", "local x = io.stderr:write('x\\n', 'abc', '')",
    "io.output(io.stderr) local x = io.write('abc') io.output(io.stdout)"])
def test_lua_output_without_a_newline_is_ended(narrow, statement):
    narrow.send("lua " + statement + "\r")
    narrow.wait_for(r"^abc\nroot@obxc:>$")
    narrow.send("lua\r")
    narrow.wait_line(r"\S*obxc-lua:>")
    narrow.send(statement + "\r")
    narrow.wait_for(r"^abc(_.*)?\n(_.*\n)?\S*obxc-lua:>$")


def test_the_prompt_of_lua_mode_stands_in_column_0(narrow):
    narrow.send("lua\r")
    narrow.wait_line(r"\S*obxc-lua:>")
    narrow.send("local x = io.write('abc')\r")
    narrow.wait_for(r"^abc\n.*obxc-lua:>$")


def test_text_typed_ahead_is_left_above_the_prompt(narrow):
    narrow.send("sh sleep 0.3\r")
    narrow.wait_line("")
    narrow.send("typed")
    narrow.wait_for(r"^typed\n\S*obxc:> typed$")


@pytest.mark.parametrize("term", [None, "dumb", "vt52"])
def test_output_without_a_newline_on_poor_terminals(open_shell, term):
    session = open_shell(env=environment(TERM=term))
    session.send("cd a b\r")
    session.wait_line(r"syntax: cd \[<path>\]root@obxc:>")


def test_a_line_that_is_drawn_again_starts_no_row(narrow, daemon):
    narrow.send("half")
    narrow.wait_line("root@obxc:> half")
    size = len(narrow.raw)
    daemon.send_event(2, {})
    narrow.wait_for(r"EVENT 2:\n\{\}\n\S*obxc:> half$")
    assert b" " * 40 not in narrow.raw[size:]
