"""What `cmake --install` leaves: everything, below any prefix, and found from there."""

import os
import re
import shutil
import subprocess

import pytest

import harness

CLIENT = """
bin/obx bin/obx bin/obxc bin/obxc_interpreter bin/obxc_lua
lib/lua/5.3/ombrix/snapshot/init.lua lib/lua/5.3/ombrix/wait/init.lua
share/bash-completion/completions/obxc share/fish/vendor_completions.d/obxc.fish share/{zsh}/_obxc
share/obxc/complete share/obxc/complete.lua share/obx/complete
lib/lua/5.3/ombrix/obx/program.lua lib/lua/5.3/ombrix/obx/commands/get.lua
share/bash-completion/completions/obx share/fish/vendor_completions.d/obx.fish share/{zsh}/_obx
share/man/man1/obx.1 share/man/man1/obxc.1 share/man/man1/obxc_interpreter.1 share/man/man1/obxc_lua.1
share/doc/obxc/README.md share/doc/obxc/CHANGELOG.md share/doc/obxc/SECURITY.md share/doc/obxc/LICENSE
share/doc/obxc/THIRD-PARTY.md share/doc/obxc/LICENSES/GPL-3 share/doc/obxc/docs/guide.md share/doc/obxc/docs/lua.md
share/ansible/collections/ansible_collections/ombrix/obx/galaxy.yml
share/ansible/collections/ansible_collections/ombrix/obx/plugins/modules/obx_info.py
""".format(zsh=harness.configured("OBX_ZSH_DIR")).split()
DAEMON = """
bin/obxd lib/sysusers.d/obxd.conf lib/tmpfiles.d/obxd.conf
share/obxd/router.json share/obxd/users.json share/man/man8/obxd.8 share/doc/obxd/examples/obxd.init
share/doc/obxd/docs/obxd.md share/doc/obxd/LICENSE share/doc/obxd/THIRD-PARTY.md share/doc/obxd/LICENSES/LGPL-2.1
""".split()
UNITS = harness.configured("OBX_SYSTEMD_DIR")  # below the prefix, or from the top


def install(prefix, destination=""):
    subprocess.run(["cmake", "--install", harness.BUILD, "--prefix", prefix], check=True, stdout=subprocess.DEVNULL,
                   env=dict(os.environ, DESTDIR=destination))
    return destination + prefix


@pytest.fixture(scope="module")
def prefix():
    """An installation below a directory of its own, with its unit there too."""
    directory = harness.temp_dir()
    if os.path.isabs(UNITS):
        yield install("/opt", directory)
    else:
        yield install(os.path.join(directory, "opt"))
    subprocess.run(["rm", "-rf", directory], check=True)


def told(prefix):
    """The prefix as the installation was told it."""
    return "/opt" if os.path.isabs(UNITS) else prefix


def unit_of(prefix):
    return os.path.dirname(prefix) + UNITS if os.path.isabs(UNITS) else os.path.join(prefix, UNITS)


def files(top):
    return {os.path.relpath(os.path.join(path, name), top) for path, _, names in os.walk(top) for name in names}


def test_everything_is_there(prefix):
    assert set(CLIENT + DAEMON) - files(prefix) == set()
    broken = [name for name in files(prefix) if not os.path.exists(os.path.join(prefix, name))]
    assert broken == []
    for name in ("bin/obx", "share/obx/complete", "bin/obxc", "bin/obxd", "share/obxc/complete", "share/doc/obxd/examples/obxd.init"):
        assert os.access(os.path.join(prefix, name), os.X_OK), name


def test_destination_goes_before_the_prefix(prefix, directory):
    assert files(install("/usr", directory)) == files(prefix)
    assert set(os.listdir(directory)) == ({"usr", UNITS.split("/")[1]} if os.path.isabs(UNITS) else {"usr"})
    with open(unit_of(directory + "/usr") + "/obxd.service") as unit:
        assert "ExecStart=/usr/bin/obxd " in unit.read()


