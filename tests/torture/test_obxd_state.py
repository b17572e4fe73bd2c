"""What the daemon has saved: it is there after a crash at any moment, on a full disk, and beside damaged files."""

import contextlib
import os
import subprocess
import threading

import pytest

import harness

HOST = "Device.DeviceInfo.HostName"


def state(obxd, *names):
    return os.path.join(obxd.directory, "state", *names)


def leftovers(obxd):
    found = []
    for top, _, names in os.walk(state(obxd)):
        found += [name for name in names if not name.endswith(".json") or name.startswith((".", "fetch-"))]
    return found


def test_kill_during_saving(start_obxd, rng, budget):
    """What was answered is there; what was not is there whole or not at all."""
    obxd = start_obxd(*harness.SMALL)
    saved = "box"
    for number in budget.rounds(at_least=20, at_most=500):
        client = obxd.client()
        stop = threading.Timer(rng.random() * 0.02, obxd.process.kill)
        asked = saved
        stop.start()
        with contextlib.suppress(OSError, harness.SessionFailure, BrokenPipeError):
            for step in range(1000):
                asked = "%d-%d-%s" % (number, step, "x" * rng.randrange(20))
                client.call("SetParameterValues", {"ParameterList": [{"Name": HOST, "Value": asked}]})
                client.call("SaveConfig", {"RestorePointName": "point"} if rng.random() < 0.5 else {})
                saved = asked
        stop.join()
        obxd.kill()
        obxd.start()
        with contextlib.closing(obxd.client()) as client:
            found = client.get(HOST)
        assert found in (saved, asked), (found, saved, asked)
        saved = found
        assert leftovers(obxd) == [] and obxd.errors() == ""


@pytest.fixture
def small_disk(directory):
    """A function that mounts a file system of so many KiB; returns its path."""
    mounted = []

    def mount(size_kib):
        path = os.path.join(directory, "disk")
        os.mkdir(path)
        done = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=%dk" % size_kib, "tmpfs", path], capture_output=True)
        if done.returncode != 0:
            pytest.skip("no file system can be mounted here: " + done.stderr.decode())
        mounted.append(path)
        return path

    yield mount
    for path in mounted:
        subprocess.run(["umount", path], check=True)


def test_a_full_disk(small_disk, start_obxd, rng, budget):
    disk = small_disk(96)
    obxd = start_obxd(*harness.SMALL, "--state", os.path.join(disk, "state"))
    filler = os.path.join(disk, "filler")
    saved, refused = "box", 0
    for number in budget.rounds(at_least=20, at_most=1000):
        with contextlib.suppress(OSError), open(filler, "wb", buffering=0) as file:
            file.write(b"x" * rng.randrange(100000))
        client = obxd.client()
        for step in range(5):
            value = "%d-%d" % (number, step)
            client.set(HOST, value)
            name = {"RestorePointName": "p%d" % rng.randrange(8)} if rng.random() < 0.5 else {}
            response = client.request("SaveConfig", name)
            if "result" in response:
                saved = value
            else:
                refused += 1
                code, detail = harness.fault(response)
                assert (code, detail) == (9004, "No space left on device")
        client.close()
        if rng.random() < 0.3:
            obxd.kill()
            with contextlib.suppress(FileNotFoundError):
                os.unlink(filler)
            obxd.start()
            with contextlib.closing(obxd.client()) as client:
                found = client.get(HOST)
            # A restore point that could be written before the configuration could not is no harm.
            assert found == saved
        names = [name for _, _, files in os.walk(os.path.join(disk, "state")) for name in files]
        assert all(name.endswith(".json") for name in names), names
    assert refused > 0


def test_damaged_files(start_obxd, rng, budget):
    """The daemon starts, tells of what it cannot use in one line each, and serves."""
    obxd = start_obxd(*harness.SMALL)
    client = obxd.client()
    client.set(HOST, "saved")
    for _ in range(3):
        client.call("AddObject", {"ObjectName": "Device.List.Entry."})
    client.call("SaveConfig", {"RestorePointName": "point"})
    client.close()
    names = ("config.json", "state.json", "restore/point.json")
    whole = {}
    for name in names:
        with open(state(obxd, name), "rb") as file:
            whole[name] = file.read()
    for _ in budget.rounds(at_least=20, at_most=1000):
        obxd.kill()
        for name, data in whole.items():
            data = bytearray(data)
            for _ in range(rng.choice((0, 1, 1, 2, 20))):
                at = rng.randrange(len(data) or 1)
                change = rng.randrange(4)
                if change == 0 and data:
                    data[at] = rng.randrange(256)
                elif change == 1:
                    del data[at:at + rng.randrange(1, 50)]
                elif change == 2:
                    data[at:at] = data[rng.randrange(len(data) or 1):][:50]
                else:
                    data = data[:at]
            with open(state(obxd, name), "wb") as file:
                file.write(data)
        before = len(obxd.errors())
        obxd.start()
        lines = obxd.errors()[before:].splitlines()
        assert len(lines) <= 2 and all(line.startswith("obxd: " + state(obxd)) for line in lines), lines
        with contextlib.closing(obxd.client()) as client:
            client.get(HOST)
            number = client.call("AddObject", {"ObjectName": "Device.List.Entry."})["InstanceNumber"]
            client.call("DeleteObject", {"ObjectName": "Device.List.Entry.%d." % number})
            client.request("SaveConfig", {})


def test_two_daemons_at_once(rng, budget, directory):
    """On one socket, on one state directory, or on both; killed now and then."""
    path, place = os.path.join(directory, "sock"), os.path.join(directory, "state")
    for _ in budget.rounds(at_least=5):
        one_socket, one_place = rng.choice(((True, False), (False, True), (True, True)))
        daemons = [subprocess.Popen(
            [harness.OBXD, "--socket", path + ("" if one_socket else str(number)), *harness.SMALL,
             "--state", place + ("" if one_place else str(number))],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE) for number in range(3)]
        ready = [daemon.stdout.readline() for daemon in daemons]
        assert sum(bool(line) for line in ready) == 1, ready
        winner = ready.index(next(line for line in ready if line))
        with contextlib.closing(harness.Client(path + ("" if one_socket else str(winner)))) as client:
            assert "result" in client.login()
        killed = rng.random() < 0.5
        for number, daemon in enumerate(daemons):
            if number == winner:
                daemon.kill() if killed else daemon.terminate()
            _, errors = daemon.communicate(timeout=harness.PATIENCE)
            if number != winner:
                assert daemon.returncode == 1 and errors.count(b"\n") == 1, errors
                assert b"another daemon serves it" in errors or b"another obxd uses it" in errors
            elif not killed:
                assert daemon.returncode == 0
