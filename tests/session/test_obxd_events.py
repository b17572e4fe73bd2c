"""Groups and events of the daemon."""

import os
import signal

import pytest

import harness

pytestmark = pytest.mark.obxd(*harness.SMALL, *harness.UPLOADS)


def joined(obxd, *groups, login=None):
    client = obxd.client(login=login)
    for group in groups:
        assert client.call("JoinGroup", {"Group": group}) == {}
    return client


def no_event_before(client, marker=4242):
    """Events come in order: what was sent before this has arrived by now."""
    client.call("JoinGroup", {"Group": marker})
    other = harness.Client(client.socket.getpeername())
    other.send({"jsonrpc": "2.0", "method": "Event", "group": marker})
    event = client.event()
    other.close()
    assert event == {"jsonrpc": "2.0", "method": "Event", "group": marker}, event
    client.call("LeaveGroup", {"Group": marker})


def test_a_clients_event_goes_to_everybody_else_in_the_group(obxd):
    first, second, outside = joined(obxd, 7, 9), joined(obxd, 7), joined(obxd, 8)
    event = {"jsonrpc": "2.0", "method": "Event", "group": 7, "params": {"a": [1, None, "\u00e4"]}}
    first.send(event)
    assert second.event() == event
    no_event_before(first)
    no_event_before(outside)
    stranger = obxd.client(login=None)  # who sends need not have joined
    stranger.send(event)
    assert first.event() == event and second.event() == event


@pytest.mark.parametrize("params", [[1, 2], "text", 5, None, False])
def test_params_of_an_event_may_be_any_value(obxd, params):
    receiver, sender = joined(obxd, 4294967295), obxd.client(login=None)
    sender.send({"jsonrpc": "2.0", "method": "Event", "group": 4294967295, "params": params})
    assert receiver.event()["params"] == params


def test_an_event_that_grows_beyond_a_message_is_dropped(obxd):
    receiver, sender = joined(obxd, 7), obxd.client(login=None)
    big = b"[" + b"1e14," * (68 << 20 >> 4) + b"1]"  # each number is longer when it is written out
    sender.send(b'{"jsonrpc":"2.0","method":"Event","group":7,"params":%s}' % big)
    sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": "small"})
    assert receiver.event()["params"] == "small"


def test_a_configuration_that_is_put_in_force_tells_of_instances(obxd, tmp_path):
    client, listener = obxd.client(), joined(obxd, 4)
    entries = "Device.List.Entry."
    for number in (1, 2):
        assert client.call("AddObject", {"ObjectName": entries})["InstanceNumber"] == number
        listener.event()
    url = "file://%s/config" % tmp_path
    client.call("Upload", {"FileType": "Config", "URL": url})
    client.call("FactoryReset")
    assert [listener.event()["params"] for _ in (2, 1)] == [
        {"Action": "Delete", "Path": entries + "%d." % number, "InstanceNumber": number} for number in (2, 1)]
    client.call("Download", {"FileType": "Config", "URL": url})
    assert [listener.event()["params"] for _ in (1, 2)] == [
        {"Action": "Add", "Path": entries, "InstanceNumber": number} for number in (1, 2)]


def test_a_left_group_is_quiet(obxd):
    client, sender = joined(obxd, 7), obxd.client(login=None)
    assert client.call("LeaveGroup", {"Group": 7}) == {}
    assert client.call("LeaveGroup", {"Group": 7}) == {}
    sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7})
    no_event_before(client)


@pytest.mark.parametrize("group", [0, -1, 4294967296, "7", 1.5, None])
def test_wrong_groups(obxd, group):
    client = obxd.client(login=None)
    for method in ("JoinGroup", "LeaveGroup"):
        assert harness.fault(client.request(method, {"Group": group})) == (9003, '"Group" must be 1 to 4294967295')
    client.send({"jsonrpc": "2.0", "method": "Event", "group": group, "params": 1})  # goes nowhere
    assert client.get("Device.Users.CurrentUser") == ""


def test_joining_twice_gives_each_event_once(obxd):
    client, sender = joined(obxd, 7, 7), obxd.client(login=None)
    sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": 1})
    sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": 2})
    assert [client.event()["params"] for _ in range(2)] == [1, 2]


