"""The action of obx_config."""

from ansible_collections.ombrix.obx.plugins.modules import obx_config
from ansible_collections.ombrix.obx.plugins.plugin_utils.action import RouterAction


class ActionModule(RouterAction):
    module = obx_config
