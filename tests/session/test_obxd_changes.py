"""Changes that are taken back unless they are confirmed in time, and requests that only try."""

import json
import os
import re
import subprocess

import pytest

import harness
from certificates import context_trusting
from harness import fault

pytestmark = pytest.mark.obxd(*harness.SMALL, *harness.UPLOADS)

HOST = "Device.DeviceInfo.HostName"
TEXT = "Device.List.Entry.1.Text"
TABLE = "Device.List.Entry."
GONE = (9001, "The change was taken back: its time was over")


VALUES = {HOST: "device", TEXT: "first"}


@pytest.fixture
def values(tmp_path):
    (tmp_path / "values.json").write_text(json.dumps(VALUES))
    return "--values", str(tmp_path / "values.json")


@pytest.fixture
def start_obxd(start_obxd, values):
    return lambda *args, **options: start_obxd(*values, *args, **options)


def begin(client, seconds=60):
    return client.call("BeginChange", {"Timeout": seconds})["Change"]


def confirm(client, change):
    return client.request("ConfirmChange", {"Change": change})


def rows(client):
    names = client.call("GetParameterNames", {"ParameterPath": TABLE, "NextLevel": True})["ParameterList"]
    return sorted(entry["Name"] for entry in names if re.search(r"\.\d+\.$", entry["Name"]))


def listener(obxd, *groups):
    client = obxd.client()
    for group in groups:
        client.call("JoinGroup", {"Group": group})
    return client


def next_event(client, name):
    """The params of the next event of that name; those before it."""
    before = []
    while True:
        params = client.event()["params"]
        if params.get("Event") == name:
            return params, before
        before.append(params)


def named(client, change, method, params, beside=True):
    """A request as part of a change that it names."""
    message = {"jsonrpc": "2.0", "id": "named", "method": method, "params": dict(params)}
    (message if beside else message["params"])["Change"] = change
    client.send(message)
    while (response := client.receive()).get("id") != "named":
        pass
    return response


def set_in(client, change, path, value, beside=True):
    return named(client, change, "SetParameterValues", {"ParameterList": [{"Name": path, "Value": value}]}, beside)


def altered(client, *requests):
    """Begins a change and makes these requests in it, so soon that none comes too late; the change and the results."""
    for seconds in 1, 5, 25, 60:
        change = begin(client, seconds)
        answers = [named(client, change, *request) for request in requests]
        if all("result" in answer for answer in answers):
            return change, [answer["result"] for answer in answers]
        client.request("CancelChange", {"Change": change})
    raise AssertionError(answers)


def taken_back(events, change):
    """The event that tells it, and the params of those since the change was begun."""
    between = []
    while True:
        params = events.event()["params"]
        if params.get("Change") != change:
            between.append(params)
        elif params["Event"] == "ChangeTakenBack":
            return params, between
        else:
            between.clear()


@pytest.fixture(params=["local", "tls"])
def either(request, start_obxd):
    """A client that may do everything, over one or the other connection."""
    if request.param == "local":
        obxd = start_obxd()
        client = obxd.client()
    else:
        certificate = request.getfixturevalue("certificate")
        obxd = start_obxd("--listen", "127.0.0.1:0", "--tls-cert", certificate[0], "--tls-key", certificate[1])
        client = obxd.tcp_client(context_trusting(request.getfixturevalue("authority").cert))
        assert "result" in client.login("admin", "admin")
    client.obxd = obxd
    yield client
    client.close()


