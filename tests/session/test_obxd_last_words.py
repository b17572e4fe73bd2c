"""Clients that send and close at once: what they sent counts, though nobody takes what they were to be sent."""

import json
import os
import signal
import socket
import threading

import pytest

import harness
from certificates import context_trusting, self_signed

ENTRIES = "Device.List.Entry."
ROUNDS = 50


@pytest.fixture(scope="module")
def daemons(tmp_path_factory):
    cert, key = self_signed(str(tmp_path_factory.mktemp("tls")))
    obxd = harness.Obxd(*harness.SMALL, "--listen", "127.0.0.1:0", "--tls-cert", cert, "--tls-key", key)
    plain = harness.Obxd(*harness.SMALL, "--listen", "127.0.0.1:0")
    yield obxd, plain, cert
    obxd.close()
    plain.close()


@pytest.fixture(params=["local", "local tls", "tcp", "tcp tls"])
def way(daemons, request):
    """The daemon, and a function that opens a connection to it in one of the ways there are."""
    obxd, plain, cert = daemons
    if "tls" not in request.param:
        obxd = plain
    context = context_trusting(cert) if "tls" in request.param else None

    def connect():
        if "tcp" in request.param:
            return obxd.tcp_client(context)
        connection = socket.socket(socket.AF_UNIX)
        connection.connect(obxd.socket)
        if context:
            connection = context.wrap_socket(connection, server_hostname="localhost")
        return harness.Client(connection=connection)
    return obxd, connect


def listener_of(obxd):
    listener = obxd.client(login=None)
    listener.call("JoinGroup", {"Group": 9})
    return listener


def event(number):
    return {"jsonrpc": "2.0", "method": "Event", "group": 9, "params": number}


def change_until(obxd, ended):
    """Changes the model all the time."""
    client = obxd.client()
    while not ended.is_set():
        number = client.call("AddObject", {"ObjectName": ENTRIES})["InstanceNumber"]
        client.call("DeleteObject", {"ObjectName": ENTRIES + "%d." % number})
    client.close()


def test_events_of_who_closes_at_once_arrive_while_the_model_changes(way):
    obxd, connect = way
    listener, ended = listener_of(obxd), threading.Event()
    changer = threading.Thread(target=change_until, args=(obxd, ended))
    changer.start()
    try:
        for number in range(ROUNDS):
            client = connect()
            client.call("JoinGroup", {"Group": 4})
            client.event()  # so there are more
            client.send(event(number))
            client.close()
        assert sorted(listener.event()["params"] for _ in range(ROUNDS)) == list(range(ROUNDS))
    finally:
        ended.set()
        changer.join()


def test_all_that_was_sent_counts_behind_output_that_nobody_takes(way):
    obxd, connect = way
    listener, changer, client = listener_of(obxd), obxd.client(), connect()
    client.call("JoinGroup", {"Group": 4})
    # More than the daemon takes in one turn; the requests' answers are for nobody, too.
    requests = [{"jsonrpc": "2.0", "id": 1, "method": "GetConfig", "params": {"Path": "Device."}}] * 100
    words = b"".join(json.dumps(each).encode() for pair in zip(requests, map(event, range(100))) for each in pair)
    obxd.process.send_signal(signal.SIGSTOP)
    try:
        changer.send({"jsonrpc": "2.0", "id": 1, "method": "AddObject", "params": {"ObjectName": ENTRIES}})
        client.send(words)
        client.close()
    finally:
        obxd.process.send_signal(signal.SIGCONT)
    assert [listener.event()["params"] for _ in range(100)] == list(range(100))


def test_what_waits_for_a_slow_answer_counts_too(way):
    obxd, connect = way
    listener, changer, client = listener_of(obxd), obxd.client(), connect()
    client.call("JoinGroup", {"Group": 4})
    client.send({"jsonrpc": "2.0", "id": 7, "method": "Login", "params": {"Login": "admin", "Password": "no"}})
    changer.call("AddObject", {"ObjectName": ENTRIES})
    client.send(event("last"))
    client.close()
    changer.call("AddObject", {"ObjectName": ENTRIES})
    assert listener.event()["params"] == "last"


def open_connections(obxd):
    return len(os.listdir("/proc/%d/fd" % obxd.process.pid))


def test_who_is_gone_is_forgotten(daemons):
    _, obxd, _ = daemons
    changer = obxd.client()
    before = open_connections(obxd)
    for number in range(20):
        client = obxd.client(login=None)
        client.call("JoinGroup", {"Group": 4})
        changer.call("AddObject", {"ObjectName": ENTRIES})
        client.send(b'{"half": "mess' if number % 2 else b"[]")
        client.close()
        changer.call("AddObject", {"ObjectName": ENTRIES})
    harness.wait_until(lambda: open_connections(obxd) <= before, "the connections' end")
