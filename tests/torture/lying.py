"""A daemon that lies: it stands between clients and obxd, and passes on what obxd answers as it likes.

    with LyingDaemon(obxd, rng) as daemon:
        daemon.kind = "truncated"        # one of KINDS; None: it tells the truth
        harness.obxc("-r", "get", PATH, daemon=daemon)
"""

import contextlib
import json
import os
import random
import shutil
import socket
import threading
import time

import harness

FLOOD = 3.0  # seconds
ODD = "\x1b[2J\x1b]0;own\x07\r\b\x9b31m"
WRONG = [None, True, -1, 2 ** 63 - 1, 1.5e308, "", "text", [], [[]], [None], {}, {"": ""}, {"Name": 5}, [{"Name": 5}],
         [{"Name": "Device."}], [{"Name": "..", "Value": 1}], [{"Name": "", "Attributes": {}}], {"type": "object"}]


def parts(value, path=()):
    """The places of all values inside a JSON value."""
    yield path
    items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, each in items:
        yield from parts(each, path + (key,))


def replaced(value, path, new):
    if not path:
        return new
    copy = dict(value) if isinstance(value, dict) else list(value)
    copy[path[0]] = replaced(copy[path[0]], path[1:], new)
    return copy


def without(value, path):
    copy = dict(value) if isinstance(value, dict) else list(value)
    if len(path) > 1:
        copy[path[0]] = without(copy[path[0]], path[1:])
    else:
        del copy[path[0]]
    return copy


def texts_replaced(value, change):
    """Every text in it, names of members below "result" too, passed through `change`."""
    if isinstance(value, str):
        return change(value)
    if isinstance(value, list):
        return [texts_replaced(each, change) for each in value]
    if isinstance(value, dict):
        return {key: texts_replaced(each, change) for key, each in value.items()}
    return value


def line(message):
    return json.dumps(message).encode() + b"\n"


def event(group, params=None):
    return line({"jsonrpc": "2.0", "method": "Event", "group": group, "params": params or {}})


