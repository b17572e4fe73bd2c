"""Fixtures of the session tests."""

import os
import shutil
import socket

import pytest

import harness
from certificates import Authority
from harness.fixtures import directory, scripted  # noqa: F401: fixtures


def pytest_configure(config):
    config.addinivalue_line("markers", "obxd(*args): options of every obxd that the module's fixtures start")


def left_out(kind):
    """Tests ("file::test", of them "file::test[parameters]", or a whole "file") that programs of this kind are not put to,
    and why."""
    found = {}
    reason = ""
    with open(os.path.join(os.path.dirname(__file__), "left_out", kind + ".txt")) as lines:
        for line in lines:
            if line.startswith("# "):
                reason = line[2:].strip()
            elif line.strip():
                found[line.strip()] = reason
    return found


def pytest_collection_modifyitems(items):
    reasons = {}
    for kind in harness.LEFT_OUT:
        reasons.update(left_out(kind))
    for item in items:
        file = os.path.basename(item.path)
        names = ("%s::%s" % (file, item.name), "%s::%s" % (file, item.originalname), file)
        reason = next((reasons[name] for name in names if name in reasons), None)
        if reason:
            item.add_marker(pytest.mark.skip(reason=reason))


@pytest.fixture(scope="session")
def localhost():
    """The name, for tests in which a program looks it up."""
    try:
        socket.getaddrinfo("localhost", None)
    except OSError:
        pytest.fail("localhost does not resolve here: /etc/hosts lacks its line", pytrace=False)
    return "localhost"


@pytest.fixture(params=["127.0.0.1", "localhost"])
def host(request):
    """This machine, by its address and by its name."""
    return request.getfixturevalue("localhost") if request.param == "localhost" else request.param


def options_of(request):
    mark = request.node.get_closest_marker("obxd")
    return mark.args if mark else ()


@pytest.fixture
def start_obxd(request):
    """A function that starts a development daemon: harness.Obxd, closed after the test."""
    started = []

    def start(*args, **options):
        started.append(harness.Obxd(*options_of(request), *args, **options))
        return started[-1]

    yield start
    for each in started:
        each.close()


@pytest.fixture
def obxd(start_obxd):
    """A fresh development daemon, with the router model unless the module's mark says otherwise."""
    return start_obxd()


@pytest.fixture(scope="module")
def shared_obxd(request):
    """One daemon for all tests of a module that only read."""
    daemon = harness.Obxd(*options_of(request))
    yield daemon
    daemon.close()


@pytest.fixture
def client(obxd):
    """A raw connection to the daemon, as root."""
    connection = obxd.client()
    yield connection
    connection.close()


@pytest.fixture
def admin(obxd):
    """A raw connection to the daemon, as its administrator."""
    connection = obxd.client("admin")
    yield connection
    connection.close()


@pytest.fixture
def shell(obxd):
    """The interactive shell on a fresh daemon, at its first prompt."""
    terminal = harness.Terminal(daemon=obxd)
    terminal.prompt()
    yield terminal
    terminal.close()


@pytest.fixture
def terminal():
    """A function that opens obxc on a pseudo-terminal: harness.Terminal, closed after the test."""
    opened = []

    def open_terminal(*args, **options):
        opened.append(harness.Terminal(*args, **options))
        return opened[-1]

    yield open_terminal
    for each in opened:
        each.close()


@pytest.fixture
def daemon(scripted):
    """A scripted daemon whose every answer is {}."""
    return scripted()


@pytest.fixture
def frozen_objects(scripted):
    """A scripted daemon that lists the top and then falls silent."""
    def answer(request, connection):
        if request["method"] != "GetParameterAttributes":
            return daemon.result({})
        if request["params"]["ParameterNames"] != ["."]:
            return None
        attributes = [{"Name": name, "Attributes": {"type": "object"}} for name in (".", "Device.")]
        return daemon.result({"ParameterList": attributes})
    daemon = scripted(answer)
    return daemon


@pytest.fixture
def open_shell(daemon, terminal):
    """A function that opens a shell on that daemon, at its prompt."""
    def start(args=(), **options):
        opened = terminal(*args, daemon=daemon, **options)
        opened.prompt()
        return opened
    return start


@pytest.fixture
def session(daemon, open_shell):
    """A shell on that daemon (its member `daemon`), at its prompt."""
    opened = open_shell()
    opened.daemon = daemon
    return opened


@pytest.fixture
def script(directory):
    """A function that writes a script and returns its path."""
    def write(text, name="script.lua"):
        path = os.path.join(directory, name)
        with open(path, "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())
        return path
    return write


@pytest.fixture
def tree_modules(monkeypatch):
    """obxc finds the Lua modules of this tree: harness.obxc and terminals run such a one, whose file this is."""
    for kind in harness.runs:
        monkeypatch.setitem(harness.runs, kind, harness.TREE_MODULES)
    return harness.TREE_MODULES


@pytest.fixture(scope="module")
def authority():
    """A certificate authority; its directory holds what the tests transfer, too."""
    directory = harness.temp_dir()
    yield Authority(directory, "house")
    shutil.rmtree(directory, ignore_errors=True)


@pytest.fixture(scope="module")
def certificate(authority):
    """The certificate of a device that `authority` vouches for."""
    return authority.issue("device")
