"""What session tests are made of: obxd, a scripted daemon, obxc run to its end, and obxc on a pseudo-terminal.

    def test_pwd(shell):                       # fixtures are in conftest.py: obxd, shell, terminal, scripted, ...
        assert shell.run("pwd") == ":"

Everything lives in a private directory, the history files of a shell too, so tests run side by side.
Waiting is always for something that can be seen; a time-out fails the test and shows the screen as it was.
"""

import contextlib
import fcntl
import json
import os
import pty
import re
import select
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import termios
import threading
import time

import pyte

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "../.."))
BUILD = os.path.abspath(os.environ.get("OBX_BUILD_DIR") or os.path.join(SOURCE, "build"))
OBXC = RELEASE = os.path.join(BUILD, "bin", "obxc")
SHELL = os.path.join(BUILD, "tests", "obxc")  # obxc on a terminal: keeps its history in OBX_TEST_TMP, not in /tmp
OBXD = os.path.join(BUILD, "bin", "obxd")
SANITIZED = os.environ.get("OBX_SANITIZE") == "1"
PATIENCE = 40.0 if SANITIZED else 20.0  # seconds until a wait is a failure


class SessionFailure(AssertionError):
    """What a person would call broken."""


def temp_dir():
    """A new private directory with a short path (socket paths have a limit), outside /tmp."""
    return tempfile.mkdtemp(prefix="obx", dir="/var/tmp")


def asan_options(leaks):
    return "exitcode=99:detect_leaks=%d" % (1 if leaks else 0)


def environment(home=None, leaks=True, **extra):
    """The environment of a program under test: nothing of the tester's own but PATH. A value of None removes one."""
    env = {
        "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
        "HOME": home or "/nonexistent",
        "TERM": "xterm-256color",
        "LANG": "C.UTF-8",
        "USER": "root",
        "INPUTRC": "/dev/null",
        "ASAN_OPTIONS": asan_options(leaks),
        "UBSAN_OPTIONS": "print_stacktrace=1:halt_on_error=1",
    }
    env.update(extra)
    return {key: value for key, value in env.items() if value is not None}


def check_sanitizers(text):
    """Fails when a sanitizer has reported something in what a program wrote."""
    data = text if isinstance(text, bytes) else text.encode("utf-8", "surrogateescape")
    if b"Sanitizer" in data or b"runtime error:" in data:
        raise SessionFailure(data.decode("utf-8", "replace"))


def wait_until(condition, what="a condition", patience=None):
    """Polls `condition` until it is true; returns its value."""
    end = time.monotonic() + (patience or PATIENCE)
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise SessionFailure("timed out waiting for %s" % what)
        time.sleep(0.01)


class Client:
    """A raw JSON-RPC connection to a daemon: what other programs than obxc do."""

    def __init__(self, path=None, connection=None):
        if connection is None:
            connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            connection.connect(path)
        self.socket = connection
        self.socket.settimeout(PATIENCE)
        self.buffer = b""
        self.id = 0
        self.events = []

    def send(self, message):
        """Sends a message (a dict), or bytes as they are."""
        self.socket.sendall(message if isinstance(message, bytes) else json.dumps(message).encode() + b"\n")

    def receive(self):
        """The next message as a dict; None when the daemon closed the connection."""
        while b"\n" not in self.buffer:
            try:
                data = self.socket.recv(1 << 20)
            except ConnectionError:
                data = b""
            if not data:
                return None
            self.buffer += data
        line, self.buffer = self.buffer.split(b"\n", 1)
        return json.loads(line)

    def request(self, method, params=None, auth=None):
        """Sends a request and returns its whole response; events that come before it are kept for event()."""
        self.id += 1
        message = {"jsonrpc": "2.0", "id": self.id, "method": method}
        if params is not None:
            message["params"] = params
        if auth is not None:
            message["auth"] = auth
        self.send(message)
        while True:
            response = self.receive()
            if response is None:
                raise SessionFailure("the daemon closed the connection during %s" % method)
            if response.get("id") == self.id:
                return response
            self.events.append(response)

    def call(self, method, params=None):
        """The result of a request that must succeed."""
        response = self.request(method, params)
        assert "result" in response, response
        return response["result"]

    def login(self, user="root", password=None):
        return self.request("Login", {"Login": user, "Password": password})

    def get(self, path):
        """One parameter's value."""
        return self.call("GetParameterValues", {"ParameterNames": [path]})["ParameterList"][0]["Value"]

    def set(self, path, value):
        return self.request("SetParameterValues", {"ParameterList": [{"Name": path, "Value": value}]})

    def event(self):
        """The next event, waiting for it."""
        if not self.events:
            message = self.receive()
            if message is None:
                raise SessionFailure("the daemon closed the connection")
            return message
        return self.events.pop(0)

    def close(self):
        self.socket.close()


