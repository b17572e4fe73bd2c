"""obx on a daemon of another host: TCP, TLS, logins and tokens."""

import os

import pytest

import harness
from harness import obx
from test_obx import check

USER = "Device.Users.CurrentUser"


@pytest.fixture(scope="module")
def remote(certificate):
    daemon = harness.remote_obxd(tls=certificate)
    yield daemon
    daemon.close()


@pytest.fixture
def trusting(authority):
    """The environment that trusts the daemon's certificate."""
    return harness.obx_environment(OBX_CA_FILE=authority.cert)


def at(daemon, *words, env):
    return obx("-u", daemon.url(), "--ssl", *words, env=env)


def test_over_tls(remote, trusting):
    check(at(remote, "get", "-a", "admin:admin", USER, env=trusting), "admin\n")
    check(at(remote, "get", "-a", "user-token", USER, env=trusting), "user\n")
    check(at(remote, "get", USER, env=trusting), "\n")  # a guest


def test_a_wrong_login_is_refused(remote, trusting):
    for login, reason in (("admin:wrong", "the login is refused"), ("no-such-token", "Request denied: Unknown token")):
        check(at(remote, "get", "-a", login, USER, env=trusting), "", 1, "obx: login: %s\n" % reason)


def test_the_environment(remote, authority, directory):
    secret = os.path.join(directory, "secret")
    with open(secret, "w") as file:
        file.write("admin:admin\n")
    os.chmod(secret, 0o600)
    env = harness.obx_environment(OBX_CA_FILE=authority.cert, OBX_AUTH_FILE=secret, OBXD_SOCKET=remote.url())
    check(obx("--ssl", "get", USER, env=env), "admin\n")
    check(obx("--ssl", "-a", "user-token", "get", USER, env=env), "user\n")
    os.chmod(secret, 0o640)
    check(obx("--ssl", "get", USER, env=env), "", 1,
          "obx: cannot use OBX_AUTH_FILE %s: others may use it; its mode must be 0600\n" % secret)


def test_a_certificate_that_nobody_vouches_for(remote):
    done = at(remote, "get", USER, env=harness.obx_environment(OBX_CA_FILE="/etc/hostname"))
    assert done.status == 3 and done.err.startswith("obx: %s: cannot connect to obxd: " % remote.url()), done
    assert done.err.count("\n") == 1


def test_plain_text_to_a_daemon_that_expects_tls(remote):
    done = obx("-u", remote.url(), "get", USER, env=harness.obx_environment())
    assert done.status == 3 and done.out == "" and done.err.count("\n") == 1, done


def test_an_image_of_this_host_cannot_be_fetched(remote, trusting, directory):
    image = os.path.join(directory, "image")
    with open(image, "w") as file:
        file.write("x")
    check(at(remote, "upgrade", "-a", "admin:admin", image, env=trusting), "", 1,
          "obx: %s: the device is not this host: give a URL that it can fetch\n" % image)
