"""download, upgrade and upload."""

import hashlib
import json
import os
import re
import socket
import threading

import pytest

import harness
from harness import ScriptedDaemon, obxc

DOWNLOAD = "syntax: %s <firmware|config|file> <path_to_file> [<target_file_name>]\n"
UPLOAD = "syntax: upload config <remote_url> [<target_file_name>]\n"


@pytest.fixture
def local_file(directory):
    path = os.path.join(directory, "a file.cfg")
    with open(path, "wb") as out:
        out.write(b"contents\n" * 1000)
    return path


def md5(path):
    with open(path, "rb") as data:
        return hashlib.md5(data.read()).hexdigest()


@pytest.mark.parametrize("words, text", [
    (["download"], DOWNLOAD % "download"),
    (["download", "config"], DOWNLOAD % "download"),
    (["download", "config", "a", "b", "c"], DOWNLOAD % "download"),
    (["download", "nonsense", "/etc/hostname"], DOWNLOAD % "download"),
    (["download", "Config", "/etc/hostname"], DOWNLOAD % "download"),
    (["download", "config", "/no/such/file"], DOWNLOAD % "download"),
    (["Download", "config"], DOWNLOAD % "Download"),
    (["upgrade"], DOWNLOAD % "download"),
    (["upgrade", "/no/such/file"], DOWNLOAD % "download"),
    (["upload"], UPLOAD),
    (["upload", "config"], UPLOAD),
    (["upload", "nonsense", "http://x/y"], UPLOAD),
    (["upload", "config", "a", "b", "c"], UPLOAD),
    (["upload", "config", "/no/such/file"], UPLOAD),
])
def test_syntax(scripted, words, text):
    daemon = scripted()
    done = obxc("-r", *words, daemon=daemon)
    assert done.out == text
    assert done.status == 255
    assert daemon.received == []


def test_local_file_is_named_by_its_resolved_path(scripted, local_file):
    daemon = scripted()
    link = local_file + ".link"
    os.symlink(local_file, link)
    done = obxc("-r", "download", "config", os.path.relpath(link), daemon=daemon)
    assert (done.out, done.status) == ("", 0)
    assert daemon.requests("Download") == [
        {"FileType": "Config", "URL": "file://" + local_file, "MD5": md5(local_file)}]


@pytest.mark.parametrize("words, method, members", [
    (["download", "file", "~/a file.cfg"], "Download", {"FileType": "File"}),
    (["upload", "config", "~/a file.cfg"], "Upload", {"FileType": "Config"})])
def test_a_file_below_home(scripted, local_file, words, method, members):
    daemon = scripted()
    done = obxc("-r", *words, daemon=daemon, env=harness.environment(HOME=os.path.dirname(local_file)))
    assert (done.out, done.status) == ("", 0)
    if method == "Download":
        members["MD5"] = md5(local_file)
    assert daemon.requests(method) == [dict(members, URL="file://" + local_file)]


def test_nobodys_home_is_a_name_like_others(scripted, directory):
    daemon = scripted()
    os.mkdir(os.path.join(directory, "~nosuchuser"))
    path = os.path.join(directory, "~nosuchuser", "file")
    with open(path, "w") as out:
        out.write("text")
    done = obxc("-r", "download", "file", "~nosuchuser/file", daemon=daemon, cwd=directory)
    assert (done.out, done.status) == ("", 0)
    assert [params["URL"] for params in daemon.requests("Download")] == ["file://" + path]


def test_order_of_the_params(scripted, local_file):
    daemon = scripted()
    obxc("-r", "download", "file", local_file, "target", daemon=daemon)
    params, = daemon.requests("Download")
    assert list(params) == ["FileType", "URL", "MD5", "TargetFileName"]


def test_url_is_passed_as_given(scripted):
    daemon = scripted()
    done = obxc("-r", "download", "file", "http://192.0.2.1/x", "target", daemon=daemon)
    assert (done.out, done.status) == ("", 0)
    assert daemon.requests("Download") == [
        {"FileType": "File", "URL": "http://192.0.2.1/x", "TargetFileName": "target"}]


@pytest.mark.parametrize("kind, file_type", [("config", "Config"), ("buildconfig", "BuildConfig"), ("log", "Log")])
def test_upload_kinds(scripted, local_file, kind, file_type):
    daemon = scripted()
    done = obxc("-r", "upload", kind, local_file, "name", daemon=daemon)
    assert (done.out, done.status) == ("", 0)
    assert daemon.requests("Upload") == [
        {"FileType": file_type, "URL": "file://" + local_file, "TargetFileName": "name"}]


