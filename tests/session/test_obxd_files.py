"""The files of the daemon: who may have what written where, what is told of files that are refused, what a crash leaves,
and two daemons on one directory or socket."""

import contextlib
import fcntl
import json
import os
import signal
import socket
import subprocess

import pytest

import harness
from harness import fault

pytestmark = pytest.mark.obxd(*harness.SMALL)

HOST = "Device.DeviceInfo.HostName"
ELSEWHERE = "Files are written below the state directory, or where --upload-dir of obxd allows"


def state(obxd, *names):
    return os.path.join(obxd.directory, "state", *names)


def upload(client, path, name=None):
    params = {"FileType": "Config", "URL": "file://%s" % path}
    return client.request("Upload", params if name is None else {**params, "TargetFileName": name})


def test_without_an_option_files_are_written_below_the_state_directory_alone(obxd, client, tmp_path):
    assert "result" in upload(client, state(obxd, "mine.json"))
    assert "result" in upload(client, state(obxd, "files"))
    assert "result" in upload(client, state(obxd), "other.json")
    assert all(os.path.getsize(state(obxd, *name)) > 10 for name in (("mine.json",), ("files", "config.json"), ("other.json",)))
    for path in (tmp_path, tmp_path / "x", obxd.directory, obxd.directory + "/x", state(obxd) + "x/y", "/x",
                 state(obxd, "..", "x"), state(obxd, "files", "..", "..", "x"), state(obxd, ".", "x")):
        assert fault(upload(client, path)) == (9012, ELSEWHERE)
    assert os.listdir(tmp_path) == [] and sorted(os.listdir(obxd.directory)) == ["obxd.log", "obxd.sock", "state"]


@pytest.mark.parametrize("name", ["config.json", "state.json", "restore", "restore/x.json", "firmware/x.img", "fetch-1-1",
                                  ".obxd-0123456789abcdef"])
def test_the_daemons_own_files_are_not_written_over(obxd, client, name):
    client.call("SaveConfig", {"RestorePointName": "x"})
    before = tree(state(obxd))
    assert fault(upload(client, state(obxd, name))) == (9012, ELSEWHERE)
    assert tree(state(obxd)) == before


def tree(top):
    found = {}
    for path, _, names in os.walk(top):
        for name in names:
            with open(os.path.join(path, name), "rb") as file:
                found[os.path.join(path, name)] = file.read()
    return found


@pytest.mark.parametrize("name", ["../x", "a/b", "..", ".", "", "/etc/x", "x" * 256])
def test_target_names_lead_nowhere_else(obxd, client, name):
    before = tree(state(obxd))
    assert fault(upload(client, state(obxd), name)) == (9003, '"TargetFileName" is no file name')
    answer = client.request("Download", {"FileType": "File", "URL": "file:///etc/hostname", "TargetFileName": name})
    assert fault(answer) == (9003, '"TargetFileName" is no file name')
    assert tree(state(obxd)) == before
    assert sorted(os.listdir(obxd.directory)) == ["obxd.log", "obxd.sock", "state"]


def test_target_names_are_not_those_of_the_daemons_own_files(obxd, client):
    assert fault(upload(client, state(obxd))) == (9012, ELSEWHERE)
    assert fault(upload(client, state(obxd), "state.json")) == (9012, ELSEWHERE)
    assert "result" in client.request("Download", {"FileType": "File", "URL": "file:///etc/hostname",
                                                   "TargetFileName": "config.json"})
    assert sorted(os.listdir(state(obxd))) == ["files", "firmware", "restore"]


def test_an_option_allows_further_directories_and_links_lead_out_of_none(start_obxd, tmp_path):
    allowed, other, alias = tmp_path / "allowed", tmp_path / "other", tmp_path / "alias"
    for each in (allowed, other, allowed / "sub"):
        each.mkdir()
    alias.symlink_to(allowed)
    (other / "victim").write_text("as it was")
    (allowed / "out").symlink_to(other)
    (allowed / "link").symlink_to(other / "victim")
    os.link(other / "victim", allowed / "hard")
    os.mkfifo(allowed / "fifo")
    obxd = start_obxd("--upload-dir", str(alias), "--upload-dir", "/nonexistent")
    client = obxd.client()
    for path in (allowed / "a", alias / "b", allowed / "sub" / "c", allowed / "hard"):
        assert "result" in upload(client, path)
    assert "result" in upload(client, allowed)
    assert sorted(os.listdir(allowed)) == ["a", "b", "config.json", "fifo", "hard", "link", "out", "sub"]
    assert fault(upload(client, allowed / "out" / "x")) == (9012, "Not a directory")
    for path in (allowed / "link", allowed / "fifo", allowed / "out"):
        assert fault(upload(client, path)) == (9012, "No regular file")
    assert fault(upload(client, allowed / "none" / "x")) == (9012, "No such file or directory")
    assert fault(upload(client, allowed / ".." / "other" / "x")) == (9012, ELSEWHERE)
    assert fault(upload(client, str(allowed) + "x")) == (9012, ELSEWHERE)
    assert fault(upload(client, "/nonexistent/x")) == (9012, "No such file or directory")
    assert fault(upload(client, other / "x")) == (9012, ELSEWHERE)
    assert os.listdir(other) == ["victim"] and (other / "victim").read_text() == "as it was"


