"""The daemon from afar: obxc over TCP, with and without TLS."""

import re
import socket
import threading

import pytest

import harness
from certificates import Authority
from harness import obxc

UP_TIME = "Device.DeviceInfo.UpTime"


@pytest.fixture(scope="module")
def secure(authority):
    daemon = harness.remote_obxd(tls=authority.issue("good"))
    yield daemon
    daemon.close()


@pytest.fixture(scope="module")
def plain():
    daemon = harness.remote_obxd()
    yield daemon
    daemon.close()


def refused(done, text, connection="requests"):
    """One line, on standard output, and status 1."""
    assert (done.out, done.err) == ("Cannot connect to obxd(%s) - %s(-9)\n" % (connection, text), "")
    assert done.status == 1


def test_a_request_over_tls(secure, authority, host):
    done = obxc("-u", secure.url(host), "--ssl", "-a", "admin:admin", "-r", "get", UP_TIME, env=authority.environment())
    assert re.fullmatch(r" = \d+\n", done.out) and done.status == 0
    done = obxc("-u", secure.url(host), "--ssl", "-a", "admin:admin", "-r", "get", "Device.Users.CurrentUser",
                env=authority.environment())
    assert done.out == " = 'admin'\n"


def test_a_request_in_plain_text(plain):
    done = obxc("-u", plain.url(), "-a", "admin:admin", "-r", "get", "Device.Users.CurrentUser")
    assert (done.out, done.status) == (" = 'admin'\n", 0)


def test_a_wrong_password(secure, authority):
    done = obxc("-u", secure.url(), "--ssl", "-a", "admin:wrong", "-r", "get", UP_TIME, env=authority.environment())
    assert done.status == 1 and done.out.count("\n") <= 1 and " = " not in done.out


CREDENTIALS = pytest.mark.parametrize("credentials", [(), ("-a", "admin:admin")])


@CREDENTIALS
def test_a_certificate_of_somebody_else(secure, tmp_path, credentials):
    stranger = Authority(str(tmp_path), "stranger")
    done = obxc("-u", secure.url(), "--ssl", *credentials, "-r", "get", UP_TIME, env=stranger.environment())
    refused(done, "the certificate is not signed by a trusted authority")


def test_without_trusted_certificates(secure):
    env = harness.environment(OBX_CA_FILE="/nonexistent")
    done = obxc("-u", secure.url(), "--ssl", "-r", "get", UP_TIME, env=env)
    refused(done, "no trusted certificates in /nonexistent")


@CREDENTIALS
@pytest.mark.parametrize("name, options, text", [
    ("expired", {"days": -1}, "the certificate has expired"),
    ("elsewhere", {"names": "DNS:router.example,IP:192.0.2.1"}, "the certificate is not for the host 127.0.0.1"),
])
def test_certificates_that_do_not_fit(authority, credentials, name, options, text):
    daemon = harness.remote_obxd(tls=authority.issue(name, **options))
    try:
        done = obxc("-u", daemon.url(), "--ssl", *credentials, "-r", "get", UP_TIME, env=authority.environment())
    finally:
        daemon.close()
    refused(done, text)


@CREDENTIALS
def test_tls_to_a_daemon_without_it(plain, authority, credentials):
    done = obxc("-u", plain.url(), "--ssl", *credentials, "-r", "get", UP_TIME, env=authority.environment())
    refused(done, "the other side does not speak TLS")
    done = obxc("--ssl", *credentials, "-r", "get", UP_TIME, daemon=plain, env=authority.environment())
    refused(done, "the other side does not speak TLS")


@pytest.mark.parametrize("words, connection", [
    (("-r", "get", UP_TIME), "requests"),
    (("-r", "ls"), "requests"),
    (("-r", "save"), "requests"),
    (("-r", "select", "Device.Users.User.*"), "requests"),
    (("-a", "admin:admin", "-r", "get", UP_TIME), "requests"),
    (("-a", "a token", "-r", "get", UP_TIME), "requests"),
    (("--raw", '{"jsonrpc":"2.0","id":1,"method":"Logout"}'), "requests"),
    (("-g", "2", "-r", "ls"), "requests"),
    (("-l",), "events"),
    (("-s", "/dev/null"), "events"),
    (("-S", "/dev/null"), "events"),
    ((), "events"),
])
def test_plain_text_to_a_daemon_with_tls(secure, words, connection):
    """It comes out with the first exchange, and is told like a connection that fails."""
    refused(obxc("-u", secure.url(), *words), "the other side speaks TLS", connection)


