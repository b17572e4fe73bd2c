#!/usr/bin/python
# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
module: obx_call
short_description: Calls methods of routers
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Calls a method of a router's data model and, where it is one that goes on after its answer, waits for its end.
  - Nobody but you knows whether a method changes anything, so the task counts as changed; C(changed_when) tells otherwise.
    In check mode nothing is called.
options:
  method:
    description: The path of the method, for example C(Device.IP.Diagnostics.IPPing).
    type: str
    required: true
  arguments:
    description: Its arguments by their names. They are converted to the arguments' types.
    type: dict
    default: {}
  wait:
    description: Whether the end of an asynchronous method is waited for.
    type: bool
    default: true
  wait_timeout:
    description: The seconds that it may take.
    type: float
    default: 60.0
extends_documentation_fragment:
  - ombrix.obx.router
"""

EXAMPLES = r"""
- name: The server can be reached from every router
  ombrix.obx.obx_call:
    method: Device.IP.Diagnostics.IPPing
    arguments: {Host: 192.0.2.1, NumberOfRepetitions: 3}
  register: ping
  changed_when: false
  failed_when: ping.outputs.SuccessCount | default(0) == 0
"""

RETURN = r"""
outputs:
  description: What the method gave, by the names below it. Empty where its end was not waited for.
  returned: success
  type: dict
  sample: {Status: Complete, SuccessCount: 3}
errors:
  description: What the router refused, and why.
  returned: when the router refused arguments
  type: list
  elements: dict
"""

import re
import time

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.ombrix.obx.plugins.module_utils.errors import Misused, Refused, TimedOut
from ansible_collections.ombrix.obx.plugins.module_utils.task import argument_spec, module_main
from ansible_collections.ombrix.obx.plugins.module_utils.values import as_kept, sample, to_text

ARGUMENTS = argument_spec(
    method={"type": "str", "required": True},
    arguments={"type": "dict", "default": {}},
    wait={"type": "bool", "default": True},
    wait_timeout={"type": "float", "default": 60.0})
DEVICE_EVENTS = 2  # their group


def converted(router, method, arguments):
    """The arguments in the types that the method takes."""
    if not arguments:
        return []
    prefix = method + ".#input."
    samples = {path[len(prefix):].lower(): sample(attributes)
               for path, attributes in router.attributes(prefix, 1).items()}
    typed = []
    for name, value in arguments.items():
        kind = samples.get(name.lower(), "")
        typed.append({"Name": name, "Value": as_kept(kind, to_text(name, value, kind))})
    return typed


def named(method, outputs):
    """{name below the method: value} of outputs."""
    return {re.sub(r"^%s(\(\))?\." % re.escape(method), "", path): value for path, value in outputs.items()}


def end_of(client, method, seconds):
    """The outputs that the event of the method's end holds."""
    end = time.monotonic() + seconds
    while True:
        try:
            params = client.event(max(0.0, end - time.monotonic())).get("params")
        except TimedOut as error:
            raise TimedOut("%s: %s has not ended within %g s" % (client.peer, method, seconds)) from error
        if not isinstance(params, dict) or params.get("Event") != "OperationComplete":
            continue
        if str(params.get("Path", "")).removesuffix("()") == method:
            if "Error" in params:
                error = params["Error"] if isinstance(params["Error"], dict) else {}
                raise Refused(method, dict(error, data={"Detail": error.get("Detail")}))
            return {entry["Name"]: entry["Value"] for entry in params.get("ParameterList", [])}


def run(task):
    options = task.options
    if task.check_mode:
        return {"changed": False, "skipped": True, "msg": "methods are not called in check mode"}
    method = options["method"].rstrip(".").removesuffix("()")
    router = task.router()
    attributes = next(iter(router.attributes(method).values()), {})
    if attributes.get("type") != "method":
        raise Misused("%s is no method" % method)
    waits = options["wait"] and attributes.get("async", False)
    if waits:
        router.ask("JoinGroup", {"Group": DEVICE_EVENTS})
    params = {"Path": method, "ParameterList": converted(router, method, options["arguments"])}
    outputs = router.listed("Execute", params, timeout=options["wait_timeout"])
    if waits and not outputs:
        outputs = end_of(router.client, method, options["wait_timeout"])
    return {"changed": True, "outputs": named(method, outputs)}


def main():
    module_main(AnsibleModule(ARGUMENTS, supports_check_mode=True), run)


if __name__ == "__main__":
    main()
