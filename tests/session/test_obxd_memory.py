"""What clients make the daemon hold is bounded, whatever they ask, send and do not read; others are served meanwhile."""

import json
from concurrent.futures import ThreadPoolExecutor

import pytest

import harness
from harness import fault

MIB = 1 << 20
BLOBS = 30
NAMES = ["Device.Blobs.", "Device.Blobs"]  # the same values twice: 60 MiB
BOUND = 400


@pytest.fixture(scope="module")
def model(tmp_path_factory):
    text = {"type": "string", "access": "readWrite", "default": "", "read": "guest"}
    blobs = {"#attr": {"read": "guest"}, **{"Blob%d" % number: text for number in range(BLOBS)}}
    device = {"#attr": {"read": "guest"}, "Blobs": blobs, "Note": text,
              "Users": {"CurrentUser": {"type": "string", "read": "guest"}}}
    path = tmp_path_factory.mktemp("model") / "model.json"
    path.write_text(json.dumps({"schema": {"Device": device}, "values": {"Device": {"Note": "first"}}}))
    return str(path)


@pytest.fixture
def obxd(model):
    daemon = harness.Obxd("--model", model, "--max-guests", "200", "--max-connections", "256")
    root = daemon.client()
    for number in range(BLOBS):
        assert "result" in root.set("Device.Blobs.Blob%d" % number, "x" * MIB)
    root.close()
    yield daemon
    daemon.close()


def memory_mb(obxd, field="VmRSS"):
    with open("/proc/%d/status" % obxd.process.pid) as status:
        return next(int(line.split()[1]) for line in status if line.startswith(field)) / 1024


def check(obxd):
    """Root is served soon, and the memory has stayed within its bound."""
    watch = harness.Stopwatch(obxd)
    with_root = obxd.client()
    assert with_root.get("Device.Note")
    with_root.close()
    assert watch.seconds() < harness.SOON
    assert memory_mb(obxd, "VmHWM") < BOUND or not harness.BARE, memory_mb(obxd, "VmHWM")


def given_back(obxd, before):
    harness.wait_until(lambda: memory_mb(obxd) < before + 8 or not harness.BARE, "memory to be given back")


def values_of(names, number=1):
    return {"jsonrpc": "2.0", "id": number, "method": "GetParameterValues", "params": {"ParameterNames": names}}


def test_a_name_that_is_repeated_is_answered_once(obxd):
    client = obxd.client(login=None)
    once = client.call("GetParameterAttributes", {"ParameterNames": ["."], "Level": -1})
    assert client.call("GetParameterAttributes", {"ParameterNames": ["."] * 20000, "Level": -1}) == once
    check(obxd)


def test_memory_of_large_answers_is_given_back(obxd):
    client = obxd.client(login=None)
    before = memory_mb(obxd)
    client.send(values_of(NAMES))
    assert len(client.receive()["result"]["ParameterList"]) == 2 * BLOBS
    given_back(obxd, before)
    check(obxd)


def test_an_answer_beyond_a_message_is_refused_as_soon_as_it_is_known(obxd):
    client = obxd.client(login=None)
    names = NAMES + ["Device.", "Device", "."]
    answer = client.request("GetParameterValues", {"ParameterNames": names})
    assert fault(answer) == (9004, "The answer is longer than 64 MiB")
    assert client.get("Device.Note") == "first"
    check(obxd)


def test_answers_that_nobody_reads(obxd):
    before = memory_mb(obxd)
    clients = [obxd.client(login=None) for _ in range(20)]
    for client in clients:
        client.send(values_of(NAMES))
    for _ in range(10):
        check(obxd)
    for client in clients[10:]:
        client.close()
    # The others wait for the memory, and get it one after the other, in an order that nobody knows.
    with ThreadPoolExecutor(10) as readers:
        for answer in readers.map(lambda client: client.message(10 * harness.PATIENCE), clients[:10]):
            assert len(answer["result"]["ParameterList"]) == 2 * BLOBS
    check(obxd)
    for client in clients[:10]:
        client.close()
    given_back(obxd, before)


def test_what_nobody_will_read_is_not_read(obxd):
    """Clients that are gone before their requests were served cost nothing any more."""
    clients = [obxd.client(login=None) for _ in range(10)]
    for client in clients:
        client.socket.sendall(json.dumps(values_of(NAMES)).encode() * 300)
    for client in clients:
        client.close()

    harness.wait_for_rest(obxd)
    check(obxd)


def test_who_does_not_read_while_others_wait_is_dropped(obxd):
    deaf = [obxd.client(login=None) for _ in range(2)]
    for client in deaf:
        client.send(values_of(NAMES))
    asks = obxd.client(login=None)
    watch = harness.Stopwatch(obxd)
    asks.send(values_of(NAMES))
    assert len(asks.receive()["result"]["ParameterList"]) == 2 * BLOBS
    assert watch.seconds() < 40  # and not the minute that is given where nobody waits
    check(obxd)


def test_others_are_served_while_a_long_answer_goes_out_which_is_of_one_moment(obxd):
    slow = obxd.client(login=None)
    slow.send(values_of(NAMES + ["Device.Note"]))
    root = obxd.client()
    for number in range(20):
        slow.framer.feed(slow.socket.recv(65536))
        assert "result" in root.set("Device.Note", "changed %d" % number)
        assert "result" in root.set("Device.Blobs.Blob%d" % (BLOBS - 1), "y")
    values = slow.receive()["result"]["ParameterList"]
    assert values[-1] == {"Name": "Device.Note", "Value": "first"}
    assert values[BLOBS - 1]["Value"] == "x" * MIB
    check(obxd)


