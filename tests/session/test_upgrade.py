"""Firmware and other transfers with the real daemon to the end: over the local socket, and over TLS, where the
program serves the file to the daemon."""

import json
import os
import re
import signal

import pytest

import harness
from harness import make_image, obxc

HOST = "Device.DeviceInfo.HostName"
VERSION = "Device.DeviceInfo.SoftwareVersion"
CURRENT = "3.4.1"
QUESTION = r"Reset config\[\(N\)o/\(y\)es/\(c\)ancel\]"
FLASHED = r"Flashing: [*@]*@[*@]*\nStatus: OK\n"


class Router:
    """The device, near or afar. A change of its configuration was saved."""

    def __init__(self, authority, certificate, afar):
        self.house = authority
        self.afar = afar
        self.daemon = harness.remote_obxd(*harness.QUICK, *harness.UPLOADS, tls=certificate)
        self.env = authority.environment()
        self.args = ["-u", self.daemon.socket, "-a", "root:"]
        if afar:
            self.args = ["-u", self.daemon.url(), "--ssl", "-a", "admin:admin"]
        client = self.daemon.client()
        assert client.get(VERSION) == CURRENT
        self.default_host = client.get(HOST)
        client.set(HOST, "kept")
        client.call("SaveConfig")
        client.close()
        self.witness = self.daemon.client()
        self.witness.call("JoinGroup", {"Group": 2})

    def image(self, version):
        return make_image(self.house.directory, version)

    def obxc(self, *words):
        return obxc(*self.args, *words, env=self.env)

    def sending(self, path):
        """A pattern of what is printed first when a file is served."""
        if not self.afar:
            return ""
        return r"Sending file \(%s, %d bytes\) via netcat \(netcat://127\.0\.0\.1:\d+\)\.\.\.\n" % (
            re.escape(path), os.path.getsize(path))

    def rebooted(self):
        """Waits until the device went down and is back; returns its version and host name."""
        while self.witness.receive():
            pass
        return harness.wait_until(lambda: self.daemon.if_up(lambda client: (client.get(VERSION), client.get(HOST))),
                                  "the daemon's return")

    def close(self):
        self.witness.close()
        self.daemon.close()


@pytest.fixture(params=["near", "afar"])
def router(request, authority, certificate):
    made = Router(authority, certificate, request.param == "afar")
    yield made
    made.close()


@pytest.mark.parametrize("version, text, resets", [
    ("3.4.2", "Build upgrade...\n", False),
    ("3.4.0", "Build downgrade...\n", False),
    ("3.4.1-rc1", "Build downgrade...\n", False),
    ("3.5.0", "Minor upgrade...\n", False),
    ("3.3.9", "Minor downgrade...\n", False),
    (CURRENT, "", False),
    ("foreign", "", False),
    ("OTHER-4.0", "Major upgrade...\nReset config[(N)o/(y)es/(c)ancel] \n", False),
    ("4.0", "Major upgrade...\nReset config[(N)o/(y)es/(c)ancel] \n", False),  # nobody answers the question
])
def test_upgrade(router, version, text, resets):
    image = router.image(version)
    done = router.obxc("-r", "upgrade", image)
    assert re.fullmatch(router.sending(image) + re.escape(text) + FLASHED, done.out), done
    assert done.status == 0
    assert router.rebooted() == (version, router.default_host if resets else "kept")


@pytest.mark.parametrize("answer, resets", [("n", False), ("", False), ("y", True), ("Y", True)])
@pytest.mark.parametrize("version, text", [("4.0.0", "Major upgrade..."), ("2.9.9", "Major downgrade...")])
def test_upgrade_to_another_major_version(router, terminal, version, text, answer, resets):
    shell = terminal(*router.args, env=router.env)
    shell.prompt()
    image = router.image(version)
    shell.send("upgrade %s\r" % image)
    shell.wait_line(QUESTION)
    assert text in shell.text()
    shell.send(answer + "\r")
    assert shell.end() == 0
    lines = shell.text().split("\n")
    assert lines[-1] == "Status: OK"
    assert re.match(r"Flashing: \[#+\] 100%", lines[-2])
    assert ("Resetting config..." in lines) == resets
    assert router.rebooted() == (version, router.default_host if resets else "kept")


