"""A daemon that keeps sending but does not answer: the time ends every exchange all the same. (obxc() fails where it does
not.)"""

import itertools
import json
import socket
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import pytest

from harness import environment, make_image, obxc, timed, wait_until
from harness.programs import select_readable

TIMED_OUT = "[-11] Timed out\n"
OTHER = json.dumps({"jsonrpc": "2.0", "id": 987654321, "result": {"ParameterList": []}}).encode() + b"\n"
EVENT = json.dumps({"jsonrpc": "2.0", "method": "Event", "group": 9, "params": {"a": 1}}).encode() + b"\n"
FLOODS = {
    "objects": ([b"{}" * 500], [0]),
    "answers of other ids": ([OTHER * 500], [0]),
    "events": ([EVENT * 500], [0]),
    "events on the other connection": ([EVENT * 500], [1]),
    "events on both": ([EVENT * 500], [0, 1]),
    "one message without end": (None, [0]),
    "blanks": ([b"\n" * 1000], [0]),
    "a byte at a time": ([b" ", b"{", b"}"], [0]),
}


def flooding(scripted, kind, methods, pause=0.0):
    """A daemon that answers a request for one of these methods with a flood and nothing else."""
    listed, connections = FLOODS[kind]
    pieces = itertools.cycle(listed) if listed else itertools.chain([b'{"id":"'], itertools.repeat(b"x" * 100))
    pause = pause if listed else 0.001  # not to reach the bound of a message
    begun = threading.Event()

    def flood(daemon, connection):
        try:
            wait_until(lambda: len(daemon.connections) > connection, "the connection")
            for piece in pieces:
                daemon.connections[connection].sendall(piece)
                time.sleep(pause)
        except OSError:
            pass

    def answer(request, connection):
        if request.get("method") not in methods:
            return daemon.result({})
        if not begun.is_set():
            begun.set()
            for each in connections:
                threading.Thread(target=flood, args=(daemon, each), daemon=True).start()
        return None

    daemon = scripted(answer)
    return daemon


@pytest.mark.parametrize("kind", FLOODS)
def test_a_flood_ends_by_the_time_out(scripted, script, kind):
    raw = '{"jsonrpc":"2.0","method":"Get","id":1,"params":{"x":"y"}}'
    lua = script('print((select(3, ox.get("Device.X"))))')
    runs = {
        "raw": (1, lambda: obxc("-t", "1", "--raw", raw, daemon=flooding(scripted, kind, ["Get"]))),
        "lua": (1, lambda: obxc("-t", "1", "-S", lua, daemon=flooding(scripted, kind, ["GetParameterValues"]))),
        "attr": (5, lambda: obxc("-r", "attr", "Device.X",
                                 daemon=flooding(scripted, kind, ["GetParameterAttributes"]))),
        "login": (5, lambda: obxc("-a", "a:b", "-r", "save", daemon=flooding(scripted, kind, ["Login"]))),
        "group": (1, lambda: obxc("-g", "9", "-r", "save", daemon=flooding(scripted, kind, ["JoinGroup"]))),
    }
    with ThreadPoolExecutor(len(runs)) as pool:
        done = dict(zip(runs, pool.map(timed, [run for _, run in runs.values()])))
    for name, (seconds, _) in runs.items():
        result, took = done[name]
        assert took >= seconds, (name, took)
    assert done["raw"][0].status == 245 and '"code": -11' in done["raw"][0].out
    assert done["lua"][0].out == "-11\n"
    assert (done["attr"][0].out, done["attr"][0].status) == ("attr: ERROR\n", 255)
    assert done["login"][0].status == 1


DEFAULT = 60  # seconds of patience


def impatient(seconds=1):
    return environment(OBX_PATIENCE=str(seconds))


@pytest.mark.parametrize("kind", [None, "objects", "answers of other ids", "events", "events on the other connection",
                                  "events on both", "a byte at a time"])