def test_model_changes_reach_everybody_the_author_too(obxd):
    author, other = joined(obxd, 4, login="root"), joined(obxd, 4)
    number = author.call("AddObject", {"ObjectName": "Device.List.Entry."})["InstanceNumber"]
    added = {"jsonrpc": "2.0", "method": "Event", "group": 4,
             "params": {"Action": "Add", "Path": "Device.List.Entry.", "InstanceNumber": number}}
    assert author.event() == added and other.event() == added
    author.call("DeleteObject", {"ObjectName": "Device.List.Entry.%d." % number})
    deleted = {"jsonrpc": "2.0", "method": "Event", "group": 4,
               "params": {"Action": "Delete", "Path": "Device.List.Entry.%d." % number, "InstanceNumber": number}}
    assert author.event() == deleted and other.event() == deleted


def test_value_changes_show_no_more_than_the_reader_may_see(obxd):
    author, guest = obxd.client(), joined(obxd, 1)
    admin = joined(obxd, 1, login="root")
    for path, value in (("HostName", "new"), ("Private", "secret"), ("Password", "hush"), ("HostName", "newer")):
        assert "result" in author.set("Device.DeviceInfo." + path, value)

    def changes(client, count):
        events = [client.event() for _ in range(count)]
        assert all(event["group"] == 1 for event in events)
        return [(event["params"]["Path"].rsplit(".", 1)[1], event["params"]["Value"]) for event in events]

    seen = changes(admin, 3)
    if seen[2][0] == "Password":
        assert seen[2] == ("Password", "")
        seen[2:] = changes(admin, 1)
    assert seen == [("HostName", "new"), ("Private", "secret"), ("HostName", "newer")]
    seen = changes(guest, 2)
    if seen[1][0] == "Password":
        assert seen[1] == ("Password", "")
        seen[1:] = changes(guest, 1)
    assert seen == [("HostName", "new"), ("HostName", "newer")]


def test_an_unchanged_value_is_no_event(obxd):
    author, client = obxd.client(), joined(obxd, 1)
    assert "result" in author.set("Device.DeviceInfo.HostName", "box")
    no_event_before(client)


def test_many_events_come_whole_and_in_order(obxd):
    client, sender = joined(obxd, 7), obxd.client(login=None)
    for n in range(2000):
        sender.send({"jsonrpc": "2.0", "method": "Event", "group": 7, "params": n})
    assert [client.event()["params"] for _ in range(2000)] == list(range(2000))


def test_a_flood_of_model_changes_costs_a_slow_listener_nothing(obxd):
    """It is told in the end what came and went, and what did both is left out."""
    root = obxd.client()
    table = "Device.List.Entry."
    first = root.call("AddObject", {"ObjectName": table})["InstanceNumber"]
    slow, flood = obxd.client(login=None), obxd.client(login=None)
    slow.call("JoinGroup", {"Group": 4})
    for _ in range(150):
        flood.send({"jsonrpc": "2.0", "method": "Event", "group": 4, "params": "x" * 100000})
    assert "result" in flood.request("LeaveGroup", {"Group": 1})
    root.call("DeleteObject", {"ObjectName": table + "%d." % first})
    for _ in range(2000):
        number = root.call("AddObject", {"ObjectName": table})["InstanceNumber"]
        root.call("DeleteObject", {"ObjectName": table + "%d." % number})
    last = root.call("AddObject", {"ObjectName": table})["InstanceNumber"]
    events, size = [], 0
    while not events or events[-1] != {"Action": "Add", "Path": table, "InstanceNumber": last}:
        params = slow.event()["params"]
        if isinstance(params, str):
            size += len(params)
        else:
            events.append(params)
    assert events == [{"Action": "Delete", "Path": table + "%d." % first, "InstanceNumber": first},
                      {"Action": "Add", "Path": table, "InstanceNumber": last}]
    assert 1000000 < size < 10000000
    assert slow.get("Device.Users.Note") == "none"
    again = root.call("AddObject", {"ObjectName": table})["InstanceNumber"]
    assert slow.event()["params"]["InstanceNumber"] == again
    for client in (root, slow, flood):
        client.close()


def test_a_flood_of_model_changes_ends_no_shell(obxd, shell):
    root, flood = obxd.client(), obxd.client(login=None)
    os.kill(shell.pid(), signal.SIGSTOP)
    try:
        for _ in range(150):
            flood.send({"jsonrpc": "2.0", "method": "Event", "group": 4, "params": "x" * 100000})
        assert "result" in flood.request("LeaveGroup", {"Group": 1})
        number = root.call("AddObject", {"ObjectName": "Device.List.Entry."})["InstanceNumber"]
    finally:
        os.kill(shell.pid(), signal.SIGCONT)
    shell.send("cd Device.List.Entry.%d\r" % number)
    shell.wait_line(r"root@obxc:Device\.List\.Entry\.%d>" % number)
    shell.send("q\r")
    assert shell.end() == 0
    for client in (root, flood):
        client.close()
