"""The client against peers that send what no daemon sends, in pieces of any size, and against their silence."""

import contextlib
import json
import random
import socket
import threading
import time

import pytest

import harness
from module_utils.client import Client
from module_utils.errors import Closed, ConnectionFailed, Misused, ProtocolBroken, Refused, TimedOut
from module_utils.destination import Destination, parse
from module_utils.framing import MAX_MESSAGE, Framer
from module_utils.values import as_kept, is_same, to_text


def framed(data, sizes):
    """The messages that come out when bytes go in in pieces of these sizes, again and again."""
    framer, messages, at = Framer(), [], 0
    while at < len(data):
        size = next(sizes)
        framer.feed(data[at:at + size])
        at += size
        while (found := framer.next()) is not None:
            messages.append(found[0])
    return messages, bytes(framer.buffer)


MESSAGES = [{}, {"a": "}{"}, {"text": 'quotes " and \\ and \\" and \u20ac'},
            {"deep": {"er": [{"x": "[{"}, 1.5, None, True]}}, {"end": "\\"}, {"long": "x" * 5000 + '"' * 50 + "\\" * 51}, {"\u00fc": -1}]


@pytest.mark.parametrize("between", ["", "\n", " \t\r\n  "])
@pytest.mark.parametrize("indent", [None, 2])
def test_messages_come_out_whole_however_they_are_cut(between, indent):
    data = between.join(json.dumps(message, ensure_ascii=False, indent=indent) for message in MESSAGES).encode()
    rng = random.Random(7)
    assert framed(data, iter(lambda: 1, 0)) == (MESSAGES, b"")
    assert framed(data, iter(lambda: len(data), 0)) == (MESSAGES, b"")
    for _ in range(20):
        assert framed(data, iter(lambda: rng.randrange(1, 40), 0)) == (MESSAGES, b"")


@pytest.mark.parametrize("data", [
    b"[]", b"null", b"x{}", b"}", b'{"a":NaN}', b'{"a":Infinity}', b'{"a":1,}', b"{'a':1}", b'{"a":"\xff"}',
    b'{"a":"\\ud800"}', b'{"a":"\x01"}', b'{"a":' * 100000 + b"1" + b"}" * 100000, b'{"a":' + b"[" * 100000 + b"]" * 100000 + b"}",
    b'{"a":' + b"9" * 100000 + b"}"], ids=lambda data: str(data[:20]))
def test_what_is_no_message_is_told(data):
    framer = Framer()
    framer.feed(data)
    with pytest.raises(ProtocolBroken):
        framer.next()


