"""The session in the README is what one sees."""

import os
import re

import harness

def readme_session():
    """(command, output) of the session, and what stands before its first prompt."""
    with open(os.path.join(harness.SOURCE, "README.md"), encoding="utf-8") as readme:
        block = re.search(r"```\n\$ \./run\n(.*?)```", readme.read(), re.S).group(1)
    banner, *rest = re.split(r"^root@obxc:(?=\S*> )", block, flags=re.M)
    steps = []
    for part in rest:
        first, _, output = part.partition("\n")
        path, _, command = first.partition("> ")
        steps.append((path, command, output))
    return banner, steps


def test_the_session_is_real(obxd, terminal):
    banner, steps = readme_session()
    assert len(steps) > 8
    shell = terminal(daemon=obxd, columns=120)
    shell.prompt()
    assert "\n".join(line.rstrip() for line in banner.split("\n")).strip() == "\n".join(
        line.rstrip() for line in shell.text().split("\n")[:-1]).strip()
    for path, command, output in steps[:-1]:
        assert shell.prompt() == "root@obxc:%s>" % path
        assert shell.run(command).expandtabs() == output.rstrip("\n").expandtabs()
    assert steps[-1][1] == "q"
    shell.send("q\r")
    assert shell.end() == 0
