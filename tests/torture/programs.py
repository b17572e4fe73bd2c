"""obxc run to its end against a daemon that may do anything: it ends in time, by itself, without a sanitizer's report."""

import os
import signal
import tempfile
import time

import harness

HANGS = 60.0  # seconds
SLOW = 20 if harness.SANITIZED else 10  # seconds that a busy machine may add to a time-out


class Ran:
    """What became of a run: `status`, `out` and `err` (bytes), `seconds`, `mib` (its peak, as of the last look)."""

    def __init__(self, status, out, err, seconds, mib):
        self.status, self.out, self.err, self.seconds, self.mib = status, out, err, seconds, mib

    def __repr__(self):
        return "status %d after %.1f s, %.0f MiB\nout: %r\nerr: %r" % (self.status, self.seconds, self.mib,
                                                                      self.out[-1000:], self.err[-1000:])


def peak_mib(pid):
    """The peak of a program so far; 0 where it is not obxc yet, or no more. (A parent's own counts in what wait4 tells.)"""
    try:
        with open("/proc/%d/status" % pid) as status:
            lines = dict(line.split(":", 1) for line in status)
    except OSError:
        return 0.0
    if not lines["Name"].strip().startswith("obxc") or "VmHWM" not in lines:
        return 0.0
    return int(lines["VmHWM"].split()[0]) / 1024


def run(daemon, *args, stdin=b"", env=None, program=None, before=None, hangs=HANGS, term=None):
    """Runs obxc with these arguments behind the daemon's address; `before` runs in the child before it. After `term`
    seconds it gets SIGTERM."""
    out, err = tempfile.TemporaryFile(), tempfile.TemporaryFile()
    given = tempfile.TemporaryFile()
    given.write(stdin)
    given.seek(0)
    command = [program or harness.OBXC] + (["-u", daemon if isinstance(daemon, str) else daemon.socket] if daemon else [])
    start = time.monotonic()
    peak = 0.0
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
        ended, status = os.waitpid(pid, os.WNOHANG)
        if ended:
            break
        peak = peak_mib(pid) or peak
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
    ran = Ran(os.waitstatus_to_exitcode(status), out.read(), err.read(), seconds, peak)
    for file in (given, out, err):
        file.close()
    harness.check_sanitizers(ran.err)
    assert ran.status in (-signal.SIGTERM, 0) or ran.status > 0, "obxc %s: %r" % (args, ran)
    return ran