@pytest.mark.parametrize("words", [["download", "config", "http://x/y"], ["upload", "config", "http://x/y"]])
def test_refusals_are_reported(scripted, words):
    done = obxc("-r", *words, daemon=scripted(lambda request, connection: ScriptedDaemon.error(9010, "no way")))
    assert done.out == "[9010] no way\n"
    assert done.status == 255


class Device:
    """Answers of a device during a firmware transaction."""

    def __init__(self, versions, status=1, progress=((0, 0), (50, 0), (100, -1)), fail_at=None):
        self.versions, self.status, self.progress, self.fail_at = versions, status, list(progress), fail_at
        self.downloads = 0

    def __call__(self, request, connection):
        method = request.get("method")
        if method == "Download":
            self.downloads += 1
            if self.downloads == self.fail_at:
                return ScriptedDaemon.error(9018, "File corrupted")
            result = {"Status": self.status, "CurrentVersion": self.versions[0], "NewVersion": self.versions[1],
                      "SavedFirmware": "/tmp/saved.img", "TransactionID": 77}
            return ScriptedDaemon.result(result)
        if method == "GetParameterValues" and "Upgrade" in request["params"]["ParameterNames"][0]:
            percent, status = self.progress.pop(0) if len(self.progress) > 1 else self.progress[0]
            assert request["params"]["ParameterNames"] == ["Device.DeviceInfo.UpgradeProgress",
                                                           "Device.DeviceInfo.UpgradeStatus"]
            return ScriptedDaemon.result({"ParameterList": [
                {"Name": "Device.DeviceInfo.UpgradeProgress", "Value": percent},
                {"Name": "Device.DeviceInfo.UpgradeStatus", "Value": status}]})
        return ScriptedDaemon.result({})


ORDER = {"NeedPreUpdate": False, "URL": "file:///tmp/saved.img", "TransactionID": 77}


def check_steps(daemon, ordered):
    downloads = daemon.requests("Download")
    assert downloads[0]["NeedPreUpdate"] is True
    assert downloads[1] == dict(downloads[0], NeedPreUpdate=False)
    assert downloads[2:] == ([dict(downloads[0], **ORDER)] if ordered else [])


@pytest.mark.parametrize("current, new, text, ordered, resets", [
    ("1.2.3", "1.2.3", "", False, 0),
    ("1.2.3", "1.2.4", "Build upgrade...\n", True, 0),
    ("1.2.4", "1.2.3", "Build downgrade...\n", True, 0),
    ("1.2.3", "1.3.0", "Minor upgrade...\n", True, 0),
    ("1.3.0", "1.2.9", "Minor downgrade...\n", True, 0),
    ("1.2.3", "foreign image", "", True, 0),
    ("what", "1.2.3", "", True, 0),
    ("what", "what", "", False, 0),
    (None, "1.2.3", "", True, 0),
    ("1.2.3", 5, "", True, 0),
    (" v1.2.3", "1.3\n", "Minor upgrade...\n", True, 0),
    ("SWITCH-1.2.3", "ROUTER-1.2.3", "Resetting config...\nStatus: OK\n", True, 1),
    ("SWITCH-1.2.3", "switch-1.3", "Minor upgrade...\n", True, 0),
])
def test_firmware_versions(scripted, local_file, current, new, text, ordered, resets):
    daemon = scripted(Device((current, new)))
    done = obxc("-r", "upgrade", local_file, daemon=daemon)
    assert done.out == text + "Flashing: @\nStatus: OK\n"
    assert done.status == 0
    check_steps(daemon, ordered)
    assert daemon.requests("FactoryReset") == [{}] * resets


@pytest.mark.parametrize("answer, resets, flashed", [
    ("n", 0, True), ("", 0, True), ("x", 0, True), ("y", 1, True), ("Y", 1, True), ("c", 0, False), ("C", 0, False),
])
@pytest.mark.parametrize("versions, text", [(("1.2.3", "2.0"), "Major upgrade..."), (("2.0", "1.9"), "Major downgrade...")])
def test_configuration_question(scripted, terminal, local_file, answer, resets, flashed, versions, text):
    daemon = scripted(Device(versions))
    shell = terminal(daemon=daemon)
    shell.prompt()
    shell.send("upgrade '%s'\r" % local_file)
    shell.wait_for(re.escape(text))
    shell.wait_line(r"Reset config\[\(N\)o/\(y\)es/\(c\)ancel\]")
    shell.send(answer + "\r")
    if flashed:
        assert shell.end() == 0
        check_steps(daemon, True)
        assert "Flashing: [" in shell.text() and "100%" in shell.text()
    else:
        shell.prompt()
        assert daemon.requests("Download")[2:] == [{"FileType": "Firmware", "TransactionID": 77}]
    assert daemon.requests("FactoryReset") == [{}] * resets
    assert ("Resetting config..." in shell.text()) == bool(resets)


