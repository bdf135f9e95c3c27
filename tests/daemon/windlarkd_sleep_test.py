#!/usr/bin/python3
"""windlarkd and logind's sleep: the real daemon on a private bus with a mocked logind.

The daemon runs under umockdev over the desktop fixture. Before sleep (PrepareForSleep true) every fan must be back and the delay inhibitor
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
import time

SKIP = 77


def wait_for(condition, limit):
    """Seconds until condition() held, or None after limit seconds."""
    start = time.monotonic()
    while time.monotonic() - start < limit:
        if condition():
            return time.monotonic() - start
        time.sleep(0.005)
    return None


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
    sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
    try:
        from windlarkd_machine import (  # pylint: disable=import-outside-toplevel
            ORIGINAL, DesktopMachine, lease_frame)
    except (ImportError, ValueError) as error:  # no umockdev bindings
        print(error)
        return SKIP

    machine = DesktopMachine()
    processes = []
    try:
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                               stdout=subprocess.PIPE, text=True)
        processes.append(bus)
        address = bus.stdout.readline().strip()
        logind = subprocess.Popen(["/usr/bin/python3", "-m", "dbusmock", "--system", "--template",
                                   "logind"], env=dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=address),
                                  stdout=subprocess.DEVNULL)
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

        daemon = subprocess.Popen(machine.command(daemon_path),
                                  env=machine.environment(DBUS_SYSTEM_BUS_ADDRESS=address),
                                  stderr=subprocess.PIPE, text=True)
        processes.append(daemon)
        assert wait_for(lambda: inhibitors() == [("sleep", "windlarkd", "delay")], 5), inhibitors()

        client = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        client.settimeout(2)
        client.connect(machine.socket_path)

        def lease():
            client.send(lease_frame())
            return json.loads(client.recv(4096))["reply"]

        assert lease()["accepted"] is True
        assert machine.fan() == ("1", "160"), machine.fan()

        mock.EmitSignal("org.freedesktop.login1.Manager", "PrepareForSleep", "b", [True])
        took = wait_for(lambda: machine.fan() == ORIGINAL and inhibitors() == [], 1)
        assert took is not None, (machine.fan(), inhibitors())
        print(f"[ measured ] PrepareForSleep(true) to fans back and inhibitor gone: "
              f"{took * 1000:.1f} ms")
        # Lease events and replies may arrive in either order; only the reply matters here.
        reply = lease()
        assert reply["accepted"] is False and reply["error"] == "busy", reply

        mock.EmitSignal("org.freedesktop.login1.Manager", "PrepareForSleep", "b", [False])
        assert wait_for(lambda: inhibitors() == [("sleep", "windlarkd", "delay")], 1), inhibitors()
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
