#!/usr/bin/python3
"""CPU time of an idle windlarkd over 60 s, then over 60 s holding a lease that an app-like
client renews every 5 s. Runs the real daemon under umockdev over the desktop fixture,
without logind; needs the system python3 (GObject bindings of umockdev).
Usage: /usr/bin/python3 bench/daemon_idle_cpu.py build/default/windlarkd [seconds]
"""

import os
import socket
import subprocess
import sys
import time

from windlarkd_machine import DesktopMachine, lease_frame


def cpu_seconds(pid):
    # schedstat's first field is the CPU time in nanoseconds, unlike /proc/PID/stat's ticks.
    with open(f"/proc/{pid}/schedstat", encoding="ascii") as file:
        return int(file.read().split()[0]) / 1e9


def main():
    daemon_path = sys.argv[1]
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 60.0
    machine = DesktopMachine()
    daemon = subprocess.Popen(machine.command(daemon_path, "--no-logind"),
                              env=machine.environment(), stderr=subprocess.DEVNULL)
    try:
        while not os.path.exists(machine.socket_path):
            time.sleep(0.01)
        time.sleep(1)
        start = cpu_seconds(daemon.pid)
        time.sleep(seconds)
        idle = cpu_seconds(daemon.pid) - start
        client = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        client.connect(machine.socket_path)
        start = cpu_seconds(daemon.pid)
        began = time.monotonic()
        while time.monotonic() - began < seconds:
            client.send(lease_frame("app-curve-renewal"))
            client.recv(4096)
            time.sleep(5)
        holding = cpu_seconds(daemon.pid) - start
        print(f"idle: {idle * 1000:.1f} ms CPU in {seconds:.0f} s = {idle / seconds * 100:.4f} %")
        print(f"holding a lease: {holding * 1000:.1f} ms CPU in {seconds:.0f} s = "
              f"{holding / seconds * 100:.4f} %")
    finally:
        daemon.terminate()
        daemon.wait(timeout=5)
        machine.close()


if __name__ == "__main__":
    main()