def test_a_message_has_a_bound_and_long_ones_take_no_more_time_for_coming_in_pieces():
    framer = Framer()
    framer.feed(b'{"a":"')
    piece = b"x" * (1 << 18)
    with pytest.raises(ProtocolBroken, match="more than 64 MiB"):
        for _ in range(MAX_MESSAGE // len(piece) + 1):
            framer.feed(piece)
            assert framer.next() is None
    start = time.process_time()
    once = framed(b'{"a":"' + b"x" * (8 << 20) + b'"}', iter(lambda: 1 << 23, 0))
    whole, start = time.process_time() - start, time.process_time()
    assert framed(b'{"a":"' + b"x" * (8 << 20) + b'"}', iter(lambda: 1 << 12, 0)) == once
    assert time.process_time() - start < 20 * whole + 2  # a look at all again for each piece would take hours


@contextlib.contextmanager
def served(serve, timeout=harness.PATIENCE):
    """A client of a peer on a socket pair."""
    ours, theirs = socket.socketpair()

    def run():
        with contextlib.suppress(OSError), theirs:
            serve(theirs)

    thread = threading.Thread(target=run, daemon=True)
    thread.start()
    with Client(ours, timeout) as client:
        yield client
    thread.join(harness.PATIENCE)


def answers(*messages):
    def serve(connection):
        connection.recv(65536)
        for message in messages:
            connection.sendall(json.dumps(message).encode())
    return serve


EVENT = {"jsonrpc": "2.0", "method": "Event", "group": 2, "params": {"n": 1}}


def test_events_and_answers_to_others_come_between():
    others = [EVENT, {"jsonrpc": "2.0", "id": None, "error": {"code": -32700}}, {"jsonrpc": "2.0", "id": 9, "result": {}},
              {"jsonrpc": "2.0", "id": 1}, {"jsonrpc": "2.0", "id": 1, "error": "none"}, {}]
    with served(answers(*others, {"jsonrpc": "2.0", "id": 1, "result": {"ok": True}}, dict(EVENT, params=2))) as client:
        assert client.call("X") == {"ok": True}
        assert client.event()["params"] == {"n": 1}
        assert client.event()["params"] == 2
        with pytest.raises(Closed):
            client.event()


def test_a_refusal_has_its_reasons():
    error = {"code": 9003, "message": "Invalid arguments", "data": {
        "Detail": "nothing was set", "Device.A": {"code": 9007, "message": "must be 1"}, "Device.B": "odd"}}
    with served(answers({"jsonrpc": "2.0", "id": 1, "error": error})) as client:
        with pytest.raises(Refused) as told:
            client.call("SetParameterValues", {})
    assert told.value.reasons == [("Device.A", 9007, "must be 1"), ("Device.B", 0, "odd")]
    assert str(told.value) == "refused [9003]: Device.A: must be 1; Device.B: odd"
    for odd in ({}, {"code": "x", "data": []}, {"message": None}):
        with served(answers({"jsonrpc": "2.0", "id": 1, "error": odd})) as client, pytest.raises(Refused):
            client.call("X")


def test_an_exchange_ends_in_time_also_where_bytes_trickle():
    def trickle(connection):
        connection.recv(65536)
        connection.sendall(b'{"a":"')
        while True:
            connection.sendall(b"x")
            time.sleep(0.01)

    start = time.monotonic()
    with served(trickle, 0.5) as client, pytest.raises(TimedOut):
        client.call("X")
    assert time.monotonic() - start < harness.PATIENCE
    over = threading.Event()
    with served(lambda connection: over.wait(10 * harness.PATIENCE), 0.3) as client:
        with pytest.raises(TimedOut):
            client.call("X", {"long": "x" * (8 << 20)})  # nobody reads it
        over.set()


def test_a_flood_of_events_ends_the_connection_and_not_the_memory():
    flood = json.dumps(dict(EVENT, params="x" * (1 << 20))).encode()

    def serve(connection):
        connection.recv(65536)
        while True:
            connection.sendall(flood)

    with served(serve, 10 * harness.PATIENCE) as client, pytest.raises(ProtocolBroken, match="64 MiB of events"):
        client.call("X")


def test_random_bytes_do_no_harm():
    rng = random.Random(11)
    good = json.dumps({"jsonrpc": "2.0", "id": 1, "result": {"ParameterList": [{"Name": "A", "Value": "b\\\"c"}]}}).encode()
    for _ in range(200):
        data = bytearray(good)
        for _ in range(rng.randrange(1, 6)):
            data[rng.randrange(len(data))] = rng.randrange(256)

        def serve(connection, data=bytes(data)):
            connection.recv(65536)
            connection.sendall(data)

        with served(serve) as client:
            try:
                assert isinstance(client.call("X"), (dict, list, str, int, float, bool, type(None)))
            except (ConnectionFailed, Refused):
                pass


@pytest.mark.parametrize("text, wanted", [
    ("192.0.2.1", ("192.0.2.1", 7547, None)), ("router.example:99", ("router.example", 99, None)),
    ("tcp://192.0.2.1:7547", ("192.0.2.1", 7547, None)), ("[2001:db8::1]:80", ("2001:db8::1", 80, None)),
    ("tcp://[::1]", ("::1", 7547, None)),
    ("/var/run/obxd.sock", (None, None, "/var/run/obxd.sock")), ("./s", (None, None, "./s"))])
def test_addresses(text, wanted):
    assert parse(text) == Destination(*wanted)


@pytest.mark.parametrize("text", ["", "a:b", "a:0", "a:65536", "tcp://", "tcp://a/b", "[::1", "a b", "[]:1", ":1", "[a:b]:1",
                                  "2001:db8::1"])
def test_what_is_no_address(text):
    with pytest.raises(Misused):
        parse(text)


@pytest.mark.parametrize("value, current, text", [
    (True, False, "true"), (8, 0, "8"), ("x", "", "x"), ([1, "b", True], "", "1,b,true"), ([1, 2], [], "[1, 2]"),
    ({"a": 1}, {}, '{"a": 1}'), (1.5, 0.0, "1.5"), ("", "a", "")])
def test_texts_of_values(value, current, text):
    assert to_text("P", value, current) == text


@pytest.mark.parametrize("current, text, same", [
    (True, "1", True), (True, "TRUE", True), (False, "0", True), (True, "yes", False), (8, "8", True), (8, "010", True),
    (8, "0x8", True), (8, "9", False), (8, "eight", False), (1.5, "1.50", True), ({"a": [1]}, '{"a":[1]}', True),
    ("Device.IP.Interface.1", "Device.IP.Interface.1.", True), ("a,b", "a, b", False), ("010", "8", False), ("", "", True),
    ([], "nothing", False)])
def test_what_a_router_has_already(current, text, same):
    assert is_same(current, text) is same
    assert (as_kept(current, text) == current) is same
