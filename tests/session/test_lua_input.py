"""What Lua code reads, and what it printed before."""

import os
import signal
import subprocess
import time

import pytest

import harness


def start(daemon, *args, **options):
    return subprocess.Popen([harness.OBXC, "-u", daemon.socket, *args], stdout=subprocess.PIPE, env=harness.environment(),
                            **options)


def test_reading_leaves_the_rest_to_the_session(shared_obxd):
    done = harness.obxc(daemon=shared_obxd, stdin=(
        'lua\nx=io.read()\nhello\nprint("got", x)\n1+1\nq\nlua print(io.read())\nfrom here\npwd\nq\n'))
    assert "got\thello\n" in done.out and "_[1] = 2\n" in done.out
    assert "\nfrom here\n" in done.out
    assert done.out.count("hello") == 1


def test_a_script_reads_lines_and_numbers(shared_obxd, script):
    path = script('print(io.read("l", "n", "L")) for line in io.lines() do print("line", line) end print(io.read())')
    done = harness.obxc("-S", path, daemon=shared_obxd, stdin="one\n2\nthree\nfour")
    assert done.out == "one\t2\t\n\nline\tthree\nline\tfour\nnil\n"


def test_errors_tell_of_the_caller(shared_obxd, script):
    path = script('print(pcall(function() io.read("q") end)) print(pcall(function() io.lines("/none") end)) '
                  'print(pcall(function() io.stdin:read("q") end)) print(io.lines("/dev/null")()) print(1) '
                  'print(io.read("n"))')
    done = harness.obxc("-S", path, daemon=shared_obxd)
    assert done.out.splitlines() == [
        "false\t%s:1: bad argument #1 to 'read' (invalid format)" % path,
        "false\t%s:1: cannot open file '/none' (No such file or directory)" % path,
        "false\t%s:1: bad argument #1 to 'read' (invalid format)" % path, "", "1", "nil"]


@pytest.mark.parametrize("ask", [
    'io.write("name? ") x = io.read()',
    'io.write("name? ") x = io.stdin:read()',
    'io.write("name? ") for line in io.lines() do x = line break end',
    'io.write("name? ") for line in io.stdin:lines() do x = line break end',
])
@pytest.mark.parametrize("mode", ["script", "mode"])
def test_a_question_is_there_before_its_answer(shared_obxd, script, terminal, ask, mode):
    if mode == "script":
        session = terminal("-S", script(ask + ' print("got " .. x)'), daemon=shared_obxd)
    else:
        session = terminal(daemon=shared_obxd)
        session.prompt()
        session.send("lua\r")
        session.wait_line(r"\S*obxc-lua:\S*>")
        session.send(ask + ' print("got " .. x)\r')
    session.wait_for(r"^name\? \Z|^name\?\s*\Z", 10)
    session.send("joe\r")
    session.wait_for("^got joe", 10)


def test_a_question_through_pipes(shared_obxd, script):
    with start(shared_obxd, "-S", script('io.write("name? ") print("got", io.read())'), stdin=subprocess.PIPE) as process:
        assert os.read(process.stdout.fileno(), 100) == b"name? "
        process.communicate(b"joe\n")


@pytest.mark.parametrize("run", ['os.execute("echo from shell")', 'io.popen("echo from shell 1>&2"):close()',
                                 'io.popen("cat >&2", "w"):write("from shell\\n"):close()'])
def test_the_order_with_other_programs(shared_obxd, script, run):
    path = script('print("before") %s print("after")' % run)
    process = start(shared_obxd, "-S", path, stderr=subprocess.STDOUT)
    assert process.communicate()[0] == b"before\nfrom shell\nafter\n"
    done = harness.obxc(daemon=shared_obxd, stdin="lua\nprint('before') os.execute('echo from shell') print('after')\nq\nq\n")
    assert "before\nfrom shell\nafter\n" in done.out


@pytest.mark.parametrize("code", ['print("at once")', 'io.write("at once\\n")', 'io.stdout:write("at once\\n")'])
@pytest.mark.parametrize("mode", ["script", "mode"])
def test_lines_are_there_while_code_computes(shared_obxd, script, terminal, code, mode):
    code += " while true do end"
    if mode == "script":
        session = terminal("-S", script(code), daemon=shared_obxd)
    else:
        session = terminal(daemon=shared_obxd)
        session.prompt()
        session.send("lua\r")
        session.wait_line(r"\S*obxc-lua:\S*>")
        session.send(code + "\r")
    session.wait_for("^at once", 10)


def test_buffering_that_the_script_asks_for(shared_obxd, script):
    for how, text, shown in (("line", "at once\\n", b"at once\n"), ("no", "at once", b"at once")):
        path = script('io.stdout:setvbuf("%s") io.write("%s") while true do end' % (how, text))
        with start(shared_obxd, "-S", path) as process:
            assert os.read(process.stdout.fileno(), 100) == shown
            process.kill()


@pytest.mark.parametrize("then", ["while true do end", "while true do pcall(error) end", "ox.sleep(60)",
                                  "coroutine.wrap(function() while true do end end)()", "os.execute('exec sleep 5 >&-')",
                                  "io.read()", "(('a'):rep(60)):find(('a*'):rep(30) .. 'b')"])
@pytest.mark.parametrize("deadly", [signal.SIGINT, signal.SIGTERM])
def test_a_deadly_signal_loses_nothing(shared_obxd, script, then, deadly, directory):
    if then.startswith("os.execute") and deadly == signal.SIGINT:
        return  # the program that waits ignores it
    mark = os.path.join(directory, "there")
    path = script("for i = 1, 1000 do print(i) end io.open('%s', 'w'):close(); %s" % (mark, then))
    with start(shared_obxd, "-S", path, stdin=subprocess.PIPE,
               preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL)) as process:
        harness.wait_until(lambda: os.path.exists(mark), "the script")
        process.send_signal(deadly)
        if "pcall" in then:  # a protected call catches the first one
            time.sleep(0.5)
            process.send_signal(deadly)
        if "find" in then:
            assert process.wait(harness.PATIENCE) == -deadly  # nothing can be done inside one call of C
            return
        assert process.stdout.read() == b"".join(b"%d\n" % i for i in range(1, 1001))
        assert process.wait(harness.PATIENCE) == -deadly
