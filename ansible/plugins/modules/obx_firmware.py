#!/usr/bin/python
# Copyright (c) 2026 the obxc developers
# MIT License (see LICENSE)

DOCUMENTATION = r"""
module: obx_firmware
short_description: The firmware of routers
version_added: 1.0.0
author: The obxc developers (@ombrix)
description:
  - Has a router run a version of its firmware. Where another one runs, the image is sent, checked and flashed, and the task waits
    until the router is back on that version.
  - A router that does not come back, or comes back on another version, has failed (it is not merely unreachable), so that
    C(max_fail_percentage) stops a rolling upgrade. How far it is shows with C(-v).
options:
  version:
    description: The version that must run.
    type: str
    required: true
  image:
    description:
      - The image, as a file of the controller or a URL that the router knows. Needed where another version runs.
      - A file is served once, on a port of the address that the controller has towards the router.
    type: str
  reset_config:
    description: Whether the configuration is reset to the factory's before flashing, as a change to another major version may need.
    type: bool
    default: false
  wait_timeout:
    description: The seconds that all of it may take, until the router is back.
    type: float
    default: 900.0
extends_documentation_fragment:
  - ombrix.obx.router
"""

EXAMPLES = r"""
- name: A tenth of the routers at a time, until one does not come back
  hosts: all
  gather_facts: false
  serial: 10%
  max_fail_percentage: 0
  tasks:
    - name: Version 3.5.0
      ombrix.obx.obx_firmware:
        version: 3.5.0
        image: /srv/images/router-3.5.0.img
"""

RETURN = r"""
version:
  description: The version that runs now, or would in check mode.
  returned: success
  type: str
  sample: 3.5.0
previous:
  description: The version that ran before.
  returned: success
  type: str
  sample: 3.4.1
"""

import re
import time

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.ombrix.obx.plugins.module_utils.change import diff
from ansible_collections.ombrix.obx.plugins.module_utils.errors import ConnectionFailed, Misused, ObxError
from ansible_collections.ombrix.obx.plugins.module_utils.serving import ServedFile
from ansible_collections.ombrix.obx.plugins.module_utils.task import argument_spec, module_main

ARGUMENTS = argument_spec(
    version={"type": "str", "required": True},
    image={"type": "str"},
    reset_config={"type": "bool", "default": False},
    wait_timeout={"type": "float", "default": 900.0})

VERSION = "Device.DeviceInfo.SoftwareVersion"
STATUS = "Device.DeviceInfo.UpgradeStatus"
PROGRESS = "Device.DeviceInfo.UpgradeProgress"
AT_REST = 0
REFUSED = -2


def order(task, router, end):
    """Has the router fetch the image, check it and begin to flash it."""
    image = task.options["image"]
    if not image:
        raise Misused("%s is wanted, and image says not from where" % task.options["version"])
    if re.match(r"[A-Za-z][\w+.-]*://", image):
        return fetch(task, router, {"URL": image}, end)
    served = ServedFile(router.client, image)
    try:
        return fetch(task, router, {"URL": served.url, "MD5": served.md5, "FileSize": served.size}, end)
    finally:
        served.close()


def fetch(task, router, source, end):
    def download(*members, **params):
        return router.ask("Download", dict(params, FileType="Firmware"), members, max(1.0, end - time.monotonic()))

    task.report("the image is fetched")
    checked = download("NewVersion", "TransactionID", NeedPreUpdate=True, **source)
    if checked["NewVersion"] != task.options["version"]:
        download(TransactionID=checked["TransactionID"])
        raise Misused("%s holds version %s, not %s" % (task.options["image"], checked["NewVersion"],
                                                       task.options["version"]))
    confirmed = download("Status", "SavedFirmware", "TransactionID", NeedPreUpdate=False, **source)
    if task.options["reset_config"]:
        router.ask("FactoryReset")
    if confirmed["Status"]:
        download(NeedPreUpdate=False, TransactionID=confirmed["TransactionID"],
                 URL="file://" + confirmed["SavedFirmware"])


def numbers(router, paths):
    """{path: value} of numbers; 0 where there is none."""
    values = router.values(paths)
    return {path: values[path] if isinstance(values.get(path), int) else 0 for path in paths}


def flash(task, router, end):
    """Waits until the image is flashed, or the connection breaks because the device goes down."""
    told = 0
    while time.monotonic() < end:
        values = numbers(router, [STATUS, PROGRESS])
        if values[STATUS] == REFUSED:
            raise Misused("%s: flashing has failed" % router.client.peer)
        if values[STATUS] <= AT_REST:
            return
        if values[PROGRESS] // 10 > told:
            told = values[PROGRESS] // 10
            task.report("flashed: %d %%" % values[PROGRESS])
        time.sleep(0.2)


def come_back(task, end):
    """Waits until the router runs the version."""
    reason = "there was no time left"
    while time.monotonic() < end:
        try:
            router = task.router()
            version = router.value(VERSION)
            if version == task.options["version"]:
                return
            reason = "it runs version %s" % version
            if numbers(router, [STATUS])[STATUS] == AT_REST:
                break
        except ObxError as error:
            reason = str(error)
        task.close()
        time.sleep(0.5)
    raise ConnectionFailed("the router did not come back with version %s: %s" % (task.options["version"], reason))


def upgrade(task, router):
    end = time.monotonic() + task.options["wait_timeout"]
    order(task, router, end)
    try:
        flash(task, router, end)
    except ConnectionFailed:
        pass  # it goes down
    task.report("the router restarts")
    come_back(task, end)


def run(task):
    version = task.options["version"]
    router = task.router()
    previous = router.value(VERSION)
    if previous != version and not task.check_mode:
        upgrade(task, router)
    changes = {} if previous == version else diff(router.client.peer, {VERSION: previous}, {VERSION: version})
    return {"changed": previous != version, "version": version, "previous": previous, "diff": changes}


def main():
    module_main(AnsibleModule(ARGUMENTS, supports_check_mode=True), run)


if __name__ == "__main__":
    main()
