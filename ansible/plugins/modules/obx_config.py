#!/usr/bin/python
# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
module: obx_config
short_description: Routers' configurations as files
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Writes the configuration of a router, or a part of it, to a file of the controller, makes a router be as such a file says, or
    tells the differences. The files are those of C(obx export), a line for each value, so that git can hold them.
  - Restoring is all or none. What needs rows to be added or deleted is done as one confirmed change, which the router takes back
    by itself when anything goes wrong.
  - Keys and passwords, which routers read as empty, are in no file, and stay as they are.
options:
  state:
    description:
      - C(backup) writes the file, C(restored) makes the router be as the file says, C(compared) tells what that would change, and
        changes nothing.
    type: str
    choices: [backup, restored, compared]
    required: true
  file:
    description: The file on the controller. It is written with mode 0600.
    type: path
    required: true
  path:
    description: What is backed up, an object.
    type: str
    default: Device.
extends_documentation_fragment:
  - ombrix.obx.changing
  - ombrix.obx.router
"""

EXAMPLES = r"""
- name: A file for each router
  ombrix.obx.obx_config:
    state: backup
    file: "backups/{{ inventory_hostname }}.conf"

- name: The forwards are those of the file again
  ombrix.obx.obx_config:
    state: restored
    file: nat.conf
    save: true

- name: Nobody has changed anything by hand
  ombrix.obx.obx_config:
    state: compared
    file: "backups/{{ inventory_hostname }}.conf"
  register: drift
  failed_when: drift.differences
"""

RETURN = r"""
differences:
  description: What the file would change, or has changed. Keys and passwords are not shown.
  returned: when state is restored or compared
  type: list
  elements: dict
  sample: [{change: changed, path: Device.NAT.PortMapping.1.ExternalPort, before: 2222, after: "2200"}]
"""

import os
import tempfile

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.ombrix.obx.plugins.module_utils.change import CHANGING, attempt, commit, diff
from ansible_collections.ombrix.obx.plugins.module_utils.config_file import read, written
from ansible_collections.ombrix.obx.plugins.module_utils.configuration import Plan, taken
from ansible_collections.ombrix.obx.plugins.module_utils.errors import Misused
from ansible_collections.ombrix.obx.plugins.module_utils.task import argument_spec, module_main
from ansible_collections.ombrix.obx.plugins.module_utils.values import as_kept, shown

ARGUMENTS = argument_spec(
    state={"type": "str", "choices": ["backup", "restored", "compared"], "required": True},
    file={"type": "path", "required": True},
    path={"type": "str", "default": "Device."},
    **CHANGING)


def contents(path):
    try:
        with open(path, encoding="utf-8", newline="") as file:
            return file.read()
    except FileNotFoundError:
        return ""
    except (OSError, ValueError) as error:
        raise Misused("%s: %s" % (path, getattr(error, "strerror", None) or "no text in UTF-8")) from error


def replace(path, text):
    """Writes a file in one step."""
    try:
        handle, temporary = tempfile.mkstemp(prefix=".obx", dir=os.path.dirname(path) or ".")
        with open(handle, "w", encoding="utf-8", newline="") as file:
            file.write(text)
        os.replace(temporary, path)
    except OSError as error:
        raise Misused("%s: %s" % (path, error.strerror)) from error


def back_up(task, router, path):
    before, after = contents(path), written(taken(router, task.options["path"]))
    if before != after and not task.check_mode:
        replace(path, after)
    return {"changed": before != after,
            "diff": {"before_header": path, "after_header": path, "before": before, "after": after}}


def told(changes):
    return [{"change": change.kind, "path": change.path, "before": shown(change.path, change.before),
             "after": shown(change.path, change.after)} for change in changes]


def restore(task, router, path):
    configuration = read(path)
    plan = Plan(configuration, taken(router, configuration.scope or "."))
    differences = told(plan.changes)
    if plan.changes and task.options["state"] == "restored":
        if task.check_mode:
            attempt(task, router, lambda: plan.attempt(router))
        else:
            commit(task, router, plan.apply, any(change.kind != "changed" for change in plan.changes))
    before = {change.path: change.before for change in plan.changes
              if change.kind == "removed" or change.before is not None}
    after = {change.path: change.after if change.before is None else as_kept(change.before, change.after)
             for change in plan.changes if change.kind != "removed"}
    return {"changed": bool(plan.changes) and task.options["state"] == "restored", "differences": differences,
            "diff": diff(router.client.peer, before, after)}


def run(task):
    router = task.router()
    path = task.options["file"]
    if task.options["state"] == "backup":
        return back_up(task, router, path)
    return restore(task, router, path)


def main():
    module_main(AnsibleModule(ARGUMENTS, supports_check_mode=True), run)


if __name__ == "__main__":
    main()
