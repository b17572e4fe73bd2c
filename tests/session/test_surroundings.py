"""The system refuses something: its reason is told, and a status other than 0 says that the work was not done."""

import errno
import os
import pwd
import resource
import subprocess

import pytest

import harness

TOO_MANY = [os.strerror(errno.EMFILE), "No file descriptors available"]  # as glibc says it, and musl


def run(daemon, *args, stdin="", before=None):
    address = daemon if isinstance(daemon, str) else daemon.socket
    done = subprocess.run([harness.OBXC, "-u", address, *args], input=stdin, capture_output=True, text=True,
                          timeout=harness.PATIENCE, env=harness.environment(leaks=False), preexec_fn=before)
    harness.check_sanitizers(done.stderr.encode())
    return done


def fill():
    os.dup2(os.open("/dev/full", os.O_WRONLY), 1)


@pytest.mark.parametrize("before, reason", [(lambda: os.close(1), errno.EBADF), (fill, errno.ENOSPC)], ids=["closed", "full"])
@pytest.mark.parametrize("mode", [["-r", "save"], ["-r", "lua", "print(1)"], ["-s", "/dev/stdin"], ["--help"], []],
                         ids=" ".join)
def test_a_standard_output_that_takes_nothing(daemon, mode, before, reason):
    """The reason of the first loss is told, whatever else came to pass before the end."""
    done = run(daemon, *mode, stdin="save\nsave\n", before=before)
    assert (done.returncode, done.stderr) == (1, "obxc: cannot write standard output: %s\n" % os.strerror(reason))


def test_too_few_descriptors_to_look_a_name_up():
    obxd = harness.remote_obxd(*harness.SMALL)
    enough = False
    for count in range(4, 16):
        done = run(obxd.url("localhost"), "-r", "get", "Device.Users.Note",
                   before=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (count, count)))
        if done.returncode == 0:
            assert done.stdout == " = 'none'\n", (count, done)
            enough = True
        else:
            assert not enough and any(text in done.stdout for text in TOO_MANY), (count, done)
    assert enough
    obxd.close()


@pytest.mark.parametrize("mode", [["-r", "save"], ["-s", "/dev/stdin"], []])
def test_too_few_descriptors(daemon, mode):
    """At each limit the work is done, or the reason stands in one line; never less with more."""
    enough = False
    for count in range(4, 20):
        done = run(daemon, *mode, stdin="save\n",
                   before=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (count, count)))
        if done.returncode == 0:
            assert done.stdout.endswith("Status: OK\n"), (count, done)
            enough = True
        else:
            text = done.stdout + done.stderr
            assert not enough and "dropped" not in text, (count, done)
            told = [*TOO_MANY, "Error 24", "Cannot open script file /dev/stdin"]
            assert any(each in text.rstrip("\n").split("\n")[-1] for each in told), (count, done)
    assert enough


def alone():
    """Nobody, who may start nothing."""
    nobody = pwd.getpwnam("nobody").pw_uid
    most = 2 if harness.EMULATED else 0  # an emulator has a thread of its own
    resource.setrlimit(resource.RLIMIT_NPROC, (most, most))
    os.setuid(nobody)


only_root = pytest.mark.skipif(os.getuid() != 0 or harness.SANITIZED, reason="only root can be somebody else")


@only_root
def test_a_program_that_cannot_be_started(daemon):
    os.chmod(daemon.directory, 0o755)
    os.chmod(daemon.socket, 0o777)
    reason = os.strerror(errno.EAGAIN)
    done = run(daemon, stdin="sh echo started\nlua print(os.execute('echo started'))\nlua print(io.popen('x', 'w'))\n"
               "sh 'exit 127'\nsave\n", before=alone)
    assert "\nsh: %s\n" % reason in done.stdout and "\nnil\t%s\t%d\n" % (reason, errno.EAGAIN) in done.stdout, done
    assert "\nnil\tx: %s\t%d\n" % (reason, errno.EAGAIN) in done.stdout, done
    assert done.stdout.endswith("\nStatus: OK\n") and "\nstarted" not in done.stdout
    done = run(daemon, stdin="sh exit 127\nlua print(os.execute('exit 127'))\n")
    assert "sh:" not in done.stdout and done.stdout.endswith("nil\texit\t127\n"), done


@only_root
def test_a_file_that_nobody_can_send(directory):
    os.chmod(directory, 0o755)
    path = os.path.join(directory, "file")
    with open(path, "w") as file:
        file.write("text")
    obxd = harness.remote_obxd(*harness.SMALL)
    done = run(obxd.url(), "-a", "admin:admin", "-r", "download", "file", path, "name", before=alone)
    said = "Cannot send the file (%s), aborting." % os.strerror(errno.EAGAIN)
    assert done.returncode == 255 and done.stdout.splitlines()[-1] == said, done
    obxd.close()
