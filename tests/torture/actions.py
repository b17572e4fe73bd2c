"""Sessions as lists of actions: made at random, played on a pseudo-terminal against a daemon that may lie, made smaller.

    [("kind", "late"), ("keys", "ls\\r"), ("signal", 2), ("size", 40, 10), ("wait", 0.05), ("daemon", "restart")]

A list can be pasted into a test: `play(obxd, LIST)` raises harness.SessionFailure where an invariant breaks.
"""

import contextlib
import os
import pprint
import random
import re
import signal
import time

import harness
from lying import FLOOD, KINDS, LyingDaemon
from steering import steering

HOST = "Device.DeviceInfo.HostName"
LINES = ["ls", "ls -l Device", "cat Device.DeviceInfo", "tree Device", "attr " + HOST, "cd Device.DeviceInfo", "cd", "pwd", "save",
         "help", "select Device.NAT.PortMapping.*", "add Device.NAT.PortMapping.", "lua print(ox.plain(ox.get('%s')))" % HOST,
         "lua for i = 1, 1e6 do end", "sh echo word", "login", "wrong 'quote", "cat *", "info Device", "opt hint off", "opt hint on"]
KEYS = ["\t", "\t\t", "\r", "\x03", "\x15", "\x17", "\x0c", "\x12cat", "\x07", "\x1b[A", "\x1b[B", "\x1b[D", "\x1b[C", "\x7f",
        "Device.", "cat Dev", "set ", "\u00e4\u20ac", "\x1b[200~ls\rpwd\r\x1b[201~", "*", "'", "lua\r"]
SIGNALS = [signal.SIGINT, signal.SIGINT, signal.SIGINT, signal.SIGWINCH, signal.SIGCONT, signal.SIGTSTP, signal.SIGTERM,
           signal.SIGHUP]
MORE_DESCRIPTORS = 6  # than at the start: what a first use opens for good
MIB = 400 if harness.SANITIZED else 64  # the largest lie is 8 MiB
MARGIN = 20 if harness.SANITIZED else 10  # seconds that a busy machine may take


def make(rng, size):
    """A list of so many actions."""
    def one():
        what = rng.choices(["line", "keys", "kind", "signal", "size", "wait", "daemon"], [8, 8, 3, 3, 2, 3, 1])[0]
        if what == "line":
            return "keys", rng.choice(LINES) + "\r"
        if what == "keys":
            return "keys", rng.choice(KEYS)
        if what == "kind":
            return "kind", rng.choice(KINDS + [None] * 5)
        if what == "signal":
            return "signal", int(rng.choice(SIGNALS))
        if what == "size":
            return "size", rng.randrange(20, 150), rng.randrange(5, 50)
        return (what, round(rng.random() * 0.1, 3)) if what == "wait" else (what, rng.choice(["restart", "pause"]))
    return [one() for _ in range(size)]


def fail(what, shell):
    raise harness.SessionFailure("%s; the screen:\n%s" % (what, shell.text()))


def act(shell, liar, obxd, action):
    what, *values = action
    if what == "kind":
        liar.kind = values[0]
    elif what == "keys":
        with contextlib.suppress(OSError, harness.SessionFailure):  # it may have ended; the end is looked at
            shell.send(values[0])
    elif what == "signal":
        os.kill(shell.process.pid, values[0])
        if values[0] == signal.SIGTSTP:
            shell.read(0.01)
            os.kill(shell.process.pid, signal.SIGCONT)
    elif what == "size":
        shell.resize(*values)
    elif what == "wait":
        shell.read(values[0])
    elif values[0] == "pause":
        obxd.process.send_signal(signal.SIGSTOP)
        shell.read(0.3)
        obxd.process.send_signal(signal.SIGCONT)
    else:
        obxd.restart()
    shell.read(0.01)


def prompt_again(shell, patience):
    """At the prompt of the commands, whatever the keys have led to. False: the shell has ended."""
    shell.resize(100, 30)
    shell.emulator.reset()  # sizes have left it with a screen of its own
    end = time.monotonic() + patience
    while time.monotonic() < end:
        if shell.process.poll() is not None:
            return False
        os.kill(shell.process.pid, signal.SIGCONT)  # one that came before the stop is lost
        with contextlib.suppress(OSError, harness.SessionFailure):
            shell.send("\x07\x03\x15\x0c")
            shell.settle(0.1)
            if re.fullmatch(r"[^\s^]*obxc:\S*>", shell.line()):
                return True
            if "obxc-lua" in shell.line():
                shell.send("q\r")
    return fail("no prompt", shell)


