"""The methods of the model that do something."""

import json
import select
import socket
import time

import pytest

import harness
from harness import fault

pytestmark = pytest.mark.obxd(*harness.SMALL)


def execute(admin, path, **inputs):
    return admin.request("Execute", {"Path": path, "ParameterList": [{"Name": name, "Value": value}
                                                                       for name, value in inputs.items()]})


def outputs(rows, path):
    assert all(row["Name"].startswith(path + ".") for row in rows)
    return {row["Name"][len(path) + 1:]: row["Value"] for row in rows}


def run(admin, path, **inputs):
    answer = execute(admin, path, **inputs)
    assert "result" in answer, answer
    return outputs(answer["result"]["ParameterList"], path)


PING = "Device.IP.Diagnostics.IPPing"
CONNECT = "Device.IP.Diagnostics.TCPConnect"


def test_looking_up_a_name(admin):
    lookup = "Device.DNS.Diagnostics.NSLookupDiagnostics"
    result = run(admin, lookup, HostName="no.such.host.invalid")
    assert (result["Status"], result["SuccessCount"], result["IPAddresses"]) == ("Error_CannotResolveHostName", 0, "")
    assert "error" in execute(admin, lookup)


def test_ping_of_the_loopback(admin, host):
    result = run(admin, PING, Host=host, ProtocolVersion="IPv4")
    assert result["Status"] == "Complete" and result["IPAddressUsed"] == "127.0.0.1"
    assert (result["SuccessCount"], result["FailureCount"]) == (2, 0)
    assert result["MinimumResponseTimeDetailed"] <= result["AverageResponseTimeDetailed"]


def test_ping_elsewhere_is_refused(admin):
    assert fault(execute(admin, PING, Host="192.0.2.1")) == (9001, "192.0.2.1 is no loopback address")
    assert run(admin, PING, Host="no.such.host.invalid")["Status"] == "Error_CannotResolveHostName"


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


def test_connecting(admin):
    port = free_port()
    assert run(admin, CONNECT, Host="127.0.0.1", Port=port)["Status"] == "Error_Refused"
    with socket.create_server(("127.0.0.1", 0)) as server:
        port = server.getsockname()[1]
        assert run(admin, CONNECT, Host="127.0.0.1", Port=port)["Status"] == "Complete"
    assert "error" in execute(admin, CONNECT, Host="127.0.0.1")


def test_a_slow_method_holds_up_nobody_else(obxd, admin):
    full = socket.create_server(("127.0.0.1", 0), backlog=0)
    fillers = [socket.socket() for _ in range(4)]
    for filler in fillers:
        filler.setblocking(False)
        filler.connect_ex(full.getsockname())
    other = obxd.client("admin")
    admin.send({"jsonrpc": "2.0", "id": 1, "method": "Execute", "params": {"Path": CONNECT, "ParameterList": [
        {"Name": "Host", "Value": "127.0.0.1"}, {"Name": "Port", "Value": full.getsockname()[1]},
        {"Name": "Timeout", "Value": 3000}]}})
    admin.send({"jsonrpc": "2.0", "id": 2, "method": "Logout"})
    assert other.get("Device.Users.Note") == "none"
    assert not select.select([admin.socket], [], [], 0)[0]  # the method goes on
    first = admin.receive()
    assert first["id"] == 1 and first["result"]["ParameterList"][0]["Value"] == "Error_Timeout"
    assert admin.receive()["id"] == 2
    for each in fillers + [full]:
        each.close()


def test_the_answer_of_an_async_method_does_not_wait_for_ever(tmp_path):
    with open(harness.SMALL_MODEL) as file:
        model = json.load(file)
    for name in ("IPPing", "TCPConnect"):
        model["schema"]["Device"]["IP"]["Diagnostics"][name]["async"] = True
    (tmp_path / "model.json").write_text(json.dumps(model))
    running = harness.Obxd(model=str(tmp_path / "model.json"))
    admin = running.client("admin")
    admin.call("JoinGroup", {"Group": 2})
    assert run(admin, PING, Host="127.0.0.1")["Status"] == "Complete"
    assert outputs(admin.event()["params"]["ParameterList"], PING)["Status"] == "Complete"
    full = socket.create_server(("127.0.0.1", 0), backlog=0)
    fillers = [socket.socket() for _ in range(4)]
    for filler in fillers:
        filler.setblocking(False)
        filler.connect_ex(full.getsockname())
    start = time.monotonic()
    assert run(admin, CONNECT, Host="127.0.0.1", Port=full.getsockname()[1], Timeout=4000) == {}
    assert time.monotonic() - start > 1.9  # and the answer is not the method's outcome
    assert outputs(admin.event()["params"]["ParameterList"], CONNECT)["Status"] == "Error_Timeout"
    for each in fillers + [full]:
        each.close()
    running.close()