SECRET = "xyzzysecretxyzzy"


@pytest.mark.parametrize("text", [
    SECRET, '"%s"' % SECRET, '{"%s' % SECRET, '{"a": %s}' % SECRET, '{"format": "obxd-config-1", "config": %s}' % SECRET,
    '{"%s": 1}' % SECRET, '{"format": "obxd-config-1", "config": {"%s": 1}}' % SECRET,
    '{"format": "obxd-config-1", "config": {"Device": {"DeviceInfo": {"HostName": ["%s"]}}}}' % SECRET,
    '{"format": "obxd-config-1", "config": {"Device": {"DeviceInfo": {"DeviceMode": "%s"}}}}' % SECRET,
    '{"format": "obxd-config-1", "config": {"Device": {"DeviceInfo": {"%s": "x"}}}}' % SECRET,
    "OBXFW 1\nVersion: %s /\nSize: 1\nSHA256: %s\n\nx" % (SECRET, SECRET),
    "OBXFW 1\nVersion: %s\nSize: 1\nSHA256: %s\n\nx" % (SECRET, SECRET * 4),
    "a\0" + SECRET, "\xff" + SECRET,
])
def test_nobody_is_told_a_word_of_a_file_that_is_refused(obxd, client, tmp_path, text):
    path = tmp_path / "file"
    path.write_bytes(text.encode("latin-1"))
    client.call("JoinGroup", {"Group": 2})
    for params in ({"FileType": "Config"}, {"FileType": "Firmware", "NeedPreUpdate": True},
                   {"FileType": "File", "MD5": "0" * 32}, {"FileType": "File", "FileSize": 1}):
        answer = client.request("Download", {**params, "URL": "file://%s" % path})
        assert "error" in answer and SECRET not in str(answer), answer
    assert "result" in client.request("Upload", {"FileType": "Log", "URL": "file://" + state(obxd, "log")})
    with open(state(obxd, "log")) as log:
        assert SECRET not in log.read() + obxd.errors()
    assert not client.events and os.listdir(state(obxd, "files")) == []


@pytest.mark.parametrize("option", ["--users", "--model", "--values", "--tls-cert"])
@pytest.mark.parametrize("text", [SECRET, "root:%s:0:0" % SECRET, '{"a": %s' % SECRET, '{"a": "%s' % SECRET])
def test_nor_at_the_start(tmp_path, option, text):
    path = tmp_path / "file"
    path.write_text(text)
    words = [harness.OBXD, "--socket", str(tmp_path / "sock"), option, str(path)]
    if option == "--tls-cert":
        words += ["--tls-key", str(path)]
    done = subprocess.run(words, capture_output=True, text=True, timeout=harness.PATIENCE)
    assert done.returncode == 1 and done.stdout == "" and SECRET not in done.stderr
    assert done.stderr.startswith("obxd: %s" % path) and done.stderr.count("\n") == 1


def test_what_a_crash_left_is_removed(obxd, client):
    client.call("SaveConfig", {"RestorePointName": "a.json.abc"})
    with open(state(obxd, "files", "kept"), "w"):
        pass
    obxd.kill()
    before = tree(state(obxd))
    begun = ["config.json.a1B2c3", "state.json.XXXXXX", "restore/a.json.Q1w2E3", "fetch-17-0", "fetch-1-22",
             "firmware/0123456789abcdef.img", ".obxd-0123456789abcdef", "restore/.obxd-0123456789abcdef",
             "files/.obxd-fedcba9876543210"]
    for name in begun:
        with open(state(obxd, name), "w") as file:
            file.write("half")
    others = [".obxd-note", "config.json.backup", "files/config.json.a1B2c3"]
    for name in others:
        with open(state(obxd, name), "w") as file:
            file.write("kept")
    obxd.start()
    assert set(tree(state(obxd))) == set(before) | {state(obxd, name) for name in others}


def test_a_download_that_a_crash_cut_off_is_removed(obxd, client):
    with socket.create_server(("127.0.0.1", 0)) as server:
        client.send({"jsonrpc": "2.0", "id": 1, "method": "Download", "params": {
            "FileType": "File", "URL": "netcat://127.0.0.1:%d" % server.getsockname()[1], "TargetFileName": "x"}})
        connection, _ = server.accept()
        connection.sendall(b"half")
        harness.wait_until(lambda: any(name.startswith("fetch-") for name in os.listdir(state(obxd))), "the file")
        obxd.kill()
        connection.close()
    assert any(name.startswith("fetch-") for name in os.listdir(state(obxd)))
    obxd.start()
    assert sorted(os.listdir(state(obxd))) == ["files", "firmware", "restore"]