def test_it_is_taken_back_when_its_time_is_over(either):
    events = listener(either.obxd, 1, 2, 4)
    host, present = either.get(HOST), rows(either)
    change, results = altered(
        either, ("SetParameterValues", {"ParameterList": [{"Name": HOST, "Value": "changed"}]}),
        ("AddObject", {"ObjectName": TABLE}), ("DeleteObject", {"ObjectName": TABLE + "1."}))
    number = results[1]["InstanceNumber"]
    over, before = taken_back(events, change)
    assert over == {"Event": "ChangeTakenBack", "Change": change, "Owner": over["Owner"], "Cause": "its time was over"}
    assert (either.get(HOST), rows(either)) == (host, present)
    assert {"Path": HOST, "Value": host} in before
    assert {"Action": "Add", "Path": TABLE, "InstanceNumber": 1} in before
    assert {"Action": "Delete", "Path": "%s%d." % (TABLE, number), "InstanceNumber": number} in before
    assert fault(confirm(either, change)) == GONE
    assert "result" in either.request("CancelChange", {"Change": change})


def test_what_is_confirmed_stays(either):
    events = listener(either.obxd, 2)
    change = begin(either)
    either.set(HOST, "changed")
    assert confirm(either, change)["result"] == {}
    assert next_event(events, "ChangeConfirmed")[0]["Change"] == change
    later = begin(either, 1)
    assert later != change
    taken_back(events, later)
    assert either.get(HOST) == "changed"
    assert fault(confirm(either, change)) == (9003, "There is no such change")


def test_saying_it_twice_is_no_fault(client):
    change = begin(client)
    client.set(HOST, "changed")
    assert confirm(client, change)["result"] == confirm(client, change)["result"] == {}
    assert fault(client.request("CancelChange", {"Change": change})) == (9001, "The change was confirmed")
    change = begin(client)
    client.set(HOST, "again")
    assert client.request("CancelChange")["result"] == client.request("CancelChange", {"Change": change})["result"] == {}
    assert fault(confirm(client, change)) == (9001, "The change was taken back: it was cancelled")
    assert fault(client.request("ConfirmChange")) == (9003, "No change is open")
    assert client.get(HOST) == "changed"


def test_a_lost_connection_takes_nothing_back_before_the_time(obxd, client):
    events, first = listener(obxd, 2), obxd.client()
    change, _ = altered(first, ("SetParameterValues", {"ParameterList": [{"Name": HOST, "Value": "changed"}]}))
    first.close()
    client.set(TEXT, "another's")
    assert taken_back(events, change)[0]["Cause"] == "its time was over"
    assert (client.get(HOST), client.get(TEXT)) == ("device", "another's")
    first = obxd.client()
    change = begin(first)
    first.set(HOST, "changed")
    first.close()
    assert confirm(client, change)["result"] == {}
    assert client.get(HOST) == "changed"


@pytest.mark.parametrize("end", ["kill", "stop"])
def test_the_start_takes_back(obxd, end):
    client = obxd.client()
    client.set(HOST, "saved")
    client.call("SaveConfig")
    change = begin(client, 3600)
    client.set(HOST, "changed")
    client.call("DeleteObject", {"ObjectName": TABLE + "1."})
    getattr(obxd, end)()
    obxd.start()
    client = obxd.client()
    assert client.get(HOST) == "saved"
    assert TABLE + "1." in rows(client)
    assert fault(confirm(client, change)) == (9001, "The change was taken back: the device started anew")
    assert "result" in client.request("SaveConfig")
    assert confirm(client, begin(client))["result"] == {}
    assert not os.path.exists(os.path.join(obxd.directory, "state", "change.json"))


def test_a_reboot_takes_back(obxd, client):
    events = listener(obxd, 2)
    change = begin(client, 3600)
    client.set(HOST, "changed")
    assert fault(client.request("Reboot", {"DeviceMode": "Bridge"})) == (
        9001, "Another device mode cannot be taken back: confirm or cancel the open change first")
    client.call("Reboot")
    assert next_event(events, "ChangeTakenBack")[0]["Cause"] == "the device started anew"
    while client.receive():
        pass
    again = obxd.back_again()
    assert again.get(HOST) == "device"
    assert fault(confirm(again, change))[0] == 9001
    assert "result" in again.request("SaveConfig")


