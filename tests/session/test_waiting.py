"""What a person sees while the daemon keeps the program waiting, and what is not lost meanwhile."""

import fcntl
import json
import re
import signal
import subprocess
import termios
import threading
import time

from harness import OBXC, PATIENCE, environment, obxc, wait_until

NOTE = r"Waiting for the daemon \(%s\)\. Ctrl-C leaves\."


def silent_for(*methods):
    """An answer function that never answers these methods."""
    def answer(request, connection):
        return None if request["method"] in methods else {"jsonrpc": "2.0", "result": {}}
    return answer


def late_answer(daemon, method):
    request = [m for m in daemon.received if m["method"] == method][-1]
    daemon.connections[0].sendall(b'{"jsonrpc":"2.0","id":%d,"result":{}}\n' % request["id"])


def test_a_long_wait_says_what_for_and_leaves_no_trace(scripted, terminal):
    daemon = scripted(silent_for("SaveConfig"))
    shell = terminal(daemon=daemon)
    shell.prompt()
    mark = shell.shown()
    shell.send("save\r")
    shell.wait_for("^" + NOTE % "SaveConfig" + "$")
    late_answer(daemon, "SaveConfig")
    shell.prompt()
    assert shell.since(mark) == "Status: OK"
    assert "Waiting" not in shell.text()


def test_a_long_wait_in_the_last_row(scripted, terminal):
    daemon = scripted(silent_for("SaveConfig"))
    shell = terminal(daemon=daemon, lines=14)
    for _ in range(5):
        shell.run("color hint")
    mark = shell.shown()
    shell.send("save\r")
    shell.wait_for(NOTE % "SaveConfig")
    late_answer(daemon, "SaveConfig")
    shell.prompt()
    assert shell.since(mark) == "Status: OK"
    assert "Waiting" not in shell.text()
    assert shell.run("color hint") == "120 100 55"


def test_ctrl_c_behind_the_note(scripted, terminal):
    shell = terminal(daemon=scripted(silent_for("SaveConfig")))
    shell.prompt()
    shell.send("save\r")
    shell.wait_for(NOTE % "SaveConfig")
    shell.interrupt()
    shell.wait_for(r"save\n\^C\n\w+@obxc:>$")
    assert "Waiting" not in shell.text()


def test_a_shell_on_a_frozen_daemon_says_so(scripted, terminal):
    shell = terminal(daemon=scripted(lambda request, connection: None))
    shell.wait_for(NOTE % "Login")
    shell.wait_for(r"^\[-11\] Timed out$")
    shell.wait_for(NOTE % "GetParameterAttributes")


def test_one_request_on_a_terminal_and_in_a_pipe(scripted, terminal):
    daemon = scripted(silent_for("SaveConfig"))
    shell = terminal("-r", "save", daemon=daemon)
    shell.wait_for(NOTE % "SaveConfig")
    late_answer(daemon, "SaveConfig")
    assert shell.end() == 0
    assert shell.text() == "Status: OK"

    def slow(request, connection):
        time.sleep(2.5)
        return {"jsonrpc": "2.0", "result": {}}
    done = obxc("-r", "save", daemon=scripted(slow))
    assert (done.out, done.err, done.status) == ("Status: OK\n", "", 0)


def test_ctrl_c_while_tab_waits_is_shown_and_keeps_the_keys(frozen_objects, terminal):
    shell = terminal(daemon=frozen_objects)
    shell.prompt()
    shell.send("cd Device.x\t")
    shell.settle(0.3)
    shell.send("yz")
    shell.settle(0.2)
    shell.interrupt()
    shell.wait_for(r"obxc:> cd Device\.x\^C\n\w+@obxc:> cd Device\.xyz$")
    shell.interrupt()
    shell.prompt()
    assert shell.run("color hint") == "120 100 55"


