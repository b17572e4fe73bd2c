"""The daemon as a device: saved configuration, reboots, resets, transfers and firmware."""

import hashlib
import os
import socket
import subprocess
import threading
import time

import pytest

import harness
from harness import fault, make_image

pytestmark = pytest.mark.obxd(*harness.SMALL, *harness.UPLOADS)

HOST = "Device.DeviceInfo.HostName"


def state(obxd, *names):
    return os.path.join(obxd.directory, "state", *names)


def reboot(obxd, client, **params):
    assert client.request("Reboot", params) == {"jsonrpc": "2.0", "id": client.id, "result": {}}
    while client.receive():
        pass
    return obxd.back_again()


def write(path, data):
    with open(path, "wb") as file:
        file.write(data if isinstance(data, bytes) else data.encode())
    return path


class OneShot:
    """Serves bytes to the first connection, as obxc does for a remote daemon."""

    def __init__(self, data):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = "netcat://127.0.0.1:%d" % self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self.serve, args=(data,), daemon=True)
        self.thread.start()

    def serve(self, data):
        connection, _ = self.listener.accept()
        self.listener.close()
        connection.sendall(data)
        connection.close()


# Saving and rebooting


def test_a_reboot_brings_back_what_was_saved(obxd, client):
    client.set(HOST, "saved")
    assert client.call("SaveConfig") == {}
    client.set(HOST, "lost")
    assert client.call("AddObject", {"ObjectName": "Device.List.Entry."})
    other = obxd.client(login=None)
    client = reboot(obxd, client)
    assert other.receive() is None
    assert client.get(HOST) == "saved"
    assert client.get("Device.DeviceInfo.UpTime") <= 1
    assert client.call("GetParameterNames", {"ParameterPath": "Device.List.Entry.", "NextLevel": True})["ParameterList"] == []


def test_what_was_saved_survives_the_daemon(obxd, client):
    client.set(HOST, "saved")
    client.call("SaveConfig")
    client.set(HOST, "lost")
    obxd.restart()
    assert obxd.client().get(HOST) == "saved"
    obxd.kill()
    obxd.start()
    assert obxd.client().get(HOST) == "saved"


def test_restore_points(obxd, client):
    client.set(HOST, "one")
    assert client.call("SaveConfig", {"RestorePointName": "nightly-1"}) == {}
    client.set(HOST, "two")
    assert client.call("SaveConfig", {"RestorePointName": "nightly-2"}) == {}
    assert sorted(os.listdir(state(obxd, "restore"))) == ["nightly-1.json", "nightly-2.json"]
    assert os.stat(state(obxd, "config.json")).st_mode & 0o777 == 0o600
    first = "file://" + state(obxd, "restore", "nightly-1.json")
    assert client.call("Download", {"FileType": "Config", "URL": first}) == {}
    assert client.get(HOST) == "one"


@pytest.mark.parametrize("name", ["", "../x", "a/b", ".hidden", "x" * 65, 5, ["a"]])
def test_names_that_no_restore_point_can_have(client, name):
    assert fault(client.request("SaveConfig", {"RestorePointName": name}))[0] == 9003


def test_device_modes(obxd, client):
    assert fault(client.request("Reboot", {"DeviceMode": "Toaster"})) == (9007, "No such device mode")
    assert fault(client.request("FactoryReset", {"DeviceMode": "Toaster"})) == (9007, "No such device mode")
    client = reboot(obxd, client, DeviceMode="Bridge")
    assert client.get("Device.DeviceInfo.DeviceMode") == "Bridge"
    obxd.restart()
    client = obxd.client()
    assert client.get("Device.DeviceInfo.DeviceMode") == "Bridge"
    assert client.call("FactoryReset") == {}
    assert client.get("Device.DeviceInfo.DeviceMode") == "Router"


