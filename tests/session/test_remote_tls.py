"""TLS peers that are not what obxc expects: one clear line each, and never longer than the time-out."""

import os
import socket
import ssl
import subprocess
import threading
import time

import pytest

import harness
from certificates import NEW_KEY, self_signed
from harness import obxc

UP_TIME = "Device.DeviceInfo.UpTime"
WARNING = b"\x15\x03\x03\x00\x02\x01\x5a"
GOES_ON = "the other side goes on and on in the TLS handshake"
HUNG_UP = "the daemon closed the connection during the TLS handshake (does it speak TLS?)"
NO_TLS = "the other side does not speak TLS"


def ask(url, authority, *words):
    return obxc("-u", url, "--ssl", *(words or ("-r", "get", UP_TIME)), env=authority.environment())


def refused(done, text):
    assert (done.out, done.err, done.status) == ("Cannot connect to obxd(requests) - %s(-9)\n" % text, "", 1)


@pytest.fixture
def peer():
    """A function that listens and gives each connection to `talk(connection)` on a thread; returns the address."""
    listeners = []

    def start(talk, family=socket.AF_INET):
        address = "::1" if family == socket.AF_INET6 else "127.0.0.1"
        listener = socket.create_server((address, 0), family=family)
        listeners.append(listener)

        def serve(connection):
            try:
                talk(connection)
            except OSError:
                pass
            connection.close()

        def accept():
            while True:
                try:
                    connection = listener.accept()[0]
                except OSError:
                    return
                threading.Thread(target=serve, args=(connection,), daemon=True).start()

        threading.Thread(target=accept, daemon=True).start()
        return "tcp://%s:%d" % ("[::1]" if family == socket.AF_INET6 else address, listener.getsockname()[1])

    yield start
    for listener in listeners:
        listener.shutdown(socket.SHUT_RDWR)
        listener.close()


def test_warnings_without_end(authority, peer):
    def flood(connection):
        while True:
            connection.sendall(WARNING * 1000)

    refused(ask(peer(flood), authority), GOES_ON)


def test_warnings_that_drip(authority, peer):
    """There is always something to read before the clock is looked at: it must be looked at all the same."""
    def drip(connection):
        while True:
            connection.sendall(WARNING)
            time.sleep(0.01)

    done = ask(peer(drip), authority)
    assert done.out.startswith("Cannot connect to obxd(requests) - ") and "(-11)" in done.out and done.status == 1


@pytest.mark.parametrize("answer, text", [
    (b"HTTP/1.1 400 Bad Request\r\n\r\n", NO_TLS),
    (b"SSH-2.0-OpenSSH_9.2\r\n", NO_TLS),
    (b'{"jsonrpc":"2.0","id":null,"error":{"code":-32700}}\n', NO_TLS),
    (b"\x00" * 100, NO_TLS),
    (b"\x15\x03\x03\x00\x02\x02\x28", "the daemon refused the TLS handshake"),
    (b"\x15\x03\x01\x00\x02\x02\x46", "the daemon refused the TLS handshake"),
    (b"\x16\x03\x03", HUNG_UP),
    (b"", HUNG_UP),
], ids=["http", "ssh", "json", "zeros", "alert", "version", "cut", "nothing"])
def test_what_is_no_handshake(authority, peer, answer, text):
    def talk(connection):
        connection.recv(10000)
        connection.sendall(answer)
        connection.shutdown(socket.SHUT_WR)
        while connection.recv(10000):  # unread bytes would cause a reset, before the answer is read
            pass

    refused(ask(peer(talk), authority), text)


def proxy(upstream, cut_after=None, delay=0.0):
    """Passes bytes between obxc and a daemon's port: so many of the daemon's, then hangs up; each few after a delay."""
    def talk(connection):
        with socket.create_connection(("127.0.0.1", upstream)) as daemon:
            def back():
                left = cut_after if cut_after is not None else 1 << 40
                try:
                    while left > 0 and (data := daemon.recv(16 if delay else min(left, 65536))):
                        time.sleep(delay)
                        connection.sendall(data)
                        left -= len(data)
                    connection.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass

            threading.Thread(target=back, daemon=True).start()
            while data := connection.recv(65536):
                daemon.sendall(data)
    return talk


@pytest.fixture(scope="module")
def secure(authority):
    daemon = harness.remote_obxd(*harness.SMALL, tls=authority.issue("good"))
    yield daemon
    daemon.close()


