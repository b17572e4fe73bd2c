"""A published model alive: every value that it begins with is legal, its events are told, its rows are there."""

import json

import pytest

import harness
import published
from published import document, obj, parameter, table


@pytest.fixture(scope="module", params=["cwmp", "usp"])
def which(request):
    return request.param


@pytest.fixture(scope="module")
def path(which, tmp_path_factory):
    return published.official(which, tmp_path_factory.mktemp("official"))


@pytest.fixture
def start(tmp_path):
    """Starts obxd on a document, or on a path; a client that may do everything."""
    running = []

    def start_one(model, *args):
        if model.startswith("<"):
            (tmp_path / "model.xml").write_text(model)
            model = str(tmp_path / "model.xml")
        running.append(harness.Obxd("--model", model, *args))
        client = running[-1].client()
        client.login()
        return client
    yield start_one
    for obxd in running:
        obxd.close()


def values(client, path="Device."):
    return {entry["Name"]: entry["Value"]
            for entry in client.call("GetParameterValues", {"ParameterNames": [path]})["ParameterList"]}


def hidden(model):
    """The parameters that do not show their values, "*" for instances."""
    return {path for path, node in published.nodes(model["schema"]) if node.get("hidden")}


@pytest.mark.parametrize("rows", [[], ["--rows", "3"]], ids=["bare", "rows"])
def test_every_value_can_be_set_back(path, start, rows):
    secret = hidden(published.dump("--model", path))
    client = start(path, *rows)
    attrs = published.attributes(client, "Device.")
    refused, tried = {}, 0
    for name, value in values(client).items():
        plain = ".".join(part for part in name.split(".") if not part.isdigit())
        if attrs[name]["access"] != "readWrite" or plain in secret:
            continue
        tried += 1
        entry = [{"Name": name, "Value": value}]
        response = client.request("SetParameterValues", {"ParameterList": entry, "DryRun": True})
        if "error" in response:
            refused[name] = (value, response["error"])
    assert refused == {}
    assert tried > (5000 if rows else 150)


def test_tables_have_the_rows_that_they_must(path, start):
    client = start(path)
    client.call("FactoryReset")
    for name in ("DHCPv4.Client", "DHCPv6.Client", "IEEE8021x.Supplicant"):
        assert client.get("Device.%sNumberOfEntries" % name) == 1
        assert client.request("DeleteObject", {"ObjectName": "Device.%s.1." % name})["error"]["code"] == 9001


def test_a_new_row_has_the_rows_that_it_must(start):
    body = (obj("Device.") + table("Device.A.{i}.", parameter("X", access="readWrite"))
            + table("Device.A.{i}.B.{i}.", parameter("Kind", '<string><enumeration value="k"/><enumeration value="l"/>'
                                                     '</string>') + '<uniqueKey><parameter ref="Kind"/></uniqueKey>')
            .replace('minEntries="0" maxEntries="unbounded"', 'minEntries="2" maxEntries="2"'))
    client = start(document(body))
    client.call("AddObject", {"ObjectName": "Device.A."})
    assert sorted(values(client, "Device.A.").values()) == ["", "k", "l"]


def test_lists_of_texts_with_commas_of_their_own(start):
    body = obj("Device.", parameter("P", '<list minItems="2" maxItems="2"/><string><pattern value="[0-7],[01]"/></string>',
                                    access="readWrite"))
    client = start(document(body))
    assert "result" in client.set("Device.P", client.get("Device.P"))
    for good in ("[7,0],[6,1]", "[0,0],[0,0]"):
        assert "result" in client.set("Device.P", good)
    for bad in ("7,0,6,1", "[7,0]", "[7,0],[8,0]", "[7,0],6,1", "[7,0],[6,1],[5,0]", "[7,0],[6,1"):
        assert client.set("Device.P", bad)["error"]["data"]["Device.P"]["code"] == 9007


def test_a_length_that_no_word_of_the_pattern_has_does_not_bind(tmp_path, start):
    client = start(published.official("cwmp", tmp_path), "--rows", "1")
    path = "Device.Bridging.Bridge.1.Port.1.PriorityCodePoint.PCPDecoding"
    assert client.get(path).count("[") == 4
    example = ("[7,0,6,0,5,0,4,0,3,0,2,0,1,0,0,0],[7,0,6,0,4,0,4,1,3,0,2,0,1,0,0,0],"
               "[7,0,6,0,4,0,4,1,2,0,2,1,1,0,0,0],[7,0,6,0,4,0,4,1,2,0,2,1,0,0,0,1]")
    assert "result" in client.set(path, example)
    assert client.set(path, example.replace("7", "8"))["error"]["data"][path]["code"] == 9007


