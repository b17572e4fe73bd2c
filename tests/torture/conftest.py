"""What torture tests share: a seed that is printed and can be given again, a budget of time, and the session tests' harness.

    /usr/bin/python3 -m pytest tests/torture --seconds 600        # for each file
    /usr/bin/python3 -m pytest tests/torture --seed 12345         # the same choices once more
    ctest --test-dir build -C torture -L torture                  # OBX_TORTURE_SECONDS, OBX_TORTURE_SEED

A test makes all its choices with the fixture `rng` and goes on while `budget` lasts:

    def test_it(rng, budget):
        for number in budget.rounds(at_least=3, at_most=500): ...
"""

import os
import random
import sys
import time

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "session"))

import harness  # noqa: E402: the session tests' own
from harness.fixtures import directory, scripted  # noqa: E402,F401: fixtures

SECONDS = 60


def pytest_addoption(parser):
    group = parser.getgroup("torture")
    group.addoption("--seed", type=int, default=int(os.environ.get("OBX_TORTURE_SEED") or 0),
                    help="choices are those of an earlier run with this seed")
    group.addoption("--seconds", type=float, default=float(os.environ.get("OBX_TORTURE_SECONDS") or SECONDS),
                    help="how long all tests that are collected may take together (default %d)" % SECONDS)


def pytest_configure(config):
    config.torture_seed = config.getoption("--seed") or random.SystemRandom().randrange(1, 1 << 31)
    config.torture_tests = 1


def pytest_report_header(config):
    return "torture: --seed %d --seconds %g" % (config.torture_seed, config.getoption("--seconds"))


def pytest_collection_modifyitems(config, items):
    config.torture_tests = max(1, sum("budget" in getattr(item, "fixturenames", ()) for item in items))


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    report = (yield).get_result()
    if report.failed:
        report.sections.append(("torture", "again with: --seed %d" % item.config.torture_seed))


class Budget:
    """The share of the time that a test has."""

    def __init__(self, seconds):
        self.seconds = seconds
        self.end = time.monotonic() + seconds

    def left(self):
        return max(0.0, self.end - time.monotonic())

    def rounds(self, at_least=1, at_most=None):
        """Counts from 0 while there is time; between the bounds."""
        number = 0
        while number != at_most and (number < at_least or self.left() > 0):
            yield number
            number += 1


@pytest.fixture
def budget(request):
    return Budget(request.config.getoption("--seconds") / request.config.torture_tests)


@pytest.fixture
def rng(request):
    """The choices of a test: its own, so that a test run alone makes those of the whole run."""
    return random.Random("%d %s" % (request.config.torture_seed, request.node.name))


@pytest.fixture
def start_obxd():
    """A function that starts a development daemon: harness.Obxd, closed after the test, which it must live to see."""
    started = []

    def start(*args, **options):
        started.append(harness.Obxd(*args, **options))
        return started[-1]

    yield start
    for each in started:
        if each.process is not None:
            assert each.process.poll() is None, "obxd ended with %s: %s" % (each.process.returncode, each.errors())
        each.close()


@pytest.fixture(scope="module")
def shared_obxd():
    """One development daemon for all tests of a module, which it must live to see, with nothing to tell."""
    daemon = harness.Obxd(*harness.QUICK)
    yield daemon
    assert daemon.process.poll() is None and daemon.errors() == ""
    daemon.close()
