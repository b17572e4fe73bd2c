"""The recording of a shell session."""

import os

from harness import environment


def read(path):
    with open(path) as text:
        return text.read()


def test_a_recording(session, directory):
    path = os.path.join(directory, "rec")
    session.run("color prompt")
    assert session.run("record " + path) == ""
    assert session.line().endswith("obxc-record:>")
    assert session.run("record other") == "record: already recording."
    session.run("color hint")
    session.run("help")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(path) == "record other\ncolor hint\nhelp\n"
    assert os.stat(path).st_mode & 0o777 == 0o600
    session.send("q\r")
    assert session.end() == 0


def test_a_recording_keeps_the_file_that_it_goes_to(session, directory):
    path = os.path.join(directory, "script")
    with open(path, "w") as script:
        script.write("old and longer than what will be recorded\n")
    os.chmod(path, 0o755)
    session.run("record " + path)
    session.run("color hint")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(path) == "color hint\n"
    assert os.stat(path).st_mode & 0o777 == 0o755


def test_a_recording_below_home(open_shell, directory):
    session = open_shell(env=environment(HOME=directory))
    assert session.run("record ~/rec") == ""
    session.run("color hint")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(os.path.join(directory, "rec")) == "color hint\n"
    assert session.run("record ~/no/rec") == "record: can't create record file ~/no/rec."


def test_quit_ends_a_recording_only(session, directory):
    path = os.path.join(directory, "rec")
    session.run("record " + path)
    session.send("quit\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(path) == ""
    assert session.run("color hint") == "120 100 55"


def test_an_aborted_recording(session, directory):
    path = os.path.join(directory, "rec")
    assert session.run("record abort") == "record: no record found."
    session.run("record " + path)
    session.run("color hint")
    assert session.run("record abort") == ""
    assert session.line().endswith("@obxc:>")
    assert read(path) == ""


def test_a_recording_that_nobody_ends(session, directory):
    path = os.path.join(directory, "rec")
    session.run("record " + path)
    session.run("color hint")
    session.send("\x04")
    assert session.end() == 0
    assert read(path) == ""


def test_a_blank_line_shifts_the_recording(session, directory):
    path = os.path.join(directory, "rec")
    session.run("color prompt")
    session.run("record " + path)
    session.run("  color autocomplete")
    session.run("color hint")
    session.send("q\r")
    session.wait_line(r"\S*@obxc:>|obxc:>")
    assert read(path) == "record %s\ncolor hint\n" % path


def test_record_misuse(session, directory):
    syntax = "syntax: record <filename>|abort"
    assert session.run("record") == syntax
    assert session.run("record a b") == syntax
    missing = os.path.join(directory, "no", "such")
    assert session.run("record " + missing) == "record: can't create record file %s." % missing
    long = directory + "/" + "x" * 300
    session.run("record " + long)
    assert "record: can't create record file %s." % long in session.text().replace("\n", "")
