"""What is always to hold of a daemon: local root is served soon, memory has its bound, descriptors come back."""

import contextlib
import os
import threading

import harness

MEMORY_MB = 400


def resident_mb(obxd):
    with open("/proc/%d/status" % obxd.process.pid) as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS")) / 1024


def descriptors(obxd):
    return len(os.listdir("/proc/%d/fd" % obxd.process.pid))


def root_waits(obxd):
    """The seconds that local root, who comes now, waits for an answer."""
    watch = harness.Stopwatch(obxd)
    with contextlib.closing(obxd.client()) as client:
        client.call("LeaveGroup", {"Group": 1})
    return watch.seconds()


class Watch:
    def __init__(self, obxd):
        self.obxd = obxd
        self.slowest = 0.0
        self.memory = 0.0
        self.failure = None
        self.ended = threading.Event()
        self.thread = threading.Thread(target=self._run, daemon=True)

    def _run(self):
        while not self.ended.wait(0.1):
            try:
                self.slowest = max(self.slowest, root_waits(self.obxd))
                self.memory = max(self.memory, resident_mb(self.obxd))
            except Exception as failure:  # pylint: disable=broad-except
                self.failure = failure
                return


@contextlib.contextmanager
def watched(obxd, memory=MEMORY_MB):
    """While the block runs, a local root comes again and again. Afterwards the bounds must have held."""
    watch = Watch(obxd)
    watch.thread.start()
    try:
        yield watch
    finally:
        watch.ended.set()
        watch.thread.join(30)
    assert watch.failure is None, "local root was not served: %r; %s" % (watch.failure, obxd.errors())
    assert watch.slowest < harness.SOON, "local root waited for %.2f s" % watch.slowest
    assert watch.memory < memory or harness.SANITIZED, "obxd had %d MB" % watch.memory
