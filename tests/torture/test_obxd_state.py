"""What the daemon has saved: it is there after a crash at any moment, on a full disk, and beside damaged files."""

import contextlib
import json
import os
import subprocess
import tempfile
import time

import pytest

import harness

HOST = "Device.DeviceInfo.HostName"


def state(obxd, *names):
    return os.path.join(obxd.directory, "state", *names)


def leftovers(place):
    found = []
    for top, _, names in os.walk(place):
        found += [name for name in names if not name.endswith(".json") or name.startswith((".", "fetch-"))]
    return found


@pytest.fixture
def quick_place(directory):
    """A state directory where a write costs little: what is killed is the program, not the machine."""
    if not os.access("/dev/shm", os.W_OK):
        yield os.path.join(directory, "state")
        return
    with tempfile.TemporaryDirectory(prefix="obx", dir="/dev/shm") as path:
        yield os.path.join(path, "state")


def saves(rng, values):
    """Requests that set each of the values and save it, to be sent at once."""
    text = b""
    for value in values:
        params = {"ParameterList": [{"Name": HOST, "Value": value}]}
        text += json.dumps({"jsonrpc": "2.0", "id": "set", "method": "SetParameterValues", "params": params}).encode()
        point = {"RestorePointName": "point"} if rng.random() < 0.5 else {}
        text += json.dumps({"jsonrpc": "2.0", "id": "save", "method": "SaveConfig", "params": point}).encode()
    return text


def answered(client):
    """How many of the saves of a daemon that is no more were answered."""
    count = 0
    with contextlib.suppress(OSError):
        while answer := client.receive():
            assert "result" in answer, answer
            count += answer["id"] == "save"
    return count


def test_kill_during_saving(start_obxd, rng, budget, quick_place):
    """What was answered is there; what was not is there whole or not at all."""
    obxd = start_obxd(*harness.SMALL, "--state", quick_place)
    client = obxd.client()
    watch = time.monotonic()
    client.call("SaveConfig")
    usual = time.monotonic() - watch
    saved = "box"
    for number in budget.rounds(at_least=500, at_most=100000):
        asked = ["%d-%d-%s" % (number, step, "x" * rng.randrange(20)) for step in range(200)]
        client.send(saves(rng, asked))
        time.sleep(min(0.1, rng.random() * 4 * usual))
        obxd.kill()
        done = answered(client)
        client.close()
        obxd.start()
        client = obxd.client()
        found = client.get(HOST)
        assert found in ([saved] + asked)[done:], (found, done, saved, asked)
        saved = found
        assert leftovers(quick_place) == [] and obxd.errors() == ""
    client.close()


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
