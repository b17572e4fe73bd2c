"""Fixtures of the session tests."""

import shutil

import pytest

import harness
from remote_support import Authority


@pytest.fixture
def obxd():
    """A fresh development daemon with the router model."""
    daemon = harness.Obxd()
    yield daemon
    daemon.close()


@pytest.fixture(scope="module")
def shared_obxd():
    """One daemon for all tests of a module that only read."""
    daemon = harness.Obxd()
    yield daemon
    daemon.close()


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
def scripted():
    """A function that starts a scripted daemon (harness.ScriptedDaemon), closed after the test."""
    started = []

    def start(answer=None):
        started.append(harness.ScriptedDaemon(answer))
        return started[-1]

    yield start
    for each in started:
        each.close()


@pytest.fixture
def directory():
    """A private directory that the programs under test see too."""
    path = harness.temp_dir()
    yield path
    shutil.rmtree(path, ignore_errors=True)


@pytest.fixture
def daemon(scripted):
    """A scripted daemon whose every answer is {}."""
    return scripted()


@pytest.fixture
def open_shell(daemon, terminal):
    """A function that opens a shell on that daemon, at its prompt."""
    def start(**options):
        opened = terminal(daemon=daemon, **options)
        opened.prompt()
        return opened
    return start


@pytest.fixture
def session(daemon, open_shell):
    """A shell on that daemon (its member `daemon`), at its prompt."""
    opened = open_shell()
    opened.daemon = daemon
    return opened


@pytest.fixture(scope="module")
def house():
    """A certificate authority; its directory holds what the tests transfer, too."""
    directory = harness.temp_dir()
    yield Authority(directory, "house")
    shutil.rmtree(directory, ignore_errors=True)


@pytest.fixture(scope="module")
def certificate(house):
    """The certificate of a device that `house` vouches for."""
    return house.issue("device")
