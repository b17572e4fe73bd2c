"""How a router is reached: the options that all modules share, and the connection that they make."""

import os
import stat

from .destination import connect, parse, trust
from .errors import Misused, ObxError

# Each of these is also a variable of the host, obx_NAME, where a task does not give it.
CONNECTION = {
    "address": {"type": "str"},
    "tls": {"type": "bool"},
    "ca_file": {"type": "path"},
    "server_name": {"type": "str"},
    "token": {"type": "str", "no_log": True},
    "token_file": {"type": "path", "no_log": False},
    "username": {"type": "str"},
    "password": {"type": "str", "no_log": True},
    "timeout": {"type": "float", "default": 10.0},
}
ENVIRONMENT = {"ca_file": "OBX_CA_FILE", "token_file": "OBX_AUTH_FILE"}
VARIABLE = "obx_%s"


class Credentials:
    """A token, or a login with its password, or nothing: a guest."""

    def __init__(self, options):
        self.token, self.username, self.password = (options.get(name) for name in ("token", "username", "password"))
        path = _given(options, "token_file")
        if path and not self.token and not self.username:
            text = _secret(path)
            self.username, colon, self.password = text.partition(":")
            if not colon:
                self.token, self.username = text, None

    def secrets(self):
        """What must stand in no log."""
        return {text for text in (self.token, self.password) if text}


def router_client(options, credentials):
    """A client that is connected as the options say and acts for their user."""
    address = options.get("address")
    if not address:
        raise Misused("no address: the option address or the variable obx_address names the router")
    tls = options.get("tls")
    if tls is None:
        tls = not parse(address).path
    context = trust(_given(options, "ca_file")) if tls else None
    client = connect(address, options.get("timeout") or 10.0, context, options.get("server_name"))
    if credentials.token:
        client.auth = credentials.token
    elif credentials.username:
        try:
            client.call("Login", {"Login": credentials.username, "Password": credentials.password})
        except ObxError:
            client.close()
            raise
    return client


def _given(options, name):
    return options.get(name) or os.environ.get(ENVIRONMENT[name])


def _secret(path):
    """The first line of a file that nobody else may read."""
    try:
        with open(path, encoding="utf-8") as file:
            if stat.S_IMODE(os.fstat(file.fileno()).st_mode) & 0o077:
                raise Misused("%s: others may read this file; its mode must be 0600" % path)
            text = file.readline(65536).strip()
    except (OSError, ValueError) as error:
        raise Misused("%s: %s" % (path, getattr(error, "strerror", None) or "no text")) from error
    if not text:
        raise Misused("%s is empty" % path)
    return text
