"""Every method, as a guest and as a user, with params that make sense, nearly do, or do not at all."""

import contextlib
import json
import os
import re
import string

import pytest

import harness
from watch import watched

METHODS = ["GetParameterValues", "SetParameterValues", "RawSetParameterValues", "GetParameterNames",
           "GetParameterAttributes", "GetDataModel", "GetConfig", "Select", "AddObject", "DeleteObject", "Execute",
           "JoinGroup", "LeaveGroup", "Login", "Logout", "BeginChange", "ConfirmChange", "CancelChange", "SaveConfig", "Reboot",
           "FactoryReset", "Download", "Upload", "None"]
MEMBERS = ["ParameterNames", "ParameterList", "ParameterPath", "NextLevel", "Level", "IgnoreAccessError", "Path", "Selector",
           "ObjectName", "Group", "Login", "Password", "RestorePointName", "Force", "DeviceMode", "CleanAll", "FileType",
           "URL", "MD5", "TargetFileName", "FileSize", "NeedPreUpdate", "TransactionID", "DryRun", "Details", "Timeout", "Change",
           "Name", "Value"]
TEXTS = [("GetConfig", "Path"), ("GetDataModel", "ParameterNames"), ("GetParameterValues", "ParameterNames"),
         ("GetParameterNames", "ParameterPath"), ("Select", "Selector"), ("AddObject", "ObjectName"), ("Execute", "Path")]
PASSWD = "/etc/passwd"
TRAVERSALS = ["../../../etc/passwd", PASSWD, "..", ".", "a/../../b", "file:///etc/passwd", "file:///etc/../etc/shadow",
              "file://../x", "%2e%2e/x", "netcat://127.0.0.1:1/../x", "\u0000", "x" * 300, "a\nb", "-rf", "~root/x", "C:\\x"]


@pytest.fixture(scope="module")
def paths():
    """The router's paths, from its model."""
    with open(os.path.join(harness.SOURCE, "models", "router.json")) as file:
        schema = json.load(file)["schema"]
    found = ["."]

    def walk(node, path):
        for name, child in node.items():
            if name.startswith("#") or not isinstance(child, dict):
                continue
            table = isinstance(child.get("#attr"), dict) and child["#attr"].get("multi")
            leaf = isinstance(child.get("type"), str)
            found.append(path + name + ("" if leaf else "."))
            if table:
                found.append(path + name + ".1.")
            if not leaf:
                walk(child, path + name + (".1." if table else "."))
    walk(schema, "")
    return found


def random_value(rng, paths, depth=0):
    kind = rng.randrange(12 if depth < 4 else 9)
    if kind < 3:
        path = rng.choice(paths)
        return rng.choice((path, path, path.replace(".1.", ".*."), path + "#template", path.upper(), ":" + path, path[:-1]))
    if kind == 3:
        return rng.choice(TRAVERSALS)
    if kind == 4:
        return rng.choice((0, 1, -1, 2**31, 2**32, 2**63 - 1, -2**63, 2**64, 1.5, -0.0, 1e308))
    if kind == 5:
        return rng.choice((True, False, None, "", {}, []))
    if kind == 6:
        return "".join(rng.choice(string.printable) for _ in range(rng.randrange(40)))
    if kind == 7:
        return rng.choice(("Config", "File", "Firmware", "Log", "BuildConfig", "admin", "root", "user", "Router", "[a=1]",
                           "Device.Hosts.Host.[HostName~=\"x\"].{HostName,IPAddress}", "(" * 50, "*" * 50))
    if kind == 8:
        return rng.choice(paths) * rng.randrange(1, 200)
    if kind == 9:
        return [random_value(rng, paths, depth + 1) for _ in range(rng.randrange(6))]
    return {rng.choice(MEMBERS): random_value(rng, paths, depth + 1) for _ in range(rng.randrange(5))}


def random_params(rng, paths):
    params = {name: random_value(rng, paths) for name in rng.sample(MEMBERS, rng.randrange(6))}
    if rng.random() < 0.5:
        params["ParameterNames"] = [rng.choice(paths) for _ in range(rng.randrange(20))]
        params["ParameterPath"] = params["Path"] = params["ObjectName"] = rng.choice(paths)
        params["ParameterList"] = [{"Name": rng.choice(paths), "Value": random_value(rng, paths)} for _ in range(3)]
        params["Level"] = rng.choice((0, 1, -1))
        params["Selector"] = rng.choice(paths)
        params["Timeout"] = rng.choice((1, 2, 3600))
        params["DryRun"] = rng.random() < 0.5
    if rng.random() < 0.9:
        params.pop("Change", None)  # a request that names none that is open is refused
    return params


