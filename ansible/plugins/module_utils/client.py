"""A connection to a daemon: one request at a time, each bounded in time, with the events that come between."""

import collections
import json
import socket
import time

from .errors import Closed, ProtocolBroken, Refused, TimedOut
from .framing import MAX_MESSAGE, Framer

_PIECE = 1 << 18


class Client:
    """Speaks over a connected socket, which it owns. `timeout` is the seconds that an exchange may take; `auth` goes
    with each request. `peer` is the daemon's name in errors."""

    def __init__(self, connection, timeout=10.0, peer="the daemon"):
        self.socket = connection
        self.timeout = timeout
        self.peer = peer
        self.auth = None
        self.id = 0
        self.events = collections.deque()
        self.framer = Framer()
        self._event_sizes = collections.deque()
        self._event_bytes = 0

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.close()

    def close(self):
        self.socket.close()

    def send(self, message, timeout=None):
        """Sends a message (a dict), or bytes as they are."""
        if not isinstance(message, bytes):
            message = json.dumps(message).encode("utf-8") + b"\n"
        rest = memoryview(message)
        end = self._end(timeout)
        while rest:
            self.socket.settimeout(self._left(end))
            rest = rest[self._io(self.socket.send, rest):]

    def message(self, timeout=None):
        """The next message, whatever it is."""
        return self._message(self._end(timeout))[0]

    def exchange(self, method, params=None, timeout=None, **members):
        """Sends a request, whose further members may be named, and returns its whole response. Events that come before
        it are kept; other messages are dropped."""
        self.id += 1
        request = {"jsonrpc": "2.0", "id": self.id, "method": method}
        if params is not None:
            request["params"] = params
        if self.auth is not None:
            request["auth"] = self.auth
        request.update(members)
        end = self._end(timeout)
        self.send(request, self._left(end))
        while True:
            message, size = self._message(end)
            if message.get("id") == self.id and ("result" in message or isinstance(message.get("error"), dict)):
                return message
            self._keep(message, size)

    def call(self, method, params=None, timeout=None):
        """The result of a request; raises Refused when there is none."""
        response = self.exchange(method, params, timeout)
        if "result" not in response:
            raise Refused(method, response["error"])
        return response["result"]

    def event(self, timeout=None):
        """The next event, waiting for it."""
        end = self._end(timeout)
        while not self.events:
            self._keep(*self._message(end))
        self._event_bytes -= self._event_sizes.popleft()
        return self.events.popleft()

    def _keep(self, message, size):
        if message.get("method") != "Event":
            return
        self.events.append(message)
        self._event_sizes.append(size)
        self._event_bytes += size
        if self._event_bytes > MAX_MESSAGE:
            raise ProtocolBroken("%s sent more than %d MiB of events at once" % (self.peer, MAX_MESSAGE >> 20))

    def _message(self, end):
        try:
            while True:
                found = self.framer.next()
                if found:
                    return found
                self.socket.settimeout(self._left(end))
                data = self._io(self.socket.recv, _PIECE)
                if not data:
                    raise Closed("%s closed the connection" % self.peer)
                self.framer.feed(data)
        except ProtocolBroken as error:
            raise ProtocolBroken("%s %s" % (self.peer, error)) from error

    def _io(self, operation, argument):
        try:
            return operation(argument)
        except socket.timeout:
            raise self._late() from None
        except OSError as error:
            raise Closed("%s closed the connection: %s" % (self.peer, error.strerror or error)) from error

    def _end(self, timeout):
        return time.monotonic() + (self.timeout if timeout is None else timeout)

    def _left(self, end):
        left = end - time.monotonic()
        if left <= 0:
            raise self._late()
        return left

    def _late(self):
        return TimedOut("%s did not answer in time" % self.peer)