def test_end_of_input_answers_no(scripted, local_file):
    daemon = scripted(Device(("1.0", "2.0")))
    done = obxc("-r", "upgrade", local_file, daemon=daemon)
    assert done.status == 0
    check_steps(daemon, True)
    assert daemon.requests("FactoryReset") == []


def test_status_zero_flashes_at_once(scripted, local_file):
    daemon = scripted(Device(("1.0", "9.0"), status=0))
    done = obxc("-r", "download", "firmware", local_file, daemon=daemon)
    assert done.out == "Flashing: @\nStatus: OK\n"
    check_steps(daemon, False)


@pytest.mark.parametrize("step", [1, 2])
def test_a_bad_image_ends_the_transaction(scripted, local_file, step):
    daemon = scripted(Device(("1.0", "1.1"), fail_at=step))
    done = obxc("-r", "upgrade", local_file, daemon=daemon)
    assert done.out == "[9018] File corrupted\n"
    assert done.status == 255
    assert len(daemon.requests("Download")) == step


def test_marks_of_the_progress(scripted, local_file):
    progress = [(0, 0), (1, 0), (2, 0), (12, 0), (13, 0), (14, 0), (14, 0), (20, 0), (0, -1)]
    done = obxc("-r", "upgrade", local_file, daemon=scripted(Device(("1.0", "1.0"), progress=progress)))
    assert done.out == "Flashing: *@*@\nStatus: OK\n"


def test_progress_is_one_line_on_a_terminal(scripted, terminal, local_file):
    progress = [(n, 0) for n in range(0, 100, 9)] + [(100, -1)]
    shell = terminal("-r", "upgrade", local_file, daemon=scripted(Device(("1.0", "1.0"), progress=progress)), columns=60)
    assert shell.end() == 0
    lines = shell.text().split("\n")
    assert len(lines) == 2 and lines[1] == "Status: OK"
    assert re.match(r"Flashing: \[#+\] 100%", lines[0])


def test_keys_during_the_flashing_wait_for_the_prompt(scripted, terminal, local_file):
    """They break no row, and whoever reads the terminal next gets them."""
    device = Device(("1.0", "1.0"), progress=[(3, 0)])
    daemon = scripted(device)
    command = "%s -u %s -r upgrade '%s'; head -n 1" % (harness.OBXC, daemon.socket, local_file)
    shell = terminal(command=["sh", "-c", command])
    shell.wait_for(r"^Flashing: \[.* +3%")
    shell.send("ab\rc")
    seen = len(daemon.requests("GetParameterValues"))
    shell.wait(lambda: len(daemon.requests("GetParameterValues")) > seen + 1, "the next look at the progress")
    device.progress = [(70, 0), (100, -1)]
    shell.wait_for("^Status: OK")
    shell.wait_for("^ab$")
    assert shell.end() == 0
    lines = shell.text().split("\n")
    assert re.fullmatch(r"Flashing: \[#+\] 100%[*@]?", lines[0]) and lines[1:] == ["Status: OK", "ab"]
    assert shell.modes() == (True, True)


def test_ctrl_c_during_the_flashing_gives_the_keys_to_the_shell(scripted, terminal, local_file):
    shell = terminal(daemon=scripted(Device(("1.0", "1.0"), progress=[(3, 0)])))
    shell.prompt()
    shell.send("upgrade '%s'\r" % local_file)
    shell.wait_line(r"Flashing: \[.* +3%.*")
    assert shell.modes() == (False, True)
    shell.interrupt()
    shell.prompt()
    shell.send("sh stty -a | grep -ow -e -echo -e echo\r")
    shell.wait_for("^echo$")


def test_flashing_in_the_background_goes_on(scripted, terminal, local_file):
    """Only the foreground may change the terminal; who else tries is stopped."""
    daemon = scripted(Device(("1.0", "1.0"), progress=[(3, 0), (100, -1)]))
    command = "set -m; %s -u %s -r upgrade '%s' & wait $!; echo ended: $?" % (harness.OBXC, daemon.socket, local_file)
    shell = terminal(command=["bash", "-c", command])
    shell.wait_for("^ended: 0$")
    assert shell.end() == 0


