#!/usr/bin/python3
"""windlarkd and logind's sleep: the real daemon over the desktop fixture, on a private bus
with a mocked logind. Before sleep (PrepareForSleep true) every fan must be back and the
delay inhibitor released within a second; after resume (false) a new inhibitor is taken.
Run with the system python3. Exits 77 (skipped) without dbus-daemon, dbusmock or
umockdev's bindings.
"""

import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import time

SKIP = 77
INHIBITOR = [("sleep", "windlarkd", "delay")]


def wait_for(condition, limit):
    """Seconds until condition() held, or None after limit seconds."""
    start = time.monotonic()
    while time.monotonic() - start < limit:
        if condition():
            return time.monotonic() - start
        time.sleep(0.005)
    return None


def main():
    sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
    try:
        # pylint: disable=import-outside-toplevel,unused-import
        import dbus
        import dbusmock
        from windlarkd_machine import ORIGINAL, DesktopMachine, lease_frame
    except (ImportError, ValueError) as error:  # ValueError: no umockdev bindings
        print(error)
        return SKIP
    if shutil.which("dbus-daemon") is None:
        print("dbus-daemon is not installed")
        return SKIP

    machine = DesktopMachine()
    processes = []
    try:
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                               stdout=subprocess.PIPE, text=True)
        processes.append(bus)
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = bus.stdout.readline().strip()
        processes.append(subprocess.Popen(["/usr/bin/python3", "-m", "dbusmock", "--system",
                                           "--template", "logind"], stdout=subprocess.DEVNULL))
        system = dbus.SystemBus()
        assert wait_for(lambda: system.name_has_owner("org.freedesktop.login1"), 10), "no logind"
        manager = system.get_object("org.freedesktop.login1", "/org/freedesktop/login1")
        login = dbus.Interface(manager, "org.freedesktop.login1.Manager")

        def inhibitors():
            return [(str(what), str(who), str(mode)) for what, who, _, mode, _, _ in
                    login.ListInhibitors()]

        def sleep(is_sleeping):
            dbus.Interface(manager, "org.freedesktop.DBus.Mock").EmitSignal(
                "org.freedesktop.login1.Manager", "PrepareForSleep", "b", [is_sleeping])

        processes.append(subprocess.Popen(machine.command(sys.argv[1]),
                                          env=machine.environment()))
        assert wait_for(lambda: inhibitors() == INHIBITOR, 5), inhibitors()
        client = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        client.settimeout(2)
        client.connect(machine.socket_path)

        def lease():
            client.send(lease_frame())
            return json.loads(client.recv(4096))["reply"]

        assert lease()["accepted"] is True
        assert machine.fan() == ("1", "160"), machine.fan()
        sleep(True)
        took = wait_for(lambda: machine.fan() == ORIGINAL and inhibitors() == [], 1)
        assert took is not None, (machine.fan(), inhibitors())
        print(f"[ measured ] PrepareForSleep(true) to fans back and inhibitor gone: "
              f"{took * 1000:.1f} ms")
        # Lease events and replies may arrive in either order; only the reply matters here.
        reply = lease()
        assert reply["accepted"] is False and reply["error"] == "busy", reply
        sleep(False)
        assert wait_for(lambda: inhibitors() == INHIBITOR, 1), inhibitors()
        assert lease()["accepted"] is True
        client.close()
        assert wait_for(lambda: machine.fan() == ORIGINAL, 1), machine.fan()
        print("windlarkd sleep test passed")
        return 0
    finally:
        for process in reversed(processes):
            process.send_signal(signal.SIGTERM)
            try:
                process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                process.kill()
        machine.close()


if __name__ == "__main__":
    sys.exit(main())
