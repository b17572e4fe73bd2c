#!/usr/bin/python3
"""Checks that what docs/architecture.md names is in the tree: files, rooms, and functions in the file said to hold them.

`name` (`path/NAME.cpp`) claims that the file defines or names the function; a name alone, that some file does.
"""

import os
import re
import sys

import check_includes
import declarations

PAGE = os.path.join(check_includes.TOP, "docs", "architecture.md")


def defined_names():
    """What each source file defines, as names without their types."""
    found = {}
    for path in check_includes.sources():
        names = declarations.names(check_includes.read(path))[1]
        found[path] = {name.split("::")[-1] for name in names} | {name for name in names}
    return found


def main():
    with open(PAGE, encoding="utf-8") as page:
        text = re.sub(r"```.*?```", "", page.read(), flags=re.S)
    text = re.sub(r"\s+", " ", text)
    known = defined_names()
    everywhere = set().union(*known.values())
    faults = []
    functions = 0
    for span in sorted(set(re.findall(r"`([^`]+)`", text))):
        if "NAME" in span:  # stands for any
            continue
        if re.fullmatch(r"[\w/]+/[\w.]*|[\w/]+\.(cpp|hpp|py)", span):
            if not any(os.path.exists(os.path.join(check_includes.TOP, base, span))
                       for base in ("", "platform/global/include", "obxd", "obxd/store")):
                faults.append("`%s` is not in the tree" % span)
        elif re.fullmatch(r"[a-z]\w*_\w+", span):
            functions += 1
            if span not in everywhere:
                faults.append("`%s` is defined nowhere" % span)
    for names, path in re.findall(r"((?:`\w+`(?:,? and |, )?)+) \(`([\w/]+\.cpp)`\)", text):
        for name in re.findall(r"`(\w+)`", names):
            if name not in known.get(path, ()):
                faults.append("`%s` is not defined in %s" % (name, path))
    for fault in faults:
        print(fault)
    print("%d names, %d faults" % (functions, len(faults)))
    return 1 if faults or functions == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