class Lies:
    """What becomes of one answer: some of bytes to send, CLOSE, or a number of seconds to wait."""

    CLOSE = object()

    def __init__(self, rng):
        self.rng = rng
        self.last = None  # the answer before

    def inside(self, message):
        """A place inside the answer's result or error, or inside what an event tells."""
        places = [path for path in parts(message) if path and path[0] in ("result", "error", "params")]
        return self.rng.choice(places or [(next(iter(message)),)])

    def truncated(self, message):
        text = line(message)
        return [text[:self.rng.randrange(len(text))], self.CLOSE]

    def garbage(self, message):
        return [self.rng.randbytes(self.rng.randrange(1, 2000)), line(message)]

    def wrong_types(self, message):
        return [line(replaced(message, self.inside(message), self.rng.choice(WRONG)))]

    def missing_members(self, message):
        return [line(without(message, self.inside(message)))]

    def duplicate_ids(self, message):
        return [line(message)] * 2 + [line({**message, "result": {"ParameterList": []}})]

    def wrong_order(self, message):
        last, self.last = self.last, message
        return [line(message)] + ([line(last)] if last else [])

    def late(self, message):
        return [self.rng.random() * 1.5, line(message)]

    def events_between(self, message):
        events = [event(self.rng.choice([4, 9, 77]), {"Action": self.rng.choice(["Add", "Delete", "x"]),
                                                      "Path": "Device.Hosts.Host.", "InstanceNumber": n}) for n in range(20)]
        return events + [line(message)] + events

    def flood(self, message):
        kind = self.rng.choice([b"{}\n", event(4, {"Action": "Add"}), line({**message, "id": 987654})])
        end = time.monotonic() + FLOOD
        return (kind * 2000 for _ in iter(lambda: time.monotonic() < end, False))

    def one_byte(self, message):
        text = line(message)
        return [text[i:i + 1] for i in range(min(len(text), 2000))] + [text[2000:]]

    def invalid_utf8(self, message):
        text = line(texts_replaced(message, lambda each: each + "~~"))
        return [text.replace(b"~~", self.rng.choice([b"\xff", b"\xc3", b"\xed\xa0\x80", b"\xf8\x88\x80\x80\x80"]))]

    def nul(self, message):
        return [line(texts_replaced(message, lambda each: each + "\0x"))]

    def numbers_out_of_range(self, message):
        text = line(replaced(message, self.inside(message), "~~"))
        return [text.replace(b'"~~"', self.rng.choice([b"1e999", b"9" * 400, b"-9223372036854775809", b"18446744073709551616"]))]

    def escapes(self, message):
        return [line(texts_replaced(message, lambda each: each + ODD))]

    def odd_names(self, message):
        odd = self.rng.choice(["..", ".", "", "#attr", "#template", "*", "a" * 5000, "Device." * 300, "0", "4294967296", "é" * 50])
        return [line(texts_replaced(message, lambda each: self.rng.choice([each, odd, each + odd])))]

    def error_objects(self, message):
        error = self.rng.choice([None, 5, {}, {"code": "x"}, {"code": 0}, {"code": -2 ** 63}, {"code": 9005, "message": None},
                                 {"code": 9005, "message": ODD, "data": {"Detail": ODD * 100, "x": [[]]}},
                                 {"code": 9005, "data": []}, {"message": "text"}])
        return [line({"jsonrpc": "2.0", "id": message.get("id"), "error": error})]

    def mutated(self, message):
        text = bytearray(line(message))
        for _ in range(self.rng.randrange(1, 8)):
            text[self.rng.randrange(len(text))] = self.rng.randrange(256)
        return [bytes(text) + b"\n"]

    def sizes(self, message):
        big = self.rng.choice(["x" * (8 << 20), [{}] * 300000, [{"Name": "Device.A", "Value": 1}] * 100000, [[[]]] * 200000])
        return [line(replaced(message, self.inside(message), big))]


KINDS = [name for name in vars(Lies) if not name.startswith("_") and name not in ("CLOSE", "inside")]


class LyingDaemon:
    def __init__(self, obxd, rng):
        self.obxd = obxd
        self.rng = random.Random(rng.getrandbits(64))  # its own: threads choose with it
        self.kind = None
        self.directory = harness.temp_dir()
        self.socket = os.path.join(self.directory, "liar.sock")
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(self.socket)
        self.listener.listen(64)
        self.open = []
        threading.Thread(target=self._accept, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listener.close()
        for connection in self.open:
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)
        shutil.rmtree(self.directory, ignore_errors=True)

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                client, _ = self.listener.accept()
                behind = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
                try:
                    behind.connect(self.obxd.socket)
                except OSError:  # it is down for now: so is this one
                    client.close()
                    continue
                self.open = [each for each in self.open if each.fileno() >= 0] + [client, behind]
                threading.Thread(target=self._requests, args=(client, behind), daemon=True).start()
                lies = Lies(random.Random(self.rng.getrandbits(64)))
                threading.Thread(target=self._answers, args=(client, behind, lies), daemon=True).start()

    @staticmethod
    def _requests(client, behind):
        with contextlib.suppress(OSError):
            while data := client.recv(65536):
                behind.sendall(data)
            behind.shutdown(socket.SHUT_RDWR)

    def _answers(self, client, behind, lies):
        with contextlib.suppress(OSError, ValueError), behind.makefile("rb") as answers:
            for text in answers:
                kind = self.kind
                for each in getattr(lies, kind)(json.loads(text)) if kind else [text]:
                    if kind == "flood" and self.kind != kind:
                        break
                    if each is Lies.CLOSE:
                        client.shutdown(socket.SHUT_RDWR)
                    elif isinstance(each, float):
                        time.sleep(each)
                    else:
                        client.sendall(each)
        client.close()
        behind.close()
