"""Rows of bench/run for the daemon alone: its processor time for what many rows are read and changed with."""

import time

import large as tables

ROUNDS = 9
VALUES = {"ParameterNames": ["."]}


def memory_kib(pid):
    with open("/proc/%d/status" % pid) as status:
        return [int(line.split()[1]) for line in status if line.startswith("VmRSS")][0]


def rested_us(pid):
    """Microseconds of processor time of a process that has come to rest: its last answer is out before it has."""
    last = -1
    while (now := tables.processor_us(pid)) != last:
        last = now
        time.sleep(0.005)
    return now


def served_us(daemon, *calls):
    """The least microseconds of the daemon for the calls, made one behind the other: noise only adds to them."""
    client = daemon.client()
    times = []
    for _ in range(ROUNDS):
        before = rested_us(daemon.process.pid)
        for method, params in calls:
            client.call(method, params)
        times.append(rested_us(daemon.process.pid) - before)
    client.close()
    return min(times)


def reads(large, directory):
    """All values of many parameters, and the memory that is kept behind that."""
    growth = []
    for count in (50000, 100000, 200000):
        daemon = large.harness.Obxd(model=large.generated_model("flat", count, directory))
        before = memory_kib(daemon.process.pid)
        growth.append(served_us(daemon, ("GetParameterValues", VALUES)))
        kept = memory_kib(daemon.process.pid) - before
        daemon.close()
        if count == 50000:
            large.row("obxd: 50,000 values read", "ms", None, None, growth[0] / 1000, None, 35)
            large.row("obxd: 50,000 values read", "KiB kept behind it", None, None, kept, None, 1024)
    for few, many, name in ((growth[0], growth[1], "100,000"), (growth[1], growth[2], "200,000")):
        large.row("obxd: %s values read" % name, "us, to half as many", few, None, many, many / few, 2.6)


def change(client, pid, number):
    """Microseconds of the daemon for a row that is added and whose key is set."""
    before = rested_us(pid)
    added = client.call("AddObject", {"ObjectName": "Device.NAT.PortMapping."})["InstanceNumber"]
    row = "Device.NAT.PortMapping.%d." % added
    client.call("SetParameterValues", {"ParameterList": [{"Name": row + "ExternalPort", "Value": 20000 + number}]})
    spent = rested_us(pid) - before
    client.call("DeleteObject", {"ObjectName": row})
    return spent


def keys(large):
    """A row is added and its key set among few rows and among many."""
    medians = []
    for count in (80, 8000):
        daemon = large.harness.Obxd("--rows", "2", "--rows", "Device.NAT.PortMapping.=%d" % count, model=large.model)
        client = daemon.client()
        times = sorted(change(client, daemon.process.pid, number) for number in range(101))
        medians.append(times[50])
        client.close()
        daemon.close()
    large.row("add and set of a key, 8,000", "us, to 80 rows", medians[0], None, medians[1], medians[1] / medians[0],
              1.5)


def bench_served(large, directory):
    reads(large, directory)
    keys(large)