@pytest.mark.parametrize("text", [b"", b"[]", b"{\"Change\": 5}", b"\xff"])
def test_a_broken_file_of_the_change_is_no_reason_not_to_start(obxd, text):
    obxd.stop()
    with open(os.path.join(obxd.directory, "state", "change.json"), "wb") as file:
        file.write(text)
    obxd.start()
    client = obxd.client()
    assert confirm(client, begin(client))["result"] == {}


def test_without_a_state_directory(tmp_path, values):
    """A crash leaves the directory of its own behind; nothing of the change is anywhere."""
    path, env = str(tmp_path / "socket"), harness.environment(TMPDIR=str(tmp_path))
    command = [harness.OBXD, "--socket", path, *harness.SMALL, *values]
    for last in (False, True):
        daemon = subprocess.Popen(command, stdout=subprocess.PIPE, env=env)
        daemon.stdout.readline()
        client = harness.Client(path)
        client.login()
        assert client.get(HOST) == "device"
        change = begin(client)
        client.set(HOST, "changed")
        if last:
            assert client.request("CancelChange", {"Change": change})["result"] == {}
            assert client.get(HOST) == "device"
        daemon.kill()
        daemon.wait()
        daemon.stdout.close()


def test_one_at_a_time(obxd, client, admin):
    begin(client, 100)
    code, detail = fault(admin.request("BeginChange", {"Timeout": 5}))
    assert code == 9004 and re.fullmatch(r"A change of root is open, (100|9\d) s left", detail), detail
    assert fault(client.request("BeginChange", {"Timeout": 5}))[0] == 9004


@pytest.mark.parametrize("timeout", [0, -1, 3601, 2**40, "5", 1.5, None, True])
def test_times_that_are_none(client, timeout):
    assert fault(client.request("BeginChange", {"Timeout": timeout})) == (9003, '"Timeout" must be 1 to 3600')
    assert fault(client.request("BeginChange"))[0] == 9003
    assert "result" in client.request("SaveConfig")


def test_nobody_saves_meanwhile(obxd, client, admin):
    change = begin(client, 100)
    for who in (client, admin):
        code, detail = fault(who.request("SaveConfig"))
        assert code == 9001 and re.fullmatch(r"A change of root is open, (100|9\d) s left", detail), detail
    confirm(client, change)
    assert "result" in admin.request("SaveConfig")


def test_what_cannot_be_taken_back_is_refused_in_it(obxd, client, admin, tmp_path):
    path = str(tmp_path / "config.json")
    client.call("Upload", {"FileType": "Config", "URL": "file://" + path})
    client.set(HOST, "before")
    change = begin(client)
    for method, params, what in [("FactoryReset", {}, "A factory reset"),
                                 ("Download", {"FileType": "Config", "URL": "file://" + path}, "A download")]:
        assert fault(client.request(method, params)) == (
            9001, what + " cannot be taken back: confirm or cancel the open change first")
    # Others may: what they put in force is theirs.
    client.set(HOST, "mine")
    admin.call("FactoryReset")
    client.set(TEXT, "mine")
    assert client.request("CancelChange", {"Change": change})["result"] == {}
    assert (client.get(HOST), client.get(TEXT)) == ("device", "first")


def test_methods_of_the_model_that_cannot_be_taken_back():
    obxd = harness.Obxd()
    try:
        client = obxd.client()
        begin(client)
        for path in "Device.FactoryReset", "Device.DeviceInfo.VendorConfigFile.1.Restore":
            assert fault(client.request("Execute", {"Path": path})) == (
                9001, path + " cannot be taken back: confirm or cancel the open change first")
        assert "result" in client.request("Execute", {"Path": "Device.WiFi.Reset"})
    finally:
        obxd.close()


