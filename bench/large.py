"""Rows of bench/run for large tables: processor time of client and daemon together, and the client's memory."""

import lzma
import os
import subprocess
import tempfile

import served

HOSTS = "Device.Hosts.Host"
DOCUMENT = "tr-181-2-17-0-cwmp-full.xml"
ROUNDS = 5


class Large:
    """What the rows need of bench/run, handed over by it."""

    def __init__(self, harness, top, row, interleave, generated_model, piped, timed, directory):
        self.harness = harness
        self.top = top
        self.row = row
        self.interleave = interleave
        self.generated_model = generated_model
        self.piped = piped
        self.timed = timed
        self.directory = directory
        self.model = os.environ.get("OBX_BENCH_MODEL") or self.official()

    def official(self):
        path = os.path.join(self.directory, DOCUMENT)
        with lzma.open(os.path.join(self.top, "tests", "data", DOCUMENT + ".xz")) as packed, open(path, "wb") as out:
            out.write(packed.read())
        return path

    def hosts(self, count, *args):
        """A daemon with so many hosts, and two rows in each other table. OBX_BENCH_MODEL names another model than
        Device:2.17."""
        return self.harness.Obxd("--rows", "2", "--rows", "%s.=%d" % (HOSTS, count), *args, model=self.model)


def processor_us(pid):
    """Microseconds of processor time that a process has taken."""
    with open("/proc/%d/schedstat" % pid) as file:
        return int(file.read().split()[0]) / 1000