def test_commands_among_the_parameters_read_as_nothing(start):
    body = obj("Device.", "".join(
        parameter(name, syntax, access="readWrite").replace("<syntax>", '<syntax command="true">')
        for name, syntax in (("B", "<boolean/>"), ("N", "<unsignedInt/>"), ("S", "<string/>"))))
    client = start(document(body))
    for name, value, nothing in (("B", True, False), ("N", 4, 0), ("S", "go", "")):
        assert "result" in client.set("Device." + name, value)
        assert client.get("Device." + name) == nothing


def test_what_has_its_choices_elsewhere_begins_with_one(start):
    body = obj("Device.", parameter("Can", '<list/><string><enumeration value="x"/><enumeration value="y"/></string>')
               + parameter("Does", '<string><enumerationRef targetParam="Can"/></string>', access="readWrite"))
    client = start(document(body))
    assert client.get("Device.Can") == client.get("Device.Does") == "x"


def event(client, name):
    while True:
        params = client.event()["params"]
        if params["Event"] == name:
            return params


def test_a_boot_is_told_as_the_model_has_it(tmp_path, start_obxd):
    model = published.official("usp", tmp_path)
    obxd = start_obxd("--model", model, "--reboot-ms", "50")
    client = obxd.client()
    client.call("JoinGroup", {"Group": 2})
    boot = event(client, "Device.Boot!")
    assert boot == {"Event": "Device.Boot!", "CommandKey": "", "Cause": "LocalReboot",
                    "FirmwareUpdated": False, "ParameterMap": "{}"}
    client.login()
    client.call("Reboot", {"Force": False})
    while client.receive() is not None:
        pass
    again = obxd.back_again()
    again.call("JoinGroup", {"Group": 2})
    assert event(again, "Device.Boot!")["Cause"] == "RemoteReboot"


def test_a_transfer_is_told_as_the_model_has_it(tmp_path, start):
    client = start(published.official("usp", tmp_path))
    (tmp_path / "file").write_text("x")
    client.call("JoinGroup", {"Group": 2})
    url = "file://%s/file" % tmp_path
    client.call("Download", {"FileType": "File", "URL": url})
    told = event(client, "Device.LocalAgent.TransferComplete!")
    assert told.pop("StartTime") <= told.pop("CompleteTime")
    assert told == {"Event": "Device.LocalAgent.TransferComplete!", "Command": "", "CommandKey": "", "Requestor": "",
                    "TransferType": "Download", "Affected": "", "TransferURL": url, "FaultCode": 0, "FaultString": ""}
    assert "error" in client.request("Download", {"FileType": "File", "URL": url + "not"})
    failed = event(client, "Device.LocalAgent.TransferComplete!")
    assert failed["FaultCode"] == 9010 and failed["FaultString"] != ""
    assert "error" in client.request("Upload", {"FileType": "Config", "URL": "file:///proc/nowhere"})
    assert event(client, "Device.LocalAgent.TransferComplete!")["TransferType"] == "Upload"


def test_a_station_is_told_as_the_model_has_it(tmp_path, start):
    values = tmp_path / "values.json"
    values.write_text(json.dumps({
        "Device.WiFi.SSID.1.BSSID": "02:00:5e:10:00:01",
        "Device.WiFi.AccessPoint.1": {"Enable": True, "SSIDReference": "Device.WiFi.SSID.1", "WPS": {"Enable": True}}}))
    client = start(published.official("usp", tmp_path), "--values", str(values))
    client.call("JoinGroup", {"Group": 2})
    client.call("Execute", {"Path": "Device.WiFi.AccessPoint.1.WPS.InitiateWPSPBC()"})
    told = event(client, "Device.WiFi.DataElements.AssociationEvent.Associated!")
    station = client.get("Device.WiFi.AccessPoint.1.AssociatedDevice.1.MACAddress")
    assert (told["BSSID"], told["MACAddress"], told["StatusCode"]) == ("02:00:5e:10:00:01", station, 0)
    assert told["TimeStamp"] != "" and "HTCapabilities" in told