def test_tab_that_waits_says_what_for(frozen_objects, terminal):
    shell = terminal(daemon=frozen_objects)
    shell.prompt()
    shell.send("cd Device.x\t")
    shell.wait_for(r"obxc:> cd Device\.x\n" + NOTE % "GetParameterAttributes" + "$")
    shell.send("y")
    shell.interrupt()
    shell.wait_for(r"obxc:> cd Device\.x\^C\n\w+@obxc:> cd Device\.xy$")
    assert "Waiting" not in shell.text()


def flood(daemon, group, count, size, method="SaveConfig"):
    """Lets that many events come on the events connection before a request is answered."""
    def answer(request, connection):
        if request["method"] == method:
            for number in range(count):
                daemon.send_event(group, {"number": number, "text": "e" * size}, on=1)
        return daemon.result({})
    daemon.answer = answer


def test_events_are_read_while_a_command_waits(scripted):
    daemon = scripted()
    flood(daemon, 7, 40, 60000)
    done = obxc(daemon=daemon, stdin="save\n" + "color hint\n" * 40)
    numbers = [json.loads(part)["number"] for part in done.out.replace("120 100 55\n", "").split("EVENT 7:\n")[1:]]
    assert numbers == list(range(len(numbers))) and len(numbers) >= 39
    assert "lost" not in done.out and "dropped" not in done.out


def test_of_too_many_events_the_newest_are_kept(scripted):
    daemon = scripted()
    flood(daemon, 7, 400, 60000)
    done = obxc(daemon=daemon, stdin="save\ncolor hint\ncolor hint\n")
    lines = done.out.split("\n")
    at = lines.index("Status: OK")
    lost = int(lines[at + 2].split()[0])
    assert lines[at + 2] == "%d events are lost: more came than can wait." % lost
    assert 325 < lost < 340  # 4 MiB of them wait
    assert lines[at + 4:at + 7] == ["EVENT 7:", "{", '    "number": %d,' % lost]
    assert done.out.count(" lost: ") == 1
    assert "dropped" not in done.out


def test_events_that_are_lost_together_are_told_together(scripted):
    """Some of them are in the connection when the command ends that the others came with."""
    daemon = scripted()

    def answer(request, connection):
        if request["method"] == "SaveConfig":
            events = daemon.connections[1]
            for number in range(400):
                if number == 397:
                    wait_until(lambda: fcntl.ioctl(events, termios.TIOCOUTQ, bytes(4)) == bytes(4), "the reader")
                    process.send_signal(signal.SIGSTOP)
                daemon.send_event(7, {"number": number, "text": "e" * 60000}, on=1)
            threading.Timer(0.3, process.send_signal, [signal.SIGCONT]).start()
        return daemon.result({})
    daemon.answer = answer
    process = subprocess.Popen([OBXC, "-u", daemon.socket], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                               env=environment())
    out = process.communicate(b"save\ncolor hint\ncolor hint\n", PATIENCE)[0].decode()
    lost = [int(count) for count in re.findall(r"^(\d+) events are lost: more came than can wait\.$", out, re.M)]
    numbers = [int(number) for number in re.findall(r'^    "number": (\d+),$', out, re.M)]
    assert len(lost) == 1 and numbers[0] == lost[0], lost
    assert numbers == list(range(lost[0], lost[0] + len(numbers)))


def test_events_of_another_client_during_a_long_lua_loop(obxd):
    """More than the daemon holds for a client: it would drop the connection."""
    client = obxd.client()
    client.call("JoinGroup", {"Group": 11})

    def send_all():
        for _ in range(220):
            client.send({"jsonrpc": "2.0", "method": "Event", "group": 4, "params": {"Text": "e" * 60000}})
        client.send({"jsonrpc": "2.0", "method": "Event", "group": 12, "params": {}})
    sender = threading.Thread(target=send_all)
    loop = "lua local e = os.time() + 3 while os.time() < e do ox.get('Device.DeviceInfo.UpTime') end print('through')"
    sender.start()
    done = obxc(daemon=obxd, stdin=loop + "\ncolor hint\n")
    sender.join()
    assert "through" in done.out and "120 100 55" in done.out
    assert "dropped" not in done.out
