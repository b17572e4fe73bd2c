#!/usr/bin/python
# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
module: obx_parameters
short_description: Sets parameters of routers
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Gives parameters of a router's data model the wanted values, all of them or none.
  - Only what differs is set. In check mode the router itself checks the values, and nothing is changed.
options:
  values:
    description:
      - The wanted values by their paths. The router converts them to each parameter's type, so C("8443") and C(8443) are the
        same; a list stands for its items with commas.
      - A path with C(*) stands for every instance, one with a filter for those that it fits, for example
        C(Device.WiFi.SSID.*[Alias=="home-5g"].SSID).
    type: dict
    required: true
  unmatched:
    description: What to do when a path with C(*) or a filter fits nothing.
    type: str
    choices: [fail, ignore]
    default: fail
  update_hidden:
    description:
      - Routers read passwords and keys as empty texts, so nobody can tell whether they differ. With V(always) they are set
        each time, and count as changed; with V(with_changes) only together with something else that differs.
    type: str
    choices: [always, with_changes]
    default: always
extends_documentation_fragment:
  - ombrix.obx.changing
  - ombrix.obx.router
"""

EXAMPLES = r"""
- name: The guests' network is off
  ombrix.obx.obx_parameters:
    values:
      Device.WiFi.SSID.*[Alias=="guest-2g"].Enable: false

- name: Another address, which the router takes back by itself should it lock us out
  ombrix.obx.obx_parameters:
    values:
      Device.IP.Interface.2.IPv4Address.1.IPAddress: 192.168.7.1
    confirm_within: 120
    save: true
"""

RETURN = r"""
parameters:
  description: The values of what differed, by path. Keys and passwords are not shown.
  returned: success
  type: dict
  sample: {Device.WiFi.SSID.1.SSID: Home}
unmatched:
  description: The paths that fit nothing.
  returned: success
  type: list
  elements: str
errors:
  description: What the router refused, and why.
  returned: when the router refused values
  type: list
  elements: dict
  sample: [{path: Device.NAT.PortMapping.1.ExternalPort, code: 9007, reason: must be 0 to 65535}]
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.ombrix.obx.plugins.module_utils.change import CHANGING, Difference, attempt, commit
from ansible_collections.ombrix.obx.plugins.module_utils.errors import Misused
from ansible_collections.ombrix.obx.plugins.module_utils.task import argument_spec, module_main
from ansible_collections.ombrix.obx.plugins.module_utils.values import shown

ARGUMENTS = argument_spec(
    values={"type": "dict", "required": True},
    unmatched={"type": "str", "choices": ["fail", "ignore"], "default": "fail"},
    update_hidden={"type": "str", "choices": ["always", "with_changes"], "default": "always"},
    **CHANGING)


def resolved(router, values, unmatched):
    """The values by full paths; adds the paths that fit nothing to `unmatched`."""
    wanted = {}
    for path, value in values.items():
        names = [path]
        if "*" in path or "[" in path:
            names = list(router.select(path))
            if not names:
                unmatched.append(path)
        for name in names:
            if wanted.setdefault(name, value) != value:
                raise Misused("%s is wanted to be both %s and %s" % (name, shown(name, wanted[name]), shown(name, value)))
    return wanted


def run(task):
    options = task.options
    router = task.router()
    unmatched = []
    wanted = resolved(router, options["values"], unmatched)
    if unmatched and options["unmatched"] == "fail":
        raise Misused("%s: fits nothing" % ", ".join(unmatched))
    before = router.values(wanted)
    for path in wanted:
        if path not in before:
            raise Misused("%s is no parameter" % path)
    difference = Difference(before, wanted, options["update_hidden"] == "always")
    changed = bool(difference.texts)
    if changed and task.check_mode:
        attempt(task, router, lambda: router.set(difference.texts, dry_run=True))
    elif changed:
        router = commit(task, router, lambda target: target.set(difference.texts))
        changed = difference.settle(router.values(difference.texts))
    return {
        "changed": changed,
        "parameters": {path: shown(path, value) for path, value in difference.after.items()},
        "unmatched": unmatched,
        "diff": difference.diff(router.client.peer),
    }


def main():
    module_main(AnsibleModule(ARGUMENTS, supports_check_mode=True), run)


if __name__ == "__main__":
    main()
