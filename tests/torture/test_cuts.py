"""The connection breaks behind every byte of an answer: what is printed then is right or
nothing, and the status says so, or a line where commands have no status of their own."""

import re
import socket

import pytest

import harness
from certificates import Authority
from cutting import CuttingWire
from programs import SLOW, run

HOST = "Device.DeviceInfo.HostName"
RULES = "Device.NAT.PortMapping."
DELETE = "for number in pairs(ox.config('%s')) do if (tonumber(number) or 0) > 4 then ox.del('%s' .. number .. '.') end end" % (RULES, RULES)
# Requests that leave the device as it is, or as they found it; rows that were added are deleted, before the table is full.
REQUESTS = [["-r", *each] for each in (
    ["get", HOST], ["cat", "Device.NAT."], ["ls", "Device.NAT."], ["attr", HOST], ["info", "Device.NAT."], ["set", HOST + '="cut"'],
    ["select", HOST], ["save"], ["add", RULES], ["execute", "Device.Ethernet.Interface.1.Stats.Reset"], ["logout"],
    ["lua", "print(ox.json.encode(ox.config('Device.NAT.')))"])] + [
        ["--raw", '{"jsonrpc":"2.0","id":1,"method":"GetParameterNames","params":{"ParameterPath":"Device.NAT.","NextLevel":true}}']]

SILENT = ("ls", "logout")  # where the connection is lost


@pytest.fixture(scope="module", params=["unix", "tcp", "tls"])
def wire(request, tmp_path_factory):
    """A wire to an obxd, and the environment and options of its clients."""
    options, words, env = {}, [], harness.environment(OBX_PATIENCE="30")
    if request.param == "tls":
        authority = Authority(str(tmp_path_factory.mktemp("tls")), "authority")
        options, words, env = {"tls": authority.issue("obxd")}, ["--ssl"], authority.environment(OBX_PATIENCE="30")
    obxd = harness.Obxd(*harness.QUICK) if request.param == "unix" else harness.remote_obxd(*harness.QUICK, **options)

    def connect():
        if request.param != "unix":
            return socket.create_connection(("127.0.0.1", obxd.port()))
        behind = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        behind.connect(obxd.socket)
        return behind

    with CuttingWire(connect, tcp=request.param != "unix") as wire:
        wire.words, wire.env = words + ["-a", "admin:admin"], env
        yield wire
    obxd.close()


def delete_rows(wire):
    """A row that came with an answer that was cut stays."""
    wire.limit = None
    run(wire, *wire.words, "-r", "lua", DELETE, env=wire.env)


@pytest.fixture(autouse=True)
def rows_as_they_were(wire):
    yield
    delete_rows(wire)


def lines_of(out):
    """The lines of an output, without what each run counts on."""
    return [line for line in out.decode().splitlines() if not line.startswith("Instance number")]


@pytest.mark.parametrize("words", REQUESTS, ids=" ".join)
def test_cut_behind_every_byte(wire, rng, budget, words):
    wire.limit = None
    right = run(wire, *wire.words, *words, env=wire.env)
    total = wire.passed
    assert total > 0 and (right.out or words[1] == "logout"), right
    places = list(range(total))
    rng.shuffle(places)
    for number in budget.rounds(at_least=5, at_most=total):
        if words[1] == "add" and number % 10 == 9:  # a command whose connection broke is sent once more: up to two rows each
            delete_rows(wire)
        wire.limit = places[number]
        ran = run(wire, *wire.words, *words, env=wire.env)
        assert ran.seconds < SLOW, (places[number], ran)
        what = "cut behind byte %d of %d" % (places[number], total)
        if lines_of(ran.out) != lines_of(right.out):
            told = ran.status != 0 or re.search(rb"^(\[-|LUA ERROR:)", ran.out, re.MULTILINE)
            assert told or (words[1] in SILENT and not ran.out), (what, ran, right)
            values = [line for line in lines_of(ran.out) if "=" in line and not line.startswith("[")]
            assert set(values) <= set(lines_of(right.out)), (what, ran, right)
    wire.limit = None
    assert lines_of(run(wire, *wire.words, *words, env=wire.env).out) == lines_of(right.out)
