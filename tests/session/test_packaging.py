"""Packages for routers and archives of the sources: what their scripts make, and that the checks among them can fail."""

import os
import re
import shutil
import signal
import subprocess
import tarfile

import pytest

import harness

PACKAGING = os.path.join(harness.SOURCE, "packaging")
with open(os.path.join(harness.SOURCE, "CMakeLists.txt")) as sources:
    VERSION = re.search(r"project\(obxc VERSION (\S+)", sources.read()).group(1)
TOP = "obxc-" + VERSION


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, **options)


@pytest.fixture
def copy(directory):
    """A copy of what names versions, whose files a test may change."""
    os.mkdir(os.path.join(directory, "ansible"))
    for name in ("CMakeLists.txt", "CHANGELOG.md", "LICENSE", "THIRD-PARTY.md", "ansible/galaxy.yml"):
        shutil.copy(os.path.join(harness.SOURCE, name), os.path.join(directory, name))
    shutil.copytree(PACKAGING, os.path.join(directory, "packaging"), symlinks=True)
    return directory


def change(path, old, new):
    with open(path) as file:
        text = file.read()
    assert old in text
    with open(path, "w") as file:
        file.write(text.replace(old, new, 1))


def test_programs_and_packages_are_of_one_version(copy):
    assert run(PACKAGING + "/versions").stderr == ""
    assert harness.obxc("-v").out.endswith("obxc version %s\n" % VERSION)
    assert VERSION in run(harness.OBXD, "--version", env=harness.environment()).stdout
    change(os.path.join(copy, "CMakeLists.txt"), "VERSION " + VERSION, "VERSION 9.9.9")
    finished = run(copy + "/packaging/versions")
    assert finished.returncode == 1
    assert [line.split()[0] for line in finished.stderr.splitlines()] == [
        "CHANGELOG.md", "ansible/galaxy.yml", "packaging/debian/changelog", "packaging/openwrt/Makefile"]


def check_recipe(top, directory):
    return run(top + "/packaging/openwrt/check", harness.BUILD, os.path.join(directory, "out"), env=harness.environment(
        OBX_BUILD_DIR=None))


@pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer brings libraries along")
def test_openwrt_recipe_packs_what_is_installed(directory):
    finished = check_recipe(harness.SOURCE, directory)
    assert (finished.returncode, finished.stderr) == (0, "")
    root = os.path.join(directory, "out", "root")
    assert os.readlink(root + "/obxc/usr/bin/obxc_lua") == "obxc"
    assert os.path.exists(root + "/lua-ombrix/usr/lib/lua/5.3/ombrix/wait/init.lua")
    assert os.path.getsize(root + "/obxc/usr/bin/obxc") < os.path.getsize(harness.BUILD + "/bin/obxc")  # it is stripped
    with open(os.path.join(directory, "out", "control", "obxd")) as control:
        assert "Version: %s-r1\nDepends: libc\n" % VERSION in control.read()
    with open(os.path.join(directory, "out", "PKGINFO", "lua-ombrix")) as info:
        assert "arch = noarch\n" in info.read()


@pytest.mark.skipif(harness.SANITIZED, reason="a sanitizer brings libraries along")
@pytest.mark.parametrize("old, new, told", [
    ("PKG_VERSION:=" + VERSION, "PKG_VERSION:=9.9.9", "the recipe is of version 9.9.9"),
    ("PKG_HASH:=skip", "PKG_HASH:=0123", "PKG_HASH is no SHA-256"),
    ("OBXC_TLS:mbedtls", "OBXC_TLS||PACKAGE_obxd:mbedtls", "PKG_BUILD_DEPENDS does not take OBXC_TLS||PACKAGE_obxd:mbedtls"),
    ("LICENSE THIRD-PARTY.md", "LICENCE", "the licence file LICENCE is not there"),
    ("$(LN) obxc $(1)/usr/bin/obxc_lua", "$(LN) obxd $(1)/usr/bin/obxc_lua", "usr/bin/obxc_lua leads nowhere"),
    ("/etc/config/obxd\n", "/etc/config/other\n", "/etc/config/other is not there"),
    ("$(eval $(call BuildPackage,lua-ombrix))", "", "wait/init.lua is in no package"),
])
def test_openwrt_check_sees_what_is_wrong(copy, old, new, told):
    change(os.path.join(copy, "packaging/openwrt/Makefile"), old, new)
    finished = check_recipe(copy, copy)
    assert finished.returncode == 1
    assert told in finished.stderr


