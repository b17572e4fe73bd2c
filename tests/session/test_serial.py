"""The shell on a serial line: few bytes for a key, output as it is made, and an end to it when it is asked for."""

import json
import re

import pytest

import harness

BAUDS = [9600, 115200]
TERMS = ["vt100", "linux", "dumb"]
# What the system holds of a pseudo-terminal's output and gives out although the program has dropped it: 4096 bytes for
# the reader, and on the way to them 8192, which fill up where the machine has much to do.
HELD = 4096 + 8192


@pytest.fixture(scope="module")
def wide_obxd(tmp_path_factory):
    """A daemon with a table whose listing takes minutes at 9600 baud."""
    daemon = harness.Obxd("--rows", "Device.Hosts.Host.=2000")
    yield daemon
    daemon.close()


@pytest.fixture
def serial(terminal, shared_obxd):
    """A function that opens the shell on such a line, at its first prompt: a router's, without a locale."""
    def start(baud=115200, term="vt100", daemon=shared_obxd, **options):
        env = harness.environment(TERM=term, LANG=None)
        opened = terminal(daemon=daemon, env=env, baud=baud, **{"columns": 80, "lines": 24, **options})
        opened.prompt()
        opened.settle()
        return opened
    return start


def writes(shell):
    """How often the program has written."""
    with open("/proc/%d/io" % shell.pid()) as file:
        return int(re.search(r"^syscw: (\d+)", file.read(), re.M).group(1))


@pytest.mark.parametrize("term", TERMS)
@pytest.mark.parametrize("baud", BAUDS)
def test_a_key_costs_one_byte(serial, baud, term):
    shell = serial(baud, term)
    start, typed = len(shell.raw), "set Device.DeviceInfo.HostName=x"
    for key in typed:
        before = len(shell.raw)
        shell.send(key)
        shell.wait(lambda: len(shell.raw) > before, "the echo")
        shell.read(0.02)
        assert shell.raw[before:] == key.encode()
    shell.settle()
    assert shell.raw[start:] == typed.encode() and shell.line().endswith("> " + typed)


@pytest.mark.parametrize("term", TERMS)
@pytest.mark.parametrize("baud", BAUDS)
def test_a_key_that_corrects_costs_few(serial, baud, term):
    """Without the zeros that terminals of old were given time with, more of them the faster the line."""
    shell = serial(baud, term)
    shell.send("cd Device.DeviceInfo")
    shell.wait_line(".*DeviceInfo")
    for key, most in [("\x7f", 4), ("\x7f", 4), ("\x02", 1), ("\x7f", 16), ("\x05", 40), ("\x01", 60), ("\x0b", 60), ("\x0c", 40)]:
        shell.settle()
        before = len(shell.raw)
        shell.send(key)
        shell.wait(lambda: len(shell.raw) > before, "the key %r" % key)
        shell.settle()
        assert len(shell.raw) - before <= most and b"\0" not in shell.raw[before:], (key, shell.raw[before:])


@pytest.mark.parametrize("term", TERMS)
def test_a_prompt_is_no_row_of_blanks(serial, term):
    shell = serial(9600, term)
    for line in ["cd Device.", "cd ..", "sh printf x", "sh echo x", "execute :Device.WiFi.Reset", "nothing"]:
        before = len(shell.raw)
        shell.run(line)
        assert b" " * 8 not in shell.raw[before:], shell.raw[before:]
    # Keys that came while a command ran: the terminal has shown them already, wherever the cursor was.
    before = len(shell.raw)
    shell.send("sh sleep 0.5\r")
    shell.send("pw")
    shell.wait_line(r".*> pw")
    assert b" " * 8 not in shell.raw[before:], shell.raw[before:]


@pytest.mark.parametrize("command", ["ls", "tree", "cat"])
def test_lines_arrive_as_they_are_made(serial, command):
    shell = serial(115200)
    count = writes(shell)
    lines = shell.run(command + " :Device.DeviceInfo.").count("\n")
    assert lines > 20 and writes(shell) - count >= lines


def test_elsewhere_output_is_written_in_large_pieces(terminal, shared_obxd):
    shell = terminal(daemon=shared_obxd)
    shell.prompt()
    count = writes(shell)
    lines = shell.run("tree :Device.DeviceInfo.").count("\n")
    assert writes(shell) - count < lines / 4


