"""Published data model documents for obxd: the official ones that the tests have, and small ones of a test's own."""

import json
import lzma
import os
import subprocess

import harness

OFFICIAL = {"cwmp": "tr-181-2-17-0-cwmp-full.xml", "usp": "tr-181-2-16-0-usp-full.xml"}


def official(which, directory):
    """The official document ("cwmp" or "usp"), unpacked into a directory; its path."""
    path = os.path.join(str(directory), OFFICIAL[which])
    with lzma.open(os.path.join(harness.SOURCE, "tests", "data", OFFICIAL[which] + ".xz")) as packed:
        with open(path, "wb") as file:
            file.write(packed.read())
    return path


def document(body, types="", model="Device:2.99", namespace="urn:broadband-forum-org:cwmp:datamodel-1-14", head=""):
    """The text of a document whose model holds `body`."""
    return ('<?xml version="1.0" encoding="UTF-8"?>\n%s<dm:document xmlns:dm="%s" '
            'xmlns:dmr="urn:broadband-forum-org:cwmp:datamodel-report-1-0" spec="urn:x" file="x.xml">\n%s'
            '<model name="%s">\n%s\n</model>\n</dm:document>\n' % (head, namespace, types, model, body))


def parameter(name, syntax="<string/>", access="readOnly", more=""):
    return ('<parameter name="%s" access="%s" %s><description>D</description><syntax>%s</syntax></parameter>\n'
            % (name, access, more, syntax))


def table(name, body, access="readWrite", more=""):
    return ('<object name="%s" access="%s" minEntries="0" maxEntries="unbounded" %s>%s</object>\n'
            % (name, access, more, body))


def obj(name, body=""):
    return '<object name="%s" access="readOnly" minEntries="1" maxEntries="1">%s</object>\n' % (name, body)


def dump(*args):
    """What obxd --dump-model prints, read."""
    run = subprocess.run([harness.OBXD, "--dump-model", *args], capture_output=True, check=True, text=True)
    return json.loads(run.stdout)


def refusal(path, *args):
    """The line with which obxd refuses a model, behind "obxd: " and the directory."""
    run = subprocess.run([harness.OBXD, "--dump-model", "--model", path, *args], capture_output=True, text=True)
    assert run.returncode == 1 and run.stdout == "", run
    return run.stderr.removeprefix("obxd: ").replace(os.path.dirname(path) + "/", "").rstrip("\n")


def nodes(schema, path=""):
    """All (path, node) of a dumped schema; arguments and events left out."""
    for name, node in schema.items():
        if name in ("#attr", "#events"):
            continue
        yield path + name, node
        if is_object(node):
            yield from nodes(node, path + name + ".")


def is_object(node):
    return not isinstance(node.get("type"), str)


def attributes(client, path, level=-1, details=False):
    params = {"ParameterNames": [path], "Level": level, "Details": details}
    return {entry["Name"]: entry["Attributes"]
            for entry in client.call("GetParameterAttributes", params)["ParameterList"]}
