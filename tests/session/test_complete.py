"""Tab and hints on a real terminal: what is offered, what is inserted, and what a slow daemon does to typing."""

import os
import re
import shutil
import threading

import pytest

import harness
from small_model import SmallModel

INFO = "Device.DeviceInfo."


@pytest.fixture(scope="module")
def place():
    """A directory with files to complete, the shell's current one."""
    path = harness.temp_dir()
    for name in ("fw.bin", "fw.txt", "my file.img", "it's", "Größe.bin", "other", "unique.cfg"):
        open(os.path.join(path, name), "w").close()
    os.makedirs(os.path.join(path, "sub dir", "deep"))
    os.makedirs(os.path.join(path, "bin1"))
    os.makedirs(os.path.join(path, "bin2"))
    for name in ("bin1/zlist", "bin2/zlist", "bin2/zlink"):
        open(os.path.join(path, name), "w").close()
        os.chmod(os.path.join(path, name), 0o755)
    open(os.path.join(path, "bin2/zlast"), "w").close()
    yield path
    shutil.rmtree(path, ignore_errors=True)


@pytest.fixture(scope="module")
def reader(shared_obxd, place):
    """One shell for all tests that only look."""
    env = harness.environment(PATH="%s/bin1:%s/bin2:%s" % (place, place, os.environ["PATH"]))
    terminal = harness.Terminal(daemon=shared_obxd, columns=150, cwd=place, env=env)
    terminal.prompt()
    yield terminal
    terminal.close()


def fresh_line(shell):
    """Empties the line; returns the prompt, up to the cursor."""
    shell.send("\x05\x15")
    return shell.prompt() + " "


def edited(shell):
    """The row under the cursor, up to the cursor."""
    return shell.line().ljust(shell.columns)[:shell.cursor()[0]]


def inserts(shell, typed, line):
    """Tab behind `typed` makes the line `line`."""
    prompt = fresh_line(shell)
    shell.send(typed + "\t")
    shell.wait(lambda: edited(shell) == prompt + line, "%r to become %r" % (typed, line))


def lists(shell, typed, names):
    """Tab behind `typed`, which all candidates begin with, lists exactly these."""
    prompt = fresh_line(shell)
    mark = shell.shown()
    shell.send(typed + "\t")
    shell.wait(lambda: shell.shown() > mark and edited(shell) == prompt + typed, "the list behind %r" % typed)
    assert sorted(re.split(r"\s{2,}|\n", shell.since(mark).strip())) == sorted(names), typed


def offers_nothing(shell, typed):
    prompt = fresh_line(shell)
    mark = shell.shown()
    shell.send(typed + "\t")
    shell.wait(lambda: edited(shell) == prompt + typed, typed)
    shell.settle(0.1)
    assert shell.shown() == mark and edited(shell) == prompt + typed


def hints(shell, typed, hint):
    """Behind `typed` the hint stands, and the cursor before it."""
    prompt = fresh_line(shell)
    shell.send(typed)
    shell.wait(lambda: shell.line() == (prompt + typed + hint).rstrip() and edited(shell) == prompt + typed,
               "the hint %r behind %r" % (hint, typed))


def test_every_command_is_offered(reader):
    prompt = fresh_line(reader)
    mark = reader.shown()
    reader.send("\t")
    reader.wait(lambda: reader.shown() > mark and edited(reader) == prompt, "the list")
    names = reader.since(mark).split()
    assert len(names) == 37 and "debug" in names and "execute" in names and "GetParameterValues" not in names


