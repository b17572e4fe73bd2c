"""The daemon among clients that are many, slow, broken or hostile."""

import contextlib
import json
import resource
import select
import socket
import threading

import pytest

import harness
from certificates import context_trusting, self_signed
from watch import descriptors, resident_mb, root_waits, watched

OPTIONS = (*harness.SMALL, "--listen", "127.0.0.1:0")
ASK = b'{"jsonrpc":"2.0","id":1,"method":"LeaveGroup","params":{"Group":9}}\n'
MODEL = b'{"jsonrpc":"2.0","id":1,"method":"GetDataModel","params":{"ParameterNames":["."],"Level":-1}}\n'


@pytest.fixture(autouse=True)
def many_descriptors():
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    yield
    resource.setrlimit(resource.RLIMIT_NOFILE, (soft, hard))


@pytest.fixture
def crowd():
    """A function that connects to the daemon's port from one of some addresses; closed after the test."""
    opened = []

    def connect(obxd, number=0):
        opened.append(socket.create_connection(("127.0.0.1", obxd.port()), harness.PATIENCE,
                                               source_address=("127.0.0.%d" % (2 + number % 200), 0)))
        return opened[-1]

    yield connect
    for each in opened:
        each.close()


def test_2000_connections(start_obxd, crowd, budget):
    obxd = start_obxd(*OPTIONS, "--max-connections", "2200", "--max-guests", "2100")
    with watched(obxd):
        clients = [crowd(obxd, number) for number in range(2000)]
        for _ in budget.rounds(at_most=20):
            for client in clients:
                client.sendall(ASK)
            for client in clients:
                assert client.recv(1000).startswith(b'{"jsonrpc":"2.0","id":1,"result"')
    assert descriptors(obxd) > 2000


def test_2000_connections_where_256_may_be(start_obxd, crowd):
    obxd = start_obxd(*OPTIONS)
    with watched(obxd):
        for number in range(2000):
            crowd(obxd, number)
    assert descriptors(obxd) < 300


def test_slow_writers_and_readers(start_obxd, crowd, rng, budget):
    """Requests that come byte by byte and in pieces of any size, answers that are read so."""
    obxd = start_obxd(*OPTIONS)
    clients = [crowd(obxd, number) for number in range(100)]
    for client in clients:
        client.setblocking(False)
    half = [b""] * len(clients)
    with watched(obxd):
        for _ in budget.rounds(at_least=2000):
            number = rng.randrange(len(clients))
            half[number] = half[number] or rng.choice((ASK, MODEL))
            with contextlib.suppress(BlockingIOError):
                if rng.random() < 0.7:
                    sent = clients[number].send(half[number][:rng.choice((1, 1, 5, 50, 1000))])
                    half[number] = half[number][sent:]
                else:
                    clients[number].recv(rng.choice((1, 100, 100000)))


def test_half_messages_without_end(start_obxd, crowd, rng, budget):
    obxd = start_obxd(*OPTIONS)
    heads = (b'{"x":"', b'{"x":[', b"{" * 10, b'{"jsonrpc":"2.0","id":1,"method":"Login","params":{"Login":"')
    with watched(obxd):
        for number in budget.rounds(at_least=3, at_most=1000):
            client = crowd(obxd, number)
            with contextlib.suppress(OSError):
                client.settimeout(1)
                client.sendall(rng.choice(heads))
                client.sendall(rng.choice((b"a", b"{},", b" ")) * rng.randrange(1 << 22))


def test_who_asks_and_never_reads(start_obxd, crowd, budget):
    obxd = start_obxd("--listen", "127.0.0.1:0")
    with watched(obxd):
        for number in budget.rounds(at_least=20, at_most=200):
            client = crowd(obxd, number)
            client.setblocking(False)
            with contextlib.suppress(OSError):
                for _ in range(100):
                    client.send(MODEL)


def test_a_million_requests_in_one_go(start_obxd, budget):
    obxd = start_obxd(*OPTIONS)
    client = obxd.client(login=None).socket
    client.setblocking(False)
    total, sent, answers = 1000000, 0, 0
    block = ASK * 1000
    rest = b""
    with watched(obxd):
        while answers < total and (budget.left() > 0 or answers < 50000):
            wants = [client] if sent < total or rest else []
            readable, writable, _ = select.select([client], wants, [], 10)
            assert readable or writable
            if writable:
                if not rest:
                    rest, sent = block, sent + 1000
                with contextlib.suppress(BlockingIOError):
                    rest = rest[client.send(rest):]
            if readable:
                answers += client.recv(1 << 20).count(b"\n")
    # Those that are still on their way are answered too, one each.
    client.settimeout(harness.PATIENCE)
    if rest:
        threading.Thread(target=client.sendall, args=(rest,), daemon=True).start()
    while answers < sent:
        data = client.recv(1 << 20)
        assert data
        answers += data.count(b"\n")
    assert answers == sent
    client.close()