def test_a_mode_that_is_set_and_saved_counts_more_than_an_earlier_reboots():
    obxd = harness.Obxd("--reboot-ms", "50")
    mode = "Device.DeviceInfo.DeviceMode"
    client = reboot(obxd, obxd.client(), DeviceMode="Bridge")
    client.call("SaveConfig")
    client = reboot(obxd, client)
    assert client.get(mode) == "Bridge"
    assert "result" in client.set(mode, "Repeater")
    client = reboot(obxd, client)
    assert client.get(mode) == "Bridge"
    assert "result" in client.set(mode, "Repeater")
    client.call("SaveConfig")
    client = reboot(obxd, client)
    assert client.get(mode) == "Repeater"
    obxd.close()


def test_a_reboot_comes_back_on_the_same_port(start_obxd):
    obxd = start_obxd("--listen", "127.0.0.1:0")
    reboot(obxd, obxd.client())
    client = obxd.tcp_client()
    assert "result" in client.login("admin", "admin")


def test_a_port_that_another_took_keeps_nobody_on_the_device_waiting(start_obxd):
    obxd = start_obxd("--reboot-ms", "300", "--listen", "127.0.0.1:0")
    port, client = obxd.port(), obxd.client()
    client.request("Reboot", {})
    while client.receive():
        pass
    with socket.socket() as another:
        another.bind(("127.0.0.1", port))
        another.listen()
        assert obxd.back_again().get(HOST)
    assert harness.wait_until(lambda: obxd.if_up(lambda _: harness.Client(
        connection=socket.create_connection(("127.0.0.1", port), harness.PATIENCE)).call("LeaveGroup", {"Group": 9}) == {}))


def test_a_signal_during_a_reboot_ends_it(start_obxd):
    obxd = start_obxd("--reboot-ms", "600000")
    client = obxd.client()
    client.call("Reboot")
    assert client.receive() is None


def test_factory_reset(obxd, client):
    client.set(HOST, "mine")
    client.set("Device.Users.Note", "kept")
    client.call("SaveConfig", {"RestorePointName": "point"})
    assert client.call("FactoryReset", {}) == {}
    assert client.get(HOST) == "box"
    assert client.get("Device.Users.Note") == "kept"
    assert os.listdir(state(obxd, "restore")) == ["point.json"]
    assert client.call("FactoryReset", {"CleanAll": True}) == {}
    assert client.get("Device.Users.Note") == "none"
    assert os.listdir(state(obxd, "restore")) == []
    client = reboot(obxd, client)
    assert client.get(HOST) == "box"


def test_a_broken_saved_configuration_does_not_stop_the_start(obxd):
    obxd.stop()
    for text in ("{", "{}", '{"format":"obxd-config-1","config":{"Device":{"Nope":1}}}'):
        write(state(obxd, "config.json"), text)
        obxd.start()
        assert obxd.client().get(HOST) == "box"
        obxd.stop()
        assert "starting with the defaults" in obxd.errors()


def test_events_of_the_device(obxd, client):
    listener = obxd.client(login=None)
    listener.call("JoinGroup", {"Group": 2})
    client.call("SaveConfig", {"RestorePointName": "a"})
    client.call("FactoryReset")
    client.call("Reboot")
    events = [listener.event()["params"] for _ in range(3)]
    assert events == [{"Event": "ConfigSaved", "RestorePointName": "a"}, {"Event": "FactoryReset", "CleanAll": False},
                      {"Event": "Reboot", "Cause": "Reboot requested"}]
    assert listener.receive() is None


# Transfers


def test_download_and_upload_of_a_file(obxd, client, tmp_path):
    path = write(tmp_path / "some file", b"\0data\xff")
    digest = hashlib.md5(b"\0data\xff").hexdigest()
    params = {"FileType": "File", "URL": "file://%s" % path, "MD5": digest, "FileSize": 6}
    assert client.call("Download", params) == {}
    assert client.call("Download", {**params, "TargetFileName": "other", "MD5": digest.upper()}) == {}
    assert sorted(os.listdir(state(obxd, "files"))) == ["other", "some file"]
    with open(state(obxd, "files", "other"), "rb") as file:
        assert file.read() == b"\0data\xff"


