"""obxc run to its end against a daemon that may do anything: it ends in time, by itself, without a sanitizer's report."""

import os
import signal
import tempfile
import time

import harness

HANGS = 60.0  # seconds
SLOW = 12 if harness.SANITIZED else 3  # seconds that a busy machine may add to a time-out


class Ran:
    """What became of a run: `status`, `out` and `err` (bytes), `seconds`, `mib` (its peak)."""

    def __init__(self, status, out, err, seconds, mib):
        self.status, self.out, self.err, self.seconds, self.mib = status, out, err, seconds, mib

    def __repr__(self):
        return "status %d after %.1f s, %.0f MiB\nout: %r\nerr: %r" % (self.status, self.seconds, self.mib,
                                                                      self.out[-1000:], self.err[-1000:])


def run(daemon, *args, stdin=b"", env=None, program=None, before=None, hangs=HANGS, term=None):
    """Runs obxc with these arguments behind the daemon's address; `before` runs in the child before it. After `term`
    seconds it gets SIGTERM."""
    out, err = tempfile.TemporaryFile(), tempfile.TemporaryFile()
    given = tempfile.TemporaryFile()
    given.write(stdin)
    given.seek(0)
    command = [program or harness.OBXC] + (["-u", daemon if isinstance(daemon, str) else daemon.socket] if daemon else [])
    start = time.monotonic()
    pid = os.fork()
    if pid == 0:
        try:
            for number, file in enumerate((given, out, err)):
                os.dup2(file.fileno(), number)
            os.setsid()
            if before:
                before()
            os.execve(command[0], command + list(args), env or harness.environment(OBX_PATIENCE="1"))
        finally:
            os._exit(127)
    while True:
        ended, status, used = os.wait4(pid, os.WNOHANG)
        if ended:
            break
        if term and time.monotonic() - start > term:
            term = None
            os.kill(pid, signal.SIGTERM)
        if time.monotonic() - start > hangs:
            os.kill(pid, 9)
            os.waitpid(pid, 0)
            raise AssertionError("obxc %s hangs" % (args,))
        time.sleep(0.002)
    seconds = time.monotonic() - start
    for file in (out, err):
        file.seek(0)
    ran = Ran(os.waitstatus_to_exitcode(status), out.read(), err.read(), seconds, used.ru_maxrss / 1024)
    for file in (given, out, err):
        file.close()
    harness.check_sanitizers(ran.err)
    assert ran.status in (-signal.SIGTERM, 0) or ran.status > 0, "obxc %s: %r" % (args, ran)
    return ran
