"""What obxc takes from its environment: where the daemon is, and who logs in."""

import os

import pytest

import harness

pytestmark = pytest.mark.obxd(*harness.SMALL)

UP, WHO = "Device.DeviceInfo.UpTime", "Device.Users.CurrentUser"


def run(*args, **env):
    return harness.obxc(*args, env=harness.environment(**env))


@pytest.fixture
def secret(directory):
    """Writes a file of credentials; returns its path."""
    def write(text, mode=0o600):
        path = os.path.join(directory, "auth")
        with open(path, "w") as file:
            file.write(text)
        os.chmod(path, mode)
        return path
    return write


def test_where_the_daemon_is(start_obxd, obxd):
    assert run("-r", "get", UP, OBXD_SOCKET=obxd.socket).out[3:].strip().isdigit()
    assert run("-u", obxd.socket, "-r", "get", UP, OBXD_SOCKET=obxd.socket + ".none").out[3:].strip().isdigit()
    refused = run("-r", "get", UP, OBXD_SOCKET=obxd.socket + ".none")
    assert refused.status == 1 and "No such socket" in refused.out
    afar = start_obxd("--listen", "127.0.0.1:0")
    assert run("-r", "get", UP, OBXD_SOCKET=afar.url()).out[3:].strip().isdigit()


def test_the_usage_says_the_daemon_s_own_socket():
    assert '(default is "/var/run/obxd.sock")' in run("-h", OBXD_SOCKET="/tmp/elsewhere").out


def test_no_socket_in_it_is_none():
    assert run("-r", "get", UP, OBXD_SOCKET="").out == run("-r", "get", UP).out


@pytest.mark.parametrize("text, user", [("admin-token\n", "admin"), ("admin:admin\n", "admin"), ("user:user", "user"),
                                        ("admin-token\r\nsecond line\n", "admin")])
def test_who_logs_in(obxd, secret, text, user):
    shown = run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE=secret(text))
    assert shown.out == " = '%s'\n" % user, shown
    assert run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE=secret(text, 0o400)).out == shown.out


def test_the_option_goes_before_it(obxd, secret):
    env = {"OBX_AUTH_FILE": secret("user-token\n", 0o644)}
    assert run("-u", obxd.socket, "-a", "admin-token", "-r", "get", WHO, **env).out == " = 'admin'\n"
    assert run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE="").out == " = ''\n"


def test_a_wrong_one_ends_the_program(obxd, secret):
    done = run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE=secret("nobody:wrong\n"))
    assert done.status == 1 and "wrong" not in done.out + done.err


@pytest.mark.parametrize("mode", [0o644, 0o660, 0o640, 0o604, 0o601, 0o620])
def test_what_others_may_use_is_refused(obxd, secret, mode):
    path = secret("admin-token\n", mode)
    done = run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE=path)
    assert (done.status, done.out) == (1, "")
    assert done.err == "obxc: cannot use OBX_AUTH_FILE %s: others may use it; its mode must be 0600\n" % path


def test_what_is_no_such_file_is_refused(obxd, secret, directory):
    os.mkfifo(os.path.join(directory, "fifo"), 0o600)
    os.mkdir(os.path.join(directory, "dir"), 0o700)
    for name, why in (("none", "No such file or directory"), ("fifo", "it is no regular file"), ("dir", "it is no regular file")):
        path = os.path.join(directory, name)
        done = run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE=path)
        assert (done.status, done.err) == (1, "obxc: cannot use OBX_AUTH_FILE %s: %s\n" % (path, why))
    for text in "", "\n", "\nadmin-token\n":
        done = run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE=secret(text))
        assert done.status == 1 and done.err.endswith(": it holds no token and no login\n")


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can give files away")
def test_another_user_s_file_is_refused(obxd, secret):
    path = secret("admin-token\n")
    os.chown(path, 65534, 65534)
    done = run("-u", obxd.socket, "-r", "get", WHO, OBX_AUTH_FILE=path)
    assert done.status == 1 and done.err.endswith(": it belongs to another user\n")


def test_the_shell_and_scripts_use_it(obxd, secret, directory):
    env = harness.environment(OBX_AUTH_FILE=secret("user-token\n"), OBXD_SOCKET=obxd.socket)
    assert "'user'" in harness.obxc(stdin="cat :%s\n" % WHO, env=env).out
    path = os.path.join(directory, "script.lua")
    with open(path, "w") as file:
        file.write("print(ox.get('%s'))" % WHO)
    assert harness.obxc("-S", path, env=env).out == "user\n"
