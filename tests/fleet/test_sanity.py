"""The checks of ansible-test sanity that run without a network: through ansible-test itself those that need nothing but
ansible-core, and with Debian's packages of the same programs those for which it would fetch packages."""

import os
import re
import shutil
import subprocess
import sys

import ansible_test
import pytest

from routers import COLLECTION

OFFLINE = """
    action-plugin-docs changelog compile empty-init future-import-boilerplate ignores line-endings metaclass-boilerplate
    no-assert no-basestring no-dict-iteritems no-dict-iterkeys no-dict-itervalues no-get-exception no-illegal-filenames no-main-display
    no-smart-quotes no-unicode-literals replace-urlopen shebang symlinks use-argspec-type-path use-compat-six
""".split()
CHECKS = os.path.join(os.path.dirname(ansible_test.__file__), "_util", "controller", "sanity")
PLUGINS = {"module": "modules", "lookup": "lookup", "inventory": "inventory"}


@pytest.fixture(scope="module")
def collection(directory):
    """A copy of the collection where its name says, with nothing in it that is no source."""
    path = os.path.join(directory, "sane", "ansible_collections", "ombrix", "obx")
    shutil.copytree(COLLECTION, path, ignore=shutil.ignore_patterns("__pycache__"))
    return path


@pytest.fixture
def run(collection, controller):
    """A function that runs a program in the collection, without a network."""
    root = collection[:collection.index("/ansible_collections")]
    env = dict(controller.env, ANSIBLE_COLLECTIONS_PATH=root, PYTHONPATH=root, HOME=root, PIP_NO_INDEX="1",
               http_proxy="http://127.0.0.1:9", https_proxy="http://127.0.0.1:9")

    def run_it(*words, stdin=None):
        return subprocess.run(words, cwd=collection, env=env, input=stdin, capture_output=True, text=True, timeout=900)
    return run_it


def plugins(collection, kind):
    folder = os.path.join("plugins", PLUGINS[kind])
    return sorted(os.path.join(folder, name) for name in os.listdir(os.path.join(collection, folder)))


def test_what_ansible_test_checks_by_itself(run):
    python = "%d.%d" % sys.version_info[:2]
    checked = run("ansible-test", "sanity", "--python", python, *[word for test in OFFLINE for word in ("--test", test)])
    assert checked.returncode == 0, checked.stdout + checked.stderr
    ran = re.findall(r'Running sanity test "([^"]+)"', checked.stdout + checked.stderr)
    # Those for Python 2 alone have nothing to check here, which is said where they would run.
    assert set(ran) == set(OFFLINE), checked.stdout + checked.stderr


@pytest.mark.parametrize("kind", PLUGINS)
def test_documentation_and_options_are_the_same(run, collection, kind):
    with open(os.path.join(collection, "tests", "sanity", "ignore-2.14.txt"), encoding="utf-8") as file:
        ignored = {(line.split()[0], line.split()[1].split(":")[1]) for line in file}
    program = os.path.join(CHECKS, "validate-modules", "validate.py")
    checked = run(sys.executable, program, "--format", "plain", "--arg-spec",
                  "--collection", "ansible_collections/ombrix/obx", "--collection-version", "1.0.0", "--plugin-type", kind, *plugins(collection, kind))
    assert "Traceback" not in checked.stderr, checked.stderr
    found = set(re.findall(r"^(\S+?):\d+:\d+: [EW](\S+)", checked.stdout, re.M))
    assert found == {entry for entry in ignored if entry[0] in plugins(collection, kind)}, checked.stdout


@pytest.mark.parametrize("kind", PLUGINS)
def test_documentation_is_shown(run, collection, kind):
    names = ["ombrix.obx." + os.path.basename(path)[:-3] for path in plugins(collection, kind)]
    shown = run("ansible-doc", "-t", kind, *names)
    assert shown.returncode == 0 and not shown.stderr, shown.stderr
    for name in names:
        assert "> " + name.upper() in shown.stdout


def test_the_layout_of_python_and_yaml(run, collection):
    with open(os.path.join(CHECKS, "pep8", "current-ignore.txt"), encoding="utf-8") as file:
        ignored = ",".join(file.read().split())
    python = run("pycodestyle", "--max-line-length", "160", "--ignore", ignored, "plugins")
    assert python.returncode == 0, python.stdout + python.stderr
    yaml = run("yamllint", "-c", os.path.join(CHECKS, "yamllint", "config", "default.yml"), "galaxy.yml", "meta",
               "playbooks", "tests")
    assert yaml.returncode == 0, yaml.stdout + yaml.stderr
    documents = [path for kind in PLUGINS for path in plugins(collection, kind)]
    inside = run(sys.executable, os.path.join(CHECKS, "yamllint", "yamllinter.py"), stdin="\n".join(documents))
    assert '"messages": []' in inside.stdout, inside.stdout + inside.stderr
    routing = run(sys.executable, os.path.join(CHECKS, "code-smell", "runtime-metadata.py"), "meta/runtime.yml")
    assert routing.returncode == 0 and not routing.stdout, routing.stdout + routing.stderr