# Where procd and UCI stand, each prints what it was asked.
PROCD = """
config_load() { :; }
config_get_bool() { eval "$1=${enabled_is:-$4}"; }
config_get() { eval "$1=${4:-}"; case $3 in model) eval "$1=/m.json" ;; esac; }
procd_open_instance() { :; }
procd_close_instance() { :; }
procd_set_param() { echo "$@"; }
procd_append_param() { echo "more $@"; }
mkdir() { :; }; chown() { :; }; chmod() { echo "chmod $@"; }; ln() { :; }
. %s/openwrt/files/obxd.init
start_service
""" % PACKAGING


def test_openwrt_service_starts_the_daemon_as_its_user():
    lines = run("sh", "-c", PROCD, check=True).stdout.splitlines()
    assert "command /usr/bin/obxd --socket /var/run/obxd/obxd.sock --state /etc/obxd" in lines
    assert "more command --model /m.json" in lines and "user obxd" in lines
    assert "chmod 0750 /var/run/obxd" in lines  # for the group alone
    assert run("sh", "-c", "enabled_is=0\n" + PROCD, check=True).stdout == ""


@pytest.fixture
def init_script(directory):
    """A function that plays the script for SysV init below a directory, without the daemon's own user; returns status and text."""
    if not os.access("/usr/sbin/start-stop-daemon", os.X_OK):
        pytest.skip("no start-stop-daemon")
    with open(PACKAGING + "/sysv/obxd") as file:
        text = file.read()
    for old, new in (("/var/run/", directory + "/"), ("/var/lib/", directory + "/lib/"), ("/usr/bin/obxd", harness.OBXD),
                     (" --chuid obxd:obxd", ""), ("\nset -e\n", "\nset -e\nchown() { :; }\n")):
        assert old in text
        text = text.replace(old, new)
    path = os.path.join(directory, "script")
    with open(path, "w") as file:
        file.write(text)

    def play(word):
        finished = run("sh", path, word, env=harness.environment())
        assert finished.stderr == ""
        return finished.returncode, finished.stdout

    yield play
    play("stop")


@pytest.mark.skipif(bool(harness.EMULATED), reason="the process is the emulator's")
def test_init_script_starts_and_stops_the_daemon(init_script, directory):
    stopped = (3, "obxd is not running.\n")
    assert init_script("status") == stopped
    assert init_script("start") == (0, "")
    assert init_script("start") == (0, "")
    assert init_script("status") == (0, "obxd is running.\n")
    socket = os.path.join(directory, "obxd.sock")
    harness.wait_until(lambda: os.path.exists(socket), "the socket")
    assert "router" in harness.obxc("-u", socket, "-r", "get", "Device.DeviceInfo.HostName").out
    assert init_script("restart") == (0, "")
    harness.wait_until(lambda: os.path.exists(socket), "the socket again")
    assert init_script("stop") == (0, "")
    assert not os.path.exists(socket) and init_script("status") == stopped
    assert init_script("stop") == (0, "")


@pytest.mark.skipif(bool(harness.EMULATED), reason="the process is the emulator's")
def test_init_script_tells_that_the_daemon_does_not_start(init_script, directory):
    with open(os.path.join(directory, "script")) as file:
        text = file.read()
    with open(os.path.join(directory, "script"), "w") as file:
        file.write(text.replace("\nOBXD_OPTIONS=\n", "\nOBXD_OPTIONS='--model /nonexistent'\n"))
    finished = run("sh", os.path.join(directory, "script"), "start", env=harness.environment())
    assert (finished.returncode, finished.stderr) == (1, "obxd has not started.\n")


