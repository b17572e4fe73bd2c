"""The playbooks that come with the collection, the inventory of routers, and the lookup."""

import csv
import json
import os

import harness

INVENTORY = """
plugin: ombrix.obx.obx_file
ca_file: %(ca)s
token_file: tokens/{name}
timeout: %(timeout)s
table: routers.csv
routers:
  r0: {address: "%(first)s", groups: [north, lab], floor: 3}
keyed_groups: [{key: site, prefix: site}]
"""


def inventory_file(controller, fleet):
    """The fleet as the inventory plugin reads it: the first router in the file itself, the others from a table."""
    controller.write("fleet.obx.yml", INVENTORY % {
        "ca": os.path.relpath(fleet.authority.cert, controller.directory), "timeout": harness.PATIENCE,
        "first": "127.0.0.1:%d" % fleet.routers["r0"].port()})
    rows = ["%s,127.0.0.1:%d,south,%s" % (name, router.port(), "hill" if number % 2 else "")
            for number, (name, router) in enumerate(fleet.routers.items()) if name != "r0"]
    controller.write("routers.csv", "\n".join(["name,address,groups,site"] + rows) + "\n")
    os.makedirs(os.path.join(controller.directory, "tokens"), exist_ok=True)
    for name in fleet.routers:
        fleet.secret(os.path.join("controller", "tokens", name), "admin-token")
    return os.path.join(controller.directory, "fleet.obx.yml")


def unwrapped(text):
    """Warnings as they were before Ansible broke their lines."""
    return " ".join(text.split())


def playbook(controller, fleet, name, **variables):
    words = ["ansible-playbook", "-i", inventory_file(controller, fleet), "ombrix.obx." + name, "-e", json.dumps(variables)]
    return controller.played(words)


def test_the_inventory(controller, fleet):
    listed = controller.command("ansible-inventory", "-i", inventory_file(controller, fleet), "--list")
    assert listed.returncode == 0, listed.stderr
    inventory = json.loads(listed.stdout)
    assert inventory["north"]["hosts"] == ["r0"] == inventory["lab"]["hosts"]
    assert inventory["site_hill"]["hosts"] == [name for number, name in enumerate(fleet.routers) if number % 2]
    first = inventory["_meta"]["hostvars"]["r0"]
    assert first["obx_address"] == "127.0.0.1:%d" % fleet.routers["r0"].port() and first["ansible_host"] == "127.0.0.1"
    assert first["obx_token_file"] == os.path.join(controller.directory, "tokens", "r0") and first["floor"] == 3
    assert "site" not in inventory["_meta"]["hostvars"]["r2"]


def test_an_inventory_that_makes_no_sense_is_told(controller):
    path = controller.write("bad.obx.yml", "plugin: ombrix.obx.obx_file\nrouters: {r1: {address: 'a:b:c'}}\n")
    listed = controller.command("ansible-inventory", "-i", path, "--list")
    assert "bad.obx.yml: r1: a:b:c is no address" in unwrapped(listed.stderr)
    controller.write("bad.csv", "name,address\n,192.0.2.1\n")
    path = controller.write("bad.obx.yml", "plugin: ombrix.obx.obx_file\ntable: bad.csv\n")
    listed = controller.command("ansible-inventory", "-i", path, "--list")
    assert "bad.csv: line 2 names no router" in unwrapped(listed.stderr)


def test_the_home_network_is_renamed_everywhere(controller, fleet):
    first = playbook(controller, fleet, "wifi_rename", ssid="Sunshine")
    assert first.status == 0 and first.counted("changed") == set(fleet.routers), first
    assert set(fleet.values("Device.WiFi.SSID.2.SSID").values()) == {"Sunshine"}
    assert set(fleet.values("Device.WiFi.SSID.3.SSID").values()) == {"Ombrix-Guest"}
    again = playbook(controller, fleet, "wifi_rename", ssid="Sunshine")
    assert again.status == 0 and not again.counted("changed"), again


def test_port_forwards_come_from_a_table(controller, fleet):
    table = controller.write("forwards.csv", "router,external,protocol,client,internal,description\n"
                                             "r1,8443,TCP,192.168.1.20,443,camera\n"
                                             "r1,5060,UDP,192.168.1.21,5060,telephone\n"
                                             "r2,2222,TCP,192.168.1.10,22,SSH to the NAS\n")
    first = playbook(controller, fleet, "port_forwards", table=table)
    assert first.status == 0 and first.counted("changed") == {"r1"}, first  # r2 has that one
    assert fleet.values("Device.NAT.PortMappingNumberOfEntries")["r1"] == 5
    assert fleet.values("Device.NAT.PortMapping.1.Enable")["r2"] is True
    again = playbook(controller, fleet, "port_forwards", table=table)
    assert again.status == 0 and not again.counted("changed"), again


def test_an_audit_is_written_as_csv(controller, fleet):
    report = os.path.join(controller.directory, "audit.csv")
    audited = playbook(controller, fleet, "audit", report=report)
    assert audited.status == 0, audited
    with open(report, encoding="utf-8", newline="") as file:
        rows = list(csv.DictReader(file))
    assert [row["router"] for row in rows] == list(fleet.routers)
    assert {row["SoftwareVersion"] for row in rows} == {"3.4.1"}
    assert {row["PortMappingNumberOfEntries"] for row in rows} == {"3"}


def test_a_value_in_a_template(play, fleet):
    played = play("""
        - ansible.builtin.debug:
            msg: "{{ lookup('ombrix.obx.value', 'Device.WiFi.SSID.1.SSID') }}"
        - ansible.builtin.debug:
            msg: "{{ lookup('ombrix.obx.value', 'Device.WiFi.SSID.*.SSID').values() | unique }}"
        - ansible.builtin.debug:
            msg: "{{ lookup('ombrix.obx.value', 'Device.Nowhere') }}"
    """, inventory=fleet.inventory({"r0": fleet.routers["r0"]}))
    one, several, nowhere = [result["msg"] for dummy, result in played.of("r0")]
    assert (one, several) == ("Ombrix-Home", ["Ombrix-Home", "Ombrix-Guest"])
    assert "Device.Nowhere" in nowhere and "admin-token" not in played.out