@pytest.fixture
def deep(directory):
    """A state directory, so deep below the test's own that names do not climb out of that."""
    path = os.path.join(directory, *"abcdefgh", "state")
    os.makedirs(os.path.dirname(path))
    return path


def snapshot(obxd, state):
    """The configuration as it would be saved."""
    client = obxd.client()
    path = os.path.join(state, "snapshot")
    client.call("Upload", {"FileType": "Config", "URL": "file://" + path})
    client.close()
    with open(path, "rb") as file:
        text = file.read()
    os.unlink(path)
    return text


def files_outside(directory, state):
    """What a method could have made or changed outside of the state directory: names around it, and the host's users."""
    names = []
    for top, below, files in os.walk(directory):
        if top == state:
            below.clear()
        else:
            names += [os.path.join(top, name) for name in below + files]
    users = os.stat(PASSWD)
    return sorted(names), users.st_mtime_ns, users.st_size, users.st_ino


@pytest.mark.parametrize("who", [None, "user"])
def test_every_method(start_obxd, rng, budget, paths, who, directory, deep):
    obxd = start_obxd("--reboot-ms", "50", "--state", deep)
    before, outside = snapshot(obxd, deep), files_outside(directory, deep)

    def connect():
        client = obxd.client(login=None)
        if who:
            assert "result" in client.login(who, who)
        return client

    client = connect()
    with watched(obxd):
        for number in budget.rounds(at_least=500):
            method = METHODS[number % len(METHODS)] if number < 200 else rng.choice(METHODS)
            if method == "Logout" and who:
                continue
            params = random_params(rng, paths)
            if method == "Login":
                params["Password"] = "wrong"  # without one, root's process may be anybody
            response = client.request(method, params)
            assert ("result" in response) != ("error" in response), response
            if "error" in response:
                assert isinstance(response["error"]["code"], int), response
            if number % 50 == 49:
                client.close()
                client = connect()
    client.close()
    if who is None:
        assert snapshot(obxd, deep) == before
        assert sorted(os.listdir(deep)) == ["files", "firmware", "restore"]
    assert os.listdir(os.path.join(deep, "files")) == [] and files_outside(directory, deep) == outside


def test_messages_that_are_nearly_right(start_obxd, rng, budget, paths):
    """Bytes of requests changed, dropped, doubled: whatever is answered is a message, and others are served as before."""
    obxd = start_obxd(*harness.SMALL)
    client = obxd.client(login=None)
    with watched(obxd):
        for _ in budget.rounds(at_least=30):
            message = bytearray(json.dumps({"jsonrpc": "2.0", "id": 7, "method": rng.choice(METHODS[:16]),
                                            "params": random_params(rng, paths)}).encode())
            for _ in range(rng.randrange(1, 5)):
                at = rng.randrange(len(message))
                change = rng.randrange(3)
                if change == 0:
                    message[at] = rng.randrange(256)
                elif change == 1:
                    del message[at]
                else:
                    message[at:at] = message[at:at + rng.randrange(20)]
            with_end = bytes(message) + b'{"jsonrpc":"2.0","id":"end","method":"LeaveGroup","params":{"Group":1}}'
            client.send(with_end)
            client.timeout = 0.5
            try:
                while (answer := client.receive()) and answer.get("id") != "end":
                    pass
            except TimeoutError:
                answer = None  # the change has opened a text or an object that goes on
            if answer is None:
                client.close()
                client = obxd.client(login=None)
    client.close()


