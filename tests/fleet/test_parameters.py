"""Parameters and rows on a whole fleet."""

import re

SET = """
- ombrix.obx.obx_parameters:
    values:
      Device.WiFi.SSID.*[Alias=="guest-2g"].SSID: Visitors
      Device.NAT.PortMapping.1.ExternalPort: "{{ 2000 + 222 + 1 }}"
      Device.NAT.PortMapping.1.Log: true
      Device.DHCPv4.Server.Pool.1.DNSServers: [192.168.1.1, 192.0.2.53]
"""
ROW = """
- ombrix.obx.obx_instance:
    table: Device.NAT.PortMapping
    keys: {ExternalPort: 8443, Protocol: TCP}
    values: {InternalClient: 192.168.1.20, InternalPort: "443", Enable: yes, Description: 'a "quoted" \\ text'}
"""
GONE = """
- ombrix.obx.obx_instance:
    table: Device.NAT.PortMapping
    keys: {Alias: web}
    state: absent
"""


def diffs(played):
    """What --diff has shown, without the addresses of the routers."""
    return sorted(re.findall(r"^[ +-] +\".*", played.out, re.M))


def test_a_change_reaches_all_and_the_second_run_changes_nothing(play, fleet):
    tasks = SET + ROW + GONE
    first = play(tasks, verbose=None)
    assert first.status == 0, first
    assert {host: counts["changed"] for host, counts in first.recap().items()} == dict.fromkeys(fleet.routers, 3)
    for path, value in (("Device.WiFi.SSID.3.SSID", "Visitors"), ("Device.NAT.PortMapping.5.InternalPort", 443),
                        ("Device.NAT.PortMapping.5.Description", 'a "quoted" \\ text'),
                        ("Device.NAT.PortMapping.5.Enable", True), ("Device.NAT.PortMappingNumberOfEntries", 3),
                        ("Device.DHCPv4.Server.Pool.1.DNSServers", "192.168.1.1,192.0.2.53")):
        assert fleet.values(path) == dict.fromkeys(fleet.routers, value)
    second = play(tasks, verbose=None)
    assert second.status == 0, second
    assert second.counted("changed") == set()


def test_check_mode_tells_the_truth_and_changes_nothing(play, fleet):
    few = dict(list(fleet.routers.items())[:3])
    tasks = SET + ROW
    before = {name: everything(router) for name, router in few.items()}
    checked = play(tasks, "--check", "--diff", inventory=fleet.inventory(few), verbose=None)
    assert checked.status == 0, checked
    assert {name: everything(router) for name, router in few.items()} == before
    done = play(tasks, "--diff", inventory=fleet.inventory(few), verbose=None)
    assert checked.recap() == done.recap()
    assert diffs(checked) == diffs(done)
    assert '+    "Device.NAT.PortMapping.1.ExternalPort": 2223,' in checked.out


def everything(router):
    """All that the router holds but what is of the moment."""
    with router.client() as client:
        values = client.call("GetConfig", {"Path": "."})["Config"]["Device"]
    return values["NAT"], values["WiFi"]["SSID"], values["DHCPv4"]


def test_wrong_values_come_back_with_path_and_reason_and_nothing_is_set(play, fleet):
    few = dict(list(fleet.routers.items())[:2])
    played = play("""
        - ombrix.obx.obx_parameters:
            values:
              Device.WiFi.SSID.1.SSID: never
              Device.NAT.PortMapping.1.ExternalPort: 99999
              Device.DeviceInfo.SoftwareVersion: "9"
          ignore_errors: true
        - ombrix.obx.obx_instance:
            table: Device.NAT.PortMapping
            keys: {ExternalPort: 70000, Protocol: TCP}
          ignore_errors: true
        - ombrix.obx.obx_parameters:
            values: {Device.Nowhere: 1}
          ignore_errors: true
        - ombrix.obx.obx_parameters:
            values: {'Device.WiFi.SSID.*[Alias=="none"].SSID': x}
          ignore_errors: true
    """, inventory=fleet.inventory(few))
    for host in few:
        values, row, unknown, unmatched = [result for dummy, result in played.of(host)]
        assert values["errors"] == [
            {"path": "Device.NAT.PortMapping.1.ExternalPort", "code": 9007, "reason": "must be 0 to 65535"},
            {"path": "Device.DeviceInfo.SoftwareVersion", "code": 9008, "reason": "is read-only"}]
        assert values["msg"] == ("refused [9003]: Device.NAT.PortMapping.1.ExternalPort: must be 0 to 65535; "
                                 "Device.DeviceInfo.SoftwareVersion: is read-only")
        assert "ExternalPort: must be 0 to 65535" in row["msg"]
        assert unknown["msg"] == ("refused [9005]: GetParameterValues: Invalid parameter name: Device.Nowhere")
        assert unmatched["msg"] == 'Device.WiFi.SSID.*[Alias=="none"].SSID: fits nothing'
    assert set(fleet.values("Device.WiFi.SSID.1.SSID").values()) == {"Ombrix-Home"}
    assert set(fleet.values("Device.NAT.PortMappingNumberOfEntries").values()) == {3}  # the row left nothing


