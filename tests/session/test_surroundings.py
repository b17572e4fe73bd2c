"""The system refuses something: its reason is told, and a status other than 0 says that the work was not done."""

import errno
import os
import pwd
import resource
import subprocess

import pytest

import harness


def run(daemon, *args, stdin="", before=None):
    done = subprocess.run([harness.OBXC, "-u", daemon.socket, *args], input=stdin, capture_output=True, text=True,
                          timeout=harness.PATIENCE, env=harness.environment(leaks=False), preexec_fn=before)
    harness.check_sanitizers(done.stderr.encode())
    return done


def test_a_closed_standard_output(daemon):
    done = run(daemon, "-r", "save", before=lambda: os.close(1))
    assert (done.returncode, done.stderr) == (1, "obxc: cannot write standard output: %s\n" % os.strerror(errno.EBADF))


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
            told = [os.strerror(errno.EMFILE), "Error 24", "Cannot open script file /dev/stdin"]
            assert any(each in text.rstrip("\n").split("\n")[-1] for each in told), (count, done)
    assert enough


@pytest.mark.skipif(os.getuid() != 0 or harness.SANITIZED, reason="only root can be somebody else")
def test_a_program_that_cannot_be_started(daemon):
    os.chmod(daemon.directory, 0o755)
    os.chmod(daemon.socket, 0o777)
    nobody = pwd.getpwnam("nobody").pw_uid

    def limit():
        resource.setrlimit(resource.RLIMIT_NPROC, (0, 0))
        os.setuid(nobody)
    reason = os.strerror(errno.EAGAIN)
    done = run(daemon, stdin="sh echo started\nlua print(os.execute('echo started'))\nsh 'exit 127'\nsave\n", before=limit)
    assert "\nsh: %s\n" % reason in done.stdout and "\nnil\t%s\t%d\n" % (reason, errno.EAGAIN) in done.stdout, done
    assert done.stdout.endswith("\nStatus: OK\n") and "\nstarted" not in done.stdout
    done = run(daemon, stdin="sh exit 127\nlua print(os.execute('exit 127'))\n")
    assert "sh:" not in done.stdout and done.stdout.endswith("nil\texit\t127\n"), done