def test_the_shells_history_outlives_the_upgrade(scripted, terminal, local_file):
    daemon = scripted(Device(("1.0", "1.0")))
    command = "%s -u %s; echo history:; cat $OBX_TEST_TMP/.obxc.hist" % (harness.SHELL, daemon.socket)
    shell = terminal(command=["sh", "-c", command])
    shell.run("pwd")
    shell.send("upgrade '%s'\r" % local_file)
    assert shell.end() == 0
    assert shell.text().split("history:\n")[1].endswith("pwd\nupgrade '%s'" % local_file)


def test_a_daemon_that_goes_away_ends_the_flashing(scripted, local_file):
    device = Device(("1.0", "1.0"), progress=[(3, 0)])

    def answer(request, connection):
        if request.get("method") == "GetParameterValues" and len(daemon.requests("GetParameterValues")) > 2:
            daemon.listener.close()
            return ScriptedDaemon.CLOSE
        return device(request, connection)

    daemon = scripted(answer)
    done = obxc("-r", "upgrade", local_file, daemon=daemon)
    assert done.out == "Flashing: *\nStatus: OK\n"
    assert done.status == 0


NOT_FLASHED = "[9010] File transfer failure: the firmware was not flashed\n"


@pytest.mark.parametrize("progress, out", [
    (((0, 1), (50, 1), (50, -2)), "@\n" + NOT_FLASHED),
    (((0, -2),), "\n" + NOT_FLASHED),
    (((0, 1), (0, -7)), "\n" + NOT_FLASHED),
    (((0, 1), (100, 2), (100, -1)), "@\nStatus: OK\n"),
])
def test_flashing_that_fails_is_no_success(scripted, local_file, progress, out):
    done = obxc("-r", "upgrade", local_file, daemon=scripted(Device(("1.0", "2.0"), status=0, progress=progress)))
    assert done.out == "Flashing: " + out
    assert done.status == (1 if "9010" in out else 0)


@pytest.mark.parametrize("running, out", [("1.0", NOT_FLASHED), ("2.0", "Status: OK\n"), (None, "Status: OK\n")])
def test_a_device_that_is_back_at_rest_has_restarted(scripted, local_file, running, out):
    """Its version tells whether the firmware was flashed; where it tells none, nothing speaks against it."""
    device = Device(("1.0", "2.0"), status=0, progress=((10, 1), (0, 0)))

    def answer(request, connection):
        if "SoftwareVersion" in json.dumps(request.get("params")):
            rows = [{"Name": "Device.DeviceInfo.SoftwareVersion", "Value": running}] if running else []
            return ScriptedDaemon.result({"ParameterList": rows})
        return device(request, connection)

    done = obxc("-r", "upgrade", local_file, daemon=scripted(answer))
    assert done.out == "Flashing: @\n" + out
    assert done.status == (0 if "OK" in out else 1)


def test_a_refused_order_on_a_device_at_rest_ends(scripted, local_file):
    daemon = scripted(Device(("1.0", "1.1"), progress=((0, 0),), fail_at=3))
    done = obxc("-r", "upgrade", local_file, daemon=daemon)
    assert done.out == "Minor upgrade...\nFlashing: \n[9018] File corrupted\n"
    assert done.status == 1


def test_the_answer_to_the_order_decides_nothing(scripted, local_file):
    """Only what the device does."""
    daemon = scripted(Device(("1.0", "1.1"), progress=((0, 0), (50, 0), (100, -1)), fail_at=3))
    done = obxc("-r", "upgrade", local_file, daemon=daemon)
    assert done.out == "Minor upgrade...\nFlashing: @\nStatus: OK\n"
    assert done.status == 0


class TcpDaemon(ScriptedDaemon):
    """The scripted daemon on a TCP port of the loopback address."""

    def __init__(self, answer=None):
        super().__init__(answer)
        self.listener.close()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.socket = "tcp://127.0.0.1:%d" % self.listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()


@pytest.fixture
def remote():
    started = []

    def start(answer=None):
        started.append(TcpDaemon(answer))
        return started[-1]

    yield start
    for each in started:
        each.close()


