"""Fixtures that session and torture tests share."""

import shutil

import pytest

from .daemons import ScriptedDaemon
from .programs import temp_dir


@pytest.fixture
def scripted():
    """A function that starts a scripted daemon (ScriptedDaemon), closed after the test."""
    started = []

    def start(answer=None):
        started.append(ScriptedDaemon(answer))
        return started[-1]

    yield start
    for each in started:
        each.close()


@pytest.fixture
def directory():
    """A private directory that the programs under test see too."""
    path = temp_dir()
    yield path
    shutil.rmtree(path, ignore_errors=True)