def test_download_over_the_network(obxd, client):
    data = os.urandom(300000)
    params = {"FileType": "File", "URL": OneShot(data).url, "MD5": hashlib.md5(data).hexdigest(), "FileSize": 300000,
              "TargetFileName": "net"}
    assert client.call("Download", params) == {}
    with open(state(obxd, "files", "net"), "rb") as file:
        assert file.read() == data
    for wrong in ({"FileSize": 300001}, {"FileSize": 299999}, {"MD5": "0" * 32}):
        assert fault(client.request("Download", {**params, **wrong, "URL": OneShot(data).url}))[0] == 9018


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


@pytest.mark.parametrize("params,code,detail", [
    ({}, 9003, '"FileType" must be Firmware, Config or File'),
    ({"FileType": "Other"}, 9003, '"FileType" must be Firmware, Config or File'),
    ({"FileType": "Config"}, 9003, '"URL" is missing'),
    ({"FileType": "Config", "URL": 5}, 9003, '"URL" is missing'),
    ({"FileType": "Config", "URL": "nothing"}, 9003, '"URL" is no URL'),
    ({"FileType": "Config", "URL": "file://relative"}, 9003, "A file URL needs an absolute path"),
    ({"FileType": "Config", "URL": "netcat://nohost"}, 9003, "A netcat URL needs a host and a port"),
    ({"FileType": "Config", "URL": "http://192.0.2.1/x"}, 9013, "http"),
    ({"FileType": "Config", "URL": "file:///nonexistent"}, 9010, "No such file or directory"),
    ({"FileType": "Config", "URL": "file:///tmp"}, 9010, "No regular file"),
    ({"FileType": "Config", "URL": "file:///dev/zero"}, 9010, "No regular file"),
    ({"FileType": "File", "URL": "file:///etc/passwd", "TargetFileName": "../x"}, 9003,
     '"TargetFileName" is no file name'),
    ({"FileType": "File", "URL": "file:///etc/passwd", "TargetFileName": ""}, 9003, '"TargetFileName" is no file name'),
    ({"FileType": "Firmware"}, 9003, '"URL" is missing'),
    ({"FileType": "Firmware", "TransactionID": "none"}, 9003, "No such transaction"),
    ({"FileType": "Firmware", "TransactionID": ""}, 9003, "No such transaction"),
])
def test_downloads_that_are_refused(client, params, code, detail):
    assert fault(client.request("Download", params)) == (code, detail)


def test_nobody_there_to_download_from(client):
    code, detail = fault(client.request("Download", {"FileType": "File", "URL": "netcat://127.0.0.1:%d" % free_port()}))
    assert code == 9010 and detail.endswith("Connection refused")


def test_a_silent_server_holds_up_nobody_else(obxd, client):
    server = socket.create_server(("127.0.0.1", 0))
    other = obxd.client()
    client.send({"jsonrpc": "2.0", "id": 1, "method": "Download", "params": {
        "FileType": "File", "URL": "netcat://127.0.0.1:%d" % server.getsockname()[1]}})
    connection, _ = server.accept()
    assert other.get(HOST) == "box"
    connection.close()
    server.close()
    assert client.receive()["result"] == {}


def test_configuration_goes_out_and_comes_back(obxd, client, tmp_path):
    os.mkdir(tmp_path / "dir")
    client.set(HOST, "exported")
    client.call("AddObject", {"ObjectName": "Device.List.Entry."})
    client.set("Device.List.Entry.1.Text", "\u00e4\n\"")
    directory = "file://%s" % (tmp_path / "dir")
    assert client.call("Upload", {"FileType": "Config", "URL": directory, "TargetFileName": "mine.json"}) == {}
    assert client.call("Upload", {"FileType": "Config", "URL": directory}) == {}
    assert sorted(os.listdir(tmp_path / "dir")) == ["config.json", "mine.json"]
    client.call("FactoryReset", {"CleanAll": True})
    path = tmp_path / "dir" / "mine.json"
    digest = hashlib.md5(path.read_bytes()).hexdigest()
    assert client.call("Download", {"FileType": "Config", "URL": "file://%s" % path, "MD5": digest}) == {}
    assert client.get(HOST) == "exported"
    assert client.get("Device.List.Entry.1.Text") == "\u00e4\n\""


