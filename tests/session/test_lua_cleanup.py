"""How a script file cleans up: ox.atexit, and a protected call that catches the interrupt."""

import os
import signal
import subprocess
import time

import pytest

import harness

SIGNALS = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]
READY = "print('ready') io.flush() "


@pytest.fixture
def start(directory):
    """A function that starts a script and waits for its line "ready"."""
    started = []

    def run(daemon, text):
        path = os.path.join(directory, "script.lua")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        process = subprocess.Popen([harness.OBXC, "-u", daemon.socket, "-S", path], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0,
                                   env=harness.environment())
        started.append(process)
        assert process.stdout.readline() == b"ready\n"
        time.sleep(0.2)
        return process
    yield run
    for process in started:
        if process.poll() is None:
            process.kill()
        process.communicate()


def rest(process):
    """Output, error output and status of a script that ends by itself."""
    out, err = process.communicate(timeout=harness.PATIENCE)
    return out.decode(), err.decode(), process.returncode


@pytest.mark.parametrize("number", SIGNALS)
@pytest.mark.parametrize("work", ["while true do end", "ox.sleep(60)", "io.read()", "for line in io.lines() do end",
                                  "coroutine.wrap(function() while true do end end)()",
                                  "while true do ox.get('Device.DeviceInfo.UpTime') end"])
def test_one_protected_call_catches_the_interrupt(shared_obxd, start, number, work):
    process = start(shared_obxd, "local ok, e = pcall(function() %s %s end) " % (READY, work) +
                    "print(ok, tostring(e):match('interrupted!') or e, ox.get('Device.DeviceInfo.HostName'))")
    process.send_signal(number)
    assert rest(process) == ("false\tinterrupted!\trouter\n", "", -number)


@pytest.mark.parametrize("number", SIGNALS)
@pytest.mark.parametrize("work", ["while true do end", "ox.sleep(60)", "io.read()", "pcall(ox.sleep, 60)"])
def test_functions_at_exit(shared_obxd, start, number, work):
    process = start(shared_obxd, "ox.atexit(function() print('first') end) "
                    "ox.atexit(function() print('last', ox.get('Device.DeviceInfo.HostName')) end) " + READY + work)
    process.send_signal(number)
    assert rest(process) == ("last\trouter\nfirst\n", "", -number)


@pytest.mark.parametrize("work, shown, status", [
    ("", "", 0), ("os.exit(3)", "", 3), ("error('bad', 0)", "bad\nstack traceback:", 0),
    ("coroutine.wrap(function() os.exit(4) end)()", "", 4),
])
def test_functions_at_exit_without_a_signal(shared_obxd, start, work, shown, status):
    process = start(shared_obxd, "ox.atexit(function() print('done') end) "
                    "ox.atexit(function() ox.atexit(function() print('late') end) error('oops', 0) end) " + READY + work)
    out, err, code = rest(process)
    assert out.startswith(shown) and out.endswith("late\ndone\n") and out.count("done") == 1
    assert (err, code) == ("ox.atexit: oops\n", status)


@pytest.mark.parametrize("work", [
    "ox.atexit(function() print('on') io.flush() while true do end end) " + READY + "ox.sleep(60)",
    "ox.atexit(function() print('on') io.flush() ox.sleep(60) end) " + READY + "ox.sleep(60)",
    READY + "pcall(ox.sleep, 60) print('on') io.flush() while true do pcall(function() while true do end end) end",
    READY + "pcall(ox.sleep, 60) print('on') io.flush() local _ = ('x'):rep(40):find(('x*'):rep(20) .. 'y')",
])
def test_the_second_signal_ends(shared_obxd, start, work):
    process = start(shared_obxd, work)
    process.send_signal(signal.SIGINT)
    assert process.stdout.readline() == b"on\n"
    time.sleep(0.3)
    assert process.poll() is None
    process.send_signal(signal.SIGTERM)
    assert rest(process)[2] in (-signal.SIGINT, -signal.SIGTERM)


def test_what_no_signal_reaches_is_not_waited_for(shared_obxd, start, directory):
    os.mkfifo(os.path.join(directory, "nobody"))
    process = start(shared_obxd, READY + "io.open('%s/nobody')" % directory)
    process.send_signal(signal.SIGTERM)
    assert rest(process)[2] == -signal.SIGTERM


def test_the_lua_command_and_lua_mode(shell):
    assert shell.run("lua ox.atexit(function() print('bye') end) print('here')").endswith("\nhere\nbye")
    shell.send("lua ox.atexit(function() print('cleaned') end) ox.sleep(60)\r")
    shell.settle(0.3)
    shell.interrupt()
    shell.wait_for("^cleaned$")
    shell.prompt()
    shell.send("lua\r")
    shell.wait_line(r".*obxc-lua:>")
    shell.send("ox.atexit(function() print('left') end)\r")
    shell.send("q\r")
    shell.wait_for("^left$")
    shell.prompt()
