"""An allocation that fails, at as many of the places as the time allows: the request goes out as it should be or not at all,
and what is shown is right, or one line tells why it is not."""

import os
import sys
from concurrent.futures import ThreadPoolExecutor

import pytest

import harness

sys.path.insert(0, os.path.dirname(os.path.abspath(harness.__path__[0])))

import test_failing_memory as failing  # noqa: E402: the session test, whose sweep takes every place

pytestmark = pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer has its own allocator")

EVERY = 7  # of the allocations of a shell on a terminal, in a run that is short
CASES = dict(failing.COMMANDS, shell=([], failing.SHELL))


# Who reads lines is asked who he is: the C library's getpwuid_r crashes where nothing at all is left for it.
ASKS_FOR_THE_USER = ("shell", "tree", "script")


def tries(runs, rng, budget, kind):
    """All places in random order while there is time: this one alone; this one and all that follow."""
    extras = [{}] if kind in ASKS_FOR_THE_USER else [{}, {"OBX_FAIL_ON": "1"}]
    good, count = runs.allocations()
    assert count > 20, good
    places = rng.sample(range(1, count + 1), count)
    for number in budget.rounds(at_least=5, at_most=count):
        at = places[number]
        for extra in extras:
            failing.check(at, good, runs.run(at, **extra))


@pytest.mark.parametrize("kind", CASES)
def test_a_command(scripted, directory, rng, budget, kind):
    words, stdin = CASES[kind]
    tries(failing.Runs(scripted, directory, words, stdin), rng, budget, kind)


@pytest.mark.parametrize("kind, option, text", [("script", "-s", failing.SCRIPT), ("lua", "-S", failing.LUA)])
def test_a_script(scripted, directory, rng, budget, kind, option, text):
    path = os.path.join(directory, "script")
    with open(path, "w") as file:
        file.write(text)
    tries(failing.Runs(scripted, directory, [option, path]), rng, budget, kind)


def test_a_shell_with_tab_and_hints(scripted, directory, rng, budget):
    """Every 7th of all places at least; the others while there is time."""
    count = failing.allocations_of_the_shell(scripted, directory)
    starts = rng.sample(range(1, EVERY + 1), EVERY)
    for number in budget.rounds(at_least=1, at_most=EVERY):
        with ThreadPoolExecutor(4) as pool:
            list(pool.map(lambda at: failing.shell_with_tab_and_hints(scripted, at), range(starts[number], count + 1, EVERY)))