def test_brute_force(start_obxd, crowd, budget):
    obxd = start_obxd(*OPTIONS)
    request = (b'{"jsonrpc":"2.0","id":1,"method":"Login","params":{"Login":"admin","Password":"%d"}}\n'
               b'{"jsonrpc":"2.0","id":1,"method":"LeaveGroup","params":{"Group":9},"auth":"guess-%d"}\n')
    clients = [crowd(obxd, number % 10) for number in range(100)]
    waits = []
    with watched(obxd):
        for client in clients:
            client.sendall(b"".join(request % (number, number) for number in range(100)))
        for _ in budget.rounds(at_least=3, at_most=50):
            with contextlib.closing(harness.Client(connection=crowd(obxd, 100))) as client:
                watch = harness.Stopwatch(obxd)
                assert "result" in client.login("admin", "admin")
                waits.append(watch.seconds())
    assert sorted(waits)[len(waits) // 2] < 2 * harness.SOON


def test_floods_of_events(start_obxd, crowd, rng, budget):
    """Some members of the groups read, some do not; what changes the model does so as well."""
    obxd = start_obxd(*OPTIONS)
    members = []
    for number in range(40):
        member = crowd(obxd, number)
        for group in (1, 2, 4, 7):
            member.sendall(b'{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":%d}}' % group)
        members.append(member)
    senders = [crowd(obxd, 60 + number) for number in range(10)]
    for sender in senders:
        sender.setblocking(False)
    admin = obxd.client()
    table = "Device.List.Entry."
    with watched(obxd):
        for _ in budget.rounds(at_least=20):
            size = rng.choice((10, 1000, 100000))
            event = json.dumps({"jsonrpc": "2.0", "method": "Event", "group": rng.choice((1, 2, 4, 7)),
                                "params": "x" * size}).encode()
            for sender in senders:
                with contextlib.suppress(OSError):
                    sender.send(event * max(1, 100000 // size))
            number = admin.call("AddObject", {"ObjectName": table})["InstanceNumber"]
            admin.call("DeleteObject", {"ObjectName": "%s%d." % (table, number)})
            for member in members[:20]:
                with contextlib.suppress(OSError):
                    member.recv(1 << 20, socket.MSG_DONTWAIT)
    admin.close()


def test_clients_that_come_and_go_leave_nothing(start_obxd, rng, budget, directory):
    cert, key = self_signed(directory)
    obxd = start_obxd(*OPTIONS, "--tls-cert", cert, "--tls-key", key)
    trusting = context_trusting(cert)

    def come_and_go():
        kind = rng.randrange(6)
        with contextlib.suppress(OSError, harness.SessionFailure):
            if kind == 0:
                harness.Client(obxd.socket).close()
            elif kind == 1:
                client = harness.Client(obxd.socket)
                client.send(rng.choice((ASK, MODEL))[:rng.randrange(100)])
                client.close()
            elif kind == 2:
                client = obxd.client()
                client.call("JoinGroup", {"Group": 4})
                client.close()
            elif kind == 3:
                client = socket.create_connection(("127.0.0.1", obxd.port()))
                client.send(b"\x16\x03\x01" + rng.randbytes(rng.randrange(300)))
                client.close()
            elif kind == 4:
                client = obxd.tcp_client(trusting)
                client.send(MODEL)
                client.close()
            else:
                client = obxd.client(login=None)
                client.send({"jsonrpc": "2.0", "id": 1, "method": "Login", "params": {"Login": "admin", "Password": "no"}})
                client.close()

    for _ in range(300):
        come_and_go()
    harness.wait_until(lambda: descriptors(obxd) < 20, "the connections' end")
    before = resident_mb(obxd)
    with watched(obxd):
        for _ in budget.rounds(at_least=300, at_most=10000):
            come_and_go()
    harness.wait_until(lambda: descriptors(obxd) < 20, "the connections' end")
    assert resident_mb(obxd) < before + 8 or harness.SANITIZED


def test_handshakes_that_are_cut_or_changed(start_obxd, rng, budget, directory):
    """At every byte of what a client says, and with bytes that are others."""
    import ssl
    cert, key = self_signed(directory)
    obxd = start_obxd(*OPTIONS, "--tls-cert", cert, "--tls-key", key)
    out = ssl.MemoryBIO()
    with contextlib.suppress(ssl.SSLWantReadError):
        context_trusting(cert).wrap_bio(ssl.MemoryBIO(), out, server_hostname="localhost").do_handshake()
    hello = out.read()
    with watched(obxd):
        for number in budget.rounds(at_least=len(hello)):
            data = bytearray(hello[:number]) if number < len(hello) else bytearray(hello)
            for _ in range(rng.randrange(4) if number >= len(hello) else 0):
                data[rng.randrange(len(data))] = rng.randrange(256)
            with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", obxd.port())) as client:
                client.sendall(bytes(data))
                if rng.random() < 0.2:
                    client.settimeout(0.05)
                    client.recv(10000)
    assert root_waits(obxd) < 1