@pytest.mark.parametrize("text", ["", "{", "[]", "{}", '{"format":"obxd-config-1"}',
                                  '{"format":"obxd-config-1","config":{"Device":{"DeviceInfo":{"HostName":5}}}}'])
def test_a_broken_configuration_changes_nothing(client, tmp_path, text):
    client.set(HOST, "before")
    path = write(tmp_path / "config", text)
    assert fault(client.request("Download", {"FileType": "Config", "URL": "file://%s" % path}))[0] == 9018
    assert client.get(HOST) == "before"


def test_log_and_build_configuration(client, tmp_path):
    log = tmp_path / "log"
    assert client.call("Upload", {"FileType": "Log", "URL": "file://%s" % log}) == {}
    assert "booted, firmware 1.2.3\n" in log.read_text()
    assert "login of root\n" in log.read_text()
    build = tmp_path / "build"
    assert client.call("Upload", {"FileType": "BuildConfig", "URL": "file://%s" % build}) == {}
    assert "FIRMWARE=1.2.3\n" in build.read_text()


@pytest.mark.parametrize("params,code", [
    ({"FileType": "Other", "URL": "file:///tmp/x"}, 9003), ({"FileType": "Log"}, 9003),
    ({"FileType": "Log", "URL": "netcat://127.0.0.1:1"}, 9013), ({"FileType": "Log", "URL": "ftp://h/x"}, 9013),
    ({"FileType": "Log", "URL": "file:///nonexistent/dir/x"}, 9012), ({"FileType": "Log", "URL": "file:///dev/null"}, 9012),
    ({"FileType": "Log", "URL": "file:///tmp", "TargetFileName": "a/b"}, 9003),
])
def test_uploads_that_are_refused(client, params, code):
    assert fault(client.request("Upload", params))[0] == code


# Firmware


def order(path, **more):
    return {"FileType": "Firmware", "URL": "file://%s" % path,
            "MD5": hashlib.md5(open(path, "rb").read()).hexdigest(), **more}


def check(client, params):
    first = client.call("Download", {**params, "NeedPreUpdate": True})
    second = client.call("Download", {**params, "NeedPreUpdate": False})
    assert {**first, "Status": None} == {**second, "Status": None}
    return second


def upgrade_state(client):
    rows = client.call("GetParameterValues", {"ParameterNames": ["Device.DeviceInfo.UpgradeProgress",
                                                                 "Device.DeviceInfo.UpgradeStatus"]})["ParameterList"]
    return rows[0]["Value"], rows[1]["Value"]


def watch_flashing(client):
    """Progress seen until the device goes down."""
    seen = []
    try:
        while True:
            progress, status = upgrade_state(client)
            seen.append((progress, status))
            if status < 0:
                break
            time.sleep(0.01)
        while client.receive():
            pass
    except (harness.SessionFailure, ConnectionError):
        pass
    return seen


@pytest.mark.parametrize("version", ["2.0.0", "1.1", "1.2.3-rc1", "foreign"])
def test_upgrade(obxd, client, tmp_path, version):
    params = order(make_image(str(tmp_path), version))
    checked = check(client, params)
    assert (checked["Status"], checked["CurrentVersion"], checked["NewVersion"]) == (1, "1.2.3", version)
    assert upgrade_state(client) == (0, 0)
    flash = {**params, "URL": "file://" + checked["SavedFirmware"], "TransactionID": checked["TransactionID"],
             "NeedPreUpdate": False}
    assert client.call("Download", flash) == {}
    seen = watch_flashing(client)
    assert seen[0][1] > 0 and seen[-1] == (100, -1) and seen == sorted(seen, key=lambda pair: pair[0]) and len(seen) > 3
    client = obxd.back_again()
    assert client.get("Device.DeviceInfo.SoftwareVersion") == version
    assert upgrade_state(client) == (0, 0)
    assert os.listdir(state(obxd, "firmware")) == []
    obxd.restart()
    assert obxd.client().get("Device.DeviceInfo.SoftwareVersion") == version