def test_links_of_the_documents_lead_somewhere(prefix):
    wrong = []
    for name in sorted(files(prefix)):
        if not name.endswith(".md"):
            continue
        with open(os.path.join(prefix, name)) as file:
            for link in re.findall(r"\]\(([^)#:]+)[)#]", file.read()):
                if not os.path.exists(os.path.join(prefix, os.path.dirname(name), link)):
                    wrong.append((name, link))
    assert wrong == []


def test_services_start_the_daemon_of_the_prefix(prefix):
    with open(unit_of(prefix) + "/obxd.service") as unit:
        assert "ExecStart=%s/bin/obxd " % told(prefix) in unit.read()
    example = os.path.join(prefix, "share/doc/obxd/examples/obxd.init")
    with open(example) as script, open(os.path.join(harness.SOURCE, "packaging", "sysv", "obxd")) as source:
        assert script.read() == source.read().replace("/usr/bin/obxd", told(prefix) + "/bin/obxd")


@pytest.fixture
def programs(prefix):
    """The folder of the installed programs, or of what starts these where they are emulated."""
    launchers = os.path.join(prefix, "emulated")
    if harness.EMULATED:
        shutil.copytree(os.path.dirname(harness.OBXC), launchers + "/bin")
        os.symlink("obxc", launchers + "/bin/obxc_lua")
    yield (launchers if harness.EMULATED else prefix) + "/bin"
    shutil.rmtree(launchers, ignore_errors=True)


def test_programs_find_what_is_theirs(prefix, programs, script):
    environment = harness.environment(PATH=programs + ":/usr/bin:/bin", OBX_COMPLETION_TIMEOUT=str(harness.PATIENCE))
    socket = os.path.join(os.path.dirname(prefix), "s")
    daemon = subprocess.Popen([programs + "/obxd", "--socket", socket], stdout=subprocess.PIPE, env=environment)
    try:
        assert b"ready" in daemon.stdout.readline()  # so it has its model, though no source is near
        text = "#!%s/obxc_lua\nprint(require('ombrix.wait').wait_until('Device.DeviceInfo.UpTime', function() return true end))\n"
        path = script(text % programs + "print(package.searchpath('ombrix.wait', package.path))\n")

        def run(*command, words=""):
            return subprocess.run(command, input=words, capture_output=True, text=True, env=environment, check=True).stdout

        up, place = run(programs + "/obxc", "-u", socket, "-S", path).split()
        assert up.isdigit() and place == prefix + "/lib/lua/5.3/ombrix/wait/init.lua"
        words = "obxc\n-u\n%s\n-r\nget\nDevice.DeviceInfo.ModelNa\n" % socket
        assert run(prefix + "/share/obxc/complete", words=words) == "Device.DeviceInfo.ModelName\n"
    finally:
        daemon.terminate()
        daemon.wait()


def test_ansible_finds_the_collection(prefix, directory):
    if not shutil.which("ansible-doc"):
        pytest.skip("ansible-core is not installed")
    out = subprocess.run(["ansible-doc", "ombrix.obx.obx_info"], capture_output=True, text=True, cwd=directory, check=True,
                         env=harness.environment(home=directory, LC_ALL="C.UTF-8",
                                                 ANSIBLE_COLLECTIONS_PATH=prefix + "/share/ansible/collections")).stdout
    assert prefix in out


@pytest.mark.parametrize("shell, lines", [
    ("bash", ". {}/share/bash-completion/completions/obxc; COMP_LINE='obxc -r sel' COMP_POINT=11 COMP_WORDS=(obxc -r sel) "
             "COMP_CWORD=2; _obxc; echo ${{COMPREPLY[@]}}"),
    ("fish", "source {}/share/fish/vendor_completions.d/obxc.fish; complete -C 'obxc -r sel'"),
])
def test_completions_find_their_back_end(prefix, shell, lines):
    if subprocess.run(["which", shell], stdout=subprocess.DEVNULL).returncode:
        pytest.skip("%s is not installed" % shell)
    out = subprocess.run([shell, "-c", lines.format(prefix)], capture_output=True, text=True,
                         env=harness.environment(home=os.path.dirname(prefix), PATH=prefix + "/bin:/usr/bin:/bin")).stdout
    assert out.split()[0] == "select"
