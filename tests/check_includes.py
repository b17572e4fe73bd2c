#!/usr/bin/python3
"""Checks that includes go one way between the rooms: nothing includes upward."""

import os
import re
import sys

TOP = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))

PLATFORM = ("platform/global", "platform/tr", "platform/conf", "platform/lua")

# A room (or a single file) may include the rooms and files that are listed, and headers of no room (the system's and
# the libraries').
ALLOWED = {
    "platform/global": {"platform/global"},
    "platform/tr": {"platform/tr", "platform/global"},
    "platform/conf": {"platform/conf", "platform/tr", "platform/global"},
    "platform/lua": {"platform/lua", "platform/conf", "platform/tr", "platform/global"},
    "obxc/session": {"obxc/session", *PLATFORM},
    "obxc/line": {"obxc/line", "platform/global"},
    "obxc/model": {"obxc/model", "obxc/line", "obxc/session", "obxc", *PLATFORM},
    "obxc/complete": {"obxc/complete", "obxc/model", "obxc/line", "obxc/session", "obxc", *PLATFORM},
    "obxc/lua": {"obxc/lua", "obxc/complete", "obxc/model", "obxc/line", "obxc/session", "obxc", *PLATFORM},
    "obxc/commands": {"obxc/commands", "obxc/lua", "obxc/complete", "obxc/model", "obxc/line", "obxc/session", "obxc",
                      *PLATFORM},
    "obxc/main": {"obxc/main", "obxc/commands", "obxc/lua", "obxc/complete", "obxc/model", "obxc/line",
                  "obxc/session", "obxc", *PLATFORM},
    "obxc": {"obxc", *PLATFORM},
    "obxd": {"obxd", "platform/global", "platform/tr"},
    "obxd/net": {"obxd/net", "obxd/owners.hpp", "platform/global"},
    "obxd/users": {"obxd/users", "obxd", "platform/global", "platform/tr"},
    "obxd/store": {"obxd/store", "obxd", "platform/global", "platform/tr"},
    "obxd/device": {"obxd/device", "obxd/store", "obxd/users", "obxd/net/loop.hpp", "obxd", "platform/global",
                    "platform/tr"},
    "obxd/requests": {"obxd/requests", "obxd/device", "obxd/store", "obxd/users", "obxd/net", "obxd", "platform/global",
                      "platform/tr"},
    "obxd/main.cpp": {"obxd", "obxd/requests", "obxd/device", "obxd/store", "obxd/users", "obxd/net"},
}
# Editor code stays behind ox_editor.hpp, ox_rl.hpp and ox_history.hpp, TLS code out of everything that is not about it.
ONLY_IN = {
    r"readline/": ["platform/global/terminal/"],
    r"mbedtls/": ["platform/global/jrpc/", "platform/global/system/", "obxd/"],
    r"lua\.h": ["platform/lua/", "obxc/lua/"],
}

# The rooms inside platform/global that know only some of the others. A public header belongs to the room of its body.
GLOBAL = "platform/global"
INNER = {
    "text": {"text"},
    "system": {"system", "text"},
    "terminal": {"terminal", "system", "text"},
}
# Public headers of templates alone, and what they stand on.
WITHOUT_BODY = {"ox_array.hpp": "text", "ox_raii.hpp": "system"}


def inner_room_of(path):
    """The room inside platform/global that a file belongs to, or None."""
    rest = path.removeprefix(GLOBAL + "/")
    if rest == path:
        return None
    room, name = rest.split("/", 1)
    if room != "include":
        return room
    if name in WITHOUT_BODY:
        return WITHOUT_BODY[name]
    for room in [*INNER, *sorted(os.listdir(os.path.join(TOP, GLOBAL)))]:
        if os.path.exists(os.path.join(TOP, body_of(path, room))):
            return room
    return None


def body_of(header, room):
    """Where the body of a header of a room stands: NAME.cpp for NAME.hpp and for the public ox_NAME.hpp."""
    name = os.path.basename(header)
    if "/include/" in header:
        name = name.removeprefix("ox_")
    return os.path.join(GLOBAL, room, name.removesuffix(".hpp") + ".cpp")


def declared(text):
    """The names of the functions and variables that a header declares, and leaves to a body to define."""
    for ignored in (r"//[^\n]*", r"(?m:^#[^\n]*)", r"(?m:^(?:template|inline)\b[^;{]*\{.*?^\})",
                    r"(?m:^(?:struct|class|enum)\b[^;{()]*\{.*?\};)", r"__attribute__\(\(.*?\)\)(?=;)", r"\[\[\w+\]\]"):
        text = re.sub(ignored, "", text, flags=re.S)
    names = re.findall(r"^(?!using|typedef|inline|extern)[\w:*&<> ]+?\b(\w+)\([^;{]*\)\s*;", text, re.M)
    return names + re.findall(r"^extern [^;=]*?\(?\*?\b(\w+)\)?(?:\([^()]*\)|\[\w*\])?;", text, re.M)


def undefined(path, text):
    """What a header of an inner room declares that the file of its name does not define."""
    room = inner_room_of(path)
    if room not in INNER or not path.endswith(".hpp"):
        return []
    names = declared(text)
    body = os.path.join(TOP, body_of(path, room))
    defined = ""
    if os.path.exists(body):
        with open(body, encoding="utf-8") as source:
            defined = source.read()
    return [name for name in names
            if not re.search(r"^[\w\[].*?\b%s(?:\([^;{}]*\)\s*\{|\)?[^;]*=|;)" % re.escape(name), defined, re.M)]


def room_of(path):
    """The longest room that holds a file, as a path from the top."""
    rooms = [room for room in ALLOWED if path == room or path.startswith(room + "/")]
    return max(rooms, key=len) if rooms else None


def resolve(path, include):
    """Where an include with quotes leads to inside the tree, or None."""
    for base in (os.path.dirname(path), "obxc", "obxd", *(room + "/include" for room in PLATFORM)):
        candidate = os.path.normpath(os.path.join(base, include))
        if os.path.exists(os.path.join(TOP, candidate)):
            return candidate
    return None


def main():
    faults = []
    files = 0
    for base in ("obxc", "obxd", "platform"):
        for directory, _, names in os.walk(os.path.join(TOP, base)):
            for name in sorted(names):
                if not name.endswith((".cpp", ".hpp")):
                    continue
                path = os.path.relpath(os.path.join(directory, name), TOP)
                room = room_of(path)
                files += 1
                with open(os.path.join(TOP, path), encoding="utf-8") as source:
                    text = source.read()
                for include in re.findall(r'^\s*#\s*include\s+"([^"]+)"', text, re.M):
                    target = resolve(path, include)
                    if target is None:
                        faults.append("%s: \"%s\" is not in the tree" % (path, include))
                    elif not {target, room_of(target)} & ALLOWED[room]:
                        faults.append("%s (%s) includes %s" % (path, room, target))
                    elif inner_room_of(target) not in INNER.get(inner_room_of(path), {inner_room_of(target)}):
                        faults.append("%s includes %s of %s" % (path, target, inner_room_of(target)))
                faults += ["%s declares %s, which is not in the file of its name" % (path, name)
                           for name in undefined(path, text)]
                for include in re.findall(r"^\s*#\s*include\s+<([^>]+)>", text, re.M):
                    for pattern, places in ONLY_IN.items():
                        if re.match(pattern, include) and not path.startswith(tuple(places)):
                            faults.append("%s includes <%s>" % (path, include))
    for fault in faults:
        print(fault)
    print("%d files, %d faults" % (files, len(faults)))
    return 1 if faults or files == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
