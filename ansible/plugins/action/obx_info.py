"""The action of obx_info."""

from ansible_collections.ombrix.obx.plugins.modules import obx_info
from ansible_collections.ombrix.obx.plugins.plugin_utils.action import RouterAction


class ActionModule(RouterAction):
    module = obx_info