@pytest.mark.parametrize("answer", ["c", "C"])
def test_a_cancelled_upgrade_changes_nothing(router, terminal, answer):
    shell = terminal(*router.args, env=router.env)
    shell.prompt()
    shell.send("upgrade %s\r" % router.image("4.0"))
    shell.wait_line(QUESTION)
    shell.send(answer + "\r")
    shell.prompt()
    assert shell.run("cat " + VERSION) == " = '%s'" % CURRENT
    assert os.listdir(os.path.join(router.daemon.directory, "state", "firmware")) == []
    # And the next one is a transaction of its own.
    shell.send("upgrade %s\r" % router.image("3.5"))
    shell.wait_for(r"^Minor upgrade\.\.\.")
    assert shell.end() == 0
    assert router.rebooted() == ("3.5", "kept")


def test_ctrl_c_at_the_question_leaves_the_device_as_it_is(router, terminal):
    shell = terminal(*router.args, env=router.env)
    shell.prompt()
    shell.send("upgrade %s\r" % router.image("4.0"))
    shell.wait_line(QUESTION)
    shell.interrupt()
    shell.prompt()
    assert shell.run("cat " + VERSION) == " = '%s'" % CURRENT
    assert shell.run("save") == "Status: OK"


def test_the_question_is_not_the_shells_line(authority, certificate, terminal):
    """No hints, no completion of commands, and Tab takes Ctrl-C's meaning away from nobody."""
    router = Router(authority, certificate, False)
    shell = terminal(*router.args, env=router.env)
    shell.prompt()
    shell.send("upgrade %s\r" % router.image("4.0"))
    shell.wait_line(QUESTION)
    shell.send("pw")
    shell.wait_line(QUESTION + " pw.*")
    shell.send("\t")
    shell.settle()
    assert re.fullmatch(QUESTION + " pw", shell.line())
    shell.interrupt()
    shell.prompt()
    assert shell.run("cat " + VERSION) == " = '%s'" % CURRENT
    shell.send("pw")
    shell.wait_line(".*> pwd")
    shell.send("\t\r")
    shell.wait_for("^:$")
    router.close()


@pytest.mark.parametrize("mode", ["-r", "-s"])
def test_ctrl_c_at_the_question_of_a_one_shot_ends_it(authority, certificate, terminal, mode):
    """As in any other wait: by the signal, with nothing flashed and the terminal in line mode."""
    router = Router(authority, certificate, False)
    image = router.image("4.0")
    script = os.path.join(authority.directory, "upgrade.obxc")
    with open(script, "w") as file:
        file.write("upgrade %s\necho after\n" % image)
    words = ["-r", "upgrade", image] if mode == "-r" else ["--script=" + script]
    one_shot = terminal(*router.args, *words, env=router.env)
    one_shot.wait_line(QUESTION)
    assert one_shot.modes() == (False, False)
    one_shot.interrupt()
    assert one_shot.end() == -signal.SIGINT
    assert re.fullmatch(r"Major upgrade\.\.\.\n%s \^C" % QUESTION, one_shot.text())
    assert one_shot.modes() == (True, True)
    assert router.witness.get(VERSION) == CURRENT
    assert b"after" not in one_shot.raw
    router.close()


def test_a_hang_up_at_the_question_is_no_answer(authority, certificate, terminal):
    router = Router(authority, certificate, False)
    image = router.image("4.0")
    for words in ([], ["-r", "upgrade", image]):
        asking = terminal(*router.args, *words, env=router.env)
        if not words:
            asking.prompt()
            asking.send("upgrade %s\r" % image)
        asking.wait_line(QUESTION)
        asking.process.send_signal(signal.SIGHUP)
        assert asking.end() == (-signal.SIGHUP if words else 0)
        assert "Flashing" not in asking.text()
        assert router.witness.get(VERSION) == CURRENT
        if not words:  # the shell has cancelled the transaction
            assert os.listdir(os.path.join(router.daemon.directory, "state", "firmware")) == []
    router.close()


