"""The router's model over the wire: what reads, changes and is refused, as programs see it."""

import os
import subprocess
import sys

import pytest

import harness
from harness import fault

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def set_values(client, **values):
    parameters = [{"Name": name.replace("__", "."), "Value": value} for name, value in values.items()]
    return client.request("SetParameterValues", {"ParameterList": parameters})


def names(client, path):
    answer = client.call("GetParameterNames", {"ParameterPath": path, "NextLevel": True})
    return [entry["Name"] for entry in answer["ParameterList"]]


def test_a_port_mapping_from_nothing(client):
    table = "Device.NAT.PortMapping."
    before = client.get("Device.NAT.PortMappingNumberOfEntries")
    number = client.call("AddObject", {"ObjectName": table})["InstanceNumber"]
    assert client.get(table + "max_instance") == number
    mapping = table + "%d." % number
    values = {"Interface": "Device.IP.Interface.1", "ExternalPort": 8443, "InternalPort": 443, "Protocol": "TCP",
              "InternalClient": "192.168.1.10", "Enable": True}
    parameters = [{"Name": mapping + name, "Value": value} for name, value in values.items()]
    assert client.call("SetParameterValues", {"ParameterList": parameters}) == {}
    config = client.call("GetConfig", {"Path": mapping})["Config"]["Device"]["NAT"]["PortMapping"][str(number)]
    assert {name: config[name] for name in values} == values
    assert config["Alias"] == "cpe-%d" % number
    assert client.call("DeleteObject", {"ObjectName": mapping}) == {}
    assert client.get("Device.NAT.PortMappingNumberOfEntries") == before
    assert client.call("AddObject", {"ObjectName": table})["InstanceNumber"] == number + 1


def test_a_fault_names_each_bad_parameter(client):
    answer = set_values(client, Device__System__Contact="new", Device__NAT__PortMapping__1__ExternalPort=65536,
                        Device__DeviceInfo__SerialNumber="x", Device__No="x", Device__Firewall__Enable="yes")
    assert fault(answer) == (9003, "nothing was set")
    data = {name: value["code"] for name, value in answer["error"]["data"].items() if name != "Detail"}
    assert data == {"Device.NAT.PortMapping.1.ExternalPort": 9007, "Device.DeviceInfo.SerialNumber": 9008,
                    "Device.No": 9005, "Device.Firewall.Enable": 9006}
    assert client.get("Device.System.Contact") != "new"


def test_a_rule_moved_to_the_first_place(client):
    rules = "Device.Firewall.Chain.1.Rule."
    assert "result" in client.request("SetParameterValues", {"ParameterList": [{"Name": rules + "8.index", "Value": 1}]})
    answer = client.call("GetParameterValues", {"ParameterNames": [rules + "#template.Order"]})
    assert [entry["Value"] for entry in answer["ParameterList"]] == [2, 3, 4, 5, 6, 7, 8, 1]
    client.call("DeleteObject", {"ObjectName": rules + "1."})
    assert client.get(rules + "2.order") == 2
    assert names(client, rules) == [rules + "%d." % n for n in range(2, 9)]


def test_a_user_sees_less(obxd):
    user = obxd.client("user")
    refused = user.request("GetParameterValues", {"ParameterNames": ["Device.Users.User.1.Username"]})
    assert fault(refused) == (9001, "Device.Users.User.1.Username")
    skipped = user.call("GetParameterValues",
                        {"ParameterNames": ["Device.Users.User.#template.Username"], "IgnoreAccessError": True})
    assert skipped == {"ParameterList": []}
    assert set_values(user, Device__Firewall__Enable=False)["error"]["data"]["Device.Firewall.Enable"]["code"] == 9001
    assert "result" in set_values(user, Device__System__Contact="me")
    user.close()


@pytest.mark.parametrize("selector,expected", [
    ('Device.Hosts.Host.*[HostName=="nas"].{IPAddress}', {"Device.Hosts.Host.1": {"IPAddress": "192.168.1.10"}}),
    ("Device.WiFi.SSID.*[Enable==false].SSID", {"Device.WiFi.SSID.3.SSID": "Ombrix-Guest"}),
    ("Device.Hosts.Host.*[HostName==nobody]", {}),
])
def test_select(client, selector, expected):
    assert client.call("Select", {"Selector": selector}) == {"Matches": expected}


def test_a_bad_selector_says_where(client):
    answer = client.request("Select", {"Selector": "Device.Hosts.Host.*[HostName=="})
    assert fault(answer) == (9003, "bad selector: value expected at character 31")


@pytest.mark.parametrize("shape,count,object_name,children,values", [
    ("flat", 2000, "Device.", 42, 2004),
    ("instances", 3000, "Device.Table.Entry.", 3000, 15005),
    ("deep", 4040, "Device.Branch20.Row.10.Cell.", 9, 1804),
])
def test_generated_models(tmp_path, shape, count, object_name, children, values):
    model = tmp_path / "model.json"
    with open(model, "w") as out:
        subprocess.run([sys.executable, "-B", os.path.join(SOURCE, "models", "generate.py"), shape, str(count)],
                       check=True, stdout=out)
    running = harness.Obxd(model=str(model))
    client = running.client()
    assert len(names(client, object_name)) == children
    assert len(client.call("GetParameterValues", {"ParameterNames": ["Device."]})["ParameterList"]) == values
    client.close()
    running.close()


def test_every_value_of_the_model_is_listed_once(client):
    listed = [entry["Name"] for entry in client.call("GetParameterValues", {"ParameterNames": ["."]})["ParameterList"]]
    assert len(listed) == len(set(listed)) > 1000
    config = client.call("GetConfig", {"Path": "."})["Config"]
    for name in listed:
        place = config
        for part in name.split("."):
            assert part in place, name
            place = place[part]
