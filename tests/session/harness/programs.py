"""The programs under test: where they are, their environment, and obxc run to its end without a terminal."""

import os
import re
import select
import subprocess
import tempfile
import time

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../.."))
BUILD = os.path.abspath(os.environ.get("OBX_BUILD_DIR") or os.path.join(SOURCE, "build"))
EMULATED = os.environ.get("OBX_EMULATED", "")  # the architecture of the programs, where it is not this machine's
CALLED = os.path.join(BUILD, "emulated") if EMULATED else BUILD  # below it are the files by which programs are called
OBXC = os.path.join(CALLED, "bin", "obxc")
SHELL = os.path.join(CALLED, "tests", "obxc")  # obxc on a terminal: keeps its history in OBX_TEST_TMP, not in /tmp
TREE_MODULES = os.path.join(CALLED, "tests", "obxc_tree_modules")  # obxc with the Lua modules of this tree
OBX = os.path.join(SOURCE, "lua", "obx")
OBXD = os.environ.get("OBX_TEST_DAEMON") or os.path.join(CALLED, "bin", "obxd")
runs = {"obxc": OBXC, "terminal": SHELL}  # what obxc() and Terminal run; the fixture tree_modules changes it
LEFT_OUT = os.environ.get("OBX_LEFT_OUT", "").split()  # the lists in left_out of what these programs are not put to
SANITIZED = os.environ.get("OBX_SANITIZE") == "1"
BARE = not SANITIZED and not EMULATED  # memory and speed are the program's own
PLAIN = os.environ.get("OBX_PLAIN") == "1"  # built without GNU readline and without TLS
PATIENCE = 60.0 if EMULATED else 40.0 if SANITIZED else 20.0  # seconds until a wait is a failure


class SessionFailure(AssertionError):
    """What a person would call broken."""


def binary(program):
    """The file of a program itself, for those who read it."""
    return program.replace(CALLED, BUILD, 1) if program.startswith(CALLED + os.sep) else program


def temp_dir():
    """A new private directory with a short path (socket paths have a limit), outside /tmp."""
    return tempfile.mkdtemp(prefix="obx", dir="/var/tmp")


def asan_options(leaks):
    return "exitcode=99:detect_leaks=%d" % (1 if leaks else 0)


def environment(home=None, leaks=True, **extra):
    """The environment of a program under test: nothing of the tester's own but PATH. A value of None removes one."""
    env = {
        "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
        "HOME": home or "/proc/nonexistent",  # which root cannot make either
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
    process = subprocess.run(command, executable=runs["obxc"], input=data, capture_output=True,
                             env=env or environment(leaks=leaks), timeout=4 * PATIENCE, cwd=cwd)
    finished = Finished(process)
    check_sanitizers(finished.err)
    return finished


def configured(name):
    """What the build under test was told of an option of CMake's, as a text."""
    with open(os.path.join(BUILD, "CMakeCache.txt")) as cache:
        return re.search(r"^%s:\w+=(.*)$" % name, cache.read(), re.M).group(1)


def select_readable(stream, seconds):
    """Whether there is something to read within so many seconds."""
    return bool(select.select([stream], [], [], seconds)[0])


def obx_environment(**extra):
    """The environment in which obx finds its interpreter, which has the Lua modules of this tree."""
    env = environment(**extra)
    env["PATH"] = os.path.join(BUILD, "tests", "named") + ":" + env["PATH"]
    return env


def obx(*words, daemon=None, stdin="", env=None, cwd=None):
    """Runs obx to its end, without a terminal. `daemon` puts "-u SOCKET" in front."""
    command = [OBX] + (["-u", daemon.socket] if daemon else []) + list(words)
    data = stdin.encode("utf-8", "surrogateescape") if isinstance(stdin, str) else stdin
    process = subprocess.run(command, input=data, capture_output=True, env=env or obx_environment(),
                             timeout=4 * PATIENCE, cwd=cwd)
    finished = Finished(process)
    check_sanitizers(finished.err)
    return finished
