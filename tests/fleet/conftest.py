"""Fixtures of the fleet tests: routers that are obxds on loopback ports behind TLS, and playbooks run on them."""

import os
import shutil
import sys

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "session"))

import harness  # noqa: E402: the session tests' own
from certificates import Authority  # noqa: E402
from routers import Controller, Fleet  # noqa: E402

ROUTERS = 8 if harness.SANITIZED else 30


@pytest.fixture(scope="session")
def directory():
    path = harness.temp_dir()
    yield path
    shutil.rmtree(path, ignore_errors=True)


@pytest.fixture(scope="session")
def authority(directory):
    """Who vouches for the routers."""
    return Authority(directory, "house")


@pytest.fixture(scope="session")
def controller(directory):
    """Where Ansible runs."""
    return Controller(directory)


@pytest.fixture(scope="session")
def running_fleet(directory, authority):
    fleet = Fleet(directory, authority, ROUTERS)
    yield fleet
    fleet.close()


@pytest.fixture
def fleet(running_fleet):
    """30 routers as they came from the factory."""
    running_fleet.reset()
    return running_fleet


@pytest.fixture
def play(controller, fleet):
    """A function that runs tasks (YAML, or the path of a playbook) on the fleet: see Controller.play."""
    def run(tasks, *args, inventory=None, **options):
        return controller.play(tasks, inventory or fleet.inventory(), *args, **options)
    return run


@pytest.fixture
def scripted_router():
    """A daemon on a local socket that does what obxd never does: harness.ScriptedDaemon."""
    daemon = harness.ScriptedDaemon()
    yield daemon
    daemon.close()
