"""Where a daemon listens, and how a connection to it comes about."""

import ipaddress
import re
import socket
import ssl
import time
from collections import namedtuple

from .client import Client
from .errors import Misused, Unreachable

DEFAULT_PORT = 7547

_ADDRESS = re.compile(r"(?:tcp://)?(?:(?P<host>[^:/\[\]\s]+)|\[(?P<v6>[^\[\]]+)\])(?::(?P<port>\d{1,5}))?")

# `path` is that of a local socket, else None.
Destination = namedtuple("Destination", "host port path")


def parse(text):
    """PATH of a local socket, or HOST, HOST:PORT, tcp://HOST:PORT; an IPv6 host stands in brackets."""
    if "/" in text and not text.startswith("tcp://"):
        return Destination(None, None, text)
    found = _ADDRESS.fullmatch(text)
    port = int(found.group("port") or DEFAULT_PORT) if found else 0
    if not 0 < port < 65536 or not _is_host(found):
        raise Misused("%s is no address: HOST, HOST:PORT or the path of a local socket" % text)
    return Destination(found.group("v6") or found.group("host"), port, None)


def _is_host(found):
    try:
        return not found.group("v6") or bool(ipaddress.IPv6Address(found.group("v6")))
    except ValueError:
        return False


def trust(ca_file=None):
    """A TLS context that trusts the authorities of a file, or those of the system."""
    try:
        context = ssl.create_default_context(cafile=ca_file)
    except (OSError, ssl.SSLError) as error:
        raise Misused("%s: no certificates can be read: %s" % (ca_file, error.strerror or error)) from error
    context.minimum_version = ssl.TLSVersion.TLSv1_2
    return context


def connect(text, timeout=10.0, tls=None, server_name=None):
    """A client connected to the destination, through the TLS context if there is one, all of it within the time-out.
    `server_name` is what the certificate must be for where it is not the host."""
    destination = parse(text)
    end = time.monotonic() + timeout
    try:
        connection = _connected(destination, end)
    except OSError as error:
        raise Unreachable("%s: %s" % (text, _reason(error))) from error
    if tls:
        try:
            connection.settimeout(max(0.001, end - time.monotonic()))
            connection = tls.wrap_socket(connection, server_hostname=server_name or destination.host or "localhost")
        except (OSError, ValueError) as error:
            connection.close()
            raise Unreachable("%s: TLS: %s" % (text, _reason(error))) from error
    return Client(connection, timeout, text)


def _connected(destination, end):
    if destination.path:
        return _open(socket.AF_UNIX, destination.path, end)
    failure = None
    for family, dummy, dummy, dummy, address in socket.getaddrinfo(
            destination.host, destination.port, type=socket.SOCK_STREAM):
        try:
            return _open(family, address, end)
        except OSError as error:
            failure = failure or error
    raise failure


def _open(family, address, end):
    connection = socket.socket(family, socket.SOCK_STREAM)
    try:
        connection.settimeout(max(0.001, end - time.monotonic()))
        connection.connect(address)
    except OSError:
        connection.close()
        raise
    return connection


def _reason(error):
    if isinstance(error, socket.timeout):
        return "no answer in time"
    if isinstance(error, socket.gaierror):
        return "the name does not resolve"
    if isinstance(error, ssl.SSLCertVerificationError):
        return "the certificate is refused: %s" % error.verify_message
    if isinstance(error, ssl.SSLError):
        return (error.reason or "failed").replace("_", " ").lower()
    return getattr(error, "strerror", None) or str(error)
