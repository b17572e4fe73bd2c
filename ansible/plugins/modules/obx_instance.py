#!/usr/bin/python
# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
module: obx_instance
short_description: Rows of routers' tables
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Sees to it that a table of a router's data model has a row with the given keys and values, or has none with these keys.
  - The row is found by its keys, whatever its number. A new row that the router refuses leaves nothing behind.
  - A password or key among the values reads as empty, so it is set each time and counts as changed.
options:
  table:
    description: The path of the table, for example C(Device.NAT.PortMapping).
    type: str
    required: true
  keys:
    description:
      - What tells the row from all others, by the parameters' names. A new row gets these values too.
      - It is an error when several rows have them.
    type: dict
    required: true
  values:
    description: Further values that the row must have, by the parameters' names (dots allowed).
    type: dict
    default: {}
  state:
    description: Whether the row must be there.
    type: str
    choices: [present, absent]
    default: present
extends_documentation_fragment:
  - ombrix.obx.changing
  - ombrix.obx.router
"""

EXAMPLES = r"""
- name: The camera can be reached from outside
  ombrix.obx.obx_instance:
    table: Device.NAT.PortMapping
    keys: {ExternalPort: 8443, Protocol: TCP}
    values:
      InternalClient: 192.168.1.20
      InternalPort: 443
      Description: camera
      Enable: true
    save: true

- name: No more telnet
  ombrix.obx.obx_instance:
    table: Device.NAT.PortMapping
    keys: {ExternalPort: 23, Protocol: TCP}
    state: absent
"""

RETURN = r"""
path:
  description: The path of the row that is there in the end, or would be.
  returned: when state is present
  type: str
  sample: Device.NAT.PortMapping.5
parameters:
  description: The values of what differed, by path. Keys and passwords are not shown.
  returned: success
  type: dict
errors:
  description: What the router refused, and why.
  returned: when the router refused values
  type: list
  elements: dict
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.ombrix.obx.plugins.module_utils.change import CHANGING, Difference, attempt, commit, diff
from ansible_collections.ombrix.obx.plugins.module_utils.errors import Misused, ObxError
from ansible_collections.ombrix.obx.plugins.module_utils.task import argument_spec, module_main
from ansible_collections.ombrix.obx.plugins.module_utils.values import as_kept, sample, shown, to_text

ARGUMENTS = argument_spec(
    table={"type": "str", "required": True},
    keys={"type": "dict", "required": True, "no_log": False},
    values={"type": "dict", "default": {}},
    state={"type": "str", "choices": ["present", "absent"], "default": "present"},
    **CHANGING)


def found(router, table, keys):
    """The path of the row that has the keys; None where there is none."""
    if not keys:
        raise Misused("keys: at least one is needed")
    texts = [(name, to_text(name, value)) for name, value in keys.items()]
    terms = ['%s=="%s"' % (name, text.replace("\\", "\\\\").replace('"', '\\"')) for name, text in texts]
    rows = list(router.select("%s*[%s].{%s}" % (table, "&&".join(terms), texts[0][0])))
    if len(rows) > 1:
        raise Misused("%s: %d rows have these keys: %s" % (table, len(rows), ", ".join(rows)))
    return rows[0] + "." if rows else None


def below(row, values):
    return {row + name: value for name, value in values.items()}


def create(task, router, table, values):
    """Adds the row with its values, or nothing. Returns its path."""
    row = router.add(table)
    try:
        texts = Difference(router.values([row]), below(row, values)).texts
        if texts:
            router.set(texts)
    except ObxError:
        give_up(task, row)
        raise
    return row


def give_up(task, row):
    """Deletes a row that did not come to what it was added for, over a connection that is whole."""
    try:
        task.router().delete(row)
    except ObxError:
        pass  # what has failed before is what is told


def add(task, router, table, values):
    if task.check_mode:
        samples = {name: sample(attributes) for name, attributes in router.attributes(table + "#template.", 1).items()}
        wanted = {name: as_kept(samples.get(table + "#template." + name, ""), to_text(name, value))
                  for name, value in values.items()}
        row = attempt(task, router, lambda: router.try_add(table, wanted))
        return row, {}, below(row or table + "(new).", wanted)
    rows = []
    router = commit(task, router, lambda target: rows.append(create(task, target, table, values)))
    row, = rows
    return row, {}, router.values(below(row, values))


def remove(task, router, row):
    before = router.values([row])
    if task.check_mode:
        attempt(task, router, lambda: router.delete(row, dry_run=True))
    else:
        commit(task, router, lambda target: target.delete(row))
    return None, before, {}


def update(task, router, row, values):
    wanted = below(row, values)
    difference = Difference(router.values(wanted), wanted)
    if difference.texts and task.check_mode:
        attempt(task, router, lambda: router.set(difference.texts, dry_run=True))
    elif difference.texts:
        router = commit(task, router, lambda target: target.set(difference.texts))
        difference.settle(router.values(difference.texts))
    before = {path: value for path, value in difference.before.items() if path in difference.after}
    return row, before, difference.after


def run(task):
    options = task.options
    router = task.router()
    table = options["table"].rstrip(".") + "."
    row = found(router, table, options["keys"])
    path, before, after = row, {}, {}
    if options["state"] == "absent":
        if row:
            path, before, after = remove(task, router, row)
    elif row:
        path, before, after = update(task, router, row, options["values"])
    else:
        path, before, after = add(task, router, table, dict(options["keys"], **options["values"]))
    return {
        "changed": before != after,
        "path": path.rstrip(".") if path else None,
        "parameters": {name: shown(name, value) for name, value in after.items()},
        "diff": diff(router.client.peer, before, after),
    }


def main():
    module_main(AnsibleModule(ARGUMENTS, supports_check_mode=True), run)


if __name__ == "__main__":
    main()