# Each of them writes more than the system holds.
@pytest.mark.parametrize("command", ["ls -l :Device.Hosts.Host.", "tree :Device.", "cat :Device.Hosts.Host.",
                                     "lua for i = 1, 20000 do print(i) end",
                                     "lua io.write(('x'):rep(1e6))"])
@pytest.mark.parametrize("baud", BAUDS)
def test_ctrl_c_stops_the_output(serial, wide_obxd, baud, command):
    """Behind what was on its way come a line of output at most, the rest of the one that was cut, and the prompt."""
    shell = serial(baud, daemon=wide_obxd)
    start = len(shell.raw)
    shell.send(command + "\r")
    shell.wait(lambda: len(shell.raw) > start + 300, "output")
    before = len(shell.raw)
    shell.interrupt()
    shell.wait(lambda: re.fullmatch(harness.PROMPT, shell.line()) and len(shell.raw) > before, "the prompt",
               harness.PATIENCE + HELD / shell.rate)
    shell.settle()
    assert len(shell.raw) - before <= HELD + 0.05 * shell.rate + 400, len(shell.raw) - before
    assert shell.run("pwd") == ":"


@pytest.mark.parametrize("baud", BAUDS)
def test_a_long_value_is_cut_too(serial, start_obxd, tmp_path, baud):
    (tmp_path / "values.json").write_text(json.dumps({"Device.DeviceInfo.HostName": "h"}))
    model = {"schema": {"Device": {"Text": {"type": "string", "read": "guest", "default": "long " * 40000}}}}
    (tmp_path / "model.json").write_text(json.dumps(model))
    shell = serial(baud, daemon=start_obxd("--model", str(tmp_path / "model.json")))
    start = len(shell.raw)
    shell.send("cat :Device.Text\r")
    shell.wait(lambda: len(shell.raw) > start + 300, "output")
    before = len(shell.raw)
    shell.interrupt()
    shell.wait(lambda: re.fullmatch(harness.PROMPT, shell.line()), "the prompt", harness.PATIENCE + HELD / shell.rate)
    assert len(shell.raw) - before <= HELD + 0.05 * shell.rate + 400


@pytest.mark.parametrize("term", TERMS)
def test_a_line_that_does_not_tell_its_size_has_80_columns(serial, term):
    shell = serial(115200, term, told=False)
    typed = "set " + "x" * 100
    shell.send(typed)
    if term == "dumb":  # it has no second row: the row is shifted
        shell.wait(lambda: shell.line().endswith("x" * 20), "the line's end")
    else:
        shell.wait(lambda: shell.text().replace("\n", "").endswith(typed), "the line on two rows")
        assert re.fullmatch("x+", shell.line())
    shell.send("\x15")
    shell.settle()
    listing = shell.run("help")
    assert max(len(line) for line in listing.split("\n")) <= 80


def test_a_size_that_is_told_later_is_understood(serial):
    """What the program `resize` does: it finds out the size and tells the line."""
    shell = serial(115200, told=False)
    shell.resize(132, 43)
    typed = "set " + "y" * 110
    shell.send(typed)
    shell.wait(lambda: shell.line().endswith("y" * 110), "the line on one row")
    shell.send("\x15")
    shell.settle()
    wide = shell.run("ls :Device.")
    shell.resize(80, 24)
    narrow = shell.run("ls :Device.")
    assert sorted(narrow.split()) == sorted(wide.split()) and narrow.count("\n") > wide.count("\n")


@pytest.mark.parametrize("term", TERMS)
def test_nothing_is_drawn_that_the_terminal_does_not_know(serial, term):
    shell = serial(115200, term)
    for line in ["ls :Device.DeviceInfo.", "cat :Device.DeviceInfo.", "pwd", "nothing", "help"]:
        shell.run(line)
    sequences = set(re.findall(rb"\x1b\[[?0-9;]*[A-Za-z]", shell.raw))
    if term == "dumb":
        assert b"\x1b" not in shell.raw
    if term == "vt100":
        assert not {sequence for sequence in sequences if re.match(rb"\x1b\[[34][0-9;]*m", sequence)}, sequences
