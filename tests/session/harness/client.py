"""A raw connection to a daemon: the client of ansible/, and what tests ask for in one word."""

import contextlib
import os
import socket
import sys

from .programs import PATIENCE, SOURCE, SessionFailure

sys.path.append(os.path.join(SOURCE, "ansible", "plugins"))

from module_utils import client as product  # noqa: E402
from module_utils.errors import Closed, TimedOut  # noqa: E402


@contextlib.contextmanager
def socket_errors():
    """Tells what the socket did as sockets do."""
    try:
        yield
    except TimedOut as error:
        raise TimeoutError(str(error)) from error
    except Closed as error:
        raise ConnectionError(str(error)) from error


class Client(product.Client):
    """A raw JSON-RPC connection to a daemon: what other programs than obxc do."""

    def __init__(self, path=None, connection=None):
        if connection is None:
            connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            connection.connect(path)
        super().__init__(connection, PATIENCE)

    def send(self, message, timeout=None):
        """Sends a message (a dict), or bytes as they are."""
        with socket_errors():
            super().send(message, timeout)

    def receive(self):
        """The next message as a dict; None when the daemon closed the connection."""
        try:
            with socket_errors():
                return self.message()
        except ConnectionError:
            return None

    def event(self, timeout=None):
        """The next event, waiting for it."""
        with socket_errors():
            return super().event(timeout)

    def request(self, method, params=None, auth=None):
        """Sends a request and returns its whole response; events that come before it are kept for event()."""
        members = {} if auth is None else {"auth": auth}
        try:
            with socket_errors():
                return self.exchange(method, params, **members)
        except ConnectionError as error:
            raise SessionFailure("the daemon closed the connection during %s" % method) from error

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


def fault(response):
    """Code and detail of an error response."""
    error = response["error"]
    return error["code"], error.get("data", {}).get("Detail", "")