def check_end(shell, signals):
    """The shell has ended: by a signal that it was sent, or it told why."""
    status = shell.end()
    shown = shell.raw.decode("utf-8", "replace")
    hung_up = status == 0 and signal.SIGHUP in signals
    if not (-status in signals or hung_up or re.search("Connection dropped|onnect", shown)):
        fail("the shell ended with %d and did not tell why" % status, shell)
    if shell.modes() != (True, True):
        fail("the terminal's modes are not those it had", shell)
    check_shown(shell)


def check_shown(shell):
    if steering(shell.raw):
        fail("the terminal was steered: %r" % steering(shell.raw), shell)


def descriptors(shell):
    return len(os.listdir("/proc/%d/fd" % shell.process.pid))


def check_possessions(shell, at_start):
    """What it has at the prompt: no child, its descriptors, no memory that it does not need."""
    pid = shell.process.pid
    with open("/proc/%d/status" % pid) as status, open("/proc/%d/task/%d/children" % (pid, pid)) as children:
        mib = next(int(line.split()[1]) for line in status if line.startswith("VmRSS")) / 1024
        left = children.read()
    if left or descriptors(shell) > at_start + MORE_DESCRIPTORS or mib > MIB:
        fail("children %s, descriptors %d (first %d), %d MiB" % (left.split(), descriptors(shell), at_start, mib), shell)


def check_alive(shell, obxd):
    """The known answer; then the usual end. Names of the model are kept as the daemon told them, so the value alone is asked for."""
    line = "lua local value, why = ox.get('%s') print(ox.plain(value or why))" % HOST
    right = harness.obxc("-r", "cat", HOST, daemon=obxd).out.strip()
    for _ in range(5):  # the connection may be a broken one: the first ones find out
        shown = shell.run(line, MARGIN + 5).split("\n")[-1]
        if "= '%s'" % shown == right:
            break
        shell.settle(0.2)
    else:
        fail("%r, not %r" % (shown, right), shell)
    shell.send("q\r")
    if shell.end() != 0 or shell.modes() != (True, True):
        fail("q ends with %s, modes %s" % (shell.process.returncode, shell.modes()), shell)


def play(obxd, actions, seed=1):
    """Plays a session from its start to its end; the liar's choices are those of the seed."""
    with LyingDaemon(obxd, random.Random(seed)) as liar:
        shell = harness.Terminal("-t", "1", daemon=liar, env=harness.environment(OBX_PATIENCE="1"))
        try:
            shell.prompt()
            at_start = descriptors(shell)
            for action in actions:
                if shell.process.poll() is not None:
                    break
                act(shell, liar, obxd, action)
            liar.kind = None
            ends = [action[1] for action in actions if action[0] == "signal"]
            patience = MARGIN + FLOOD + 10
            if prompt_again(shell, patience):
                with contextlib.suppress(OSError):
                    return finish(shell, obxd, ends, at_start)
            check_end(shell, ends)
        finally:
            shell.close()
    return None


def finish(shell, obxd, ends, at_start):
    try:
        check_possessions(shell, at_start)
        check_alive(shell, obxd)
    except harness.SessionFailure:
        if shell.process.poll() is None:
            raise
        check_end(shell, ends)
    check_shown(shell)


def fails(obxd, actions, seed):
    try:
        play(obxd, actions, seed)
    except AssertionError as failure:
        return failure
    return None


def smaller(obxd, actions, seed, seconds):
    """The list without what its failure does not need, as far as the time goes (delta debugging)."""
    end = time.monotonic() + seconds
    pieces = 2
    while len(actions) > 1 and time.monotonic() < end:
        size = max(1, len(actions) // pieces)
        for start in range(0, len(actions), size):
            rest = actions[:start] + actions[start + size:]
            if time.monotonic() < end and fails(obxd, rest, seed):
                actions, pieces = rest, max(2, pieces - 1)
                break
        else:
            if size == 1:
                break
            pieces = min(len(actions), pieces * 2)
    return actions


def as_python(actions, seed):
    return "play(obxd, %s, seed=%d)" % (pprint.pformat(actions, width=120), seed)