def test_an_async_method_answers_at_once_and_reports_in_events(obxd, admin):
    listener = obxd.client(login=None)
    listener.call("JoinGroup", {"Group": 2})
    assert run(admin, "Device.ScheduleTimer", DelaySeconds=3600) == {}
    begun = {"Event": "OperationProgress", "Path": "Device.ScheduleTimer", "Percent": 0}
    assert listener.event()["params"] == begun
    start = time.monotonic()
    assert run(admin, "Device.ScheduleTimer", DelaySeconds=3) == {}
    assert listener.event()["params"] == begun
    done = listener.event()["params"]
    while done["Event"] == "OperationProgress":
        done = listener.event()["params"]
    assert done == {"Event": "OperationComplete", "Path": "Device.ScheduleTimer", "ParameterList": []}
    assert time.monotonic() - start >= 3


def test_counters(admin):
    stats = "Device.Ethernet.Interface.%d.Stats."
    assert admin.get(stats % 2 + "BytesSent") == 5
    assert run(admin, stats % 2 + "Reset") == {}
    assert [admin.get(stats % 2 + name) for name in ("BytesSent", "BytesReceived", "UnicastPacketsSent")] == [0, 0, 0]
    before = admin.get(stats % 1 + "BytesSent")
    with socket.create_server(("127.0.0.1", 0)) as server, socket.create_connection(server.getsockname()) as out:
        out.sendall(b"x" * 100000)
        harness.wait_until(lambda: admin.get(stats % 1 + "BytesSent") >= before + 100000, "the counter to move")
    assert run(admin, stats % 1 + "Reset") == {}
    assert admin.get(stats % 1 + "BytesSent") < before + 100000


def test_debug_checks_the_password(obxd, admin):
    debug = "Device.System.Debug"
    guest = obxd.client(login=None)
    assert fault(execute(guest, debug, Mode="Disabled")) == (9001, "Guests cannot change the debug mode")
    assert fault(execute(admin, debug, Mode="Temporary", UserPassword="wrong")) == (9001, "Wrong password")
    assert fault(execute(admin, debug, Mode="Temporary")) == (9001, "The current user's password is needed")
    assert fault(execute(admin, debug, Mode="Permanent", UserPassword=None))[0] == 9001
    assert admin.get("Device.System.DebugMode") == "Disabled"
    assert run(admin, debug, Mode="Temporary", UserPassword="admin") == {}
    assert admin.get("Device.System.DebugMode") == "Temporary"
    assert run(admin, debug, Mode="Disabled", UserPassword=None) == {}
    assert admin.get("Device.System.DebugMode") == "Disabled"
    assert "error" in execute(admin, debug, Mode="Always", UserPassword="admin")
    root = obxd.client()
    assert fault(execute(root, debug, Mode="Temporary", UserPassword="x")) == (9001, "root has no password")


@pytest.mark.parametrize("user,password,status", [
    ("admin", "admin", "Credentials_Good"), ("admin", "no", "Credentials_Bad_Requested_Password_Incorrect"),
    ("nobody", "x", "Credentials_Bad_Requested_Username_Not_Supported"),
    ("root", "", "Credentials_Bad_Requested_Username_Not_Supported")])
def test_credentials(admin, user, password, status):
    check = "Device.Users.CheckCredentialsDiagnostics"
    assert run(admin, check, Username=user, Password=password) == {"Status": status}


def test_what_cannot_be_executed(admin):
    assert fault(execute(admin, "Device.System.Unknown")) == (9000, "This device cannot run Device.System.Unknown")
    assert fault(execute(admin, "Device.System.DebugMode"))[0] == 9005
    assert "error" in admin.request("Execute")
    assert "error" in execute(admin, PING)
    assert "error" in execute(admin, PING, Host="localhost", Colour="red")


@pytest.mark.usefixtures("localhost")
def test_the_methods_of_the_router():
    router = harness.Obxd()
    client = router.client("root")
    client.call("JoinGroup", {"Group": 2})
    lookup = run(client, "Device.DNS.Diagnostics.NSLookupDiagnostics", HostName="localhost")
    assert lookup["Status"] == "Complete" and {"127.0.0.1", "::1"} & set(lookup["IPAddresses"].split(","))
    assert run(client, CONNECT, Host="127.0.0.1", Port=free_port())["Status"] == "Error_Refused"
    assert run(client, "Device.Ethernet.Interface.2.Stats.Reset") == {}
    assert client.get("Device.Ethernet.Interface.2.Stats.BytesSent") == 0
    assert run(client, "Device.ScheduleTimer", DelaySeconds=1) == {}
    assert [client.event()["params"]["Event"] for _ in range(2)] == ["OperationProgress", "OperationComplete"]
    assert run(client, PING, Host="127.0.0.1", NumberOfRepetitions=1)["SuccessCount"] == 1
    assert outputs(client.event()["params"]["ParameterList"], PING)["SuccessCount"] == 1
    assert fault(execute(client, PING, Host="192.0.2.1")) == (9001, "192.0.2.1 is no loopback address")
    assert client.event()["params"]["Error"] == {"code": 9001, "message": "Request denied",
                                                 "Detail": "192.0.2.1 is no loopback address"}
    assert "result" in execute(client, "Device.WiFi.Reset")
    assert client.get("Device.DeviceInfo.MemoryStatus.Free") > 0
    router.close()
