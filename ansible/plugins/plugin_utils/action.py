"""Runs a module in Ansible's own process on the controller, so that it needs no Python on the router, no connection plugin
and no program of its own."""

from ansible.errors import AnsibleConnectionFailure
from ansible.module_utils.common.arg_spec import ArgumentSpecValidator
from ansible.module_utils.common.parameters import remove_values
from ansible.plugins.action import ActionBase
from ansible_collections.ombrix.obx.plugins.module_utils.task import Task, perform
from ansible_collections.ombrix.obx.plugins.plugin_utils.options import with_variables


class RouterAction(ActionBase):
    """What the actions of all modules are; each names its module."""

    TRANSFERS_FILES = False
    module = None

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        options = with_variables(self._task.args, task_vars or {}, self._templar)
        rules = getattr(self.module, "RULES", {})
        checked = ArgumentSpecValidator(self.module.ARGUMENTS, **rules).validate(options)
        secrets = set(checked._no_log_values)  # there is no other way to them
        if checked.error_messages:
            result.update(failed=True, msg="; ".join(checked.error_messages))
            return remove_values(result, secrets)
        host = self._task.delegate_to or (task_vars or {}).get("inventory_hostname", "")
        task = Task(checked.validated_parameters, self._task.check_mode,
                    lambda text: self._display.v("%s: %s" % (host, text)))
        result.update(perform(self.module.run, task))
        result = remove_values(result, secrets | task.secrets())
        if result.pop("unreachable", False):
            raise AnsibleConnectionFailure(result["msg"])
        return result
