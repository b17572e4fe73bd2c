"""A program on a pseudo-terminal, and what a person would see of it."""

import fcntl
import os
import pty
import re
import select
import shutil
import signal
import struct
import subprocess
import termios
import time

import pyte

from .programs import PATIENCE, SessionFailure, check_sanitizers, environment, runs, temp_dir

PROMPT = r"[^\s^]*obxc\S*>"  # alone on its line: no "^C" stands in front


class Terminal:
    """A program on a pseudo-terminal, its screen kept by a terminal emulator.

    `args` are obxc's; `daemon` puts "-u SOCKET" in front of them; `command` runs another program instead, in which
    the shell is called SHELL. `tmp` is a private directory where its history lies as it would in /tmp, empty at first.
    `baud` makes it a serial line: it has that speed, and no more is read than comes over such a line; with `told` false it does
    not say how large its screen is.
    """

    def __init__(self, *args, daemon=None, command=None, columns=100, lines=30, env=None, cwd=None,
                 home=None, baud=None, told=True):
        self.columns, self.lines = columns, lines
        self.emulator = pyte.HistoryScreen(columns, lines, history=20000, ratio=0.5)
        self.stream = pyte.ByteStream(self.emulator)
        self.raw = b""
        self.tmp = temp_dir()
        argv = command or [runs["terminal"]] + (["-u", daemon.socket] if daemon else []) + list(args)
        self.master, slave = pty.openpty()
        self.rate = baud and baud / 10  # bytes a second
        self.taken = (time.monotonic(), 0.0)  # when, and how many more may be read then
        if baud:
            self._set_speed(slave, getattr(termios, "B%d" % baud))
        if told:
            self._set_size(slave)
        self.process = subprocess.Popen(argv, stdin=slave, stdout=slave, stderr=slave, cwd=cwd,
                                        env=dict(env or environment(home=home), OBX_TEST_TMP=self.tmp),
                                        preexec_fn=self._take_terminal)
        os.close(slave)

    @staticmethod
    def _take_terminal():
        os.setsid()
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)
        signal.signal(signal.SIGINT, signal.SIG_DFL)

    @staticmethod
    def _set_speed(fd, speed):
        line = termios.tcgetattr(fd)
        line[4] = line[5] = speed
        termios.tcsetattr(fd, termios.TCSANOW, line)

    def _take(self):
        """What has arrived, b"" where the line is not that fast."""
        if not self.rate:
            return os.read(self.master, 65536)
        now = time.monotonic()
        room = min(self.taken[1] + (now - self.taken[0]) * self.rate, 1 + self.rate / 20)
        data = os.read(self.master, int(room)) if room >= 1 else b""
        self.taken = (now, room - len(data))
        if not data:
            time.sleep(1 / self.rate)
        return data

    def _set_size(self, fd):
        fcntl.ioctl(fd, termios.TIOCSWINSZ, struct.pack("HHHH", self.lines, self.columns, 0, 0))

    def resize(self, columns, lines=None):
        """The person drags the window; the kernel tells the program."""
        self.read(0.05)
        lost = self.lines - (lines or self.lines)
        self.columns, self.lines = columns, lines or self.lines
        row = self.emulator.cursor.y
        if lost > 0 and row < self.lines:  # rows below the text go, as on real terminals
            self.emulator.lines = self.lines
        self.emulator.resize(self.lines, self.columns)
        self.emulator.cursor.y = min(row, self.lines - 1)
        self._set_size(self.master)

    def read(self, seconds=0.05):
        """Takes in what the program writes within `seconds`; False at its end."""
        end = time.monotonic() + seconds
        while True:
            ready, _, _ = select.select([self.master], [], [], max(0.0, end - time.monotonic()))
            if not ready:
                return True
            try:
                data = self._take()
            except OSError:
                return False
            if not data and not self.rate:
                return False
            if self.rate and time.monotonic() > end:
                self._show(data)
                return True
            self._show(data)

    def _show(self, data):
        self.raw += data
        self.stream.feed(data)

    def send(self, text):
        """Types. "\\r" is Enter, "\\t" Tab, "\\x03" Ctrl-C, "\\x04" Ctrl-D, "\\x1b[A" cursor up."""
        data = text.encode("utf-8", "surrogateescape") if isinstance(text, str) else text
        while data:
            readable, writable, _ = select.select([self.master], [self.master], [], PATIENCE)
            if not readable and not writable:
                raise SessionFailure("the program does not read its terminal")
            if writable:
                data = data[os.write(self.master, data[:1024]):]
            if not self.read(0) and not writable:
                raise SessionFailure("the program has ended")

    def type_slowly(self, text):
        """Types key by key, each one shown before the next."""
        for key in text:
            before = len(self.raw)
            self.send(key)
            self.wait(lambda: len(self.raw) > before, "the echo")

    def interrupt(self):
        """Ctrl-C."""
        self.send("\x03")

    def text(self):
        """Everything that was shown: what scrolled off the screen and the screen, without trailing blanks."""
        above = ["".join(line[column].data for column in range(self.columns)).rstrip()
                 for line in self.emulator.history.top]
        return "\n".join(above + [line.rstrip() for line in self.emulator.display]).rstrip("\n")

    def screen(self):
        """The screen, line by line, without trailing blanks."""
        return [line.rstrip() for line in self.emulator.display]

    def line(self):
        """The screen line under the cursor."""
        return self.emulator.display[self.emulator.cursor.y].rstrip()

    def cursor(self):
        """Column and row of the cursor, from 0."""
        return self.emulator.cursor.x, self.emulator.cursor.y

    def colour_at(self, column, row):
        """Foreground colour of a cell as the emulator names it ("default", "red", "ff0000", ...)."""
        return self.emulator.buffer[row][column].fg

    def modes(self):
        """Whether the terminal echoes and whether it gives whole lines."""
        local = termios.tcgetattr(self.master)[3]
        return bool(local & termios.ECHO), bool(local & termios.ICANON)

    def pid(self):
        """The process of obxc itself, whatever it was started through."""
        pid = self.process.pid
        with open("/proc/%d/task/%d/children" % (pid, pid)) as children:
            return int((children.read().split() or [pid])[0])

    def wait(self, condition, what="a condition", patience=None):
        """Reads until `condition` is true; returns its value."""
        end = time.monotonic() + (patience or PATIENCE)
        while True:
            alive = self.read(0.01)
            value = condition()
            if value:
                return value
            if not alive or time.monotonic() > end:
                raise SessionFailure("%s waiting for %s; the screen:\n%s" % (
                    "timed out" if alive else "the program ended", what, self.text()))

    def wait_for(self, pattern, patience=None):
        """Waits until the regular expression is found in text() (re.MULTILINE); returns the match."""
        return self.wait(lambda: re.search(pattern, self.text(), re.M), "/%s/" % pattern, patience)

    def wait_line(self, pattern, patience=None):
        """Waits until the line under the cursor matches the regular expression as a whole."""
        return self.wait(lambda: re.fullmatch(pattern, self.line()), "the line /%s/" % pattern, patience)

    def prompt(self, patience=None):
        """Waits for an empty prompt under the cursor; returns it."""
        return self.wait_line(PROMPT, patience).group(0)

    def shown(self):
        """Lines shown so far, up to the cursor's: a mark for since()."""
        return len(self.emulator.history.top) + self.emulator.cursor.y

    def since(self, mark):
        """The lines shown after the marked one, up to the cursor's line, joined by newlines."""
        lines = self.text().split("\n")
        return "\n".join(lines[mark + 1:self.shown()])

    def run(self, line, patience=None):
        """Types a line and Enter at the prompt; returns what was printed until the next prompt."""
        self.prompt(patience)
        mark = self.shown()
        self.send(line + "\r")
        self.wait(lambda: self.shown() > mark and re.fullmatch(PROMPT, self.line()), "the prompt after %r" % line,
                  patience)
        extra = (len(line) + len(self.line())) // self.columns if self.columns else 0
        return self.since(mark + extra)

    def settle(self, seconds=0.2):
        """Reads until the program has been silent for `seconds`."""
        size = -1
        while len(self.raw) != size:
            size = len(self.raw)
            self.read(seconds)

    def end(self, patience=None):
        """Waits for the program's end; returns its exit status (negative: the signal that ended it)."""
        end = time.monotonic() + (patience or PATIENCE)
        while self.read(0.05) and time.monotonic() < end:
            pass
        try:
            status = self.process.wait(max(0.1, end - time.monotonic()))
        except subprocess.TimeoutExpired:
            raise SessionFailure("the program does not end; the screen:\n" + self.text())
        check_sanitizers(self.raw)
        return status

    def close(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGHUP)
            try:
                self.process.wait(2)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.read(0)
        os.close(self.master)
        shutil.rmtree(self.tmp, ignore_errors=True)
        check_sanitizers(self.raw)