def test_the_question_is_seen_although_the_output_goes_elsewhere(authority, certificate, terminal):
    router = Router(authority, certificate, False)
    command = [harness.OBXC] + router.args + ["-r", "upgrade", router.image("4.0")]
    piped = terminal(command=["sh", "-c", '"$@" | cat >/dev/null', "sh"] + command, env=router.env)
    piped.wait_line(QUESTION)
    piped.send("c\r")
    assert piped.end() == 0
    assert re.fullmatch(QUESTION + " c", piped.text())
    assert router.witness.get(VERSION) == CURRENT
    piped = terminal(command=["sh", "-c", '"$@" | cat >/dev/null; sleep 100', "sh"] + command, env=router.env)
    piped.wait_line(QUESTION)
    piped.interrupt()
    assert piped.end() == -signal.SIGINT
    assert re.fullmatch(QUESTION + r" \^C", piped.text())
    assert router.witness.get(VERSION) == CURRENT
    router.close()


@pytest.mark.parametrize("stdin, ending", [
    ("c\n", ""), ("c", ""),
    ("y\n", "Resetting config...\nStatus: OK\nFlashing: [*@]+\nStatus: OK\n"),
    ("n\n", "Flashing: [*@]+\nStatus: OK\n"), ("", "Flashing: [*@]+\nStatus: OK\n"),
])
def test_the_question_to_a_program(authority, certificate, stdin, ending):
    """Whoever answers through a pipe sees what it answers."""
    router = Router(authority, certificate, False)
    done = obxc(*router.args, "-r", "upgrade", router.image("4.0"), env=router.env, stdin=stdin)
    assert re.fullmatch(r"Major upgrade\.\.\.\n%s \n%s" % (QUESTION, ending), done.out), done
    assert (done.err, done.status) == ("", 0)
    router.close()


def test_ctrl_c_during_the_flashing_leaves_only_the_display(authority, certificate, terminal):
    router = Router(authority, certificate, True)
    shell = terminal(*router.args, env=router.env)
    shell.prompt()
    shell.send("upgrade %s\r" % router.image("3.5.1"))
    shell.wait_line(r"Flashing: \[#+\.+\] .*")
    shell.interrupt()
    shell.wait_for("Connection dropped")  # the device goes on, and down
    assert shell.end() == 0
    assert router.rebooted() == ("3.5.1", "kept")
    router.close()


def slow_daemon(*args):
    """One that is not through with flashing before the test is."""
    return harness.Obxd("--reboot-ms", "100", "--flash-ms", "60000", *args)


@pytest.mark.parametrize("shell_used", [False, True])
def test_flashing_that_is_cut_off_is_told(authority, terminal, shell_used):
    daemon = slow_daemon()
    image = make_image(authority.directory, "3.5.0")
    upgrading = terminal("-u", daemon.socket, "-a", "root:", *([] if shell_used else ["-r", "upgrade", image]))
    if shell_used:
        upgrading.prompt()
        upgrading.send("upgrade %s\r" % image)
    upgrading.wait_for(r"^Flashing: \[")
    assert obxc("-u", daemon.socket, "-a", "root:", "-r", "reboot", "--", "-f").out == "Status: OK\n"
    assert upgrading.end() == 1
    lines = upgrading.text().split("\n")
    assert lines[-1] == "[9010] File transfer failure: the firmware was not flashed"
    assert "100%" not in upgrading.text()
    assert harness.wait_until(lambda: daemon.if_up(lambda client: client.get(VERSION)), "the return") == CURRENT
    daemon.close()


def test_anothers_image_is_flashed_while_one_waits_at_the_question(authority, certificate, terminal):
    router = Router(authority, certificate, False)
    waiting = terminal(*router.args, "-r", "upgrade", router.image("4.0"), env=router.env)
    waiting.wait_line(QUESTION)
    assert router.obxc("-r", "upgrade", router.image("3.5")).status == 0
    assert router.rebooted()[0] == "3.5"
    waiting.send("n\r")
    assert waiting.end() == 1
    assert waiting.text().split("\n")[-1] == "[9010] File transfer failure: the firmware was not flashed"
    assert router.daemon.client().get(VERSION) == "3.5"
    router.close()


def test_an_order_while_anothers_image_is_flashed(authority, terminal):
    daemon = slow_daemon()
    waiting = terminal("-u", daemon.socket, "-a", "root:", "-r", "upgrade", make_image(authority.directory, "4.0"))
    waiting.wait_line(QUESTION)
    other = terminal("-u", daemon.socket, "-a", "root:", "-r", "upgrade", make_image(authority.directory, "3.5"))
    other.wait_for(r"^Flashing: \[")
    waiting.send("n\r")
    assert waiting.end() == 1
    assert waiting.text().split("\n")[-1] == "[9010] File transfer failure: the firmware was not flashed"
    other.settle()
    assert re.fullmatch(r"Flashing: \[.*%[*@]*", other.line())
    daemon.close()


