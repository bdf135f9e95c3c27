#!/usr/bin/python3
"""windlarkd and logind's sleep: the real daemon on a private bus with a mocked logind.

Before sleep (PrepareForSleep true) every fan must be back and the delay inhibitor
released within a second; after resume (false) a new inhibitor is taken. Run with the
system python3, which has dbusmock. Exits 77 (skipped) when dbus-daemon or dbusmock is
missing.
"""

import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

SKIP = 77
FAN_ID = "nct6798@/sys/devices/platform/nct6775.656#fan1"


def wait_for(condition, limit):
    """Seconds until condition() held, or None after limit seconds."""
    start = time.monotonic()
    while time.monotonic() - start < limit:
        if condition():
            return time.monotonic() - start
        time.sleep(0.005)
    return None


def make_tree(root):
    chip = os.path.join(root, "sys/devices/platform/nct6775.656/hwmon/hwmon3")
    os.makedirs(chip)
    os.makedirs(os.path.join(root, "sys/class/hwmon"))
    os.symlink(chip, os.path.join(root, "sys/class/hwmon/hwmon3"))
    os.symlink(os.path.join(root, "sys/devices/platform/nct6775.656"), os.path.join(chip, "device"))
    for name, value in (("name", "nct6798"), ("pwm1_enable", "5"), ("pwm1", "90"),
                        ("fan1_input", "1250")):
        with open(os.path.join(chip, name), "w", encoding="ascii") as file:
            file.write(value + "\n")
    for folder in ("run", "state"):
        os.makedirs(os.path.join(root, folder))
    with open(os.path.join(root, "state/calibration.json"), "w", encoding="ascii") as file:
        json.dump({"fans": {FAN_ID: [[0, 0], [40, 0], [60, 500], [128, 1000], [255, 2000]]}}, file)
    return chip


def read(chip, name):
    with open(os.path.join(chip, name), encoding="ascii") as file:
        return file.read().strip()


def main():
    daemon_path = sys.argv[1]
    try:
        import dbus  # pylint: disable=import-outside-toplevel
        import dbusmock  # pylint: disable=import-outside-toplevel,unused-import
    except ImportError:
        print("dbusmock is not installed")
        return SKIP
    if shutil.which("dbus-daemon") is None:
        print("dbus-daemon is not installed")
        return SKIP

    root = tempfile.mkdtemp(prefix="windlarkd-sleep-")
    processes = []
    try:
        chip = make_tree(root)
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                               stdout=subprocess.PIPE, text=True)
        processes.append(bus)
        address = bus.stdout.readline().strip()
        environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=address,
                           WINDLARKD_SYSFS_ROOT=os.path.join(root, "sys"),
                           WINDLARKD_RUNTIME_DIRECTORY=os.path.join(root, "run"),
                           WINDLARKD_STATE_DIRECTORY=os.path.join(root, "state"))
        logind = subprocess.Popen(["/usr/bin/python3", "-m", "dbusmock", "--system", "--template",
                                   "logind"], env=environment, stdout=subprocess.DEVNULL)
        processes.append(logind)
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = address
        system = dbus.SystemBus()
        assert wait_for(lambda: system.name_has_owner("org.freedesktop.login1"), 10), "no logind"
        manager = system.get_object("org.freedesktop.login1", "/org/freedesktop/login1")
        mock = dbus.Interface(manager, "org.freedesktop.DBus.Mock")
        login = dbus.Interface(manager, "org.freedesktop.login1.Manager")

        def inhibitors():
            return [(str(what), str(who), str(mode)) for what, who, _, mode, _, _ in
                    login.ListInhibitors()]

        socket_path = os.path.join(root, "windlark.sock")
        group = subprocess.run(["id", "-gn"], capture_output=True, text=True, check=True).stdout
        daemon = subprocess.Popen([daemon_path, "--socket", socket_path, "--group", group.strip()],
                                  env=environment, stderr=subprocess.PIPE, text=True)
        processes.append(daemon)
        assert wait_for(lambda: inhibitors() == [("sleep", "windlarkd", "delay")], 5), inhibitors()

        client = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        client.settimeout(2)
        client.connect(socket_path)

        def lease():
            client.send(json.dumps({"id": 1, "op": "holdManualTargetLease", "request": {
                "fanIndex": 0, "targetRPM": 1250.0, "holdSeconds": 15, "reason": "test"}})
                        .encode())
            return json.loads(client.recv(4096))["reply"]

        assert lease()["accepted"] is True
        assert (read(chip, "pwm1_enable"), read(chip, "pwm1")) == ("1", "160")

        mock.EmitSignal("org.freedesktop.login1.Manager", "PrepareForSleep", "b", [True])
        took = wait_for(lambda: (read(chip, "pwm1_enable"), read(chip, "pwm1")) == ("5", "90")
                        and inhibitors() == [], 1)
        assert took is not None, (read(chip, "pwm1_enable"), inhibitors())
        print(f"[ measured ] PrepareForSleep(true) to fans back and inhibitor gone: "
              f"{took * 1000:.1f} ms")
        # Lease events and replies may arrive in either order; only the reply matters here.
        reply = lease()
        assert reply["accepted"] is False and reply["error"] == "busy", reply

        mock.EmitSignal("org.freedesktop.login1.Manager", "PrepareForSleep", "b", [False])
        assert wait_for(lambda: inhibitors() == [("sleep", "windlarkd", "delay")], 1), inhibitors()
        assert lease()["accepted"] is True
        client.close()
        assert wait_for(lambda: read(chip, "pwm1_enable") == "5", 1)
        print("windlarkd sleep test passed")
        return 0
    finally:
        for process in reversed(processes):
            process.send_signal(signal.SIGTERM)
            try:
                process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                process.kill()
        shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
