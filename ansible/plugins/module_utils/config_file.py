"""A configuration as text that git can hold, as obx export writes it: a line for each value (PATH=VALUE) and for each row
(its path, with the final "."). The heading says what the file is all of: rows that it lacks are deleted when it is restored.
A file without a heading sets what it names and deletes nothing. Empty lines, and those that begin with "#", say nothing."""

import json
import re
from collections import namedtuple

from .errors import Misused

HEADING = "# obx export "
_NAMED = {"\n": "\\n", "\r": "\\r", "\t": "\\t", "\\": "\\\\"}
_PLAIN = {"n": "\n", "r": "\r", "t": "\t", "\\": "\\"}

# `scope` is the path that the file is all of, None without a heading; `entries` are (path, text), None for a row.
Configuration = namedtuple("Configuration", "scope entries")


def text_of(value):
    """A value as the file and the daemon's conversions have it."""
    return value if isinstance(value, str) else json.dumps(value, separators=(",", ":"))


def written(state):
    """The file's text for a State."""
    lines, told = [HEADING + state.path], set()

    def tell_rows(path):
        for row in rows_of(path):
            if row in state.rows and row not in told:
                told.add(row)
                lines.append(row)

    for name, value in state.values.items():
        tell_rows(name)
        lines.append("%s=%s" % (name, re.sub(r"[\x00-\x1f\x7f\\]", _escaped, text_of(value))))
    for row in state.rows:
        tell_rows(row)
    return "\n".join(lines) + "\n"


def read(path):
    """The Configuration in a file."""
    try:
        with open(path, encoding="utf-8") as file:
            text = file.read()
    except (OSError, ValueError) as error:
        raise Misused("%s: %s" % (path, getattr(error, "strerror", None) or "no text in UTF-8")) from error
    scope, entries = None, []
    for number, line in enumerate(text.replace("\r\n", "\n").split("\n"), 1):
        if line.startswith(HEADING):
            scope = line[len(HEADING):]
        if not line.strip() or line.startswith("#"):
            continue
        name, equals, value = line.partition("=")
        name = name.lstrip(":")
        if not name or not (equals or name.endswith(".")):
            raise Misused('%s:%d: PATH=VALUE, or a row\'s path with its final ".", expected' % (path, number))
        entries.append((name, _unescaped(value) if equals else None))
    return Configuration(scope, entries)


def rows_of(path):
    """The rows that a path lies in or is, from the outermost to the innermost."""
    return [path[:found.end()] for found in re.finditer(r"(?<=\.)\d+\.", path)]


def table_of(row):
    return row[:row.rindex(".", 0, -1) + 1]


def _escaped(found):
    return _NAMED.get(found.group()) or "\\0%03o" % ord(found.group())


def _unescaped(text):
    def plain(found):
        return chr(int(found.group(1), 8)) if found.group(1) else _PLAIN[found.group(2)]
    return re.sub(r"\\(?:0([0-7]{3})|([nrt\\]))", plain, text)
