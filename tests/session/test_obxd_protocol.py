"""The daemon's side of the protocol: messages, ids, errors, start and end."""

import os
import signal
import socket
import subprocess

import pytest

import harness
from harness import fault
from certificates import self_signed

pytestmark = pytest.mark.obxd(*harness.SMALL)


def request(id_text, method="GetParameterValues", params='{"ParameterNames":["Device.Users.Note"]}'):
    return ('{"jsonrpc":"2.0","id":%s,"method":"%s","params":%s}' % (id_text, method, params)).encode()


RESULT = {"ParameterList": [{"Name": "Device.Users.Note", "Value": "none"}]}


@pytest.mark.parametrize("id_text,id_value", [("1", 1), ("-7", -7), ('"x\\u00e4"', "x\u00e4"), ("null", None),
                                              ("9007199254740993", 9007199254740993)])
def test_an_id_comes_back_as_it_was(client, id_text, id_value):
    client.send(request(id_text) + b"\n")
    assert client.receive() == {"jsonrpc": "2.0", "id": id_value, "result": RESULT}


@pytest.mark.parametrize("text,id_value,detail", [
    (b'{"id":1,"method":"Logout"}', 1, '"jsonrpc" must be "2.0"'),
    (b'{"jsonrpc":"1.0","id":1,"method":"Logout"}', 1, '"jsonrpc" must be "2.0"'),
    (b'{"jsonrpc":"2.0","id":1}', 1, '"method" must be a text'),
    (b'{"jsonrpc":"2.0","id":"a","method":5}', "a", '"method" must be a text'),
    (b'{"jsonrpc":"2.0","id":[1],"method":"Logout"}', None, '"id" must be a number or a text'),
    (b'{"jsonrpc":"2.0","id":true,"method":"Logout"}', None, '"id" must be a number or a text'),
    (b'{"jsonrpc":"2.0","id":1,"method":"Logout","auth":1}', 1, '"auth" must be a text'),
    (b"{}", None, '"jsonrpc" must be "2.0"'),
])
def test_invalid_requests(client, text, id_value, detail):
    client.send(text)
    answer = client.receive()
    assert answer["id"] == id_value and fault(answer) == (-32600, detail)
    assert answer["error"]["message"] == "Invalid request"
    assert client.get("Device.Users.Note") == "none"  # the connection goes on


def test_unknown_method_and_wrong_params(client):
    assert fault(client.request("Nope")) == (-32601, "Nope")
    assert fault(client.request("logout")) == (-32601, "logout")
    assert fault(client.request("Event")) == (-32601, "Event")
    client.send(b'{"jsonrpc":"2.0","id":1,"method":"Logout","params":[1]}')
    assert fault(client.receive()) == (-32602, '"params" must be an object')
    client.send(b'{"jsonrpc":"2.0","id":2,"method":"Logout","params":null}')
    assert client.receive() == {"jsonrpc": "2.0", "id": 2, "result": {}}