@pytest.mark.skipif(bool(harness.EMULATED), reason="the process is the emulator's")
def test_init_script_takes_no_other_process_for_the_daemon(init_script, directory):
    """Its number may be another's by now."""
    init_script("start")
    with open(os.path.join(directory, "obxd", "obxd.pid")) as file:
        daemon = int(file.read())
    os.kill(daemon, signal.SIGKILL)
    harness.wait_until(lambda: not os.path.exists("/proc/%d" % daemon), "its end")
    assert init_script("status") == (1, "obxd has ended by itself.\n")
    other = subprocess.Popen(["sleep", "600"])
    try:
        with open(os.path.join(directory, "obxd", "obxd.pid"), "w") as file:
            file.write("%d\n" % other.pid)
        assert init_script("status")[0] == 1
        assert init_script("stop") == (0, "") and other.poll() is None
        assert init_script("start") == (0, "") and init_script("status")[0] == 0
    finally:
        other.kill()
        other.wait()


def test_source_archive_is_the_same_whoever_makes_it(directory):
    if not os.path.exists(os.path.join(harness.SOURCE, ".git")):
        pytest.skip("this tree is such an archive")
    env = harness.environment(HOME=directory, GIT_CONFIG_COUNT="1", GIT_CONFIG_KEY_0="safe.directory", GIT_CONFIG_VALUE_0="*")
    archives = []
    for name, zone in (("a", "UTC"), ("b", "Asia/Tokyo")):
        finished = run(PACKAGING + "/release", os.path.join(directory, name), env=dict(env, TZ=zone))
        assert (finished.returncode, finished.stderr) == (0, "")
        archives.append(os.path.join(directory, name, TOP + ".tar.gz"))
    with open(archives[0], "rb") as one, open(archives[1], "rb") as other:
        assert one.read() == other.read()
    with tarfile.open(archives[0]) as archive:
        names = archive.getnames()
    assert {name.split("/")[0] for name in names} == {TOP}
    assert {TOP + "/CMakeLists.txt", TOP + "/LICENSE", TOP + "/packaging/debian/rules"} <= set(names)
    digest = finished.stdout.split()[0]
    with open(os.path.join(directory, "b", "openwrt", "Makefile")) as recipe:
        assert "PKG_HASH:=%s\n" % digest in recipe.read()


@pytest.mark.parametrize("program, page", [(harness.OBXC, "obxc.1"), (harness.OBXD, "obxd.8")])
def test_manual_page_names_the_options(program, page):
    told = run(program, "--help", env=harness.environment())
    with open(os.path.join(harness.SOURCE, "docs", page)) as file:
        text = file.read().replace("\\-", "-")
    assert sorted(set(re.findall(r"--[a-z-]+", text))) == sorted(set(re.findall(r"--[a-z-]+", told.stdout + told.stderr)))


def test_sources_need_nothing_for_tests(directory):
    """Who builds and installs them, as ./run does, has no GoogleTest."""
    finished = run("cmake", "-S", harness.SOURCE, "-B", directory, "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON")
    assert finished.returncode == 0, finished.stderr


def test_service_is_hardened(directory):
    if not shutil.which("systemd-analyze"):
        pytest.skip("systemd is not installed")
    subprocess.run(["cmake", "--install", harness.BUILD, "--prefix", "/usr"], check=True, stdout=subprocess.DEVNULL,
                   env=dict(os.environ, DESTDIR=directory))
    units = harness.configured("OBX_SYSTEMD_DIR")
    unit = os.path.join(directory, units[1:] if os.path.isabs(units) else "usr/" + units, "obxd.service")
    finished = run("systemd-analyze", "security", "--offline=true", "--threshold=25", "--no-pager", unit)
    assert finished.returncode == 0, finished.stdout
