"""Who is logged in, and how the prompt shows it."""

import signal

import pytest

import harness
from harness import ScriptedDaemon


def knowing(**known):
    """An answer function: values by the last component of their names, {} for every other request."""
    def answer(request, connection):
        if request["method"] == "GetParameterValues":
            name = request["params"]["ParameterNames"][0]
            last = name.rstrip(".").split(".")[-1]
            if last in known:
                return ScriptedDaemon.result({"ParameterList": [{"Name": name, "Value": known[last]}]})
        return ScriptedDaemon.result({})
    return answer


def test_the_default_login_shows_in_the_prompt(session):
    assert session.line() == "root@obxc:>"
    session.run("logout")
    assert session.line() == "obxc:>"
    session.run("login admin -p secret")
    assert session.line() == "admin@obxc:>"
    assert session.daemon.requests("Login")[-1] == {"Login": "admin", "Password": "secret"}


def test_a_password_is_typed_unseen(session):
    session.send("login erin\r")
    session.wait_line(r"\[obxc\] password for erin:.*")
    session.send("se cret\r")
    session.wait_line(r"erin@obxc:>")
    assert "cret" not in session.text()
    assert session.daemon.requests("Login")[-1] == {"Login": "erin", "Password": "se cret"}


def test_a_failed_login(scripted, terminal):
    def answer(request, connection):
        if request["method"] == "GetParameterAttributes":
            return daemon.result({})
        return daemon.error(9001, "Request denied")
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.prompt()
    assert shell.line() == "obxc:>"
    assert shell.run("login admin -p wrong") == "[9001] Request denied\nFailed to authenticate user"
    assert [m.get("auth") for m in daemon.received if m["method"] == "Logout"] == [None, None]


def test_system_access_changes_the_prompt_colour(scripted, terminal):
    daemon = scripted()
    daemon.answer = knowing(SystemAccess=True)
    shell = terminal(daemon=daemon)
    shell.prompt()
    root = shell.colour_at(0, shell.cursor()[1])
    daemon.answer = knowing(SystemAccess=False)
    shell.run("login admin -p x")
    assert shell.colour_at(0, shell.cursor()[1]) != root


@pytest.mark.parametrize("answer, text", [
    ({"ParameterList": [{"Name": "Device.Users.CurrentUser", "Value": ""}]}, ""),
    ({"ParameterList": [{"Name": "Device.Users.CurrentUser", "Value": None}]}, ""),
    ({"ParameterList": []}, "[-10] Incomplete answer: Value\n"),
    ({}, "[-10] Incomplete answer: ParameterList\n"),
])
def test_credentials_that_are_nobodys(scripted, terminal, answer, text):
    """An empty name is a guest's: the token was none. A one-shot ends; a shell starts as a guest."""
    def reply(request, connection):
        if request["method"] == "Login":
            return ScriptedDaemon.error(9001, "Request denied")
        return ScriptedDaemon.result(answer if request["method"] == "GetParameterValues" else {})
    daemon = scripted(reply)
    done = harness.obxc("-a", "a token", "-r", "save", daemon=daemon)
    assert (done.out, done.status) == (text, 1)
    assert daemon.requests("SaveConfig") == []
    shell = terminal(daemon=daemon)
    shell.wait_line("obxc:>")
    assert shell.run("login x -p y").split("\n")[-1] == "Failed to authenticate user"


def test_a_user_name_does_not_steer_the_terminal(scripted, terminal):
    def answer(request, connection):
        if request["method"] == "Login":
            return daemon.error(9001, "Request denied")
        return knowing(CurrentUser="a\x1b[31mb")(request, connection)
    daemon = scripted(answer)
    shell = terminal(daemon=daemon)
    shell.wait_line(r"a\\x1[bB]\[31mb@obxc:>")