@pytest.mark.parametrize("count", [1, 4, 5, 6, 40, 90, 200, 400, 600])
def test_handshakes_that_are_cut(secure, authority, peer, count):
    refused(ask(peer(proxy(secure.port(), cut_after=count)), authority), HUNG_UP)


def test_a_slow_handshake_is_waited_for(secure, authority, peer):
    done = ask(peer(proxy(secure.port(), delay=0.005)), authority, "-r", "get", "Device.Users.CurrentUser")
    assert (done.out, done.status) == (" = ''\n", 0)


def test_a_script_gets_its_events_again_over_slow_handshakes(authority, peer, script):
    daemon = harness.remote_obxd(*harness.SMALL, tls=authority.issue("good"))
    path = script("""
local saved
ox.on(2, function(event) saved = saved or event.Event == "ConfigSaved" end)
assert(ox.call("Reboot", {}))
while ox.wait(60) do end
repeat ox.sleep(0.05) until ox.get("Device.Users.CurrentUser")
assert(ox.wait(0))
assert(ox.call("SaveConfig"))
print(ox.wait(function() return saved end, 60))
""")
    try:
        done = ask(peer(proxy(daemon.port(), delay=0.01)), authority, "-a", "admin:admin", "-S", path)
    finally:
        daemon.close()
    assert (done.out, done.err) == ("true\n", "")


def test_a_handshake_slower_than_the_time_out(secure, authority, peer):
    done = ask(peer(proxy(secure.port(), delay=0.1)), authority)
    assert "(-11)" in done.out and done.out.count("\n") == 1 and done.status == 1


class Farther:
    """A way to a daemon whose connections end at once, and whose next ones begin two seconds late."""

    def __init__(self, peer, upstream):
        self.connections = []
        self.pause = 0
        self.url = peer(lambda connection: self.begin(connection, proxy(upstream)))

    def begin(self, connection, talk):
        self.connections.append(connection)
        time.sleep(self.pause)
        talk(connection)

    def move(self):
        self.pause = 2
        for connection in self.connections:
            connection.shutdown(socket.SHUT_RDWR)


@pytest.fixture
def farther(secure, authority, peer):
    """A function that starts obxc on a daemon that will be farther away; returns the way and the process."""
    processes = []

    def start(*words):
        way = Farther(peer, secure.port())
        processes.append(subprocess.Popen(
            [harness.OBXC, "-u", way.url, "--ssl", "-a", "admin:admin", *words], env=authority.environment(),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL))
        return way, processes[-1]

    yield start
    for process in processes:
        process.kill()
        process.communicate()


def test_a_script_connects_again_within_its_time_out(farther, script):
    """Not within the second that an exchange on the events connection has."""
    way, process = farther("-S", script("""
print("begun") io.stdout:flush() io.read()
print(ox.wait(5))
ox.timeout = 0.5
print(ox.wait(0))
ox.timeout = 60
print(ox.wait(0))
"""))
    assert process.stdout.readline() == b"begun\n"
    way.move()
    process.stdin.write(b"\n")
    process.stdin.flush()
    assert [process.stdout.readline() for _ in range(3)] == [
        b"nil\tthe connection to the daemon is lost\t-7\n", b"nil\tTimed out\t-11\n", b"0\n"]


def test_a_listener_connects_again_as_it_began(farther, secure):
    way, process = farther("-l", "-g", "2")
    os.set_blocking(process.stdout.fileno(), False)

    def hears(word):
        obxc("-a", "admin:admin", "-e", "2", '["%s"]' % word, daemon=secure)
        return b'\n    "%s"\n' % word.encode() in (process.stdout.read() or b"")

    harness.wait_until(lambda: hears("near"), "an event")
    way.move()
    harness.wait_until(lambda: hears("far"), "an event from farther away")


def served_by_python(certificate, **versions):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(*certificate)
    context.set_ciphers("ALL:@SECLEVEL=0")
    for name, version in versions.items():
        setattr(context, name, version)

    def talk(connection):
        with context.wrap_socket(connection, server_side=True) as tls:
            tls.recv(1)
    return talk


@pytest.mark.filterwarnings("ignore::DeprecationWarning")
@pytest.mark.parametrize("version", [ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1])
def test_an_old_version(authority, certificate, peer, version):
    """Which side sees it first depends on the other side's library."""
    url = peer(served_by_python(certificate, minimum_version=ssl.TLSVersion.TLSv1, maximum_version=version))
    done = ask(url, authority)
    assert done.out in ["Cannot connect to obxd(requests) - %s(-9)\n" % text for text in (
        "the other side has no TLS version from 1.2 on", "the daemon refused the TLS handshake")]
    assert done.status == 1