def cost(large, daemon, directory, *lines):
    """Median microseconds of both processes for the lines in a new shell, and the shell's peak in KiB. What a shell
    without lines takes is left out of the time."""
    times = []
    for commands in (lines, ()):
        figures = []
        command = large.piped(daemon, directory, "large", *commands)
        for _ in range(ROUNDS):
            before = processor_us(daemon.process.pid)
            (_, _, peak, busy), = large.interleave(1, command)
            figures.append((busy + processor_us(daemon.process.pid) - before, peak))
        times.append(sorted(figures)[ROUNDS // 2])
    return times[0][0] - times[1][0], max(figure[1] for figure in times)


def listing(large, directory):
    """A first listing grows with the rows and no faster."""
    growth = []
    for count in (10000, 20000, 40000):
        daemon = large.harness.Obxd(model=large.generated_model("instances", count, directory))
        growth.append(cost(large, daemon, directory, "ls :Device.Table.Entry"))
        daemon.close()
    large.row("first ls of 10,000 rows", "ms, with daemon", None, None, growth[0][0] / 1000, None, 250)
    large.row("first ls of 10,000 rows", "peak KiB", None, None, growth[0][1], None, 16384)
    large.row("first ls of 20,000 rows", "us, to 10,000", growth[0][0], None, growth[1][0],
              growth[1][0] / growth[0][0], 2.6)
    large.row("first ls of 40,000 rows", "us, to 20,000", growth[1][0], None, growth[2][0],
              growth[2][0] / growth[1][0], 2.6)


def spent(pids):
    return sum(processor_us(pid) for pid in pids)


def tabs(large, count):
    """Microseconds of both processes for the first Tab among so many hosts and, the median, for later ones, and the
    shell's peak in KiB."""
    daemon = large.hosts(count)
    terminal = large.harness.Terminal(daemon=daemon)
    terminal.prompt()
    terminal.settle()
    pids = (terminal.process.pid, daemon.process.pid)
    before = spent(pids)
    large.timed(terminal, "cat :%s.%d\t" % (HOSTS, count - 1), r"%d\." % (count - 1), 60)
    first = spent(pids) - before
    with open("/proc/%d/status" % terminal.process.pid) as status:
        peak = [int(line.split()[1]) for line in status if line.startswith("VmHWM")][0]
    later = []
    for number in range(count - 999, count - 990):
        terminal.send("\x15")
        terminal.settle()
        before = spent(pids)
        large.timed(terminal, "cat :%s.%d\t" % (HOSTS, number), r"%d\." % number, 60)
        later.append(spent(pids) - before)
    terminal.close()
    daemon.close()
    return first, sorted(later)[4], peak


def first_tab(large):
    """The first Tab among many hosts, on a terminal, and the ones after it. It grows with the hosts and no faster."""
    growth = [tabs(large, count) for count in (10000, 20000, 40000)]
    large.row("first Tab in 10,000 hosts", "ms, with daemon", None, None, growth[0][0] / 1000, None, 800)
    large.row("first Tab in 10,000 hosts", "peak KiB", None, None, growth[0][2], None, 49152)
    large.row("a further Tab there", "ms, with daemon", None, None, growth[0][1] / 1000, None, 5)
    for smaller, larger, name in ((0, 1, "20,000 hosts"), (1, 2, "40,000 hosts")):
        few, many = growth[smaller][0], growth[larger][0]
        large.row("first Tab in " + name, "us, to half as many", few, None, many, many / few, 2.6)


def template(large, directory):
    daemon = large.hosts(5000)
    time, peak = cost(large, daemon, directory, "cat :%s.*.HostName" % HOSTS)
    large.row("cat *.HostName, 5,000 hosts", "ms, with daemon", None, None, time / 1000, None, 100)
    large.row("cat *.HostName, 5,000 hosts", "peak KiB", None, None, peak, None, 12288)
    daemon.close()


def every_node(large, directory):
    daemon = large.harness.Obxd("--rows", "1", model=large.model)
    client = daemon.client()
    names = client.call("GetParameterNames", {"ParameterPath": ".", "NextLevel": False})["ParameterList"]
    objects = [element["Name"] for element in names if element["Name"].endswith(".")]
    client.close()
    values = subprocess.run(large.piped(daemon, directory, "every", *["ls :%s" % name for name in objects]),
                            stdout=subprocess.PIPE, check=True, text=True).stdout
    assert len(values.splitlines()) > len(objects), "the objects are not listed"
    _, peak = cost(large, daemon, directory, *["ls :%s" % name for name in objects])
    large.row("every object of %d listed" % len(objects), "peak KiB", None, None, peak, None, 12288)
    daemon.close()


def bombs(large, directory):
    """Messages that would take many times their length: what they cost is told in a line."""
    answers = os.path.join(directory, "bomb.py")
    with open(answers, "w") as out:
        out.write(BOMB)
    for piece, name in (("{},", "empty objects"), ("[[[]]],", "lists in lists"), ("1,", "numbers")):
        path = os.path.join(directory, "bomb.sock")
        with subprocess.Popen(["/usr/bin/python3", answers, path, piece], stdout=subprocess.PIPE) as server:
            server.stdout.readline()
            command = [large.harness.OBXC, "-u", path, "-r", "cat", "Device."]
            ((_, _, peak, busy),) = large.interleave(1, command)
            server.kill()
        os.unlink(path)
        large.row("63 MiB of " + name, "peak KiB", None, None, peak, None, 3 * 63 * 1024 + 8192)
        large.row("63 MiB of " + name, "ms of the client", None, None, busy / 1000, None)


BOMB = """
import socket, sys, json
server = socket.socket(socket.AF_UNIX)
server.bind(sys.argv[1])
server.listen()
print("ready", flush=True)
text = sys.argv[2] * (63 * 1048576 // len(sys.argv[2])) + "1"
while True:
    client, _ = server.accept()
    line = client.makefile("rb").readline()
    try:
        number = json.loads(line)["id"]
        client.sendall(b'{"jsonrpc":"2.0","id":%d,"result":{"a":[' % number + text.encode() + b"]}}\\n")
    except (ValueError, OSError):
        pass
    client.close()
"""


def bench_large(*tools):
    with tempfile.TemporaryDirectory(dir="/var/tmp") as directory:
        large = Large(*tools, directory)
        listing(large, directory)
        first_tab(large)
        template(large, directory)
        every_node(large, directory)
        served.bench_served(large, directory)
        bombs(large, directory)
