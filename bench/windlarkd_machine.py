"""The desktop machine of tests/fixtures/hwmon, mocked by umockdev, with what windlarkd
needs to drive its first fan: for Python scripts that run the real daemon (the idle
benchmark). Needs the system python3's GObject bindings of umockdev.
"""

import json
import os
import shutil
import subprocess
import tempfile

import gi

gi.require_version("UMockdev", "1.0")
from gi.repository import UMockdev  # pylint: disable=wrong-import-position

SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FAN_ID = "nct6798@/sys/devices/platform/nct6775.656#fan1"
CHIP = "class/hwmon/hwmon3"


class DesktopMachine:
    def __init__(self):
        self.testbed = UMockdev.Testbed.new()
        self.testbed.add_from_file(os.path.join(SOURCE, "tests/fixtures/hwmon/desktop.umockdev"))
        self.root = tempfile.mkdtemp(prefix="windlarkd-")
        for folder in ("run", "state"):
            os.makedirs(os.path.join(self.root, folder))
        with open(os.path.join(self.root, "state/calibration.json"), "w",
                  encoding="ascii") as file:
            json.dump({"fans": {FAN_ID: [[0, 0], [40, 0], [60, 500], [128, 1000], [255, 2000]]}},
                      file)
        self.write("fan1_input", "1250")  # the speed a lease of 1250 RPM asks for
        self.socket_path = os.path.join(self.root, "windlark.sock")

    def write(self, name, value):
        with open(os.path.join(self.testbed.get_sys_dir(), CHIP, name), "w",
                  encoding="ascii") as file:
            file.write(value + "\n")

    def environment(self, **extra):
        """The daemon's environment: umockdev's preload over this testbed."""
        asan = os.environ.get("ASAN_OPTIONS")
        return dict(os.environ, LD_PRELOAD="libumockdev-preload.so.0",
                    UMOCKDEV_DIR=self.testbed.get_root_dir(),
                    # Under AddressSanitizer the preload comes first, which it would refuse.
                    ASAN_OPTIONS=(asan + ":" if asan else "") + "verify_asan_link_order=0",
                    WINDLARKD_RUNTIME_DIRECTORY=os.path.join(self.root, "run"),
                    WINDLARKD_STATE_DIRECTORY=os.path.join(self.root, "state"), **extra)

    def command(self, daemon_path, *options):
        group = subprocess.run(["id", "-gn"], capture_output=True, text=True,
                               check=True).stdout.strip()
        return [daemon_path, *options, "--socket", self.socket_path, "--group", group]

    def close(self):
        shutil.rmtree(self.root, ignore_errors=True)


def lease_frame(reason="test"):
    return json.dumps({"id": 1, "op": "holdManualTargetLease", "request": {
        "fanIndex": 0, "targetRPM": 1250.0, "holdSeconds": 15, "reason": reason}}).encode()