@pytest.mark.parametrize("text", [b"x", b"[1]", b'"text"', b"{]}", b'{"a":}', b'{"a":"\xff"}', b"}",
                                  b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"])
def test_what_is_no_object_closes_the_connection(obxd, client, text):
    client.send(request("1") + text)
    assert client.receive()["result"] == RESULT
    answer = client.receive()
    assert answer["id"] is None and answer["error"]["code"] == -32700
    assert answer["error"]["message"] == "Parse error"
    assert client.receive() is None


NULL = '"a\\u0000b"'


@pytest.mark.parametrize("text,id_value", [
    (request("5", params='{"ParameterNames":["Device.Users.Note",%s]}' % NULL), 5),
    (request("5", params='{"ParameterNames":[[{"deep":%s}]]}' % NULL), 5),
    (request("5", params="{%s:1}" % NULL), 5),
    (request('"x\\\\u0000"', method="a\\u0000b"), "x\\u0000"),
    (request(NULL), None),
    (request("null", params="{%s:1}" % NULL), None),
])
def test_a_null_character_is_refused_and_the_connection_goes_on(client, text, id_value):
    client.send(text + request("6"))
    answer = client.receive()
    assert answer["id"] == id_value and fault(answer) == (-32602, "a text holds \\u0000"), answer
    assert client.receive() == {"jsonrpc": "2.0", "id": 6, "result": RESULT}


@pytest.mark.parametrize("text,id_value,number", [
    (request("5", "SetParameterValues", '{"ParameterList":[{"Name":"Device.Users.Note","Value":18446744073709551615}]}'),
     5, "18446744073709551615"),
    (request("5", params='{"x":[-9223372036854775809,{"y":99999999999999999999}]}'), 5, "-9223372036854775809"),
    (request("5", params='{"x":1e999,"9223372036854775808":"9223372036854775808"}'), 5, "1e999"),
    (request("5", params='{"x":%s}' % ("9" * 400)), 5, "9" * 40 + "..."),
    (request("9223372036854775808"), None, "9223372036854775808"),
])
def test_a_number_beyond_64_bits_is_refused_and_the_connection_goes_on(client, text, id_value, number):
    client.send(text + request("6"))
    answer = client.receive()
    assert answer["id"] == id_value and fault(answer) == (-32602, "a number is beyond 64 bits: " + number), answer
    assert client.receive() == {"jsonrpc": "2.0", "id": 6, "result": RESULT}


def test_the_last_numbers_of_64_bits_are_none_too_many(client):
    client.send(request("9223372036854775807", params='{"ParameterNames":["Device.Users.Note"],"x":-9223372036854775808}'))
    assert client.receive()["id"] == 2 ** 63 - 1


def test_a_null_character_in_what_is_not_answered_is_passed_over(client):
    client.send(b'{"jsonrpc":"2.0","method":"Logout","params":{"x":"\\u0000"}}'
                b'{"jsonrpc":"2.0","method":"Event","group":7,"params":"\\u0000"}' + request("6"))
    assert client.receive() == {"jsonrpc": "2.0", "id": 6, "result": RESULT}
    assert client.get("Device.Users.CurrentUser") == "root"


def test_a_backslash_before_u0000_is_text(client):
    assert fault(client.request("a\\u0000")) == (-32601, "a\\u0000")


def test_a_notification_is_done_and_not_answered(client):
    client.send(b'{"jsonrpc":"2.0","method":"Logout"}{"jsonrpc":"2.0","method":"Nope"}{"jsonrpc":"2.0","method":"Reboot"}')
    assert client.get("Device.Users.CurrentUser") == ""
    assert not client.framer.buffer.strip()


def test_messages_split_anywhere_and_back_to_back(client):
    stream = b"".join(request(str(n)) for n in range(20))
    for at in range(0, len(stream), 7):
        client.send(stream[at:at + 7])
    assert [client.receive()["id"] for _ in range(20)] == list(range(20))
    client.send(b" \r\n\t" + request("1") + b"\n\n  " + request("2"))
    assert [client.receive()["id"] for _ in range(2)] == [1, 2]


def test_answers_come_in_order_also_behind_a_slow_one(client):
    client.send(b"".join([request("1", "Login", '{"Login":"admin","Password":"admin"}'), request("2"),
                          request("3", "Login", '{"Login":"admin","Password":"no"}'), request("4"), request("5")]))
    assert [client.receive()["id"] for _ in range(5)] == [1, 2, 3, 4, 5]


def test_a_half_closed_connection_gets_its_answers(client):
    client.send(request("1", "Login", '{"Login":"admin","Password":"admin"}') + request("2"))
    client.socket.shutdown(socket.SHUT_WR)
    assert client.receive()["id"] == 1
    assert client.receive()["result"] == RESULT
    assert client.receive() is None


def run(*args):
    done = subprocess.run([harness.OBXD, *args], capture_output=True, text=True, timeout=harness.PATIENCE)
    return done.returncode, done.stdout, done.stderr


def test_version_and_help():
    assert run("--version") == (0, "obxd 0.2.1\n", "")
    code, out, err = run("--help")
    assert code == 0 and err == "" and out.startswith("Usage: obxd [OPTION]...\n")
    for option in ("--socket", "--listen", "--tls-cert", "--tls-key", "--model", "--state", "--users"):
        assert option in out


def test_mistakes_on_the_command_line():
    hint = '; "obxd --help" lists the options\n'
    assert run("--wrong") == (2, "", 'obxd: unknown option "--wrong"' + hint)
    assert run("--tls-cert", "x") == (2, "", "obxd: --tls-cert and --tls-key go together" + hint)
    assert run("--listen", "nowhere") == (2, "", 'obxd: --listen: "nowhere" is no HOST:PORT' + hint)


def test_files_that_do_not_serve(tmp_path):
    path = str(tmp_path / "s")
    broken = tmp_path / "broken.json"
    broken.write_text("{")

    def refused(*args):
        code, out, err = run("--socket", path, "--model", harness.SMALL_MODEL, *args)
        assert code == 1 and out == "" and err.count("\n") == 1 and err.startswith("obxd: "), (code, out, err)
        assert not os.path.exists(path)
        return err

    assert "/nonexistent" in refused("--users", "/nonexistent")
    assert "cannot read the users" in refused("--users", str(broken))
    broken.write_text(r'{"users": [{"name": "a\nb\u001b[2J", "role": "king"}]}')
    assert r'the "role" of a\x0ab\x1b[2J is none of' in refused("--users", str(broken))
    broken.write_text(r'{"schema": {"Device": {"#attr": {}, "A\nB": {"type": "nothing"}}}}')
    assert r"A\x0aB" in refused("--model", str(broken))
    assert "/nonexistent" in refused("--model", "/nonexistent")
    broken.write_text("{")
    assert str(broken) in refused("--model", str(broken))
    assert "/nonexistent/d: No such file or directory" in refused("--state", "/nonexistent/d")
    assert "cannot load the certificate" in refused("--tls-cert", str(broken), "--tls-key", str(broken))
    cert, key = self_signed(str(tmp_path))
    assert "cannot load the key" in refused("--tls-cert", cert, "--tls-key", cert)
    _, other = self_signed(str(tmp_path), "other")
    assert "the key does not belong to the certificate" in refused("--tls-cert", cert, "--tls-key", other)
    assert "192.0.2.1:80: " in refused("--listen", "192.0.2.1:80")


def test_a_live_socket_is_left_alone_and_a_dead_one_replaced(start_obxd):
    obxd = start_obxd()
    code, _, err = run("--socket", obxd.socket, "--model", harness.SMALL_MODEL)
    assert (code, err) == (1, "obxd: %s: another daemon serves it\n" % obxd.socket)
    assert obxd.client().get("Device.Users.Note") == "none"
    obxd.kill()
    assert os.path.exists(obxd.socket)
    obxd.start()
    assert obxd.ready_line == "obxd 0.2.1 ready on %s\n" % obxd.socket
    assert obxd.client().get("Device.Users.Note") == "none"
    obxd.stop()
    assert not os.path.exists(obxd.socket)
    with open(obxd.socket, "w"):
        pass
    code, _, err = run("--socket", obxd.socket, "--model", harness.SMALL_MODEL)
    assert (code, err) == (1, "obxd: %s: exists and is no socket\n" % obxd.socket)


@pytest.mark.parametrize("signum", [signal.SIGTERM, signal.SIGINT])
def test_a_signal_ends_it_with_clients_connected(start_obxd, signum):
    obxd = start_obxd("--listen", "127.0.0.1:0")
    client = obxd.client()
    obxd.process.send_signal(signum)
    assert obxd.process.wait(harness.PATIENCE) == 0
    assert client.receive() is None
    assert not os.path.exists(obxd.socket)
    assert obxd.ready_line.startswith("obxd 0.2.1 ready on %s, 127.0.0.1:" % obxd.socket)


def test_without_a_state_directory_nothing_stays(tmp_path):
    path = str(tmp_path / "s")
    env = harness.environment(TMPDIR=str(tmp_path))
    process = subprocess.Popen([harness.OBXD, "--socket", path, "--model", harness.SMALL_MODEL],
                               stdout=subprocess.PIPE, env=env)
    process.stdout.readline()
    assert [name for name in os.listdir(tmp_path) if name.startswith("obxd-")]
    process.terminate()
    assert process.wait(harness.PATIENCE) == 0
    process.stdout.close()
    assert os.listdir(tmp_path) == []