def test_without_colours(daemon, terminal):
    for extra in ({"TERM": "dumb"}, {"TERM": None}, {"NO_COLOR": "1"}):
        shell = terminal(daemon=daemon, env=harness.environment(**extra))
        shell.prompt()
        assert b"38;" not in shell.raw and b"\x1b[3" not in shell.raw


def who(shell):
    """Whom the daemon takes the shell's session for."""
    return shell.run("cat :Device.Users.CurrentUser").split("=")[-1].strip()


REFUSED = "[9001] Request denied: SaveConfig needs a login"


def test_a_token_leaves_no_login_behind_it(shell):
    """A guest's prompt is never over another's session."""
    assert who(shell) == "'root'"
    assert shell.run("login user-token -p x") == ""
    assert shell.line() == "user@obxc:>"
    assert who(shell) == "'user'"
    assert shell.run("logout") == ""
    assert shell.line() == "obxc:>"
    assert shell.run("save") == REFUSED
    for words in ("admin-token -p x", "wrong -p x"):
        answer = shell.run("login " + words)
    assert answer.split("\n")[-1] == "Failed to authenticate user"
    assert shell.line() == "obxc:>"
    assert shell.run("save") == REFUSED
    assert shell.run("login user -p user") == ""
    assert who(shell) == "'user'"


@pytest.mark.parametrize("user", [None, ""])
def test_login_without_a_name_is_nobodys(obxd, terminal, user):
    shell = terminal(daemon=obxd, env=harness.environment(USER=user))
    shell.prompt()
    assert shell.run("login") == "Failed to authenticate user"
    assert shell.line() == "obxc:>"
    assert shell.run("save") == REFUSED


def test_login_with_a_name_in_the_environment(obxd, terminal):
    shell = terminal(daemon=obxd, env=harness.environment(USER="user"))
    shell.prompt()
    assert shell.run("login") == ""
    assert shell.line() == "user@obxc:>"
    assert who(shell) == "'user'"


@pytest.mark.parametrize("token, leave", [
    (False, "logout"), (True, "logout"), (False, "login x -p y"), (True, "login x -p y"),
])
def test_nothing_is_shown_that_the_user_before_could_see(scripted, terminal, token, leave):
    inside = False

    def answer(request, connection):
        nonlocal inside
        method, params = request["method"], request.get("params") or {}
        if method == "Login" and (params["Login"] == "x" or token):
            return ScriptedDaemon.error(9001, "Request denied")
        inside = (inside or method == "Login") and method != "Logout"
        known = request.get("auth") == "key" if token else inside and not request.get("auth")
        if method == "GetParameterValues" and params["ParameterNames"] == ["Device.Users.CurrentUser"] and known:
            return ScriptedDaemon.result({"ParameterList": [{"Name": "Device.Users.CurrentUser", "Value": "ann"}]})
        if method == "GetParameterAttributes":
            names = ["Open."] + (["Secret."] if known else [])
            return ScriptedDaemon.result({"ParameterList": [
                {"Name": name, "Attributes": {"type": "object"}} for name in names]})
        return ScriptedDaemon.result({})

    shell = terminal("-a", "key" if token else "ann:pw", daemon=scripted(answer))
    shell.wait_line("ann@obxc:>")
    assert shell.run("ls").split() == ["Open.", "Secret."]
    shell.run(leave)
    assert shell.line() == "obxc:>"
    assert shell.run("ls").split() == ["Open."]


@pytest.mark.parametrize("line", ["logout", "login admin -p admin"])
def test_ctrl_c_leaves_nobody_logged_in_behind_a_guests_prompt(obxd, shell, line):
    obxd.process.send_signal(signal.SIGSTOP)
    try:
        shell.send(line + "\r")
        shell.settle()
        shell.interrupt()
        shell.wait_line("obxc:>")
    finally:
        obxd.process.send_signal(signal.SIGCONT)
    assert who(shell) == "''"
    assert shell.run("save") == REFUSED
    assert shell.run("login admin -p admin") == ""
    assert shell.line() == "admin@obxc:>"
    assert shell.run("save") == "Status: OK"
