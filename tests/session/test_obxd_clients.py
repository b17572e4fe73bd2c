"""Clients that are slow, dead, greedy or mad: the others notice nothing."""

import json
import socket

import pytest

import harness
from harness import fault

pytestmark = pytest.mark.obxd(*harness.SMALL)


def is_well(obxd):
    """A fresh client is served at once."""
    watch = harness.Stopwatch(obxd)
    client = obxd.client()
    assert client.get("Device.Users.Note") == "none"
    client.close()
    return watch.seconds() < harness.SOON


def resident_mb(obxd):
    with open("/proc/%d/status" % obxd.process.pid) as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS")) / 1024


def closed(client):
    """True once the daemon has closed the connection; what was on its way is thrown away."""
    try:
        while client.socket.recv(1 << 20):
            pass
    except ConnectionError:
        pass
    return True


def test_who_requests_and_never_reads_is_not_read_any_more(obxd):
    client = obxd.client(login=None)
    client.socket.settimeout(0.3)
    request = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "GetDataModel",
                          "params": {"ParameterNames": ["."], "Level": -1}}).encode() * 100
    with pytest.raises(TimeoutError):
        for _ in range(10000):
            client.socket.sendall(request)
    assert is_well(obxd)
    assert resident_mb(obxd) < 100 or not harness.BARE
    client.socket.settimeout(harness.PATIENCE)
    assert client.receive()["id"] == 1  # it is served as soon as it reads
    client.close()
    assert is_well(obxd)


def test_who_never_reads_its_events_is_dropped_at_a_bound(obxd):
    deaf, sender = obxd.client(login=None), obxd.client(login=None)
    deaf.call("JoinGroup", {"Group": 7})
    event = {"jsonrpc": "2.0", "method": "Event", "group": 7, "params": "x" * 100000}
    for _ in range(150):
        sender.send(event)
    assert sender.get("Device.Users.CurrentUser") == ""
    assert is_well(obxd)
    received = 0
    while data := deaf.socket.recv(1 << 20):
        received += len(data)
    assert received < 10 * 1024 * 1024


def test_a_flood_does_not_hold_up_others(obxd):
    flood = obxd.client(login=None)
    one = json.dumps({"jsonrpc": "2.0", "method": "GetParameterValues", "params": {"ParameterNames": ["."]}}).encode()
    flood.socket.setblocking(False)
    calm = obxd.client()
    slowest = 0
    for _ in range(60):
        try:
            while True:
                flood.socket.send(one * 50)
        except BlockingIOError:
            pass
        watch = harness.Stopwatch(obxd)
        calm.get("Device.Users.Note")
        slowest = max(slowest, watch.seconds())
    assert slowest < harness.SOON


def test_a_message_of_64_mib_is_taken_and_a_longer_one_is_not(obxd):
    client = obxd.client(login=None)
    head, tail = b'{"jsonrpc":"2.0","id":1,"method":"Logout","params":{"x":"', b'"}}'
    block = b"y" * (1 << 20)

    def send(total):
        client.socket.sendall(head)
        left = total - len(head) - len(tail)
        while left > 0:
            client.socket.sendall(block[:left])
            left -= min(left, len(block))

    send(64 << 20)
    client.socket.sendall(tail)
    assert client.receive() == {"jsonrpc": "2.0", "id": 1, "result": {}}
    try:
        send((64 << 20) + 4)
    except ConnectionError:
        pass
    answer = client.receive()
    assert answer["id"] is None and fault(answer) == (-32700, "The message is longer than 64 MiB")
    assert client.receive() is None
    assert is_well(obxd)


def test_many_unfinished_messages_are_bounded(obxd):
    block = b"y" * (8 << 20)
    clients = []
    for _ in range(6):
        client = obxd.client(login=None)
        clients.append(client)
        client.send(b'{"x":"')
        try:
            for _ in range(7):
                client.socket.sendall(block)
        except ConnectionError:
            break
    answer = clients[-1].receive()
    assert answer["id"] is None and fault(answer) == (-32700, "Too much is being received at once")
    assert is_well(obxd)
    for client in clients:
        client.close()
    harness.wait_until(lambda: resident_mb(obxd) < 200 or not harness.BARE, "memory to be given back")


def test_too_many_connections(obxd):
    clients = [harness.Client(obxd.socket) for _ in range(256)]
    for client in clients:
        assert client.get("Device.Users.CurrentUser") == ""
    assert closed(harness.Client(obxd.socket))
    clients.pop().close()
    harness.wait_until(lambda: not is_refused(obxd), "room for one more")
    for client in clients:
        client.close()


def is_refused(obxd):
    client = harness.Client(obxd.socket)
    try:
        client.send({"jsonrpc": "2.0", "id": 1, "method": "Logout"})
        return client.receive() is None
    except ConnectionError:
        return True
    finally:
        client.close()


def test_clients_that_come_and_go(obxd):
    for n in range(300):
        client = harness.Client(obxd.socket)
        if n % 3 == 1:
            client.send(b'{"jsonrpc":"2.0","id":1,"method":"GetDataModel","params":{"ParameterNames":["."],"Level":-1}}')
        if n % 3 == 2:
            client.send(b'{"jsonrpc":"2.0","id":1,"meth')
        client.close()
    assert is_well(obxd)


def test_one_byte_at_a_time(obxd):
    client = obxd.client(login=None)
    for byte in b'{"jsonrpc":"2.0","id":1,"method":"Logout"}':
        client.socket.sendall(bytes([byte]))
    assert client.receive()["result"] == {}


def test_deep_nesting_is_refused(obxd):
    client = obxd.client(login=None)
    client.send(b'{"jsonrpc":"2.0","id":1,"method":"Logout","params":' + b'{"a":' * 100000 + b"1" + b"}" * 100001)
    assert client.receive()["error"]["code"] == -32700
    assert client.receive() is None
    assert is_well(obxd)


def test_a_client_that_vanishes_during_a_slow_request(obxd):
    server = socket.create_server(("127.0.0.1", 0))
    client = obxd.client()
    client.send({"jsonrpc": "2.0", "id": 1, "method": "Download", "params": {
        "FileType": "File", "URL": "netcat://127.0.0.1:%d" % server.getsockname()[1], "TargetFileName": "x"}})
    connection, _ = server.accept()
    client.close()
    assert is_well(obxd)
    connection.sendall(b"data")
    connection.close()
    server.close()
    assert is_well(obxd)