def test_who_decides(start_obxd, tmp_path):
    users = [{"name": name, "role": role, "tokens": []} for name, role in
             [("one", "user"), ("other", "user"), ("boss", "admin"), ("root", "system")]]
    (tmp_path / "users.json").write_text(json.dumps({"users": users}))
    obxd = start_obxd("--users", str(tmp_path / "users.json"))
    guest = obxd.client(None)
    assert fault(guest.request("BeginChange", {"Timeout": 5})) == (9001, "BeginChange needs a login")
    one, other, boss = (obxd.client(name) for name in ("one", "other", "boss"))
    change = begin(one)
    for who in (other, guest):
        assert fault(who.request("ConfirmChange", {"Change": change}))[0] == 9001
        assert fault(who.request("CancelChange", {"Change": change}))[0] == 9001
        assert fault(set_in(who, change, HOST, "x")) == (9001, "It is somebody else's change")
    assert obxd.client("one").request("ConfirmChange", {"Change": change})["result"] == {}
    change = begin(one)
    assert boss.request("CancelChange", {"Change": change})["result"] == {}
    assert fault(other.request("CancelChange", {"Change": change}))[0] == 9001
    begin(boss)
    assert fault(one.request("ConfirmChange"))[0] == 9001
    assert "result" in boss.request("ConfirmChange")


@pytest.mark.parametrize("beside", [True, False])
def test_other_connections_name_it(obxd, client, admin, beside):
    change = begin(client)
    assert "result" in set_in(admin, change, HOST, "in it", beside)
    admin.set(TEXT, "beside it")
    client.call("CancelChange", {"Change": change})
    assert (client.get(HOST), client.get(TEXT)) == ("device", "beside it")
    # Whoever names one that is not open must not alter anything.
    assert fault(set_in(admin, change, HOST, "late", beside)) == (9001, "The change was taken back: it was cancelled")
    assert fault(set_in(admin, "unknown", HOST, "wrong", beside)) == (9001, "There is no such change")
    assert "error" in set_in(admin, 5, HOST, "wrong", beside)
    change = begin(client)
    client.call("ConfirmChange", {"Change": change})
    assert fault(set_in(admin, change, HOST, "late", beside)) == (9001, "The change was confirmed")
    assert client.get(HOST) == "device"
    assert "result" in set_in(admin, None, HOST, "none", beside)


def test_it_is_the_connection_that_counts_not_the_user(obxd, client):
    beside = obxd.client()
    change = begin(client)
    beside.set(HOST, "beside it")
    client.request("Logout")
    client.login("admin", "admin")
    client.set(TEXT, "in it")
    client.call("CancelChange", {"Change": change})
    assert client.get(HOST) == "beside it"
    assert client.get(TEXT) == "first"


def test_dry_runs_leave_no_trace(either):
    events = listener(either.obxd, 1, 2, 4)
    table = either.call("GetConfig", {"Path": TABLE})
    entry = [{"Name": HOST, "Value": "tried"}]
    assert either.call("SetParameterValues", {"ParameterList": entry, "DryRun": True}) == {}
    assert either.call("RawSetParameterValues", {"ParameterList": entry, "DryRun": True}) == {}
    first = either.call("AddObject", {"ObjectName": TABLE, "DryRun": True})
    assert either.call("AddObject", {"ObjectName": TABLE, "DryRun": True,
                                     "ParameterList": [{"Name": "Text", "Value": "tried"}]}) == first
    assert either.call("DeleteObject", {"ObjectName": TABLE + "1.", "DryRun": True}) == {}
    refused = either.request("SetParameterValues", {"ParameterList": [{"Name": HOST, "Value": 5}], "DryRun": True})
    assert fault(refused) == (9003, "nothing was set")
    assert refused["error"]["data"][HOST]["code"] == 9006
    assert either.call("GetConfig", {"Path": TABLE}) == table and either.get(HOST) == "device"
    assert either.call("AddObject", {"ObjectName": TABLE}) == first
    assert events.event()["params"]["Action"] == "Add", "the first event is of what was really done"


def test_dry_runs_in_a_change(client):
    change = begin(client)
    client.set(HOST, "changed")
    client.call("SetParameterValues", {"ParameterList": [{"Name": HOST, "Value": "tried"}], "DryRun": True})
    client.call("CancelChange", {"Change": change})
    assert client.get(HOST) == "device"