@pytest.mark.parametrize("tls", [(), ("--ssl",)])
def test_nobody_listens(authority, tls):
    with socket.create_server(("127.0.0.1", 0)) as listener:
        port = listener.getsockname()[1]
    done = obxc("-u", "tcp://127.0.0.1:%d" % port, *tls, "-r", "get", UP_TIME, env=authority.environment())
    assert (done.out, done.status) == ("Cannot connect to obxd(requests) - Connection refused(-4)\n", 1)


def test_a_server_that_never_answers_the_handshake(authority):
    """The second connection is not waited for as long again."""
    held = []

    def hold(listener):
        for _ in range(2):
            with listener.accept()[0] as connection:
                held.append(harness.timed(lambda: list(iter(lambda: connection.recv(10000), b"")))[1])

    with socket.create_server(("127.0.0.1", 0)) as listener:
        holder = threading.Thread(target=hold, args=(listener,), daemon=True)
        holder.start()
        done = obxc("-u", "tcp://127.0.0.1:%d" % listener.getsockname()[1], "--ssl", "-r", "get", UP_TIME,
                    env=authority.environment())
        holder.join(harness.PATIENCE)
    assert done.out.startswith("Cannot connect to obxd(requests) - ") and "(-11)" in done.out and done.status == 1
    assert held[0] > 4.5 and held[1] < held[0] / 2


def test_a_server_that_hangs_up_during_the_handshake(authority):
    with socket.create_server(("127.0.0.1", 0)) as listener:

        def hang_up():
            for _ in range(2):
                connection = listener.accept()[0]
                connection.recv(10)
                connection.close()

        threading.Thread(target=hang_up, daemon=True).start()
        done = obxc("-u", "tcp://127.0.0.1:%d" % listener.getsockname()[1], "--ssl", "-r", "get", UP_TIME,
                    env=authority.environment())
    refused(done, "the daemon closed the connection during the TLS handshake (does it speak TLS?)")


def test_nobody_is_logged_in_by_default(secure, authority, terminal, directory):
    shell = terminal("-u", secure.url(), "--ssl", env=authority.environment())
    assert shell.prompt() == "obxc:>"
    assert shell.run("cat Device.Users.CurrentUser") == " = ''"
    script = directory + "/script"
    with open(script, "w") as file:
        file.write("get Device.Users.CurrentUser\n")
    done = obxc("-u", secure.url(), "--ssl", "-s", script, env=authority.environment())
    assert done.out == " = ''\n"


def test_the_shell_over_tls_with_events(secure, authority, terminal):
    shell = terminal("-u", secure.url(), "--ssl", "-a", "admin:admin", "-g", "7", env=authority.environment())
    assert shell.prompt() == "admin@obxc:>"
    sender = secure.client()
    shell.send("cat Device.Users.Curr")
    shell.wait_line(r"admin@obxc:> cat Device\.Users\.Curr.*")
    sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": {"number": 1}})
    shell.wait_for(r'^EVENT 7:\n\{\n    "number": 1\n\}\n')
    shell.wait_line(r"admin@obxc:> cat Device\.Users\.Curr.*")
    shell.send("entUser\r")
    shell.wait_for(r"^ = 'admin'$")
    shell.prompt()
    # Changes of the model reach completion, and several events in one record are all taken.
    number = sender.call("AddObject", {"ObjectName": "Device.NAT.PortMapping."})["InstanceNumber"]
    shell.send("cd Device.NAT.PortMapping.%d" % number)
    shell.send("\t")
    shell.wait_line(r"admin@obxc:> cd Device\.NAT\.PortMapping\.%d\." % number)
    shell.send("\x15")
    shell.prompt()
    for index in range(20):
        sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": index})
    shell.wait_for(r"^EVENT 7:\n19\n")
    shell.prompt()
    assert [int(n) for n in re.findall(r"^EVENT 7:\n(\d+)$", shell.text(), re.M)] == list(range(20))
    sender.call("DeleteObject", {"ObjectName": "Device.NAT.PortMapping.%d." % number})
    shell.send("q\r")
    assert shell.end() == 0
    sender.close()


def test_a_large_answer_over_tls(secure, authority):
    words = ("-a", "admin:admin", "-r", "get", "Device.")
    afar = obxc("-u", secure.url(), "--ssl", *words, env=authority.environment())
    near = obxc(*words, daemon=secure)
    names = [line.split(" = ")[0] for line in afar.out.splitlines()]
    assert len(names) > 200 and names == [line.split(" = ")[0] for line in near.out.splitlines()]
