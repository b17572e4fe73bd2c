# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
name: obx_file
short_description: Routers from a file, with address, token file and authority
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Makes each router of a list, or of a table in CSV, a host with the variables that the modules of this collection take.
  - The file's name ends in C(obx.yml) or C(obx.yaml).
options:
  plugin:
    description: The name of this plugin.
    required: true
    choices: [ombrix.obx.obx_file]
  ca_file:
    description:
      - The certificates that vouch for the routers. As all files it is sought where this file is.
    type: str
  token_file:
    description:
      - The file with the token, or LOGIN:PASSWORD. C({name}) in it stands for the router's name, so each can have its own.
    type: str
  timeout:
    description: The seconds that connecting may take, and each exchange.
    type: float
  routers:
    description:
      - Routers by their names. Each is a dictionary with C(address) and whatever differs for it, C(ca_file), C(token_file),
        C(server_name), C(timeout) and so on; with C(groups), a list; anything else becomes a variable of the host.
    type: dict
    default: {}
  table:
    description:
      - A file in CSV whose first line names the columns, C(name) and those that I(routers) can have. Groups are divided by
        blanks, what is empty counts as not given.
    type: str
extends_documentation_fragment:
  - constructed
"""

EXAMPLES = r"""
# fleet.obx.yml
plugin: ombrix.obx.obx_file
ca_file: ca.pem
token_file: tokens/{name}
table: routers.csv        # name,address,groups,site
routers:
  lab:
    address: 192.0.2.99:7548
    token_file: tokens/lab-admin
    groups: [test]
keyed_groups:
  - key: site
    prefix: site
"""

import csv
import os

from ansible.errors import AnsibleParserError
from ansible.plugins.inventory import BaseInventoryPlugin, Constructable
from ansible_collections.ombrix.obx.plugins.module_utils.destination import parse
from ansible_collections.ombrix.obx.plugins.module_utils.errors import Misused
from ansible_collections.ombrix.obx.plugins.module_utils.settings import CONNECTION, VARIABLE

FILES = ("ca_file", "token_file")
FOR_ALL = ("ca_file", "token_file", "timeout")


def from_table(path):
    """[(name, row)] of a table."""
    try:
        with open(path, encoding="utf-8-sig", newline="") as file:
            rows = [{key: value for key, value in row.items() if key and value} for row in csv.DictReader(file)]
    except (OSError, ValueError, csv.Error) as error:
        raise AnsibleParserError("%s: %s" % (path, error)) from error
    for number, row in enumerate(rows, 2):
        if "name" not in row:
            raise AnsibleParserError("%s: line %d names no router" % (path, number))
    return [(row.pop("name"), row) for row in rows]


class InventoryModule(BaseInventoryPlugin, Constructable):
    NAME = "ombrix.obx.obx_file"

    def verify_file(self, path):
        return super().verify_file(path) and path.endswith(("obx.yml", "obx.yaml"))

    def parse(self, inventory, loader, path, cache=True):
        super().parse(inventory, loader, path, cache)
        self._read_config_data(path)
        self._directory = os.path.dirname(os.path.abspath(path))
        routers = list(self.get_option("routers").items())
        if self.get_option("table"):
            routers += from_table(self._file(self.get_option("table"), ""))
        for name, row in routers:
            try:
                self._add(str(name), dict(row or {}))
            except Misused as error:
                raise AnsibleParserError("%s: %s: %s" % (path, name, error)) from error

    def _file(self, text, name):
        return os.path.join(self._directory, os.path.expanduser(text.replace("{name}", name)))

    def _add(self, name, row):
        host = self.inventory.add_host(name)
        groups = row.pop("groups", [])
        for group in groups.split() if isinstance(groups, str) else groups:
            self.inventory.add_child(self.inventory.add_group(group), host)
        row.setdefault("address", name)
        self.inventory.set_variable(host, "ansible_host", parse(row["address"]).host or "localhost")
        for option in FOR_ALL:
            if row.get(option) is None and self.get_option(option) is not None:
                row[option] = self.get_option(option)
        for key, value in row.items():
            value = self._file(value, name) if key in FILES else value
            self.inventory.set_variable(host, VARIABLE % key if key in CONNECTION else key, value)
        variables = self.inventory.get_host(host).get_vars()
        strict = self.get_option("strict")
        self._set_composite_vars(self.get_option("compose"), variables, host, strict=strict)
        self._add_host_to_composed_groups(self.get_option("groups"), variables, host, strict=strict)
        self._add_host_to_keyed_groups(self.get_option("keyed_groups"), variables, host, strict=strict)
