"""What the programs consist of: what a router loads before the first instruction, and what a file tells of its build."""

import re
import subprocess

import pytest

import harness

pytestmark = pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer brings the C++ library along")


def symbols(program, *options):
    lines = subprocess.run(["nm", *options, harness.binary(program)], stdout=subprocess.PIPE, check=True, text=True).stdout
    return [line.split()[-1] for line in lines.splitlines()]


def test_client_links_nothing_of_the_c_plus_plus_runtime():
    defined = symbols(harness.OBXC, "--defined-only")
    assert "main" in defined
    assert [name for name in defined if name.startswith(("__cxa_", "_Unwind_", "__gxx_"))] == []
    needed = subprocess.run(["readelf", "-d", harness.binary(harness.OBXC)], stdout=subprocess.PIPE, check=True, text=True).stdout
    assert "libstdc++" not in needed and "libgcc" not in needed


def test_client_shows_modules_the_whole_of_lua_and_little_else():
    shown = symbols(harness.OBXC, "-D", "--defined-only")
    lua = [name for name in shown if re.match(r"lua(L|open)?_", name)]
    assert len(lua) > 130
    assert len(shown) - len(lua) < 30


@pytest.mark.parametrize("program", [harness.OBXC, harness.OBXD])
def test_program_does_not_tell_where_it_was_built(program):
    with open(harness.binary(program), "rb") as file:
        assert harness.SOURCE.encode() not in file.read()
