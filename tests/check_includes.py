#!/usr/bin/python3
"""Checks the rooms of the tree: nothing includes upward, and what a header declares is defined in the file of its name.

    tests/check_includes.py                      checks; every fault is one line, exit status 1
    tests/check_includes.py --figures [BUILD]    prints sizes and counts instead, of the objects in BUILD too
    tests/check_includes.py --top DIR ...        works on another tree
"""

import os
import re
import subprocess
import sys

import declarations

TOP = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))

GLOBAL = ("platform/global/text", "platform/global/system", "platform/global/terminal", "platform/global/jrpc")
PLATFORM = (*GLOBAL, "platform/tr", "platform/conf", "platform/lua")

# A room (or a single file) may include the rooms and files that are listed, and headers of no room (the system's and
# the libraries').
ALLOWED = {
    "platform/global/text": {"platform/global/text"},
    "platform/global/system": {"platform/global/system", "platform/global/text"},
    "platform/global/terminal": {"platform/global/terminal", "platform/global/system", "platform/global/text"},
    "platform/global/jrpc": {"platform/global/jrpc", "platform/global/system", "platform/global/text",
                             "platform/global/include/ox_out.hpp"},  # an event is printed as the shell prints it
    "platform/without": {"platform/without", *GLOBAL},
    "platform/tr": {"platform/tr", "platform/global/text"},
    "platform/conf": {"platform/conf", "platform/tr", *GLOBAL},
    "platform/lua": {"platform/lua", "platform/conf", "platform/tr", *GLOBAL},
    "obxc/session": {"obxc/session", *PLATFORM},
    "obxc/line": {"obxc/line", "platform/global/text", "platform/global/include/ox_raii.hpp"},
    "obxc/model": {"obxc/model", "obxc/line", "obxc/session", "obxc", *PLATFORM},
    "obxc/complete": {"obxc/complete", "obxc/model", "obxc/line", "obxc/session", "obxc", *PLATFORM},
    "obxc/lua": {"obxc/lua", "obxc/complete", "obxc/model", "obxc/line", "obxc/session", "obxc", *PLATFORM},
    "obxc/commands": {"obxc/commands", "obxc/lua", "obxc/complete", "obxc/model", "obxc/line", "obxc/session", "obxc",
                      *PLATFORM},
    "obxc/main": {"obxc/main", "obxc/commands", "obxc/lua", "obxc/complete", "obxc/model", "obxc/line",
                  "obxc/session", "obxc", *PLATFORM},
    "obxc/without": {"obxc/without", "obxc/commands", "obxc/lua", "platform/lua"},
    "obxc": {"obxc", *PLATFORM},
    "obxd": {"obxd", *GLOBAL, "platform/tr"},
    "obxd/net": {"obxd/net", "obxd/bounds.hpp", "obxd/owners.hpp", "obxd/text.hpp", *GLOBAL},
    "obxd/users": {"obxd/users", "obxd", *GLOBAL, "platform/tr"},
    "obxd/store": {"obxd/store", "obxd", *GLOBAL, "platform/tr"},
    "obxd/device": {"obxd/device", "obxd/store", "obxd/users", "obxd/net/loop.hpp", "obxd", *GLOBAL,
                    "platform/tr"},
    "obxd/requests": {"obxd/requests", "obxd/device", "obxd/store", "obxd/users", "obxd/net", "obxd", *GLOBAL,
                      "platform/tr"},
    "obxd/main.cpp": {"obxd", "obxd/requests", "obxd/device", "obxd/store", "obxd/users", "obxd/net"},
}
# Editor code stays behind ox_editor.hpp, ox_rl.hpp and ox_history.hpp, TLS code out of everything that is not about it.
ONLY_IN = {
    r"readline/": ["platform/global/terminal/"],
    r"mbedtls/": ["platform/global/jrpc/", "platform/global/system/", "obxd/"],
    r"lua\.h": ["platform/lua/", "obxc/lua/"],
}

# Public headers without a body. The model's fixed names are constants that its requests' builders need too.
PUBLIC = {
    "ox_array.hpp": "platform/global/text/",
    "ox_tr_names.hpp": "platform/global/text/",
    "ox_raii.hpp": "platform/global/system/",
}


def room_of(path):
    """The longest room that holds a file, as a path from the top. A public header is of the room of its body."""
    if path.startswith("platform/global/include/"):
        path = PUBLIC.get(os.path.basename(path)) or body_of(path)
    rooms = [room for room in ALLOWED if path == room or path.startswith(room + "/")]
    return max(rooms, key=len) if rooms else None


def resolve(path, include):
    """Where an include with quotes leads to inside the tree, or None."""
    includes = ("platform/%s/include" % library for library in ("global", "tr", "conf", "lua"))
    for base in (os.path.dirname(path), "obxc", "obxd", *includes):
        candidate = os.path.normpath(os.path.join(base, include))
        if os.path.exists(os.path.join(TOP, candidate)):
            return candidate
    return None


def sources(suffixes=(".cpp", ".hpp")):
    """Paths from the top of all sources of the programs, sorted."""
    found = []
    for base in ("obxc", "obxd", "platform"):
        for directory, _, names in os.walk(os.path.join(TOP, base)):
            found += [os.path.relpath(os.path.join(directory, name), TOP) for name in names if name.endswith(suffixes)]
    return sorted(found)


