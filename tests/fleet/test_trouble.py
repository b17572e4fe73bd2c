"""Routers that are away, hang, are strangers or refuse: they are named, and all others are done."""

import contextlib
import os

import pytest

import harness
from certificates import Authority
from routers import TOKEN
from module_utils.destination import connect
from module_utils.errors import Misused, ProtocolBroken
from module_utils.router import Router
from peers import Peer, closed_port, says, silent

SHORT = harness.PATIENCE / 2  # seconds that the silent ones are waited for
LOGIN_PASSWORD = "admin:admin"


@pytest.fixture(scope="module")
def peers(directory, authority, running_fleet):
    """{name: variables of a host with whom something is wrong}"""
    with contextlib.ExitStack() as stack:
        def peer(serve, tls=None):
            return stack.enter_context(contextlib.closing(Peer(serve, tls))).address

        def router(*args, **options):
            return stack.enter_context(contextlib.closing(running_fleet.start(*args, **options)))

        strangers = Authority(directory, "strangers")
        tls = running_fleet.certificate
        variables = running_fleet.variables
        other_name = authority.issue("elsewhere", names="DNS:elsewhere.example")
        wrong_token = running_fleet.secret("wrong-token", "no-such-token")
        yield {
            "away": variables(closed_port()),
            "unknown": variables("nowhere.invalid"),
            "hangs": variables(peer(silent), obx_timeout=SHORT),
            "mute": variables(peer(silent, tls), obx_timeout=SHORT),
            "babbles": variables(peer(says(b"HTTP/1.1 400 Bad Request\r\n\r\n"), tls)),
            "stops": variables(peer(says(b'{"jsonrpc":"2.0","id":1,"result":{"Parameter'), tls)),
            "stranger": variables(router(certificate=strangers.issue("stranger"))),
            "impostor": variables(router(certificate=other_name)),
            "refuses": dict(variables(router()), obx_token_file=wrong_token),
            "careless": dict(variables(router()), obx_token_file=running_fleet.secret("open", TOKEN, 0o644)),
            "user": dict(variables(router()), obx_token_file=running_fleet.secret("user", "user-token")),
            "password": dict(variables(router()), obx_token_file=running_fleet.secret("login", LOGIN_PASSWORD)),
            "guest": dict(variables(router()), obx_token_file=running_fleet.secret("typo", "admin:wrong-password")),
        }


UNREACHABLE = {
    "away": "Connection refused",
    "unknown": "the name does not resolve",
    "hangs": "TLS: no answer in time",
    "stranger": "TLS: the certificate is refused: unable to get local issuer certificate",
    "impostor": "TLS: the certificate is refused: IP address mismatch, certificate is not valid for '127.0.0.1'.",
}
FAILED = {
    "mute": "did not answer in time",
    "babbles": "sent what is no message",
    "stops": "closed the connection",
    "refuses": "refused [9001]: Select: Request denied: Unknown token",
    "careless": "others may read this file; its mode must be 0600",
    "user": "refused [9003]: Device.WiFi.SSID.3.SSID: only admin may set it",
    "guest": "refused [9001]: Login: Request denied",
}


def test_each_is_named_and_the_others_are_done(play, fleet, peers, directory):
    log = os.path.join(directory, "ansible.log")
    played = play("""
        - ombrix.obx.obx_parameters:
            values: {'Device.WiFi.SSID.*[Alias=="guest-2g"].SSID': Visitors}
    """, inventory=fleet.inventory(None, **peers), verbose="-vvvv", env={"ANSIBLE_LOG_PATH": log})
    assert played.status != 0
    assert played.counted("unreachable") == set(UNREACHABLE)
    assert played.counted("failed") == set(FAILED)
    assert played.counted("changed") == set(fleet.routers) | {"password"}
    assert fleet.values("Device.WiFi.SSID.3.SSID") == dict.fromkeys(fleet.routers, "Visitors")
    for host, text in {**UNREACHABLE, **FAILED}.items():
        assert text in played.message(host), (host, played.message(host))
    with open(log, encoding="utf-8") as file:
        logged = played.out + played.err + file.read()
    for secret in (TOKEN, "no-such-token", "user-token", LOGIN_PASSWORD, "wrong-password"):
        assert secret not in logged


def test_a_token_that_a_task_gives_is_in_no_log_even_where_the_router_repeats_it(controller, scripted_router, directory):
    scripted_router.answer = lambda request, connection: scripted_router.error(
        9001, "Request denied", {"Detail": "Unknown token " + request["auth"]})
    log = os.path.join(directory, "repeated.log")
    played = controller.play("""
        - ombrix.obx.obx_info:
            address: %s
            token: very-secret-token
            paths: [Device.DeviceInfo.]
    """ % scripted_router.socket, {"all": {"hosts": {"one": {}}}}, verbose="-vvvv", env={"ANSIBLE_LOG_PATH": log})
    assert "Unknown token ****" in played.message("one")
    with open(log, encoding="utf-8") as file:
        assert "very-secret" not in played.out + played.err + file.read()


def test_wrong_options_are_told(play, fleet):
    one = {"r0": fleet.variables(fleet.routers["r0"], obx_ca_file="/nonexistent/ca.pem"),
           "r1": fleet.variables("127.0.0.1:none"), "r2": fleet.variables(fleet.routers["r2"], obx_timeout="soon")}
    played = play("""
        - ombrix.obx.obx_info:
            paths: [Device.DeviceInfo.]
    """, inventory={"all": {"hosts": one}})
    assert played.message("r0") == "/nonexistent/ca.pem: no certificates can be read: No such file or directory"
    assert played.message("r1") == ("127.0.0.1:none is no address: HOST, HOST:PORT or the path of a local socket")
    assert "argument 'timeout' is of type" in played.message("r2")


def test_answers_of_the_wrong_kind_are_told(controller, scripted_router):
    for odd in ({}, [], None, 7, {"ParameterList": 5}, {"ParameterList": [1]}, {"ParameterList": [{"Name": "A"}]}):
        scripted_router.answer = lambda request, connection, odd=odd: scripted_router.result(odd)
        with connect(scripted_router.socket) as client, pytest.raises((ProtocolBroken, Misused)):
            Router(client).value("Device.A")
    scripted_router.answer = lambda request, connection: scripted_router.result({"Matches": None})
    played = controller.play("""
        - ombrix.obx.obx_info:
            selectors: [Device.A]
    """, {"all": {"hosts": {"one": {"obx_address": scripted_router.socket}}}})
    assert played.message("one") == scripted_router.socket + " answered Select with what is no answer to it"
