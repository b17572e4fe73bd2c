"""Methods of the router's model: what they change, and that what they give back is what the model says."""

import hashlib
import json
import os
import re

import pytest

import harness
from harness import fault

pytestmark = pytest.mark.obxd(*harness.UPLOADS)

with open(os.path.join(harness.SOURCE, "models", "router.json")) as file:
    MODEL = json.load(file)
INFO = "Device.DeviceInfo."
CONFIG = INFO + "VendorConfigFile.1."


@pytest.fixture
def joined(admin):
    """The administrator's connection, to which the events of methods come."""
    admin.call("JoinGroup", {"Group": 2})
    return admin


def execute(client, path, **inputs):
    return client.request("Execute", {"Path": path, "ParameterList": [
        {"Name": name.replace("__", "."), "Value": value} for name, value in inputs.items()]})


PATIENT = re.compile(r"IPPing$|TraceRoute$|VendorConfigFile\.\d+\.Restore$")


def completion(client, path, **inputs):
    """The OperationComplete event of an async method; one that is soon through says the same in its answer."""
    answer = execute(client, path, **inputs)
    event = client.event()["params"]
    while event["Event"] != "OperationComplete":
        event = client.event()["params"]
    assert event["Path"] == path
    if PATIENT.search(path):
        assert answer.get("result", {}).get("ParameterList") == event.get("ParameterList")
        assert answer.get("error", {}).get("code") == event.get("Error", {}).get("code")
    else:
        assert answer["result"] == {"ParameterList": []}
    return event


def run_async(client, path, **inputs):
    """Output parameters by their relative names, each checked against the model."""
    outputs = {}
    for row in completion(client, path, **inputs)["ParameterList"]:
        assert row["Name"].startswith(path + ".")
        outputs[row["Name"][len(path) + 1:]] = row["Value"]
    check_outputs(path, outputs)
    return outputs


def schema_of(path):
    node = MODEL["schema"]
    for part in path.split("."):
        node = node if part.isdigit() else node[part]
    return node


def check_outputs(path, outputs):
    model = schema_of(path)["#output"]
    for name, value in outputs.items():
        node = model
        for part in name.split("."):
            node = node if part.isdigit() else node[part]
        kind = node["type"]
        assert isinstance(value, bool if kind == "boolean" else int if "nt" in kind else str), (name, value)
        if "enum" in node:
            choices = value.split(",") if kind == "list" else [value]
            assert value == "" or set(choices) <= set(node["enum"]), (name, value)
        if kind in ("int", "unsignedInt"):
            assert node.get("minInclusive", -10 ** 9) <= value <= node.get("maxInclusive", 10 ** 9), (name, value)
        if kind == "MACAddress":
            assert re.fullmatch("([0-9a-f]{2}:){5}[0-9a-f]{2}", value)


TRACE = "Device.IP.Diagnostics.TraceRoute"


@pytest.mark.usefixtures("localhost")
def test_trace_route(joined):
    found = run_async(joined, TRACE, Host="localhost", ProtocolVersion="IPv4", NumberOfTries=2)
    assert (found["Status"], found["IPAddressUsed"]) == ("Complete", "127.0.0.1")
    assert (found["RouteHops.1.Host"], found["RouteHops.1.HostAddress"]) == ("localhost", "127.0.0.1")
    assert len(found["RouteHops.1.RTTimes"].split(",")) == 2
    assert "RouteHops.2.Host" not in found
    assert completion(joined, TRACE, Host="192.0.2.1")["Error"]["Detail"] == "192.0.2.1 is no loopback address"
    assert run_async(joined, TRACE, Host="no.such.host.invalid")["Status"] == "Error_CannotResolveHostName"


@pytest.mark.usefixtures("localhost")
def test_a_short_ping_answers_when_it_is_through(obxd, joined):
    found = run_async(joined, "Device.IP.Diagnostics.IPPing", Host="127.0.0.1", NumberOfRepetitions=2)
    assert (found["Status"], found["SuccessCount"]) == ("Complete", 2)
    done = harness.obxc(daemon=obxd, stdin="execute :Device.IP.Diagnostics.IPPing Host=localhost\n")
    assert "SuccessCount" in done.out and "'Complete'" in done.out, done


def test_neighbors_are_those_that_the_radios_can_hear(joined):
    def radios():
        found = run_async(joined, "Device.WiFi.NeighboringWiFiDiagnostic")
        assert found["Status"] == "Complete"
        return {value for name, value in found.items() if name.endswith(".Radio")}
    assert radios() == {"Device.WiFi.Radio.1", "Device.WiFi.Radio.2"}
    joined.set("Device.WiFi.Radio.1.Enable", False)
    assert radios() == {"Device.WiFi.Radio.2"}


def scanned(found, member):
    return [value for name, value in found.items() if name.rsplit(".", 1)[1:] == [member]]


def test_channel_scan(joined):
    scan = "Device.WiFi.Radio.2.ChannelScan"
    found = run_async(joined, scan)
    assert found["Status"] == "Success"
    channels = [str(value) for value in scanned(found, "Channel")]
    assert ",".join(channels) == joined.get("Device.WiFi.Radio.2.PossibleChannels")
    assert scanned(found, "OperatingClass") == [115, 118, 121]
    assert len(scanned(found, "BSSID")) == 2
    found = run_async(joined, scan, OpClass__1__Channel__1__Channel=36, OpClass__1__Channel__2__Channel=40)
    assert scanned(found, "Channel") == [36, 40] and scanned(found, "OperatingClass") == [115]
    assert scanned(found, "SSID") == ["Lighthouse"]
    found = run_async(joined, scan, OpClass__1__Channel__1__Channel=36, SSID="nobody")
    assert scanned(found, "SSID") == []
    assert run_async(joined, scan, OpClass__1__Channel__1__Channel=7) == {"Status": "Error_Invalid_Input"}
    joined.set("Device.WiFi.Radio.2.Enable", False)
    assert run_async(joined, scan) == {"Status": "Error_Interface_Down"}


