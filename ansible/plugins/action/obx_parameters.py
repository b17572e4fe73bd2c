"""The action of obx_parameters."""

from ansible_collections.ombrix.obx.plugins.modules import obx_parameters
from ansible_collections.ombrix.obx.plugins.plugin_utils.action import RouterAction


class ActionModule(RouterAction):
    module = obx_parameters
