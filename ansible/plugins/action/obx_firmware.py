"""The action of obx_firmware."""

from ansible_collections.ombrix.obx.plugins.modules import obx_firmware
from ansible_collections.ombrix.obx.plugins.plugin_utils.action import RouterAction


class ActionModule(RouterAction):
    module = obx_firmware