def test_a_long_event_for_many_who_do_not_read(obxd):
    before = memory_mb(obxd)
    members = [obxd.client(login=None) for _ in range(30)]
    for member in members:
        member.call("JoinGroup", {"Group": 7})
    sender = obxd.client(login=None)
    event = {"jsonrpc": "2.0", "method": "Event", "group": 7, "params": "x" * (60 * MIB)}
    sender.send(event)
    assert sender.get("Device.Note") == "first"
    check(obxd)
    assert members[0].receive()["params"] == event["params"]
    sender.send(event)
    assert sender.get("Device.Note") == "first"
    check(obxd)
    for member in members:
        member.close()
    given_back(obxd, before)


def test_long_events_of_many_groups(obxd):
    members = [obxd.client(login=None) for _ in range(20)]
    for group, member in enumerate(members, 10):
        member.call("JoinGroup", {"Group": group})
    sender = obxd.client(login=None)
    for group in range(10, 30):
        sender.send({"jsonrpc": "2.0", "method": "Event", "group": group, "params": "x" * (20 * MIB)})
        assert sender.get("Device.Note") == "first"
        check(obxd)
    assert members[-1].receive()["group"] == 29  # those who held most for longest had to go


def test_short_events_of_many_who_do_not_read(obxd):
    members = [obxd.client(login=None) for _ in range(100)]
    for member in members:
        member.call("JoinGroup", {"Group": 7})
    sender = obxd.client(login=None)
    one = json.dumps({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": "x" * 3000}).encode()
    for _ in range(40):
        sender.send(one * 50)
        assert sender.get("Device.Note") == "first"
    check(obxd)


@pytest.mark.parametrize("unit", ["{}", "[{},{}]", "[[]]", "1", "{\"a\":[]}"])
def test_a_message_of_very_many_values_is_refused(obxd, unit):
    before = memory_mb(obxd)
    for login, most in ((None, 100000), ("user", 400000), ("root", 1000000)):
        client = obxd.client(login=login) if login != "user" else obxd.client(login=None)
        if login == "user":
            assert "result" in client.login("user", "user")
        count = 62 * MIB // (len(unit) + 1)
        client.send(('{"jsonrpc":"2.0","id":"a","method":"Logout","params":{"x":[' + (unit + ",") * count).encode())
        client.send(b"1]}}")
        answer = client.receive()
        assert answer["id"] == "a" and fault(answer) == (9004, "The message holds more than %d values" % most)
        assert client.get("Device.Note") == "first"
        client.close()
        check(obxd)
    given_back(obxd, before)


def test_a_message_of_as_many_values_as_may_be(obxd):
    client = obxd.client(login=None)
    params = {"ParameterNames": ["Device.Note"], "x": [1] * 99990}
    assert client.request("GetParameterValues", params)["result"]["ParameterList"][0]["Value"] == "first"
    params["x"] += [1] * 20
    assert fault(client.request("GetParameterValues", params))[0] == 9004
    check(obxd)


def test_unfit_and_broken_long_messages(obxd):
    client = obxd.client(login=None)
    head, tail = b'{"jsonrpc":"2.0","id":5,"method":"Logout","params":{"x":"' + b"y" * MIB, b'}}'
    for end in (b'\\u0000"', b'","n":99999999999999999999'):
        client.send(head + end + tail)
        answer = client.receive()
        assert answer["id"] == 5 and answer["error"]["code"] == -32602
    client.send(head + b'\\\\u0000"' + tail)
    assert client.receive() == {"jsonrpc": "2.0", "id": 5, "result": {}}
    client.send(head + b'",,' + tail)
    assert client.receive()["error"]["code"] == -32700
    assert client.receive() is None


def test_the_cost_of_a_long_text_grows_with_its_length(obxd):
    client = obxd.client(login=None)

    def cost(length):
        before = harness.cpu_seconds(obxd.process.pid)
        client.send({"jsonrpc": "2.0", "id": 1, "method": "Logout", "params": {"x": "\u00e4\n" * length}})
        assert client.receive()["result"] == {}
        return harness.cpu_seconds(obxd.process.pid) - before

    assert cost(7 * MIB) < 7 * 4 * cost(MIB) + 0.1
    check(obxd)


def test_a_long_name_is_not_repeated_whole(obxd):
    """Nor cut in the middle of a character."""
    client = obxd.client()
    for letter in ("a", "\u00e4", "\u20ac"):
        name = "Device." + letter * 1000000
        for method, params in (("GetParameterValues", {"ParameterNames": [name]}), ("AddObject", {"ObjectName": name + "."}),
                               ("GetParameterAttributes", {"ParameterNames": [name], "Level": 0})):
            code, detail = fault(client.request(method, params))
            assert code == 9005 and 4000 < len(detail.encode()) < 4200, (method, len(detail))
            assert name.startswith(detail.removesuffix("...")) and detail.endswith("..."), method
    client.close()


def test_half_messages_of_guests_leave_room_for_who_has_logged_in(obxd):
    root = obxd.client()
    guests = []
    for _ in range(4):
        guests.append(obxd.client(login=None))
        try:
            guests[-1].send(b'{"x":"' + b"y" * (40 * MIB))
        except ConnectionError:
            pass
    root.send(b'{"jsonrpc":"2.0","id":1,"method":"GetParameterValues","params":{"ParameterNames":["Device.Note"],"x":"'
              + b"y" * (60 * MIB) + b'"}}')
    assert root.receive()["result"]["ParameterList"][0]["Value"] == "first"
    check(obxd)