INSERTED = [
    ("pw", "pwd"),
    ("cd dEv", "cd Device."),
    ("cd :d", "cd :Device."),
    ("cd Device.hos", "cd Device.Hosts."),
    ("cat Device.Nothing.x", "cat Device.Nothing.x"),
    ("cat Device.DeviceInfo.upt", "cat Device.DeviceInfo.UpTime"),
    ("GetParameterValues Device.DeviceInfo.upt", "GetParameterValues Device.DeviceInfo.UpTime"),
    ("get Device.Hos", "get Device.Hosts."),
    ("catree Device.Hos", "catree Device.Hosts."),
    ("tree Device.Hos", "tree Device.Hosts."),
    ("attr Device.DeviceInfo.upt", "attr Device.DeviceInfo.UpTime"),
    ("info Device.DeviceInfo.upt", "info Device.DeviceInfo.UpTime"),
    ("ls -l Device.Hos", "ls -l Device.Hosts."),
    ("select Device.Hos", "select Device.Hosts."),
    ("add Device.NAT.port", "add Device.NAT.PortMapping."),
    ("touch Device.NAT.port", "touch Device.NAT.PortMapping."),
    ("take Device.NAT.port", "take Device.NAT.PortMapping."),
    ("del Device.NAT.PortMapping.4", "del Device.NAT.PortMapping.4."),
    ("rm Device.NAT.PortMapping.4", "rm Device.NAT.PortMapping.4."),
    ("order Device.Hos", "order Device.Hosts."),
    ("execute Device.Sched", "execute Device.ScheduleTimer."),
    ("execute Device.ScheduleTimer De", "execute Device.ScheduleTimer DelaySeconds"),
    ("execute :Device.IP.Diagnostics.IPPing. datab", "execute :Device.IP.Diagnostics.IPPing. DataBlockSize"),
    ("set Device.NAT.PortMapping.1.en", "set Device.NAT.PortMapping.1.Enable"),
    ("set Device.NAT.PortMapping.1.Enable=t", "set Device.NAT.PortMapping.1.Enable=true"),
    ("set Device.NAT.PortMapping.1.Enable=\"f", "set Device.NAT.PortMapping.1.Enable=\"false"),
    ("set Device.System.RemoteSupport=t", "set Device.System.RemoteSupport=true"),
    ("set Device.NAT.PortMapping.1.Interface=Dev", "set Device.NAT.PortMapping.1.Interface=Device."),
    ("set Device.NAT.PortMapping.1.Interface=Device.hos", "set Device.NAT.PortMapping.1.Interface=Device.Hosts."),
    ("set Device.DeviceInfo.DeviceMode=Ac", "set Device.DeviceInfo.DeviceMode=AccessPoint"),
    ("color pr", "color prompt"),
    ("debug pe", "debug permanent"),
    ("download fir", "download firmware"),
    ("download firmware uni", "download firmware unique.cfg"),
    ("record ab", "record abort"),
    ("record uni", "record unique.cfg"),
    ("luarecord ab", "luarecord abort"),
    ("luarecord uni", "luarecord unique.cfg"),
    ("opt h", "opt hint"),
    ("opt hint of", "opt hint off"),
    ("reboot B", "reboot Bridge"),
    ("reboot Bridge ", "reboot Bridge -f"),
    ("reset Bri", "reset Bridge"),
    ("upload c", "upload config"),
    ("cat De\"vi", "cat De\"vi"),
    ("ls # note", "ls # note"),
    ("upload config uni", "upload config unique.cfg"),
    ("upgrade fw.b", "upgrade fw.bin"),
    ("upgrade my", "upgrade my\" file.img\""),
    ("upgrade \"my fi", "upgrade \"my file.img\""),
    ("upgrade Gr", "upgrade Größe.bin"),
    ("upgrade su", "upgrade sub\" dir/"),
    ("upgrade it", "upgrade it\\'s"),
    ("upgrade \"sub dir/d", "upgrade \"sub dir/deep/"),
    ("sh zlis", "sh zlist"),
    ("sh cat uni", "sh cat unique.cfg"),
]


@pytest.mark.parametrize("typed, line", INSERTED, ids=[row[0] for row in INSERTED])
def test_inserted(reader, typed, line):
    inserts(reader, typed, line)


LISTED = [
    ("debug ", ["disabled", "permanent", "temporary"]),
    ("color ", ["autocomplete", "hint", "prompt", "root-prompt"]),
    ("download ", ["config", "file", "firmware"]),
    ("opt ", ["autocomplete", "hint"]),
    ("opt hint o", ["off", "on"]),
    ("reboot ", ["-f", "AccessPoint", "Bridge", "Repeater", "Router"]),
    ("reboot -f ", ["AccessPoint", "Bridge", "Repeater", "Router"]),
    ("reset ", ["AccessPoint", "Bridge", "Repeater", "Router"]),
    ("upgrade fw.", ["fw.bin", "fw.txt"]),
    ("sh zli", ["zlink", "zlist"]),
    ("cat Device.NAT.PortMapping.", ["1.", "2.", "4.", "max_instance"]),
    ("cd Device.NAT.PortMapping.", ["1.", "2.", "4."]),
    ("execute Device.Reboot ", ["Cause", "Reason"]),
    ("set Device.NAT.PortMapping.1.Enable=", ["false", "true"]),
]