def test_the_running_version_is_flashed_without_an_order(obxd, client, tmp_path):
    params = order(make_image(str(tmp_path), "1.2.3"))
    assert client.call("Download", {**params, "NeedPreUpdate": True})["Status"] == 1
    assert client.call("Download", {**params, "NeedPreUpdate": False})["Status"] == 0
    assert watch_flashing(client)[0][1] >= 0
    assert obxd.back_again().get("Device.DeviceInfo.SoftwareVersion") == "1.2.3"


def test_the_documented_recipe_makes_an_image(client, tmp_path):
    with open(os.path.join(harness.SOURCE, "docs", "obxd.md")) as page:
        recipe = page.read().split("so does a shell:\n\n```\n")[1].split("```")[0]
    write(tmp_path / "payload", os.urandom(5000))
    subprocess.run(["sh", "-c", recipe], cwd=tmp_path, check=True)
    assert client.call("Download", {**order(tmp_path / "fw.img"), "NeedPreUpdate": True})["NewVersion"] == "3.5.0"


def test_an_image_that_is_served_once_serves_both_checks(obxd, client, tmp_path):
    path = make_image(str(tmp_path), "3.0")
    with open(path, "rb") as file:
        data = file.read()
    checked = check(client, {**order(path), "URL": OneShot(data).url, "FileSize": len(data)})
    with open(checked["SavedFirmware"], "rb") as file:
        assert file.read() == data


def test_a_reset_between_check_and_order_keeps_the_transaction(client, tmp_path):
    params = order(make_image(str(tmp_path), "foreign"))
    checked = check(client, params)
    assert client.call("FactoryReset", {"CleanAll": True}) == {}
    flash = {**params, "URL": "file://" + checked["SavedFirmware"], "TransactionID": checked["TransactionID"]}
    assert client.call("Download", flash) == {}
    assert upgrade_state(client)[1] >= 0


def test_cancel(obxd, client, tmp_path):
    params = order(make_image(str(tmp_path), "2.0"))
    checked = check(client, params)
    cancel = {"FileType": "Firmware", "TransactionID": checked["TransactionID"]}
    assert client.call("Download", cancel) == {}
    assert os.listdir(state(obxd, "firmware")) == []
    assert fault(client.request("Download", cancel)) == (9003, "No such transaction")
    flash = {**params, "URL": "file://" + checked["SavedFirmware"], "TransactionID": checked["TransactionID"]}
    assert upgrade_state(client) == (0, 0)
    assert fault(client.request("Download", flash)) == (9003, "No such transaction")
    assert upgrade_state(client) == (0, -2)


def test_orders_that_do_not_fit_the_check(client, tmp_path):
    params = order(make_image(str(tmp_path), "2.0"))
    checked = check(client, params)
    flash = {**params, "TransactionID": checked["TransactionID"]}
    assert fault(client.request("Download", flash)) == (9003, '"URL" is not the saved firmware')
    assert upgrade_state(client) == (0, -2)
    flash["URL"] = "file://" + checked["SavedFirmware"]
    assert fault(client.request("Download", {**flash, "MD5": "0" * 32})) == (9018, '"MD5" is not the saved firmware\'s')


