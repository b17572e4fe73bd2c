"""Times that do not depend on what else the machine does."""

import os
import time

from .programs import BARE, wait_until

SOON = 1 if BARE else 10  # seconds, by a Stopwatch, in which who is not held up is served


def timed(run):
    """What a function returns, and the seconds that it took."""
    start = time.monotonic()
    return run(), time.monotonic() - start


def cpu_seconds(pid):
    """What all threads of the process have run so far."""
    with open("/proc/%d/stat" % pid) as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def scheduled(task):
    """The seconds that a thread has run, and that it was ready to run while others did."""
    with open("/proc/%s/schedstat" % task) as file:
        ran, waited = file.read().split()[:2]
    return int(ran) / 1e9, int(waited) / 1e9


def wait_for_rest(program):
    """Waits until the program runs for next to nothing in half a second, which one that spins never does."""
    def rests():
        before = cpu_seconds(program.process.pid)
        time.sleep(0.5)
        return cpu_seconds(program.process.pid) - before < 0.05

    wait_until(rests, "the program to rest")


class Stopwatch:
    """The seconds since it was made, but for those in which other programs kept the daemon or the shell, or this thread, from
    the processor. What the program's other threads took from its first one counts."""

    def __init__(self, program):
        self.pid = program.process.pid
        self.start, self.before = time.monotonic(), self._held_up()

    def seconds(self):
        return time.monotonic() - self.start - max(0.0, self._held_up() - self.before)

    def _held_up(self):
        ran, waited = scheduled("%d/task/%d" % (self.pid, self.pid))
        return scheduled("thread-self")[1] + waited - (cpu_seconds(self.pid) - ran)
