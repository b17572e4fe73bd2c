"""Rows of bench/run for fleets: one parameter of 200 routers over TLS, 20 at a time, by the collection and by a play that
starts obx for each. Seconds, processor time and memory are the controller's."""

import contextlib
import os
import resource
import subprocess
import sys
import tempfile
import textwrap
import threading
import time

ROUTERS = 200
FORKS = 20
PATH = "Device.WiFi.SSID.1.SSID"

OURS = """
- ombrix.obx.obx_parameters:
    values: {%s: "{{ name }}"}
""" % PATH

PEER = """
- ansible.builtin.command:
    argv: [%(obx)s, -u, "tcp://{{ obx_address }}", --ssl, set, "%(path)s={{ name }}"]
  environment:
    OBX_CA_FILE: "{{ obx_ca_file }}"
    OBX_AUTH_FILE: "{{ obx_token_file }}"
  connection: local
"""


def memory_kib(session):
    """What all processes of a session have, what they share counted once."""
    total = 0
    for pid in os.listdir("/proc"):
        try:
            with open("/proc/%s/stat" % pid, encoding="ascii") as file:
                if int(file.read().rsplit(")", 1)[1].split()[3]) != session:
                    continue
            with open("/proc/%s/smaps_rollup" % pid, encoding="ascii") as file:
                total += sum(int(line.split()[1]) for line in file if line.startswith("Pss:"))
        except (OSError, ValueError, IndexError):
            continue  # no process, or one that has just ended
    return total


def measured(words, env, directory):
    """Seconds, processor seconds and the most KiB of a program with all that it starts; it must succeed."""
    peaks, ended = [0], threading.Event()
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    with open(os.path.join(directory, "output"), "w+", encoding="utf-8") as output:
        process = subprocess.Popen(words, env=env, cwd=directory, stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, start_new_session=True)

        def watch():
            while not ended.wait(0.5):
                peaks[0] = max(peaks[0], memory_kib(process.pid))

        watcher = threading.Thread(target=watch)
        watcher.start()
        status = process.wait()
        seconds = time.monotonic() - start
        ended.set()
        watcher.join()
        output.seek(0)
        text = output.read()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if status or text.count("changed=1 ") != ROUTERS:
        sys.exit("bench/run: not all routers were changed:\n" + text[-4000:])
    return seconds, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, peaks[0]


def bench_fleet(harness, top, row):
    sys.path.insert(0, os.path.join(top, "tests", "fleet"))
    from certificates import Authority
    from routers import HEAD, Controller, Fleet

    with contextlib.ExitStack() as stack:
        directory = stack.enter_context(tempfile.TemporaryDirectory(dir="/var/tmp"))
        fleet = stack.enter_context(contextlib.closing(Fleet(directory, Authority(directory, "house"), ROUTERS)))
        controller = Controller(directory)
        os.symlink(harness.OBXC, os.path.join(directory, "obxc_lua"))
        env = dict(controller.env, LUA_PATH_5_3=os.path.join(top, "lua", "?.lua"),
                   PATH=directory + ":" + controller.env["PATH"], ANSIBLE_PYTHON_INTERPRETER=sys.executable)
        inventory = controller.inventory(fleet.inventory())
        figures = []
        for name, tasks in (("ours", OURS), ("peer", PEER % {"obx": harness.OBX, "path": PATH})):
            play = controller.write(name + ".yml", HEAD + textwrap.indent(tasks, "    "))
            words = ["ansible-playbook", "-f", str(FORKS), "-i", inventory, play, "-e"]
            controller.command(*words, "name=first", "-l", "r0", env=env)  # Python keeps what it has compiled
            figures.append(measured(words + ["name=" + name], env, directory))
            assert set(fleet.values(PATH).values()) == {name}
    (ours, our_busy, our_peak), (peer, peer_busy, peer_peak) = figures
    row("a play on 200 routers", "s, to obx set", None, peer, ours, ours / peer, 1)
    row("a play on 200 routers", "s of processor time", None, peer_busy, our_busy, our_busy / peer_busy, 1)
    row("a play on 200 routers", "peak MiB", None, peer_peak / 1024, our_peak / 1024, our_peak / peer_peak)
