"""Who may log in on the daemon, and as whom."""

import json
import os
import pwd
import subprocess
import time

import pytest

import harness
from harness import fault

pytestmark = pytest.mark.obxd(*harness.SMALL, "--listen", "127.0.0.1:0")


@pytest.fixture
def guest(obxd):
    connection = obxd.client(login=None)
    yield connection
    connection.close()


def identity(client):
    return client.get("Device.Users.CurrentUser"), client.get("Device.Users.SystemAccess")


def test_a_new_connection_is_a_guest(guest):
    assert identity(guest) == ("", False)
    refused = guest.set("Device.Users.Note", "x")["error"]
    assert refused["data"]["Device.Users.Note"]["code"] == 9001


@pytest.mark.parametrize("user,password,access", [("admin", "admin", True), ("user", "user", False)])
def test_login_with_a_password(guest, user, password, access):
    assert guest.login(user, password) == {"jsonrpc": "2.0", "id": 1, "result": {}}
    assert identity(guest) == (user, access)
    assert guest.call("Logout") == {}
    assert identity(guest) == ("", False)


@pytest.mark.parametrize("user,password", [("admin", "wrong"), ("admin", ""), ("nobody at all", "x"), ("root", "")])
def test_a_wrong_password(guest, user, password):
    assert fault(guest.login(user, password)) == (9001, "Wrong password or unknown user")
    assert identity(guest) == ("", False)


def test_a_failed_login_leaves_the_session_as_it_was(guest):
    guest.login("user", "user")
    assert "error" in guest.login("admin", "wrong")
    assert identity(guest) == ("user", False)


@pytest.mark.parametrize("params,code,detail", [
    ({"Login": 1}, 9003, '"Login" and "Password" must be texts or null'),
    ({"Login": "admin", "Password": False}, 9003, '"Login" and "Password" must be texts or null'),
    ({"Login": None, "Password": "x"}, 9001, "A login needs a name"),
    ({"Login": None, "Password": None}, 9001, "A login needs a name"),
    ({"Login": "", "Password": None}, 9001, "A login needs a name"),
    ({"Login": "", "Password": "x"}, 9001, "A login needs a name"),
    ({}, 9001, "A login needs a name"),
    ({"Login": "stranger", "Password": None}, 9001, "Unknown user"),
])
def test_logins_that_make_no_sense(guest, params, code, detail):
    assert fault(guest.request("Login", params)) == (code, detail)
    assert identity(guest) == ("", False)


@pytest.mark.skipif(os.getuid() != 0, reason="needs root as the peer")
def test_root_may_be_anybody_without_a_password(guest):
    for user, access in (("root", True), ("user", False), ("admin", True)):
        assert "result" in guest.login(user)
        assert identity(guest) == (user, access)


AS_OTHER = """
import json, socket, sys
connection = socket.socket(socket.AF_UNIX)
connection.connect(sys.argv[1])
for login in ("nobody", None, "root", "admin"):
    request = {"jsonrpc": "2.0", "id": 1, "method": "Login", "params": {"Login": login, "Password": None}}
    connection.sendall(json.dumps(request).encode())
    print(connection.recv(4096).decode().strip())
"""


@pytest.mark.skipif(os.getuid() != 0, reason="only root can become somebody else")
def test_other_users_of_the_host_are_only_themselves(start_obxd, tmp_path):
    nobody = pwd.getpwnam("nobody")
    users = tmp_path / "users.json"
    users.write_text(json.dumps({"users": [{"name": "nobody", "role": "user"}, {"name": "admin", "role": "admin"}]}))
    obxd = start_obxd("--users", str(users))
    os.chmod(obxd.directory, 0o755)
    done = subprocess.run(["/usr/bin/python3", "-c", AS_OTHER, obxd.socket], capture_output=True, text=True,
                          user=nobody.pw_uid, group=nobody.pw_gid, cwd="/")
    answers = [json.loads(line) for line in done.stdout.splitlines()]
    assert ["result" in answer for answer in answers] == [True, False, False, False], done
    assert fault(answers[2]) == (9001, "A password is needed")
    # Whoever started the daemon is known without being named in the users file.
    assert identity(obxd.client()) == ("root", True)


def test_over_tcp_a_password_is_needed(obxd):
    client = obxd.tcp_client()
    assert fault(client.login("root")) == (9001, "A password is needed over the network")
    assert fault(client.request("Login")) == (9001, "A login needs a name")
    assert "result" in client.login("admin", "admin")
    assert identity(client) == ("admin", True)
    client.close()


def test_a_token_is_good_for_its_request_only(guest):
    read = {"ParameterNames": ["Device.Users.CurrentUser", "Device.Users.SystemAccess"]}

    def who(auth):
        return [row["Value"] for row in guest.request("GetParameterValues", read, auth=auth)["result"]["ParameterList"]]

    assert who("admin-token") == ["admin", True]
    assert who("user-token") == ["user", False]
    assert who(None) == ["", False]
    assert who("") == ["", False]
    assert fault(guest.request("GetParameterValues", read, auth="wrong")) == (9001, "Unknown token")