def test_a_daemon_that_sends_nothing_of_use_is_given_up(scripted, kind):
    """Where the commands themselves set no bound."""
    def daemon(method):
        if kind:
            return flooding(scripted, kind, [method], 0.01)
        return scripted(lambda request, connection: None if request["method"] == method else {
            "jsonrpc": "2.0", "result": {}})

    cases = [("SaveConfig", ["save"]), ("GetParameterValues", ["get", "Device.X"]),
             ("SetParameterValues", ["set", "Device.X=1"])]
    runs = [lambda method=method, words=words: obxc("-r", *words, daemon=daemon(method), env=impatient())
            for method, words in cases]
    with ThreadPoolExecutor(len(runs)) as pool:
        for done, took in pool.map(timed, runs):
            assert done.out.endswith(TIMED_OUT), done.out
            assert 1 <= took < DEFAULT / 2


@pytest.mark.parametrize("signs", [[b"\n"], [EVENT], [OTHER, b"\n", b"\n", b"\n"]])
def test_a_method_that_tells_that_it_is_at_work_is_waited_for(scripted, signs):
    """By blanks, or by events of a group that was joined."""
    def answer(request, connection):
        if request["method"] == "SaveConfig":
            for sign in itertools.islice(itertools.cycle(signs), 20):
                time.sleep(0.15)
                daemon.connections[0].sendall(sign)
        return daemon.result({})

    daemon = scripted(answer)
    done, took = timed(lambda: obxc("-g", "9", "-r", "save", daemon=daemon, env=impatient(2)))
    assert (done.out, done.status) == ("Status: OK\n", 0)
    assert took >= 3


def test_lua_without_a_time_out_gives_a_silent_daemon_up(scripted, script):
    path = script('ox.timeout = math.huge print((select(3, ox.get("Device.X"))))')
    daemon = scripted(lambda request, connection: None)
    done, took = timed(lambda: obxc("-S", path, daemon=daemon, env=impatient()))
    assert done.out == "-11\n" and took < DEFAULT / 2


@pytest.mark.parametrize("kind", ["objects", "answers of other ids"])
def test_a_flood_on_the_events_connection_leaves_the_shell_usable(scripted, terminal, kind):
    """And waits of Lua as long as they should be."""
    daemon = scripted()
    shell = terminal(daemon=daemon)
    shell.prompt()
    ended = threading.Event()

    def flood():
        pieces = FLOODS[kind][0]
        while not ended.is_set():
            try:
                daemon.connections[1].sendall(pieces[0])
            except OSError:
                return

    thread = threading.Thread(target=flood, daemon=True)
    thread.start()
    assert timed(lambda: shell.run("lua ox.wait(1)"))[1] >= 1
    assert shell.run("save") == "Status: OK"
    ended.set()


def test_obxd_tells_that_it_is_at_work(obxd):
    """A request that takes long is answered by white space first."""
    server = socket.create_server(("127.0.0.1", 0))
    client = obxd.client("admin")
    client.send({"jsonrpc": "2.0", "id": 77, "method": "Download", "params": {
        "FileType": "File", "URL": "netcat://127.0.0.1:%d" % server.getsockname()[1]}})
    peer, _ = server.accept()
    while not select_readable(client.socket, 1):
        peer.sendall(b"x")
    assert client.socket.recv(100, socket.MSG_DONTWAIT) == b"\n"
    peer.close()
    server.close()
    client.close()


@pytest.mark.obxd("--flash-ms", "600000")
def test_a_flashing_that_does_not_move_is_told(obxd, directory):
    image = make_image(directory, "9.9.9")
    done, took = timed(lambda: obxc("-a", "admin:admin", "-r", "upgrade", image, daemon=obxd, env=impatient()))
    assert (done.status, done.out.split("\n")[-2]) == (
        1, "The flashing has not moved for 10 s: what became of it is not known."), done.out
    assert took >= 10