def test_keys_that_several_rows_have_are_no_keys(play, fleet):
    one = {"r0": fleet.routers["r0"]}
    played = play("""
        - ombrix.obx.obx_instance:
            table: Device.NAT.PortMapping
            keys: {Protocol: TCP}
            state: absent
    """, inventory=fleet.inventory(one))
    assert played.status == 2
    assert played.only("r0")["msg"] == ("Device.NAT.PortMapping.: 2 rows have these keys: "
                                        "Device.NAT.PortMapping.1, Device.NAT.PortMapping.4")


def test_keys_and_passwords_are_set_and_never_shown(play, fleet):
    one = {"r0": fleet.routers["r0"]}
    task = """
        - ombrix.obx.obx_parameters:
            values:
              Device.WiFi.AccessPoint.1.Security.KeyPassphrase: correct-horse
            update_hidden: %s
    """
    always = play(task % "always", "--diff", verbose="-vvv", inventory=fleet.inventory(one))
    checked = play(task % "always", "--diff", "--check", verbose="-vvv", inventory=fleet.inventory(one))
    with_changes = play(task % "with_changes", verbose="-vvv", inventory=fleet.inventory(one))
    assert [played.counted("changed") for played in (always, checked, with_changes)] == [{"r0"}, {"r0"}, set()]
    for played in (always, checked, with_changes):
        assert "correct-horse" not in played.out + played.err
    assert '"Device.WiFi.AccessPoint.1.Security.KeyPassphrase": "(hidden)"' in always.out


def test_a_saved_change_outlives_a_restart(play, fleet):
    router = fleet.start()
    try:
        played = play("""
            - ombrix.obx.obx_parameters:
                values: {Device.WiFi.SSID.1.SSID: kept}
                save: true
            - ombrix.obx.obx_parameters:
                values: {Device.WiFi.SSID.2.SSID: lost}
        """, inventory=fleet.inventory({"r": router}))
        assert played.status == 0, played
        router.restart()
        with router.client() as client:
            assert client.get("Device.WiFi.SSID.1.SSID") == "kept"
            assert client.get("Device.WiFi.SSID.2.SSID") == "Ombrix-Home"
    finally:
        router.close()


def test_check_mode_without_dry_runs_reads_alone(controller, scripted_router):
    """A daemon that ignores DryRun would do what it is asked to try."""
    asked = []

    def answer(request, connection):
        asked.append(request["method"])
        if request["method"] == "GetParameterValues":
            return scripted_router.result({"ParameterList": [{"Name": "Device.A", "Value": 1}]})
        return scripted_router.error(-32601, "Method not found")

    scripted_router.answer = answer
    played = controller.play("""
        - ombrix.obx.obx_parameters:
            values: {Device.A: 2}
    """, {"all": {"hosts": {"old": {"obx_address": scripted_router.socket}}}}, "--check")
    assert played.only("old")["changed"] is True, played
    assert asked == ["GetParameterValues", "BeginChange"]
    assert "cannot try changes" in played.err + played.out


def test_methods_are_called_with_their_types_and_waited_for(play, fleet):
    one = {"r0": fleet.routers["r0"]}
    played = play("""
        - ombrix.obx.obx_call:
            method: Device.IP.Diagnostics.IPPing
            arguments: {Host: 127.0.0.1, NumberOfRepetitions: "2"}
        - ombrix.obx.obx_call:
            method: Device.ScheduleTimer
            arguments: {DelaySeconds: 1}
          changed_when: false
        - ombrix.obx.obx_call:
            method: Device.IP.Diagnostics.IPPing
            arguments: {Host: 127.0.0.1, NumberOfRepetitions: many}
          ignore_errors: true
        - ombrix.obx.obx_call:
            method: Device.IP
    """, inventory=fleet.inventory(one))
    ping, timer, wrong, no_method = played.of("r0")
    assert ping[0] == "changed" and ping[1]["outputs"]["SuccessCount"] == 2, played
    assert timer == ("ok", {"changed": False, "outputs": {}})
    assert wrong[1]["errors"] == [{"path": "NumberOfRepetitions", "code": 9006, "reason": "must be an integer"}]
    assert no_method[1]["msg"] == "Device.IP is no method"
    checked = play("""
        - ombrix.obx.obx_call:
            method: Device.WiFi.Reset
    """, "--check", inventory=fleet.inventory(one))
    assert checked.of("r0")[0][0] == "skipping"


def test_facts_by_paths_and_selectors(play, fleet):
    one = {"r0": fleet.routers["r0"]}
    played = play("""
        - ombrix.obx.obx_info:
            paths: [Device.WiFi.SSID.*.SSID, Device.DeviceInfo.ModelName]
            selectors: ['Device.NAT.PortMapping.*[Protocol=="UDP"].{Alias,ExternalPort}']
        - ombrix.obx.obx_info:
          ignore_errors: true
    """, inventory=fleet.inventory(one))
    facts, nothing = [result for dummy, result in played.of("r0")]
    assert facts["parameters"] == {
        "Device.WiFi.SSID.1.SSID": "Ombrix-Home", "Device.WiFi.SSID.2.SSID": "Ombrix-Home",
        "Device.WiFi.SSID.3.SSID": "Ombrix-Guest", "Device.DeviceInfo.ModelName": "Home Router 3"}
    assert facts["matches"] == {"Device.NAT.PortMapping.2": {"Alias": "game", "ExternalPort": 3074}}
    assert nothing["msg"] == "one of the following is required: paths, selectors"
