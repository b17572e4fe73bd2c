"""Lua scripts that stand alone, and the bindings that they connect with."""

import json
import os
import pwd
import subprocess

import pytest

import harness

HEAD = "#!/usr/bin/env obxc_lua\n-- obxc: stands alone\n"


@pytest.fixture
def run(script):
    """A function that runs a script by its own name with these words."""
    def start(text, *words, head=HEAD):
        path = script(head + text)
        os.chmod(path, 0o700)
        done = subprocess.run([path, *words], capture_output=True, env=harness.obx_environment(),
                              timeout=4 * harness.PATIENCE)
        harness.check_sanitizers(done.stderr)
        return harness.programs.Finished(done)
    return start


def test_gets_all_words(run):
    done = run("print(...) os.exit(3)", "-v", "--json", "-u", "/none", "--", "x y")
    assert (done.status, done.out) == (3, "-v\t--json\t-u\t/none\t--\tx y\n")


def test_without_the_mark_the_options_are_obxcs(run):
    done = run("print(...)", "-v", head="#!/usr/bin/env obxc_lua\n-- stands alone\n")
    assert done.out.startswith("Ombrix Management System client.\nobxc version ")


def test_connects_where_it_says(run, obxd):
    text = 'print(ox.connect{to = ...}) print(ox.get("Device.DeviceInfo.HostName"))'
    assert run(text, obxd.socket).out == "true\ttrue\nrouter\n"
    assert run(text, "/none").out.startswith("nil\tNo such socket\t-5\n")
    done = run('ox.connect{to = ...} ox.connect{to = ...}', obxd.socket)
    assert "the script is connected already" in done.out


def test_login_and_token(run, obxd):
    text = """
        ox.connect{to = ...}
        local function user() return ox.get("Device.Users.CurrentUser") end
        print(user() == "", ox.login("admin", "admin"), user())
        print(ox.login("admin", "wrong"))
        ox.token("user-token")
        print(user())
    """
    assert run(text, obxd.socket).out == "true\ttrue\tadmin\nnil\tthe login is refused\t9001\nuser\n"


def test_login_as_who_runs_it(run, obxd):
    done = run('ox.connect{to = ...} print(ox.login(), ox.get("Device.Users.CurrentUser"))', obxd.socket)
    assert done.out == "true\t%s\n" % pwd.getpwuid(os.getuid()).pw_name


def test_each_stops_at_an_error_and_asks_for_nothing_else(run, obxd):
    text = """
        ox.connect{to = ...}
        ox.login()
        local count = 0
        print(pcall(ox.each, "Device.DeviceInfo.", function() count = count + 1 if count == 3 then error("enough", 0) end end))
        print(count)
        print(pcall(ox.each, "Device.DeviceInfo.", function() ox.get("Device.DeviceInfo.UpTime") end))
        print(ox.each("Device.None", print))
        print(ox.each({"Device.DeviceInfo.HostName", "Device.WiFi.Radio.1.Channel"}, print))
    """
    lines = run(text, obxd.socket).out.splitlines()
    assert lines[:2] == ["false\tenough", "3"]
    assert lines[2].startswith("false\t") and lines[2].endswith("no request while an answer is handed on")
    assert lines[3].startswith("nil\tInvalid parameter name: Device.None\t9005")
    assert lines[4:] == ["Device.DeviceInfo.HostName\trouter", "Device.WiFi.Radio.1.Channel\t6", "2"]


def test_each_leaves_out_what_may_not_be_read(run, obxd):
    text = """
        ox.connect{to = ...}
        print(ox.each("Device.", function() end))
        print(ox.each("Device.", function() end, {readable = true}) > 10)
    """
    lines = run(text, obxd.socket).out.splitlines()
    assert lines[0].startswith("nil\t") and lines[1] == "true"


def test_each_of_an_answer_that_is_cut_off(run, scripted):
    values = [{"Name": "Device.A%d" % i, "Value": 1} for i in range(2000)]

    def answer(request, connection):
        whole = '{"jsonrpc":"2.0","id":%d,"result":%s}' % (request["id"], json.dumps({"ParameterList": values}))
        return [whole.encode()[:-1000], daemon.CLOSE]

    daemon = scripted(answer)
    text = """
        ox.connect{to = ...}
        local names = {}
        local twice = false
        local count, message, code = ox.each("Device.", function(name) twice = twice or names[name] names[name] = true end)
        print(count, code, not twice, next(names) ~= nil)
    """
    assert run(text, daemon.socket).out == "nil\t-7\ttrue\ttrue\n"
    assert len(daemon.requests("GetParameterValues")) == 2
