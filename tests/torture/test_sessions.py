"""Whole sessions, made at random: keys, the daemon's lies, signals and sizes. The shell lives, or has ended for a reason that it
told; the terminal is not steered; the answer afterwards is right; the terminal's modes are restored; no child, descriptor or memory is
left over."""

import pytest

import harness
from actions import as_python, fails, make, play, smaller

# What once failed, made small.
KNOWN = [
    [("keys", "lua\r"), ("wait", 0.2), ("keys", "while true do end\r"), ("wait", 0.2), ("signal", 15)],
]


@pytest.fixture(scope="module")
def obxd(shared_obxd):
    return shared_obxd


@pytest.mark.parametrize("actions", KNOWN)
def test_known(obxd, actions):
    play(obxd, actions)


def test_any(obxd, rng, budget):
    for _ in budget.rounds(at_least=2, at_most=5000):
        actions, seed = make(rng, rng.randrange(1, 40)), rng.getrandbits(31)
        failure = fails(obxd, actions, seed)
        if failure:
            least = smaller(obxd, actions, seed, max(30.0, budget.left()))
            pytest.fail("%s\nthe least that fails:\n%s" % (failure, as_python(least, seed)), pytrace=False)


def test_a_failure_is_made_small(monkeypatch):
    """What the failure needs stays, and nothing else."""
    needed = {("keys", "a"), ("signal", 2)}
    actions = [("wait", number) for number in range(20)]
    actions[3:3] = [("keys", "a")]
    actions[17:17] = [("signal", 2)]
    monkeypatch.setattr("actions.fails", lambda obxd, given, seed: needed <= set(given))
    assert smaller(None, actions, 1, 60) == [("keys", "a"), ("signal", 2)]