def test_push_button(obxd, joined):
    point = "Device.WiFi.AccessPoint.1."
    count = joined.get(point + "AssociatedDeviceNumberOfEntries")
    listener = obxd.client()
    listener.call("JoinGroup", {"Group": 4})
    assert run_async(joined, point + "WPS.InitiateWPSPBC") == {"Status": "Success"}
    assert listener.event()["params"]["Path"] == point + "AssociatedDevice."
    assert joined.get(point + "AssociatedDeviceNumberOfEntries") == count + 1
    joined.set(point + "Enable", False)
    assert run_async(joined, point + "WPS.InitiateWPSPBC") == {"Status": "Error_Not_Ready"}


def test_renew(joined):
    lease = "Device.DHCPv4.Client.1."
    assert joined.get(lease + "LeaseTimeRemaining") == 40210
    assert "result" in execute(joined, lease + "Renew")
    assert (joined.get(lease + "LeaseTimeRemaining"), joined.get(lease + "DHCPStatus")) == (86400, "Bound")
    joined.set(lease + "Enable", False)
    assert fault(execute(joined, lease + "Renew")) == (9001, "Device.DHCPv4.Client.1. is disabled")


def test_resets(obxd, joined):
    sensor = INFO + "TemperatureStatus.TemperatureSensor.1."
    assert "result" in execute(joined, sensor + "Reset")
    now = joined.get(sensor + "Value")
    assert joined.get(sensor + "MinValue") == joined.get(sensor + "MaxValue") == now
    assert joined.get(sensor + "LastUpdate") > "2024-06"

    listener = obxd.client()
    listener.call("JoinGroup", {"Group": 1})
    interface = "Device.IP.Interface.1."
    assert "result" in execute(joined, interface + "Reset")
    assert [listener.event()["params"] for _ in range(3)] == [
        {"Path": interface + "Status", "Value": "Down"}, {"Path": interface + "Status", "Value": "Up"},
        {"Path": interface + "LastChange", "Value": 0}]

    security = "Device.WiFi.AccessPoint.1.Security."
    mode = joined.get(security + "ModeEnabled")
    assert "result" in joined.set(security + "ModeEnabled", "WPA2-Personal")
    assert "result" in joined.set(security + "RekeyingInterval", 99)
    assert "result" in execute(joined, security + "Reset")
    assert (joined.get(security + "ModeEnabled"), joined.get(security + "RekeyingInterval")) == (mode, 3600)


def test_backup_and_restore(joined, tmp_path):
    url = "file://%s" % (tmp_path / "backup.json")
    joined.set(INFO + "HostName", "kept")
    assert "ParameterList" in completion(joined, CONFIG + "Backup", URL=url)
    joined.set(INFO + "HostName", "lost")
    data = (tmp_path / "backup.json").read_bytes()
    digest = hashlib.sha256(data).hexdigest().upper()
    wrong = completion(joined, CONFIG + "Restore", URL=url, CheckSumAlgorithm="SHA-256", CheckSum="00" + digest[2:])
    assert wrong["Error"] == {"code": 9018, "message": "File corrupted", "Detail": "\"CheckSum\" does not fit"}
    assert completion(joined, CONFIG + "Restore", URL=url, FileSize=1)["Error"]["code"] == 9018
    assert joined.get(INFO + "HostName") == "lost"
    assert "ParameterList" in completion(joined, CONFIG + "Restore", URL=url, FileSize=len(data),
                                         CheckSumAlgorithm="SHA-256", CheckSum=digest)
    assert joined.get(INFO + "HostName") == "kept"
    assert "ParameterList" in completion(joined, CONFIG + "Restore", URL=url)
    assert execute(joined, CONFIG + "Backup", URL="ftp://192.0.2.1/x")["error"]["code"] == 9013
    assert "ParameterList" in completion(joined, INFO + "VendorLogFile.1.Upload", URL="file://%s" % (tmp_path / "log"))
    assert "booted" in (tmp_path / "log").read_text()


def test_a_reboot_ends_what_was_running(obxd, joined):
    assert "result" in execute(joined, "Device.WiFi.AccessPoint.1.WPS.InitiateWPSPBC")
    count = joined.get("Device.WiFi.AccessPoint.1.AssociatedDeviceNumberOfEntries")
    joined.call("Reboot")
    while joined.receive():
        pass
    again = obxd.back_again()
    again.call("JoinGroup", {"Group": 2})
    assert "result" in execute(again, "Device.ScheduleTimer", DelaySeconds=2)
    while again.event()["params"]["Event"] != "OperationComplete":
        pass
    assert again.get("Device.WiFi.AccessPoint.1.AssociatedDeviceNumberOfEntries") == count


def test_what_this_device_cannot_do(joined):
    activate = INFO + "FirmwareImage.1.Activate"
    assert fault(execute(joined, activate)) == (9000, "This device cannot run " + activate)
