# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
name: value
short_description: A value that a router has
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Reads parameters of the router that the template is made for, or of another one.
  - Each path gives its value; an object, and a path with C(*), gives a dictionary of values by their paths.
options:
  _terms:
    description: Paths of parameters or objects.
    required: true
extends_documentation_fragment:
  - ombrix.obx.router
"""

EXAMPLES = r"""
- name: The address that the neighbour has
  ansible.builtin.debug:
    msg: "{{ lookup('ombrix.obx.value', 'Device.IP.Interface.1.IPv4Address.1.IPAddress') }}"

- name: The networks of another router
  ansible.builtin.debug:
    msg: "{{ lookup('ombrix.obx.value', 'Device.WiFi.SSID.*.SSID', address='192.0.2.7').values() | unique }}"
"""

RETURN = r"""
_list:
  description: What each path has.
  type: list
  elements: raw
"""

from ansible.errors import AnsibleLookupError
from ansible.module_utils.common.arg_spec import ArgumentSpecValidator
from ansible.plugins.lookup import LookupBase
from ansible_collections.ombrix.obx.plugins.module_utils.errors import ObxError
from ansible_collections.ombrix.obx.plugins.module_utils.settings import CONNECTION
from ansible_collections.ombrix.obx.plugins.module_utils.task import Task
from ansible_collections.ombrix.obx.plugins.plugin_utils.options import with_variables


class LookupModule(LookupBase):
    def run(self, terms, variables=None, **kwargs):
        checked = ArgumentSpecValidator(CONNECTION).validate(with_variables(kwargs, variables or {}, self._templar))
        if checked.error_messages:
            raise AnsibleLookupError("; ".join(checked.error_messages))
        task = Task(checked.validated_parameters)
        try:
            router = task.router()
            return [self._found(router, path) for path in terms]
        except ObxError as error:
            raise AnsibleLookupError(str(error)) from error
        finally:
            task.close()

    @staticmethod
    def _found(router, path):
        values = router.values([path])
        return values[path] if list(values) == [path] else values