@pytest.mark.parametrize("typed, names", LISTED, ids=[row[0] for row in LISTED])
def test_listed(reader, typed, names):
    lists(reader, typed, names)


@pytest.mark.parametrize("typed", ["pwd x", "help c", "nothing D", "set Device.DeviceInfo.UpTime=", "reset Bridge ",
                                   "order Device.Hosts. 1", "download firmware fw.bin f", "opt hint on x",
                                   "sh zlas", "upgrade FW"])
def test_nothing(reader, typed):
    offers_nothing(reader, typed)


HINTED = [
    ("pw", "d"),
    ("l", ""),
    ("cd ", "Device."),
    ("cd DEV", "ice."),
    ("cd :D", "evice."),
    ("cat Device.Hos", "ts."),
    ("cat Device.", ""),
    ("set Device.NAT.PortMapping.1.Enable=t", "rue"),
    ("set Device.NAT.PortMapping.1.Enable=\"t", "rue"),
    ("set Device.NAT.PortMapping.1.Enable=", ""),
    ("upgrade fw.b", "in"),
    ("upgrade fw.", ""),
    ("upgrade un", "ique.cfg"),
    ("reboot -", "f"),
    ("execute Device.ScheduleTimer ", "DelaySeconds"),
]


@pytest.mark.parametrize("typed, hint", HINTED, ids=[row[0] for row in HINTED])
def test_hint(reader, typed, hint):
    hints(reader, typed, hint)


def test_the_previous_node_neither_prints_nor_moves(shell):
    shell.run("cd Device.Hosts")
    mark = shell.shown()
    inserts(shell, "cat -.De", "cat -.Device.")
    inserts(shell, "cd <.Host", "cd <.Hosts.")
    assert shell.shown() == mark
    fresh_line(shell)
    assert shell.run("pwd") == ":Device.Hosts"
    assert shell.run("cd -") == ":"
    assert shell.run("cd -") == ":Device.Hosts"


def test_device_modes_are_looked_for_from_the_current_node(shell):
    shell.run("cd Device")
    inserts(shell, "reboot ", "reboot -f")


def test_other_clients_changes_are_offered(obxd, shell):
    lists(shell, "cd Device.NAT.PortMapping.", ["1.", "2.", "4."])
    watcher, other = obxd.client(), obxd.client()
    watcher.call("JoinGroup", {"Group": 4})
    number = other.call("AddObject", {"ObjectName": "Device.NAT.PortMapping."})["InstanceNumber"]
    watcher.event()
    shell.settle(0.2)  # the shell's event was sent at the same time
    lists(shell, "cd Device.NAT.PortMapping.", ["1.", "2.", "4.", "%d." % number])
    inserts(shell, "cat Device.NAT.PortMapping.%d.Ena" % number, "cat Device.NAT.PortMapping.%d.Enable" % number)
    other.call("DeleteObject", {"ObjectName": "Device.NAT.PortMapping.2."})
    watcher.event()
    shell.settle(0.2)
    lists(shell, "cd Device.NAT.PortMapping.", ["1.", "4.", "%d." % number])


class SlowDaemon:
    """A real daemon behind a gate: while it is closed, questions about metadata are not answered."""

    def __init__(self, obxd, scripted):
        self.client = obxd.client()
        self.lock = threading.Lock()
        self.gate = threading.Event()
        self.gate.set()
        self.daemon = scripted(self.answer)

    def answer(self, request, _connection):
        if request["method"].startswith("GetParameter"):
            self.gate.wait(60)
        with self.lock:
            response = self.client.request(request["method"], request.get("params"))
        return {**response, "id": request.get("id")}


@pytest.fixture
def slow_obxd(obxd, scripted):
    daemon = SlowDaemon(obxd, scripted)
    yield daemon
    daemon.gate.set()


