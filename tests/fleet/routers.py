"""Routers and the controller that changes them."""

import json
import os
import re
import subprocess
import textwrap

import harness

COLLECTION = os.path.join(harness.SOURCE, "ansible")
TOKEN = "admin-token"  # of the users that come with obxd
HEAD = "- hosts: all\n  gather_facts: false\n  tasks:\n"
RESULT = re.compile(r"^(ok|changed|fatal|skipping|failed): \[([^\]]+)\](?:: (\w+)!)?(?: => (\{[^\n]*\}|\{\n.*?\n\}))?$",
                    re.M | re.S)


class Fleet:
    """So many obxds, r0, r1, ...; each takes connections over TLS alone."""

    def __init__(self, directory, authority, count):
        self.directory = directory
        self.authority = authority
        self.certificate = authority.issue("router")
        self.token_file = self.secret("token", TOKEN)
        self.routers = {"r%d" % i: self.start() for i in range(count)}

    def start(self, *args, certificate=None):
        return harness.remote_obxd(*harness.QUICK, *args, tls=certificate or self.certificate)

    def secret(self, name, text, mode=0o600):
        """A file with a secret."""
        path = os.path.join(self.directory, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text + "\n")
        os.chmod(path, mode)
        return path

    def variables(self, router, **more):
        """The variables of a host for a router (an Obxd, or an address)."""
        address = router if isinstance(router, str) else "127.0.0.1:%d" % router.port()
        return {"obx_address": address, "obx_ca_file": self.authority.cert, "obx_token_file": self.token_file,
                "obx_timeout": harness.PATIENCE, **more}

    def inventory(self, routers=None, **special):
        """An inventory of these routers, by default all; `special` are the whole variables of further hosts."""
        hosts = {name: self.variables(router) for name, router in (routers or self.routers).items()}
        hosts.update(special)
        return {"all": {"hosts": hosts}}

    def values(self, path):
        """{router: value} of a parameter, as each router says itself."""
        found = {}
        for name, router in self.routers.items():
            with router.client() as client:
                found[name] = client.get(path)
        return found

    def reset(self):
        for router in self.routers.values():
            with router.client() as client:
                client.call("FactoryReset", {"CleanAll": True})

    def close(self):
        for router in self.routers.values():
            router.close()


class Played:
    """A playbook that ran to its end. `results` are (status, host, reason, result) in the order of the output."""

    def __init__(self, process):
        self.status = process.returncode
        self.out = process.stdout
        self.err = process.stderr
        self.results = [(status, host, reason, json.loads(text) if text else {})
                        for status, host, reason, text in RESULT.findall(self.out)]

    def __repr__(self):
        return "status %d\n%s\n%s" % (self.status, self.out, self.err)

    def of(self, host):
        """[(status, result)] of a host's tasks."""
        return [(status, result) for status, name, dummy, result in self.results if name == host]

    def only(self, host):
        """The result of a host's one task."""
        (dummy, result), = self.of(host)
        return result

    def message(self, host):
        """What the failed task of a host says."""
        return [result["msg"] for status, result in self.of(host) if status == "fatal"][-1]

    def recap(self):
        """{host: {"ok": 1, "changed": 0, ...}}"""
        text = self.out[self.out.index("PLAY RECAP"):]
        return {line.split()[0]: {key: int(number) for key, number in re.findall(r"(\w+)=(\d+)", line)}
                for line in text.splitlines()[1:] if "=" in line}

    def counted(self, what):
        """The hosts with at least one of `what`: "changed", "failed", "unreachable"."""
        return {host for host, counts in self.recap().items() if counts[what]}


class Controller:
    """A directory with the collection where Ansible looks for it, and playbooks."""

    def __init__(self, directory):
        self.directory = os.path.join(directory, "controller")
        namespace = os.path.join(self.directory, "ansible_collections", "ombrix")
        os.makedirs(namespace)
        os.symlink(COLLECTION, os.path.join(namespace, "obx"))
        self.env = harness.environment(
            HOME=self.directory, ANSIBLE_COLLECTIONS_PATH=self.directory, ANSIBLE_NOCOLOR="1", ANSIBLE_FORKS="8",
            ANSIBLE_LOCAL_TEMP=os.path.join(self.directory, "tmp"), PYTHONPYCACHEPREFIX=os.path.join(directory, "cache"))

    def write(self, name, text):
        path = os.path.join(self.directory, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def command(self, *words, env=None):
        """Runs a program of Ansible to its end."""
        return subprocess.run(words, cwd=self.directory, env=dict(self.env, **env or {}), stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=20 * harness.PATIENCE)

    def play(self, tasks, inventory, *args, verbose="-v", env=None):
        """Runs tasks (YAML), or a playbook by its path, on the hosts of an inventory."""
        if not tasks.endswith(".yml"):
            tasks = self.write("play.yml", HEAD + textwrap.indent(textwrap.dedent(tasks), "    "))
        words = ["ansible-playbook", "-i", self.inventory(inventory), tasks] + ([verbose] if verbose else [])
        return self.played(words + list(args), env)

    def inventory(self, content):
        """The path of an inventory with this content."""
        return self.write("inventory.json", json.dumps(content))

    def played(self, words, env=None):
        return Played(self.command(*words, env=env))