class Obxd:
    """The development daemon on a private socket. `args` are further options; `model` is a model file."""

    def __init__(self, *args, model=None, env=None):
        self.directory = temp_dir()
        self.socket = os.path.join(self.directory, "obxd.sock")
        self.args = list(args) + (["--model", model] if model else [])
        self.env = env or environment()
        self.process = None
        self.ready_line = ""
        self.start()

    def start(self):
        command = [OBXD, "--socket", self.socket, "--state", os.path.join(self.directory, "state")] + self.args
        with open(os.path.join(self.directory, "obxd.log"), "ab") as log:
            self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=log, stdin=subprocess.DEVNULL,
                                            env=self.env, start_new_session=True)
        ready, _, _ = select.select([self.process.stdout], [], [], PATIENCE)
        self.ready_line = self.process.stdout.readline().decode() if ready else ""
        if not self.ready_line:
            self.kill()
            raise SessionFailure("obxd did not start: " + self.errors())

    def errors(self):
        with open(os.path.join(self.directory, "obxd.log"), errors="replace") as log:
            return log.read()

    def client(self, login="root"):
        """A raw connection, logged in unless `login` is None."""
        client = Client(self.socket)
        if login:
            answer = client.login(login)
            assert "result" in answer, answer
        return client

    def if_up(self, ask):
        """What `ask` finds with a new connection; None while the device is down or about to be."""
        try:
            with contextlib.closing(self.client()) as client:
                return ask(client)
        except (OSError, SessionFailure):
            return None

    def stop(self):
        """Ends the daemon; it must end cleanly."""
        if self.process is None:
            return
        process, self.process = self.process, None
        process.terminate()
        try:
            status = process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise SessionFailure("obxd did not end on SIGTERM")
        finally:
            process.stdout.close()
        assert status == 0, "obxd ended with %s: %s" % (status, self.errors())

    def kill(self):
        """Ends the daemon as a crash would."""
        process, self.process = self.process, None
        process.kill()
        process.wait()
        process.stdout.close()

    def restart(self):
        self.stop()
        self.start()

    def close(self):
        try:
            self.stop()
        finally:
            shutil.rmtree(self.directory, ignore_errors=True)


class ScriptedDaemon:
    """A daemon that does what a healthy one never does.

    `answer(request, connection)` is called for each message that arrives (a dict) and returns what is sent back: a dict
    (a whole message; a response without "id" gets the request's), bytes (sent as they are), a list of these, None
    (nothing), or ScriptedDaemon.CLOSE (the connection is closed). `result(...)` and `error(...)` build responses. Every
    message that arrived is kept in `received`. Without `answer`, every request gets the result {}.
    """

    CLOSE = object()

    def __init__(self, answer=None):
        self.directory = temp_dir()
        self.socket = os.path.join(self.directory, "obxd.sock")
        self.answer = answer or (lambda request, connection: self.result({}))
        self.received = []
        self.connections = []
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(self.socket)
        self.listener.listen(16)
        threading.Thread(target=self._accept, daemon=True).start()

    @staticmethod
    def result(value):
        return {"jsonrpc": "2.0", "result": value}

    @staticmethod
    def error(code, message=None, data=None):
        error = {"code": code}
        if message is not None:
            error["message"] = message
        if data is not None:
            error["data"] = data
        return {"jsonrpc": "2.0", "error": error}

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.connections.append(connection)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        decoder = json.JSONDecoder()
        text = ""
        while True:
            try:
                data = connection.recv(65536)
            except OSError:
                return
            if not data:
                return
            text += data.decode("utf-8", "surrogateescape")
            while text.strip():
                text = text.lstrip()
                try:
                    message, end = decoder.raw_decode(text)
                except ValueError:
                    break
                text = text[end:]
                self.received.append(message)
                if not self._reply(message, connection):
                    return

    def _reply(self, message, connection):
        answers = self.answer(message, connection)
        for answer in answers if isinstance(answers, list) else [answers]:
            if answer is None:
                continue
            try:
                if answer is self.CLOSE:
                    connection.shutdown(socket.SHUT_RDWR)
                    return False
                if isinstance(answer, dict):
                    if "method" not in answer:
                        answer = {"id": message.get("id"), **answer}
                    answer = json.dumps(answer).encode() + b"\n"
                connection.sendall(answer)
            except OSError:
                return False
        return True

    def requests(self, method):
        """The params of all requests of a method so far."""
        return [message.get("params") for message in self.received if message.get("method") == method]

    def wait_for_request(self, method, count=1):
        """Waits until a method was asked for `count` times; returns all params of it."""
        return wait_until(lambda: len(self.requests(method)) >= count and self.requests(method), "request " + method)

    def send_event(self, group, params=None):
        """Sends an event on every open connection."""
        event = {"jsonrpc": "2.0", "method": "Event", "group": group}
        if params is not None:
            event["params"] = params
        for connection in self.connections:
            try:
                connection.sendall(json.dumps(event).encode() + b"\n")
            except OSError:
                pass

    def drop_connections(self):
        for connection in self.connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def close(self):
        try:
            self.listener.shutdown(socket.SHUT_RDWR)  # wakes the accepting thread
        except OSError:
            pass
        self.listener.close()
        self.drop_connections()
        for connection in self.connections:
            connection.close()
        shutil.rmtree(self.directory, ignore_errors=True)


