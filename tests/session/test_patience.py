"""How long the commands wait for the daemon: most without bound, listings of attributes for a moment."""

import time
from concurrent.futures import ThreadPoolExecutor

from harness import obxc, timed
from small_model import SmallModel, typed, values

# Longer than the time-out that holds between exchanges.
LONG = 5.5
SLOW = {"GetParameterValues": values(("N", 1)), "SetParameterValues": {}, "AddObject": {"InstanceNumber": 4},
        "DeleteObject": {}, "Execute": values(("N", 1))}
OK = "Status: OK\n"


def slow(result, seconds=LONG):
    def answer(params):
        time.sleep(seconds)
        return result
    return answer


def in_parallel(runs):
    with ThreadPoolExecutor(len(runs)) as pool:
        return list(pool.map(timed, runs))


def test_commands_that_wait_as_long_as_it_takes(scripted):
    daemon = scripted(SmallModel(**{method: slow(result) for method, result in SLOW.items()}))
    cases = [
        (["cat", "p"], "N = 1\n"),
        (["set", "p=1"], "key = p, value = 1\n" + OK),
        (["add", "p"], "Instance number: 4\n" + OK),
        (["del", "p"], OK),
        (["order", "p", "1"], OK),
        (["execute", "p"], "p\n└── N = 1\n"),
    ]
    runs = [lambda words=words: obxc("--timeout", "1", "-r", *words, daemon=daemon) for words, _ in cases]
    for (words, shown), (done, seconds) in zip(cases, in_parallel(runs)):
        assert done.out == shown, words
        assert seconds >= LONG, words


def test_attributes_are_waited_for_a_moment(scripted):
    """By the shell for less than the five seconds that a request has, within which there is an answer."""
    def answering(answer):
        return scripted(SmallModel(GetParameterAttributes=lambda params: NotImplemented if params["Level"] else answer(params)))

    attributes = {"ParameterList": [{"Name": "Device.A.Text", "Attributes": {"type": "late"}}]}
    (shown, shell_seconds), (done, request_seconds) = in_parallel([
        lambda: typed(answering(slow(attributes, 4)), "attr Device.A.Text"),
        lambda: obxc("--timeout", "2", "-r", "attr", "Device.A.Text", daemon=answering(lambda params: [])),
    ])
    # The shell falls back on what it knows of the node.
    assert shown.startswith("Canonical path:     :Device.A.Text\nType:               string\n")
    assert shell_seconds >= 1
    assert (done.out, done.status) == ("attr: ERROR\n", 255)
    assert request_seconds >= 5