def test_images_that_are_no_images(client, tmp_path):
    image = make_image(str(tmp_path), "2.0")
    with open(image, "rb") as file:
        data = file.read()
    for number, bad in enumerate((b"", b"rubbish", data[:-1], data[:-1] + b"!", data.replace(b"Version", b"Fersion"))):
        path = write(tmp_path / ("bad%d" % number), bad)
        assert fault(client.request("Download", {**order(path), "NeedPreUpdate": True}))[0] == 9018
    assert upgrade_state(client) == (0, 0)


def test_a_saved_image_that_is_damaged_before_it_is_flashed(obxd, client, tmp_path):
    listener = obxd.client(login=None)
    listener.call("JoinGroup", {"Group": 2})
    params = order(make_image(str(tmp_path), "2.0"))
    checked = check(client, params)
    write(checked["SavedFirmware"], b"gone wrong")
    flash = {**params, "URL": "file://" + checked["SavedFirmware"], "TransactionID": checked["TransactionID"]}
    assert client.call("Download", flash) == {}
    assert listener.event()["params"]["Event"] == "UpgradeStarted"
    assert listener.event()["params"] == {"Event": "UpgradeFailed",
                                          "Reason": "No firmware image: the header is missing or wrong"}
    assert upgrade_state(client)[1] == -2
    assert client.get("Device.DeviceInfo.SoftwareVersion") == "1.2.3"


def test_while_firmware_is_flashed(start_obxd, tmp_path):
    obxd = start_obxd("--flash-ms", "60000")
    client = obxd.client()
    params = order(make_image(str(tmp_path), "2.0"))
    checked = check(client, params)
    flash = {**params, "URL": "file://" + checked["SavedFirmware"], "TransactionID": checked["TransactionID"]}
    assert client.call("Download", flash) == {}
    for method, more in (("Reboot", {}), ("FactoryReset", {}), ("Download", flash)):
        assert fault(client.request(method, more)) == (9001, "Firmware is being flashed")
    client = reboot(obxd, client, Force=True)
    assert client.get("Device.DeviceInfo.SoftwareVersion") == "1.2.3"
    assert upgrade_state(client) == (0, 0)


def ordered(client, params):
    """Checks the image and orders its flashing; returns the order's answer."""
    checked = check(client, params)
    return client.request("Download", {**params, "URL": "file://" + checked["SavedFirmware"],
                                       "TransactionID": checked["TransactionID"]})


def test_flashing_that_is_cut_off_can_be_seen(start_obxd, tmp_path):
    obxd = start_obxd("--flash-ms", "60000")
    flashing, other = obxd.client(), obxd.client()
    flashing.call("JoinGroup", {"Group": 2})
    assert "result" in ordered(flashing, order(make_image(str(tmp_path), "2.0")))
    other.call("Reboot", {"Force": True})
    assert upgrade_state(flashing)[1] == -2
    assert [flashing.event()["params"] for _ in range(3)] == [
        {"Event": "UpgradeStarted", "To": "2.0"}, {"Event": "UpgradeFailed", "Reason": "cut off by a reboot"},
        {"Event": "Reboot", "Cause": "Reboot requested"}]
    assert flashing.receive() is None
    client = obxd.back_again()
    assert client.get("Device.DeviceInfo.SoftwareVersion") == "1.2.3"


def test_an_order_beside_anothers_fails_for_its_connection_alone(obxd, client, tmp_path):
    other, witness = obxd.client(), obxd.client()
    params = order(make_image(str(tmp_path), "2.0"))
    checked = check(client, params)
    late = {**params, "URL": "file://" + checked["SavedFirmware"], "TransactionID": checked["TransactionID"]}
    assert "result" in ordered(other, order(make_image(str(tmp_path), "3.0")))
    assert fault(client.request("Download", late)) == (9001, "Firmware is being flashed")
    assert upgrade_state(client)[1] == -2
    assert upgrade_state(witness)[1] > 0
    assert watch_flashing(other)[-1] == (100, -1)
    client = obxd.back_again()
    assert upgrade_state(client) == (0, 0)
    assert fault(client.request("Download", late)) == (9003, "No such transaction")
    assert upgrade_state(client) == (0, -2)