def fetch(url, limit=None):
    """What a daemon gets from a netcat URL; with a limit it reads no more than that, and hangs up."""
    host, port = re.fullmatch(r"netcat://([\d.]+):(\d+)", url).groups()
    with socket.create_connection((host, int(port))) as connection:
        data = b""
        while limit is None or len(data) < limit:
            piece = connection.recv(65536 if limit is None else limit)
            if not piece:
                break
            data += piece
    return data


def test_remote_daemon_fetches_the_file(remote, local_file):
    fetched = []

    def answer(request, connection):
        if request["method"] == "Download":
            fetched.append(fetch(request["params"]["URL"]))
        return ScriptedDaemon.result({})

    daemon = remote(answer)
    done = obxc("-r", "download", "config", local_file, daemon=daemon)
    params, = daemon.requests("Download")
    with open(local_file, "rb") as data:
        assert fetched == [data.read()]
    assert params["FileSize"] == 9000 and params["MD5"] == md5(local_file)
    assert done.out == "Sending file (%s, 9000 bytes) via netcat (%s)...\n" % (local_file, params["URL"])
    assert done.status == 0


@pytest.mark.parametrize("words", [["download", "config", "/no/such/file"], ["download", "file", "/etc"]])
def test_remote_file_that_cannot_be_opened(remote, words):
    daemon = remote()
    done = obxc("-r", *words, daemon=daemon)
    assert done.out == "Cannot open file (%s), aborting.\n" % words[-1]
    assert done.status == 255
    assert daemon.received == []


def test_remote_upload_needs_a_url(remote, local_file):
    daemon = remote()
    done = obxc("-r", "upload", "config", local_file, daemon=daemon)
    assert (done.out, done.status) == (UPLOAD, 255)
    assert daemon.received == []


def test_served_file_that_nobody_fetches(remote, local_file, terminal):
    """The shell goes on at once; the server gives up by itself above the line that is edited, and leaves nothing
    open. While a command runs it tells so at once."""
    shell = terminal(daemon=remote())
    shell.prompt()
    assert re.fullmatch(r"Sending file \(.+, 9000 bytes\) via netcat \(netcat://[\d.]+:\d+\)\.\.\.",
                        shell.run("download config '%s'" % local_file).replace("\n", ""))
    descriptors = len(os.listdir("/proc/%d/fd" % shell.process.pid))
    assert shell.run("save") == "Status: OK"
    busy = terminal(daemon=remote())
    busy.run("download config '%s'" % local_file)
    busy.send("sh sleep 100\r")
    shell.send("pw")
    shell.wait_for(r"^Waiting timeout, abort\.\n\S*obxc:> pwd?$")
    assert "> pwd\nWaiting" not in shell.text() and shell.text().count("obxc:> pw") == 1
    harness.wait_until(lambda: len(os.listdir("/proc/%d/fd" % shell.process.pid)) < descriptors, "the end of the server")
    shell.send("d\r")
    shell.wait_for(r"obxc:> pwd\n:\n\S*obxc:>$")
    busy.wait_for(r"> sh sleep 100\nWaiting timeout, abort\.$")
    busy.interrupt()
    assert busy.run("pwd") == ":"


@pytest.mark.parametrize("kind", ["hangs up", "never reads", "file vanishes"])
def test_served_file_survives_a_bad_client(remote, directory, kind):
    """Whatever the fetching side does, the shell goes on."""
    path = os.path.join(directory, "big")
    with open(path, "wb") as out:
        out.truncate(64 << 20)
    kept = []

    def answer(request, connection):
        if request["method"] != "Download":
            return ScriptedDaemon.result({})
        url = request["params"]["URL"]
        if kind == "hangs up":
            fetch(url, 1000)
        elif kind == "never reads":
            host, port = url[len("netcat://"):].split(":")
            kept.append(socket.create_connection((host, int(port))))
        else:
            os.truncate(path, 4096)
            fetch(url)
        return ScriptedDaemon.result({})

    daemon = remote(answer)
    done = obxc("-r", "download", "file", path, daemon=daemon)
    assert done.out.startswith("Sending file (%s, 67108864 bytes)" % path)
    assert done.status == 0
    shell = harness.Terminal(daemon=daemon)
    shell.prompt()
    os.truncate(path, 64 << 20)
    shell.send("download file %s\r" % path)
    if kind != "never reads":
        shell.wait_for(r"^send\(\) failed \(expected \d+ bytes, transferred -?\d+ bytes\), abort\.")
    shell.prompt()
    assert shell.run("pwd") == ":"
    assert "OK" in shell.run("save")
    shell.close()
