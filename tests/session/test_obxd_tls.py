"""The daemon behind TLS."""

import socket
import ssl
import subprocess
import time

import pytest

import harness
from certificates import context_trusting, self_signed


@pytest.fixture(scope="module")
def served(tmp_path_factory):
    directory = str(tmp_path_factory.mktemp("tls"))
    cert, key = self_signed(directory)
    obxd = harness.Obxd(*harness.SMALL, "--listen", "127.0.0.1:0", "--tls-cert", cert, "--tls-key", key)
    yield obxd, cert
    obxd.close()


def test_the_ready_line_tells(served):
    obxd, _ = served
    assert obxd.ready_line == "obxd 0.2.1 ready on %s, 127.0.0.1:%d (tls)\n" % (obxd.socket, obxd.port())


def test_over_tcp(served):
    obxd, cert = served
    client = obxd.tcp_client(context_trusting(cert))
    assert "result" in client.login("admin", "admin")
    assert client.get("Device.Users.CurrentUser") == "admin"
    assert client.socket.version() in ("TLSv1.2", "TLSv1.3")
    client.close()


def test_local_connections_may_speak_tls_or_not(served):
    obxd, cert = served
    plain = obxd.client()
    assert plain.get("Device.Users.CurrentUser") == "root"
    connection = socket.socket(socket.AF_UNIX)
    connection.connect(obxd.socket)
    client = harness.Client(connection=context_trusting(cert).wrap_socket(connection, server_hostname="localhost"))
    assert "result" in client.login()
    assert client.get("Device.Users.CurrentUser") == "root"
    plain.close()
    client.close()


def test_plain_text_over_tcp_is_not_served(served):
    obxd, _ = served
    client = obxd.tcp_client()
    client.send({"jsonrpc": "2.0", "id": 1, "method": "Logout"})
    assert client.socket.recv(100) == b"\x15\x03\x03\x00\x02\x02\x46"  # a TLS alert: wrong protocol version
    client.close()


@pytest.mark.filterwarnings("ignore::DeprecationWarning")
def test_tls_1_1_is_refused(served):
    obxd, _ = served
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    context.set_ciphers("ALL:@SECLEVEL=0")
    context.minimum_version = context.maximum_version = ssl.TLSVersion.TLSv1_1
    with pytest.raises((ssl.SSLError, ConnectionError)):
        obxd.tcp_client(context)


def test_large_answers_and_requests_cross_whole(served):
    obxd, cert = served
    client = obxd.tcp_client(context_trusting(cert))
    client.login("admin", "admin")
    text = "x" * 3000000
    client.call("JoinGroup", {"Group": 7})
    sender = obxd.tcp_client(context_trusting(cert))
    sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": text})
    assert client.event()["params"] == text
    # Many requests in one write: several arrive in one TLS record.
    client.send(b'{"jsonrpc":"2.0","id":1,"method":"LeaveGroup","params":{"Group":7}}' * 500)
    assert [client.receive()["id"] for _ in range(500)] == [1] * 500
    client.close()
    sender.close()


def test_half_a_handshake_holds_up_nobody(served):
    obxd, cert = served
    half = socket.create_connection(("127.0.0.1", obxd.port()))
    half.sendall(b"\x16\x03\x01\x02\x00\x01")
    garbage = socket.create_connection(("127.0.0.1", obxd.port()))
    garbage.sendall(b"\x16\x03\x03\x00\x05hello" * 10)
    watch = harness.Stopwatch(obxd)
    client = obxd.tcp_client(context_trusting(cert))
    client.login("admin", "admin")
    assert watch.seconds() < harness.SOON
    for connection in (half, garbage, client):
        connection.close()


def hello():
    """What a TLS client says first."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    out = ssl.MemoryBIO()
    with pytest.raises(ssl.SSLWantReadError):
        context.wrap_bio(ssl.MemoryBIO(), out).do_handshake()
    return out.read()


def test_warnings_without_end_hold_up_nobody(served):
    obxd, _ = served
    flood = socket.create_connection(("127.0.0.1", obxd.port()))
    flood.sendall(hello())
    flood.settimeout(harness.PATIENCE)
    sent = 0
    start = time.monotonic()
    with pytest.raises(ConnectionError):  # the daemon gives up
        while time.monotonic() - start < harness.PATIENCE:
            flood.sendall(b"\x15\x03\x03\x00\x02\x01\x5a" * 100)
            sent += 700
            if sent % 70000 == 0:
                obxd.client().close()
    watch = harness.Stopwatch(obxd)
    obxd.client().close()
    assert watch.seconds() < harness.SOON
    flood.close()


def test_renegotiation_without_end_holds_up_nobody(served):
    obxd, _ = served
    flood = subprocess.Popen(["openssl", "s_client", "-connect", "127.0.0.1:%d" % obxd.port(), "-tls1_2"],
                             stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        start = time.monotonic()
        while time.monotonic() - start < 2 and flood.poll() is None:
            flood.stdin.write(b"R\n")
            flood.stdin.flush()
            watch = harness.Stopwatch(obxd)
            obxd.client().close()
            assert watch.seconds() < harness.SOON
    except BrokenPipeError:
        pass
    finally:
        flood.kill()
        flood.wait()
        flood.stdin.close()


def test_many_handshakes_at_once_hold_up_nobody(served):
    """Each costs the daemon some milliseconds of computing."""
    obxd, _ = served
    greeting = hello()
    peers = [socket.create_connection(("127.0.0.1", obxd.port())) for _ in range(60)]
    for peer in peers:
        peer.sendall(greeting)
    watch = harness.Stopwatch(obxd)
    assert obxd.client().get("Device.Users.CurrentUser") == "root"
    assert watch.seconds() < harness.SOON
    for peer in peers:
        peer.close()
