"""Scripted answers and events for a shell, and the modes of its terminal."""

import json
import termios

from harness import ScriptedDaemon


def values(daemon, **known):
    """An answer function: values by the last component of their names, {} for every other request."""
    def answer(request, connection):
        if request["method"] == "GetParameterValues":
            name = request["params"]["ParameterNames"][0]
            last = name.rstrip(".").split(".")[-1]
            if last in known:
                return ScriptedDaemon.result({"ParameterList": [{"Name": name, "Value": known[last]}]})
        return ScriptedDaemon.result({})
    return answer


def event_on(daemon, index, group, params=None):
    """An event on one of the daemon's connections: 0 is the one of requests, 1 the one of events."""
    event = {"jsonrpc": "2.0", "method": "Event", "group": group, "params": params}
    daemon.connections[index].sendall(json.dumps(event).encode())


def modes(session):
    """Whether the terminal echoes and whether it gives whole lines."""
    local = termios.tcgetattr(session.master)[3]
    return bool(local & termios.ECHO), bool(local & termios.ICANON)


def type_slowly(session, text):
    """Key by key, each one shown before the next."""
    for key in text:
        before = len(session.raw)
        session.send(key)
        session.wait(lambda: len(session.raw) > before, "the echo")


def pid_of(session):
    """The process of obxc itself, whatever it was started through."""
    pid = session.process.pid
    children = open("/proc/%d/task/%d/children" % (pid, pid)).read().split()
    return int(children[0]) if children else pid