def test_hints_do_not_hold_up_typing(slow_obxd, terminal):
    shell = terminal(daemon=slow_obxd.daemon)
    prompt = fresh_line(shell)
    slow_obxd.gate.clear()
    shell.send("cat Device.Hosts.Host.1.IPAddr")
    shell.wait(lambda: edited(shell) == prompt + "cat Device.Hosts.Host.1.IPAddr", "the typed text", patience=5)
    slow_obxd.gate.set()
    shell.send("\t")
    shell.wait(lambda: edited(shell) == prompt + "cat Device.Hosts.Host.1.IPAddress", "the completed text")


def test_a_late_answer_completes_and_what_was_typed_meanwhile_stays(slow_obxd, terminal):
    shell = terminal(daemon=slow_obxd.daemon)
    prompt = fresh_line(shell)
    slow_obxd.gate.clear()
    shell.send("cat Device.Hos\t")
    shell.settle(0.5)
    shell.send("Host")
    slow_obxd.gate.set()
    shell.wait(lambda: edited(shell) == prompt + "cat Device.Hosts.Host", "both")
    lists(shell, "cat Device.NAT.PortMapping.", ["1.", "2.", "4.", "max_instance"])


def test_ctrl_c_abandons_a_completion(slow_obxd, terminal):
    shell = terminal(daemon=slow_obxd.daemon)
    prompt = fresh_line(shell)
    slow_obxd.gate.clear()
    for _ in range(3):
        shell.send("cat Device.Hos\t")
        shell.settle(0.4)
        shell.interrupt()
        shell.settle(0.2)
        # The line is still there and can be edited.
        shell.send("X\x7f")
        shell.wait(lambda: edited(shell).endswith("Device.Hos"), "the line")
        fresh_line(shell)
    slow_obxd.gate.set()
    inserts(shell, "cat Device.Hos", "cat Device.Hosts.")
    fresh_line(shell)
    assert shell.run("pwd") == ":"
    assert fresh_line(shell) == prompt


def test_ten_thousand_instances(scripted, terminal):
    count = 10000
    names = ["Device.Big.%d." % number for number in range(1, count + 1)]
    multi = {"type": "object", "access": "readWrite", "multi": True}

    def attributes(name, **more):
        return {"Name": name, "Attributes": dict({"type": "object", "access": "readWrite"}, **more)}

    def answer(request, _connection):
        params = request.get("params") or {}
        found = []
        if request["method"] == "GetParameterNames":
            found = [{"Name": name, "Writable": True} for name in names]
        elif request["method"] == "GetParameterAttributes":
            asked = params["ParameterNames"]
            if asked == ["."]:
                found = [attributes("Device.")]
            elif asked == ["Device."]:
                found = [attributes("Device."), {"Name": "Device.Big.", "Attributes": multi}]
            elif asked == ["Device.Big."]:
                found = [{"Name": "Device.Big.", "Attributes": multi}, attributes("Device.Big.#template.")]
            else:
                found = [attributes(name) for name in asked]
        return harness.ScriptedDaemon.result({"ParameterList": found})

    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    prompt = fresh_line(shell)
    inserts(shell, "cd Device.Big.9999", "cd Device.Big.9999.")
    asked = len(daemon.received)
    for _ in range(5):
        inserts(shell, "cd Device.Big.9998", "cd Device.Big.9998.")
    hints(shell, "cd Device.Big.10000", ".")
    fresh_line(shell)
    shell.send("cd Device.Big.\t")
    shell.wait_for("Display all 10000 possibilities")
    shell.send("n")
    shell.wait(lambda: edited(shell) == prompt + "cd Device.Big.", "the line")
    assert len(daemon.received) == asked


def test_a_value_with_a_blank_is_inserted_so_that_the_line_works(scripted, terminal):
    model = SmallModel()
    model.nodes.append(("Device.A.Report", {"type": "string", "access": "readWrite", "default": "",
                                            "enum": ["0 None", "1 Queued", "#2"]}))
    daemon = scripted(model)
    shell = terminal(daemon=daemon)
    shell.prompt()
    for typed in ('1\t', '\t"1\t', "\t'1\t", '\\#\t'):
        shell.send("set Device.A.Report=" + typed)
        shell.wait_line(r".*(Queued.?|#2)")
        shell.send("\r")
        shell.prompt()
    assert [params["ParameterList"][0]["Value"] for params in daemon.requests("SetParameterValues")] == [
        "1 Queued", "1 Queued", "1 Queued", "#2"]