def test_an_accepted_token_ends_the_login_of_its_connection(guest):
    read = {"ParameterNames": ["Device.Users.CurrentUser"]}
    guest.login("admin", "admin")
    assert fault(guest.request("GetParameterValues", read, auth="wrong")) == (9001, "Unknown token")
    assert "result" in guest.request("GetParameterValues", read, auth="")
    assert identity(guest) == ("admin", True)
    # However the request itself ends, and as a notification too.
    for request in ({"method": "Login", "params": {"Login": None}, "id": 1}, {"method": "GetParameterValues"}):
        guest.login("admin", "admin")
        guest.send({"jsonrpc": "2.0", "auth": "user-token", **request})
        if "id" in request:
            assert "error" in guest.receive()
        assert identity(guest) == ("", False)
    assert "error" in guest.request("SaveConfig")
    assert "result" in guest.request("Login", {"Login": "admin", "Password": "admin"}, auth="user-token")
    assert identity(guest) == ("admin", True)


def test_one_ladder_of_roles(start_obxd, tmp_path):
    """Who may set what a model leaves to the system may also do what methods leave to an administrator."""
    users = tmp_path / "users.json"
    users.write_text(json.dumps({"users": [{"name": "helper", "role": "user", "system_access": True},
                                           {"name": "plain", "role": "user"}, {"name": "chief", "role": "system"}]}))
    obxd = start_obxd("--users", str(users))
    for name, allowed in (("helper", True), ("plain", False), ("chief", True)):
        client = obxd.client(login=name)
        assert ("result" in client.set("Device.DeviceInfo.Private", name)) == allowed
        assert ("result" in client.request("FactoryReset")) == allowed
        assert "result" in client.request("SaveConfig")
        client.close()


def test_wrong_passwords_wait_without_holding_up_others(obxd, guest):
    other = obxd.client(login=None)

    def answers_meanwhile():
        start = time.monotonic()
        guest.send({"jsonrpc": "2.0", "id": 1, "method": "Login", "params": {"Login": "admin", "Password": "no"}})
        count = 0
        while not harness.programs.select_readable(guest.socket, 0):
            other.get("Device.Users.Note")
            count += 1
        assert time.monotonic() - start >= 0.2
        assert fault(guest.receive())[0] == 9001
        return count

    harness.wait_until(lambda: answers_meanwhile() > 3, "answers meanwhile")  # held up, others get one at most
    other.close()


def test_an_unknown_user_takes_as_long_as_a_wrong_password(start_obxd, tmp_path):
    """So that nobody learns from the time which users there are. This hash takes long to check."""
    users = tmp_path / "users.json"
    users.write_text(json.dumps({"users": [
        {"name": "root", "role": "system"},
        {"name": "ann", "role": "user", "password":
            "$6$rounds=60000$saltsalt$h3eMbmIzt6T7q7Dt.aokfVWxK7FzPcJKioI"
            "7caQKWhJeOwFlexi5zVnsDl1esW3NsCkNrip9eztiRN738Cgg/1"}]}))
    obxd = start_obxd("--users", str(users))

    def check_time(name):
        before = harness.cpu_seconds(obxd.process.pid)
        for _ in range(3):
            client = obxd.client(login=None)
            assert fault(client.login(name, "wrong")) == (9001, "Wrong password or unknown user")
            client.close()
        return harness.cpu_seconds(obxd.process.pid) - before

    known = check_time("ann")
    assert known > 0.02
    for name in ("nobody at all", "root"):
        assert check_time(name) > known / 3
    assert "result" in obxd.client(login=None).login("ann", "secret")


def test_a_client_that_leaves_during_its_login(obxd):
    for _ in range(20):
        client = harness.Client(obxd.socket)
        client.send({"jsonrpc": "2.0", "id": 1, "method": "Login", "params": {"Login": "admin", "Password": "admin"}})
        client.close()
    assert identity(obxd.client(login=None)) == ("", False)


def test_methods_of_the_device_need_a_role(obxd, guest):
    for method in ("SaveConfig", "Reboot", "FactoryReset", "Download", "Upload"):
        code, detail = fault(guest.request(method))
        assert (code, detail.split(" needs ")[0]) == (9001, method)
    assert "result" in guest.login("user", "user")
    assert "result" in guest.request("SaveConfig")
    for method in ("FactoryReset", "Download", "Upload"):
        assert fault(guest.request(method)) == (9001, method + " needs a login as administrator")


def test_hashes_are_made_on_the_command_line(start_obxd, tmp_path):
    def hashed(option, text):
        return subprocess.run([harness.OBXD, option], input=text, capture_output=True, text=True).stdout.strip()

    users = tmp_path / "users.json"
    users.write_text(json.dumps({"users": [{"name": "ann", "role": "user", "password": hashed("--hash-password", "a:b\n"),
                                            "tokens": [hashed("--hash-token", "t\n")]}]}))
    obxd = start_obxd("--users", str(users))
    client = obxd.client(login=None)
    assert "result" in client.login("ann", "a:b")
    assert "error" in client.login("admin", "admin")
    assert "result" in client.request("GetParameterValues", {"ParameterNames": ["Device.Users.Note"]}, auth="t")