def read(path):
    with open(os.path.join(TOP, path), encoding="utf-8") as source:
        return source.read()


def include_faults(path):
    """What a file includes against the arrows."""
    text = read(path)
    room = room_of(path)
    for include in re.findall(r'^\s*#\s*include\s+"([^"]+)"', text, re.M):
        target = resolve(path, include)
        if target is None:
            yield "%s: \"%s\" is not in the tree" % (path, include)
        elif not {target, room_of(target)} & ALLOWED[room]:
            yield "%s (%s) includes %s" % (path, room, target)
    for include in re.findall(r"^\s*#\s*include\s+<([^>]+)>", text, re.M):
        for pattern, places in ONLY_IN.items():
            if re.match(pattern, include) and not path.startswith(tuple(places)):
                yield "%s includes <%s>" % (path, include)


def body_of(header):
    """The file that a header leads to, whether it is there or not: its name in its room. For a public header,
    ROOM/include/ox_NAME.hpp, NAME.cpp anywhere below ROOM; in platform/tr, ox_tr_NAME.hpp."""
    directory, file = os.path.split(header)
    name = file[:-len(".hpp")]
    room, last = os.path.split(directory)
    if last != "include":
        return os.path.join(directory, name + ".cpp")
    name = re.sub("^ox_", "", name)
    if room == "platform/tr":
        name = re.sub("^tr_", "", name)
    # platform/global/system/wait.cpp is of ox_wait.hpp, platform/global/jrpc/wait.cpp of a header beside it.
    found = [path for path in sources((".cpp",)) if path.startswith(room + "/") and path.endswith("/%s.cpp" % name)]
    alone = [path for path in found if not os.path.exists(os.path.join(TOP, path[:-len(".cpp")] + ".hpp"))]
    return (alone or found or [os.path.join(room, name + ".cpp")])[0]


def elsewhere(header):
    """Names that a header declares and the file of its name does not define."""
    declared, _ = declarations.names(read(header))
    body = body_of(header)
    defined = declarations.names(read(body))[1] if os.path.exists(os.path.join(TOP, body)) else set()
    return sorted(declared - defined)


def check():
    faults = [fault for path in sources() for fault in include_faults(path)]
    for header in sources((".hpp",)):
        found = elsewhere(header)
        if found:
            faults.append("%s: not defined in %s: %s" % (header, body_of(header), ", ".join(found)))
    for fault in faults:
        print(fault)
    print("%d files, %d faults" % (len(sources()), len(faults)))
    return 1 if faults or not sources() else 0


def globals_of(build):
    """(room, object, name) of our own variables that may change: what the symbol tables of the objects in obxc and
    platform place in .data, .bss, .tdata or .tbss, static ones and those of functions too. Constants with relocations
    (.data.rel.ro), marks of the compiler (guards of statics) and instances of the standard library do not count."""
    for directory, _, names in os.walk(build):
        for name in names:
            path = os.path.join(directory, name)
            found = re.search(r"/(obxc|platform)/CMakeFiles/\w+\.dir/(.*/)?[^/]*\.cpp\.o$", path)
            if not found or "/tests/" in path:
                continue
            room = os.path.join(found.group(1), (found.group(2) or "").rstrip("/")).rstrip("/")
            if not os.path.exists(os.path.join(TOP, room, name[:-len(".o")])):  # left by an earlier build
                continue
            table = subprocess.run(["nm", "-C", "-f", "sysv", path], check=True, capture_output=True, text=True).stdout
            for line in table.splitlines():
                fields = [field.strip() for field in line.split("|")]
                if len(fields) == 7 and re.match(r"\.t?(data|bss)(?!\.rel\.ro)", fields[6]) \
                        and fields[3] in ("OBJECT", "TLS") and not re.match(r"guard variable|std::|DW\.ref", fields[0]):
                    yield room, name, fields[0]


def figures(build):
    headers = sources((".hpp",))
    print("headers that lead elsewhere: %d of %d" % (sum(bool(elsewhere(header)) for header in headers), len(headers)))
    changing = sorted(set(globals_of(build))) if build else []
    if build:
        print("variables of obxc and platform that may change: %d" % len(changing))
    lines = {}
    for path in sources():
        room = os.path.dirname(path)
        lines[room] = lines.get(room, 0) + read(path).count("\n")
    print("\n%7s %9s  room" % ("lines", "variables"))
    for room in sorted(lines):
        count = sum(1 for where, _, _ in changing if where == room) if build and not room.startswith("obxd") else ""
        print("%7d %9s  %s" % (lines[room], count, room))
    print("%7d %9s  all" % (sum(lines.values()), len(changing) if build else ""))
    return 0


def main():
    global TOP
    words = sys.argv[1:]
    if words[:1] == ["--top"]:
        TOP = os.path.abspath(words[1])
        words = words[2:]
    if words[:1] == ["--figures"]:
        return figures(words[1] if words[1:] else None)
    return check()


if __name__ == "__main__":
    sys.exit(main())
