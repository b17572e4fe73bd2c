"""A raw connection to a daemon."""

import json
import socket

from .programs import PATIENCE, SessionFailure


class Client:
    """A raw JSON-RPC connection to a daemon: what other programs than obxc do."""

    def __init__(self, path=None, connection=None):
        if connection is None:
            connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            connection.connect(path)
        self.socket = connection
        self.socket.settimeout(PATIENCE)
        self.buffer = b""
        self.id = 0
        self.events = []

    def send(self, message):
        """Sends a message (a dict), or bytes as they are."""
        self.socket.sendall(message if isinstance(message, bytes) else json.dumps(message).encode() + b"\n")

    def receive(self):
        """The next message as a dict; None when the daemon closed the connection."""
        while b"\n" not in self.buffer:
            try:
                data = self.socket.recv(1 << 20)
            except ConnectionError:
                data = b""
            if not data:
                return None
            self.buffer += data
        line, self.buffer = self.buffer.split(b"\n", 1)
        return json.loads(line)

    def request(self, method, params=None, auth=None):
        """Sends a request and returns its whole response; events that come before it are kept for event()."""
        self.id += 1
        message = {"jsonrpc": "2.0", "id": self.id, "method": method}
        if params is not None:
            message["params"] = params
        if auth is not None:
            message["auth"] = auth
        self.send(message)
        while True:
            response = self.receive()
            if response is None:
                raise SessionFailure("the daemon closed the connection during %s" % method)
            if response.get("id") == self.id:
                return response
            self.events.append(response)

    def call(self, method, params=None):
        """The result of a request that must succeed."""
        response = self.request(method, params)
        assert "result" in response, response
        return response["result"]

    def login(self, user="root", password=None):
        return self.request("Login", {"Login": user, "Password": password})

    def get(self, path):
        """One parameter's value."""
        return self.call("GetParameterValues", {"ParameterNames": [path]})["ParameterList"][0]["Value"]

    def set(self, path, value):
        return self.request("SetParameterValues", {"ParameterList": [{"Name": path, "Value": value}]})

    def event(self):
        """The next event, waiting for it."""
        if not self.events:
            message = self.receive()
            if message is None:
                raise SessionFailure("the daemon closed the connection")
            return message
        return self.events.pop(0)

    def close(self):
        self.socket.close()


def fault(response):
    """Code and detail of an error response."""
    error = response["error"]
    return error["code"], error.get("data", {}).get("Detail", "")