def run(*words, **options):
    return subprocess.run([harness.OBXD, *words], capture_output=True, text=True, timeout=harness.PATIENCE, **options)


def test_a_second_daemon_on_one_state_directory(obxd, tmp_path):
    done = run("--socket", str(tmp_path / "sock"), "--state", state(obxd))
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == "obxd: %s: another obxd uses it\n" % state(obxd)
    assert os.listdir(tmp_path) == []
    assert obxd.client().get(HOST) == "box"
    obxd.kill()
    obxd.start()  # a crash leaves no lock


def test_a_second_daemon_on_one_socket(obxd, tmp_path):
    done = run("--socket", obxd.socket, "--state", str(tmp_path / "state"))
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == "obxd: %s: another daemon serves it\n" % obxd.socket
    assert obxd.client().get(HOST) == "box"


def test_daemons_that_start_at_once_on_one_socket(directory):
    """A socket that a crash has left lies there."""
    path = os.path.join(directory, "sock")
    for _ in range(10):
        left = socket.socket(socket.AF_UNIX)
        left.bind(path)
        left.close()
        daemons = [subprocess.Popen([harness.OBXD, "--socket", path, *harness.SMALL], stdout=subprocess.PIPE,
                                    stderr=subprocess.PIPE, env=harness.environment(TMPDIR=directory)) for _ in range(5)]
        ready = [daemon.stdout.readline() for daemon in daemons]
        assert sum(bool(line) for line in ready) == 1, ready
        with contextlib.closing(harness.Client(path)) as client:
            assert "result" in client.login()
        for daemon, line in zip(daemons, ready):
            if line:
                daemon.terminate()
            _, errors = daemon.communicate(timeout=harness.PATIENCE)
            assert (daemon.returncode, errors) == ((0, b"") if line else (
                1, b"obxd: %s: another daemon serves it\n" % path.encode()))
        assert os.listdir(directory) == []


def test_the_socket_of_another_daemon_is_not_removed(start_obxd):
    first = start_obxd()
    os.unlink(first.socket)
    second = start_obxd()
    second.stop()
    second.socket = first.socket
    second.start()
    first.stop()
    assert second.client().get(HOST) == "box"


def test_somebody_who_holds_the_directory_of_the_socket_holds_up_no_start(obxd):
    obxd.stop()
    held = os.open(obxd.directory, os.O_RDONLY)
    fcntl.flock(held, fcntl.LOCK_EX)
    obxd.start()
    os.close(held)


def test_temporary_directories_of_daemons_that_crashed_are_removed(directory):
    env = harness.environment(TMPDIR=directory)

    def start(name):
        daemon = subprocess.Popen([harness.OBXD, "--socket", os.path.join(directory, name), *harness.SMALL],
                                  stdout=subprocess.PIPE, env=env)
        assert daemon.stdout.readline()
        return daemon

    def directories():
        return sorted(name for name in os.listdir(directory) if name.startswith("obxd-"))

    os.mkdir(os.path.join(directory, "obxd-backup"))  # somebody's own
    crashed, running = start("a"), start("b")
    crashed.kill()
    crashed.wait()
    assert len(directories()) == 3
    third = start("c")
    assert len(directories()) == 3
    for daemon in (running, third):
        daemon.send_signal(signal.SIGTERM)
        assert daemon.wait(harness.PATIENCE) == 0
        daemon.stdout.close()
    crashed.stdout.close()
    assert directories() == ["obxd-backup"]


def refused_ranks(obxd):
    """How many of guest, user, administrator and root may not do each of these. None is done."""
    wrong = [{"Name": "None", "Value": 1}]
    asked = [("Reboot", {"DeviceMode": "none"}), ("FactoryReset", {"DeviceMode": "none"}),
             ("Execute", {"Path": "Device.Reboot", "ParameterList": wrong}),
             ("Execute", {"Path": "Device.FactoryReset", "ParameterList": wrong})]
    counts = [0] * len(asked)
    for login in (None, "user", "admin", "root"):
        with contextlib.closing(obxd.client(login)) as client:
            for number, (method, params) in enumerate(asked):
                counts[number] += client.request(method, params)["error"]["code"] == 9001
    return counts


@pytest.mark.parametrize("rank, count", [("guest", 0), ("user", 1), ("admin", 2), ("system", 2), (None, 2)])
def test_one_right_for_a_request_and_the_method_of_the_same_effect(start_obxd, tmp_path, rank, count):
    method = {"type": "method", **({"write": rank} if rank else {})}
    mode = {"type": "string", "default": "Router", "enum": ["Router"]}
    path = tmp_path / "model.json"
    path.write_text(json.dumps({"schema": {"Device": {
        "DeviceInfo": {"DeviceMode": mode, "SoftwareVersion": {"type": "string", "default": "1"}},
        "Reboot": method, "FactoryReset": method}}}))
    users = os.path.join(harness.SOURCE, "models", "users.json")
    assert refused_ranks(start_obxd("--model", str(path), "--users", users)) == [count] * 4
