#!/usr/bin/python
# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
module: obx_info
short_description: Facts of routers
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Reads values of a router's data model, by paths or by selectors. Changes nothing.
options:
  paths:
    description:
      - Paths of parameters, and of objects, which stand for all below them. C(*) stands for every instance.
    type: list
    elements: str
  selectors:
    description: Selectors, for example C(Device.Hosts.Host.*[Active==true].{HostName,IPAddress}).
    type: list
    elements: str
extends_documentation_fragment:
  - ombrix.obx.router
"""

EXAMPLES = r"""
- name: What runs there
  ombrix.obx.obx_info:
    paths:
      - Device.DeviceInfo.SoftwareVersion
      - Device.WiFi.SSID.*.SSID
  register: router

- name: Old ones are named
  ansible.builtin.debug:
    msg: "{{ router.parameters['Device.DeviceInfo.SoftwareVersion'] }}"
  when: router.parameters['Device.DeviceInfo.SoftwareVersion'] is version('3.5.0', '<')

- name: Who is at home
  ombrix.obx.obx_info:
    selectors: ['Device.Hosts.Host.*[Active==true].{HostName,IPAddress}']
  register: hosts
"""

RETURN = r"""
parameters:
  description: The values of I(paths), by full path.
  returned: success
  type: dict
  sample: {Device.DeviceInfo.SoftwareVersion: 3.4.1}
matches:
  description: What the selectors fit, by path; each with its value, or the values below it.
  returned: success
  type: dict
  sample: {Device.Hosts.Host.3: {HostName: tv, IPAddress: 192.168.1.12}}
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.ombrix.obx.plugins.module_utils.task import argument_spec, module_main

ARGUMENTS = argument_spec(
    paths={"type": "list", "elements": "str"},
    selectors={"type": "list", "elements": "str"})
RULES = {"required_one_of": [("paths", "selectors")]}


def run(task):
    router = task.router()
    matches = {}
    for selector in task.options["selectors"] or []:
        matches.update(router.select(selector))
    return {"changed": False, "parameters": router.values(task.options["paths"] or []), "matches": matches}


def main():
    module_main(AnsibleModule(ARGUMENTS, supports_check_mode=True, **RULES), run)


if __name__ == "__main__":
    main()