class Finished:
    """A program that ran to its end: `status`, `out` and `err` as text, `raw` as bytes."""

    def __init__(self, process):
        self.status = process.returncode
        self.raw = process.stdout
        self.out = process.stdout.decode("utf-8", "surrogateescape")
        self.err = process.stderr.decode("utf-8", "surrogateescape")

    def __repr__(self):
        return "status %d\nout: %s\nerr: %s" % (self.status, self.out, self.err)


def obxc(*args, daemon=None, stdin="", env=None, program=None, leaks=True, cwd=None):
    """Runs obxc to its end, without a terminal. `daemon` (Obxd or ScriptedDaemon) puts "-u SOCKET" in front.

    `program` is the name it runs under (argv[0]), for example "obxc_interpreter".
    """
    command = [program or "obxc"] + (["-u", daemon.socket] if daemon else []) + list(args)
    data = stdin.encode("utf-8", "surrogateescape") if isinstance(stdin, str) else stdin
    process = subprocess.run(command, executable=OBXC, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                             env=env or environment(leaks=leaks), timeout=4 * PATIENCE, cwd=cwd)
    finished = Finished(process)
    check_sanitizers(finished.err)
    return finished


PROMPT = r"[^\s^]*obxc\S*>"  # alone on its line: no "^C" stands in front


class Terminal:
    """A program on a pseudo-terminal, its screen kept by a terminal emulator.

    `args` are obxc's; `daemon` puts "-u SOCKET" in front of them; `command` runs another program instead, in which
    the shell is called SHELL. `tmp` is a private directory where its history lies as it would in /tmp, empty at first.
    Leaks are not looked for: what a command held when Ctrl-C left it is given up on purpose.
    """

    def __init__(self, *args, daemon=None, command=None, columns=100, lines=30, env=None, leaks=False, cwd=None,
                 home=None):
        self.columns, self.lines = columns, lines
        self.emulator = pyte.HistoryScreen(columns, lines, history=20000, ratio=0.5)
        self.stream = pyte.ByteStream(self.emulator)
        self.raw = b""
        self.tmp = temp_dir()
        program = SHELL if OBXC == RELEASE else OBXC
        argv = command or [program] + (["-u", daemon.socket] if daemon else []) + list(args)
        self.master, slave = pty.openpty()
        self._set_size(slave)
        self.process = subprocess.Popen(argv, stdin=slave, stdout=slave, stderr=slave, cwd=cwd,
                                        env=dict(env or environment(home=home), ASAN_OPTIONS=asan_options(leaks),
                                                 OBX_TEST_TMP=self.tmp),
                                        preexec_fn=self._take_terminal)
        os.close(slave)

    @staticmethod
    def _take_terminal():
        os.setsid()
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)
        signal.signal(signal.SIGINT, signal.SIG_DFL)

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
                data = os.read(self.master, 65536)
            except OSError:
                return False
            if not data:
                return False
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