def test_a_self_signed_certificate(authority, tmp_path):
    daemon = harness.remote_obxd(*harness.SMALL, tls=self_signed(str(tmp_path)))
    try:
        refused(ask(daemon.url(), authority), "the certificate is not signed by a trusted authority")
        done = obxc("-u", daemon.url(), "--ssl", "-r", "get", "Device.Users.CurrentUser",
                    env=harness.environment(OBX_CA_FILE=str(tmp_path / "obxd.crt")))
        assert (done.out, done.status) == (" = ''\n", 0)
    finally:
        daemon.close()


def issue_with(authority, name, extensions, *dates):
    """A certificate with further extensions, or other dates."""
    cert, key = (os.path.join(authority.directory, name + end) for end in (".crt", ".key"))
    subprocess.run(NEW_KEY + ["-keyout", key, "-out", cert + ".request", "-subj", "/CN=" + name],
                   check=True, capture_output=True)
    with open(cert + ".extensions", "w") as file:
        file.write("subjectAltName=DNS:localhost,IP:127.0.0.1\n" + extensions)
    if not dates:
        subprocess.run(["openssl", "x509", "-req", "-in", cert + ".request", "-CA", authority.cert,
                        "-CAkey", authority.key, "-CAcreateserial", "-days", "2", "-extfile", cert + ".extensions",
                        "-out", cert], check=True, capture_output=True)
        return cert, key
    with open(cert + ".index", "w"):
        pass
    with open(cert + ".config", "w") as file:
        file.write("[ca]\ndefault_ca=it\n[it]\ndatabase=%s.index\nnew_certs_dir=%s\nrand_serial=yes\ndefault_md=sha256\n"
                   "policy=any\n[any]\ncommonName=supplied\n" % (cert, authority.directory))
    subprocess.run(["openssl", "ca", "-batch", "-notext", "-config", cert + ".config", "-cert", authority.cert,
                    "-keyfile", authority.key, "-startdate", dates[0], "-enddate", dates[1], "-in", cert + ".request",
                    "-extfile", cert + ".extensions", "-out", cert], check=True, capture_output=True)
    return cert, key


@pytest.mark.parametrize("name, extensions, dates, text", [
    ("client-only", "extendedKeyUsage=clientAuth\n", (), "the certificate is not for a server"),
    ("tomorrow", "", ("20990101000000Z", "20991231000000Z"), "the certificate is not valid yet"),
    ("yesterday", "", ("20200101000000Z", "20201231000000Z"), "the certificate has expired"),
])
def test_purpose_and_time(authority, peer, name, extensions, dates, text):
    url = peer(served_by_python(issue_with(authority, name, extensions, *dates)))
    refused(ask(url, authority), text)


@pytest.mark.parametrize("name, extensions", [
    ("client-only", "extendedKeyUsage=clientAuth\n"), ("signs-only", "keyUsage=critical,keyCertSign\n")])
def test_the_daemon_refuses_a_certificate_that_nobody_could_accept(authority, name, extensions):
    with pytest.raises(harness.SessionFailure, match=r"obxd: .*%s.crt: the certificate is not for a server" % name):
        harness.remote_obxd(*harness.SMALL, tls=issue_with(authority, name, extensions))


def serve(authority, name, names, host):
    cert, key = authority.issue(name, names=names)
    address = "[::1]" if host == "[::1]" else "127.0.0.1"
    return harness.Obxd(*harness.SMALL, "--listen", address + ":0", "--tls-cert", cert, "--tls-key", key)


@pytest.mark.parametrize("names, host, fits", [
    ("IP:::1", "[::1]", True),
    ("IP:127.0.0.1", "[::1]", False),
    ("DNS:localhost", "[::1]", False),
    ("DNS:localhost", "localhost", True),
    ("DNS:LOCALHOST", "localhost", True),
    ("DNS:*.localhost", "localhost", False),
    ("IP:127.0.0.1", "localhost", False),
    ("DNS:127.0.0.1", "127.0.0.1", False),
])
def test_names_and_addresses(authority, localhost, names, host, fits):
    name = "for-" + names.replace(":", "-").replace("*", "any")
    daemon = serve(authority, name, names, host)
    try:
        done = ask("tcp://%s:%d" % (host, daemon.port()), authority, "-r", "get", "Device.Users.CurrentUser")
        if fits:
            assert (done.out, done.status) == (" = ''\n", 0)
        else:
            refused(done, "the certificate is not for the host " + host.strip("[]"))
    finally:
        daemon.close()