def bomb(rng, paths):
    """A whole request that is easily sent and would cost much."""
    size = rng.randrange(1, (8 if harness.SANITIZED else 60) << 20)
    method = rng.choice(METHODS)
    kind = rng.randrange(6)
    if kind == 0:
        filler = rng.choice((b"{},", b"[],", b"0,", b'"",', b"[{}],"))
        params = b'{"ParameterNames":[' + filler * (size // len(filler)) + b"0]}"
    elif kind == 1:
        depth = rng.choice((100, 2000, 3000, 1000000))
        params = b'{"Value":' + b"[" * depth + b"]" * depth + b"}"
    elif kind == 2:
        method, member = rng.choice(TEXTS)
        piece = rng.choice((b"a", b"a.", b"*.", b"1.", b".", b"(", b"[a=1].", b"{a,", b"\\n", b"Device.", "\u00e4".encode()))
        text = b'"Device.Hosts.Host.%s"' % (piece * (size // len(piece)))
        params = b'{"%s":%s}' % (member.encode(), b"[%s]" % text if member == "ParameterNames" else text)
    elif kind == 3:
        params = b"{" + b",".join(b'"%d":{}' % number for number in range(size // 100)) + b"}"
    else:
        names = ["."] * rng.choice((1, 20000)) if kind == 4 else rng.choices(paths, k=rng.choice((10, 1000, 5000)))
        method = rng.choice(("GetParameterAttributes", "GetParameterValues", "GetDataModel"))
        params = json.dumps({"ParameterNames": names, "Level": -1, "IgnoreAccessError": True}).encode()
    return b'{"jsonrpc":"2.0","id":7,"method":"' + method.encode() + b'","params":' + params + b"}\n"


def test_bombs_of_guests(start_obxd, rng, budget, paths):
    """Each gets one answer, or the connection's end where nothing more could be taken."""
    obxd = start_obxd()
    with watched(obxd):
        for _ in budget.rounds(at_least=12):
            with contextlib.closing(obxd.client(login=None)) as client:
                with contextlib.suppress(BrokenPipeError, ConnectionResetError):
                    client.socket.sendall(bomb(rng, paths))
                with contextlib.suppress(ConnectionResetError):
                    answer = client.receive()
                    assert answer is None or ("result" in answer) != ("error" in answer), answer


def test_names_and_urls_lead_nowhere_else(start_obxd, rng, budget, directory, deep):
    """What an administrator names is written below the state directory, not over the daemon's own files, and nobody is
    shown a word of a file that is refused."""
    obxd = start_obxd(*harness.SMALL, "--state", deep)
    secret = os.path.join(directory, "secret")
    with open(secret, "w") as file:
        file.write("hidden: words")
    os.symlink(directory, os.path.join(deep, "out"))
    outside = files_outside(directory, deep)
    client = obxd.client()
    client.call("SaveConfig")
    pieces = ["..", ".", "", "out", "out/..", "files", "restore", "firmware", "config.json", "state.json", "secret", "new",
              "%2e%2e", "..%2f", "~", "*", "x" * 300, "a b", "\u00e4", "\n", "-rf", directory, secret, "/etc/passwd"]

    def name():
        return "/".join(rng.choices(pieces, k=rng.choice((1, 1, 2, 3, 8))))

    for _ in budget.rounds(at_least=200):
        url = rng.choice(("file://", "file://", "FILE://", "file:", "")) + rng.choice((deep + "/", "/", directory + "/", ""))
        params = {"URL": url + name(), "FileType": rng.choice(("Config", "Log", "BuildConfig", "File", "Firmware"))}
        if rng.random() < 0.5:
            params["TargetFileName"] = name()
        elsewhere = re.sub("^(?i:file:)?/*", "/", params["URL"])
        there = not elsewhere.startswith(directory) and os.path.lexists(elsewhere)
        answer = client.request(rng.choice(("Upload", "Download")), params)
        assert "hidden" not in json.dumps(answer) and "root:" not in json.dumps(answer), (params, answer)
        client.request("SaveConfig", {"RestorePointName": name()} if rng.random() < 0.5 else {})
        assert files_outside(directory, deep) == outside, params
        assert elsewhere.startswith(directory) or os.path.lexists(elsewhere) == there, params
        with open(secret) as file:
            assert file.read() == "hidden: words", params
        for own, member in (("config.json", "config"), ("state.json", "SoftwareVersion")):
            with open(os.path.join(deep, own)) as file:
                assert member in json.load(file), (own, params)
        assert os.path.islink(os.path.join(deep, "out")), params
    client.close()
    assert all(each.endswith(".json") for each in os.listdir(os.path.join(deep, "restore")))
