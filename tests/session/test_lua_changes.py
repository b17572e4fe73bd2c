"""ox.change and dry runs: what a script changes only for a while, or only tries."""

import os
import signal

import pytest

import harness

pytestmark = pytest.mark.obxd(*harness.SMALL)

HOST = "Device.DeviceInfo.HostName"
TABLE = "Device.List.Entry."


@pytest.fixture
def run(obxd, script):
    """Runs a script as root; returns what it printed."""
    def run_script(text, *options):
        done = harness.obxc("-a", "root", *options, "-S", script("HOST = '%s'\n%s" % (HOST, text)), daemon=obxd)
        assert (done.status, done.err) == (0, ""), done
        return done.out
    return run_script


@pytest.mark.parametrize("body, printed, stays", [
    ("", "true", True),
    ("return 1, nil, 'x'", "1\tnil\tx", True),
    ("return true", "true", True),
    ("return false", "false", False),
    ("return nil, 'no'", "nil\tno", False),
    ("return ox.set('Device.Nothing', 1)", None, False),
    ("ox.strict = true return ox.set('Device.Nothing', 1)", None, False),
    ("error('broken', 0)", "broken", False),
    ("error({})", None, False),
    ("ox.sleep(0.01)", "true", True),
])
def test_what_stays(run, client, body, printed, stays):
    shown = run("print(select(-1, pcall(ox.change, function() assert(ox.set(HOST, 'new')) %s end)))" % body
                if printed == "broken" else
                "print(select(2, pcall(ox.change, function() assert(ox.set(HOST, 'new')) %s end, {confirm = 3600})))" % body)
    if printed is not None:
        assert shown == printed + "\n"
    assert client.get(HOST) == ("new" if stays else "box")
    assert "result" in client.request("SaveConfig"), "the change is over"


def test_what_cannot_begin(run, client):
    change = client.call("BeginChange", {"Timeout": 60})["Change"]
    shown = run("print(ox.change(function() print('called') end))")
    assert "called" not in shown and "A change of root is open" in shown and "\t9004" in shown
    client.call("ConfirmChange", {"Change": change})
    for seconds in "0", "-1", "3601", "'x'", "1e300", "0/0":
        assert "1 to 3600" in run("print(pcall(ox.change, print, {confirm = %s}))" % seconds) or seconds == "'x'"
    assert "unknown option 'confrim'" in run("print(pcall(ox.change, print, {confrim = 5}))")
    assert run("print(pcall(ox.change))").startswith("false")
    assert client.request("ConfirmChange")["error"]["code"] == 9003, "none was begun"


def test_what_is_taken_back_meanwhile_is_told(run, client):
    shown = run("""
        print(ox.change(function()
            ox.set(HOST, "new")
            ox.call("CancelChange")
            print(ox.set(HOST, "late"))
        end))""")
    assert shown.count("The change was taken back: it was cancelled") == 2, shown
    assert client.get(HOST) == "box"


def test_a_daemon_that_restarts_is_not_changed_by_half(obxd, run, client):
    """The connection is a new one, but what follows still names the change, which is over."""
    shown = run("""
        print(ox.change(function()
            ox.set(HOST, "new")
            ox.call("Reboot")
            ox.try(ox.wait, 0.3)
            for i = 1, 100 do
                local ok, message, code = ox.set(HOST, "late")
                if not code or code > 0 then print(ok, message) return end
                ox.sleep(0.1)
            end
        end))""")
    assert "late" not in shown and "the device started anew" in shown
    assert obxd.back_again().get(HOST) == "box"


def test_an_interrupted_function_is_taken_back(obxd, terminal, script, client):
    shell = terminal("-a", "root", "-S", script("""
        ox.change(function() ox.set("%s", "new") print("wait") ox.sleep(60) end, {confirm = 3600})""" % HOST), daemon=obxd)
    shell.wait_for("wait")
    os.kill(shell.pid(), signal.SIGINT)
    shell.process.wait(harness.PATIENCE)
    harness.wait_until(lambda: client.get(HOST) == "box", "the change to be taken back")


def test_by_hand(run, client):
    run("local change = ox.begin_change(3600) assert(#change > 0) ox.set(HOST, 'new') assert(ox.confirm_change(change))")
    assert client.get(HOST) == "new"
    run("ox.begin_change(3600) ox.set(HOST, 'again')")
    assert client.get(HOST) == "again"
    assert run("print(ox.confirm_change())") == "true\n"
    assert "No change is open" in run("print(ox.cancel_change())")
    run("ox.begin_change(0.2) ox.set(HOST, 'third') assert(ox.cancel_change())")
    assert client.get(HOST) == "again"
    assert "There is no such change" in run("print(ox.confirm_change('x'))")


def test_dry_runs(run, client):
    before = client.call("GetConfig", {"Path": TABLE})
    assert run("""
        local dry = {dry_run = true}
        print(ox.set(HOST, "new", dry))
        print(ox.set({[HOST] = "new"}, dry))
        print(ox.add("%s", nil, dry), ox.add("%s", {Text = "x"}, dry))
        print((ox.del("%s1.", dry)))
        print(select(3, ox.set(HOST, 5, dry)))""" % (TABLE, TABLE, TABLE)).splitlines()[:3] == ["true", "true", "1\t1"]
    assert client.call("GetConfig", {"Path": TABLE}) == before and client.get(HOST) == "box"
    assert "unknown option 'dryrun'" in run("print(pcall(ox.set, HOST, 'x', {dryrun = true}))")
    assert run("print(ox.set(HOST, 'new', {dry_run = false}))") == "true\n"
    assert client.get(HOST) == "new"
    assert "9003" in run("print(ox.add('%s', {Text = 5}, {dry_run = true}))" % TABLE)


def test_a_daemon_without_dry_runs_is_left_alone(scripted, script):
    daemon = scripted(lambda request, connection: harness.ScriptedDaemon.error(-32601, "Method not found")
                      if request["method"] == "BeginChange" else harness.ScriptedDaemon.result({}))
    done = harness.obxc("-S", script("""
        for _ = 1, 2 do print(ox.set("%s", "x", {dry_run = true})) end
        print(ox.del("%s1.", {dry_run = true}))
        print(ox.change(function() print("called") end))""" % (HOST, TABLE)), daemon=daemon)
    assert done.out.count("The daemon knows no dry runs\t-32601") == 3 and "called" not in done.out, done
    assert {message["method"] for message in daemon.received} - {"JoinGroup"} == {"BeginChange"}
