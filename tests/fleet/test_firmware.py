"""Upgrades, one share of the routers after the other."""

import contextlib
import threading

import pytest

import harness

COUNT = 4
PATIENCE = 1.5 * harness.PATIENCE


@pytest.fixture
def routers(running_fleet):
    """A few routers of their own; they restart in an instant, and u1 flashes at leisure."""
    with contextlib.ExitStack() as stack:
        def start(*args):
            router = running_fleet.start("--model", harness.SMALL_MODEL, *args)
            return stack.enter_context(contextlib.closing(router))

        yield {"u%d" % i: start("--flash-ms", "4000" if i == 1 else "300") for i in range(COUNT)}


def version(router):
    return harness.wait_until(lambda: router.if_up(lambda client: client.get("Device.DeviceInfo.SoftwareVersion")),
                              "the router's return")


def upgrade(controller, fleet, routers, image, wanted, *args):
    words = ["ansible-playbook", "-i", controller.inventory(fleet.inventory(routers)), "ombrix.obx.rolling_upgrade", "-v",
             "-e", "version=%s image=%s share=1 patience=%d" % (wanted, image, PATIENCE), *args]
    return controller.played(words)


def test_all_are_upgraded_and_then_left_alone(controller, running_fleet, routers, directory):
    before = version(routers["u0"])
    image = harness.make_image(directory, "9.8.7", b"firmware" * 100000)
    checked = upgrade(controller, running_fleet, routers, image, "9.8.7", "--check")
    assert checked.counted("changed") == set(routers), checked
    assert {version(router) for router in routers.values()} == {before}
    first = upgrade(controller, running_fleet, routers, image, "9.8.7")
    assert first.status == 0 and first.counted("changed") == set(routers), first
    assert {version(router) for router in routers.values()} == {"9.8.7"}
    assert [result["previous"] for dummy, dummy, dummy, result in first.results] == [before] * COUNT
    assert "u0: the router restarts" in first.out
    again = upgrade(controller, running_fleet, routers, "/nonexistent", "9.8.7")
    assert again.status == 0 and not again.counted("changed"), again


def test_the_first_that_does_not_come_back_stops_it(controller, running_fleet, routers, directory):
    before = version(routers["u2"])
    image = harness.make_image(directory, "9.9.9")
    victim = routers["u1"]

    def kill_while_flashing():
        with victim.client() as client:
            harness.wait_until(lambda: client.get("Device.DeviceInfo.UpgradeStatus") > 0, "flashing", 10 * harness.PATIENCE)
        victim.process.kill()

    killer = threading.Thread(target=kill_while_flashing)
    killer.start()
    played = upgrade(controller, running_fleet, routers, image, "9.9.9")
    killer.join()
    assert played.status != 0
    assert played.recap().keys() == {"u0", "u1"}
    assert played.counted("failed") == {"u1"} and played.counted("changed") == {"u0"}
    assert "the router did not come back with version 9.9.9: " in played.message("u1")
    assert "Connection refused" in played.message("u1")
    assert version(routers["u0"]) == "9.9.9"
    assert version(routers["u2"]) == version(routers["u3"]) == before
    victim.kill()
    victim.start()


def test_images_that_cannot_be_used_are_told_and_leave_the_router_alone(controller, running_fleet, routers, directory):
    before = version(routers["u0"])
    one = {"u0": routers["u0"]}
    image = harness.make_image(directory, "7.0.0")
    other = upgrade(controller, running_fleet, one, image, "7.0.1")
    assert other.message("u0") == "%s holds version 7.0.0, not 7.0.1" % image
    missing = upgrade(controller, running_fleet, one, "/nonexistent.img", "7.0.1")
    assert missing.message("u0") == "/nonexistent.img: No such file or directory"
    broken = controller.write("broken.img", "no image at all")
    refused = upgrade(controller, running_fleet, one, broken, "7.0.1")
    assert "refused [9018]: Download" in refused.message("u0")
    assert version(routers["u0"]) == before