def test_another_products_firmware_resets_the_configuration(authority, certificate):
    router = Router(authority, certificate, False)
    assert router.obxc("-r", "upgrade", router.image("ROUTER-3.5")).status == 0
    assert router.rebooted() == ("ROUTER-3.5", "kept")
    router.witness = router.daemon.client()
    done = router.obxc("-r", "upgrade", router.image("SWITCH-3.5"))
    assert re.fullmatch(r"Resetting config\.\.\.\nStatus: OK\n" + FLASHED, done.out), done
    assert router.rebooted() == ("SWITCH-3.5", router.default_host)
    router.close()


def damaged(router, name, change):
    with open(router.image("5.0"), "rb") as file:
        data = change(file.read())
    path = os.path.join(router.house.directory, name)
    with open(path, "wb") as file:
        file.write(data)
    return path


@pytest.mark.parametrize("name, change", [
    ("truncated", lambda data: data[:-100]),
    ("longer", lambda data: data + b"x"),
    ("altered", lambda data: data[:-1] + b"!"),
    ("rubbish", lambda data: b"\x7fELF" * 100),
    ("header-only", lambda data: data[:20]),
])
def test_images_that_are_refused(router, name, change):
    path = damaged(router, name, change)
    done = router.obxc("-r", "upgrade", path)
    assert re.fullmatch(router.sending(path) + r"\[9018\] .+\n", done.out), done
    assert done.status == 255
    assert router.witness.get(VERSION) == CURRENT


def test_an_empty_image(router):
    path = damaged(router, "empty", lambda data: b"")
    done = router.obxc("-r", "upgrade", path)
    assert done.status == 255
    assert len(done.out.splitlines()) == 1


@pytest.mark.parametrize("path, code", [
    ("file:///nonexistent/image", 9010), ("file:///", 9010), ("netcat://127.0.0.1:1", 9010),
    ("http://192.0.2.1/image", 9013), ("tftp://192.0.2.1/image", 9013),
])
@pytest.mark.parametrize("kind", ["firmware", "config", "file"])
def test_urls_that_are_refused(authority, certificate, kind, path, code):
    for afar in (False, True):
        router = Router(authority, certificate, afar)
        done = router.obxc("-r", "download", kind, path, "name")
        assert re.fullmatch(r"\[%d\] .+\n" % code, done.out), done
        assert done.status == 255
        router.close()


def test_a_digest_that_does_not_fit(router):
    image = router.image("5.0")
    message = {"jsonrpc": "2.0", "id": 1, "method": "Download",
               "params": {"FileType": "Firmware", "URL": "file://" + image, "MD5": "0" * 32, "NeedPreUpdate": True}}
    done = router.obxc("--raw", json.dumps(message))
    assert '"code": 9018' in done.out
    assert done.status == 9018 % 256


def test_a_local_file_that_is_missing(router):
    done = router.obxc("-r", "upgrade", "/nonexistent/image")
    if router.afar:
        assert done.out == "Cannot open file (/nonexistent/image), aborting.\n"
    else:
        assert done.out == "syntax: download <firmware|config|file> <path_to_file> [<target_file_name>]\n"
    assert done.status == 255


def test_configuration_there_and_back(router):
    exported = os.path.join(router.house.directory, "exported-%d.json" % router.afar)
    assert (router.obxc("-r", "upload", "config", "file://" + exported).out) == ""
    assert router.obxc("-r", "reset").out == "Status: OK\n"
    assert router.witness.get(HOST) == router.default_host
    done = router.obxc("-r", "download", "config", exported)
    assert re.fullmatch(router.sending(exported), done.out) and done.status == 0
    assert router.witness.get(HOST) == "kept"


@pytest.mark.parametrize("size", [1, 100000, 20 << 20])
def test_a_file_to_the_device(router, size):
    path = os.path.join(router.house.directory, "a file")
    data = os.urandom(4096) * (size // 4096) + os.urandom(size % 4096)
    with open(path, "wb") as file:
        file.write(data)
    done = router.obxc("-r", "download", "file", path, "target")
    assert re.fullmatch(router.sending(path), done.out) and done.status == 0
    with open(os.path.join(router.daemon.directory, "state", "files", "target"), "rb") as file:
        assert file.read() == data
