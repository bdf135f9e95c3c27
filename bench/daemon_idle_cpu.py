#!/usr/bin/python3
"""CPU time of an idle windlarkd over 60 s, then over 60 s holding a lease that an app-like
client renews every 5 s. Runs the real daemon over a scratch sysfs tree of plain files,
without logind. Usage: bench/daemon_idle_cpu.py build/default/windlarkd [seconds]
"""

import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

FAN_ID = "nct6798@/sys/devices/platform/nct6775.656#fan1"


def cpu_seconds(pid):
    # schedstat's first field is the CPU time in nanoseconds, unlike /proc/PID/stat's ticks.
    with open(f"/proc/{pid}/schedstat", encoding="ascii") as file:
        return int(file.read().split()[0]) / 1e9


def main():
    daemon_path = sys.argv[1]
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 60.0
    root = tempfile.mkdtemp(prefix="windlarkd-idle-")
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
    environment = dict(os.environ, WINDLARKD_SYSFS_ROOT=os.path.join(root, "sys"),
                       WINDLARKD_RUNTIME_DIRECTORY=os.path.join(root, "run"),
                       WINDLARKD_STATE_DIRECTORY=os.path.join(root, "state"))
    socket_path = os.path.join(root, "windlark.sock")
    group = subprocess.run(["id", "-gn"], capture_output=True, text=True, check=True).stdout.strip()
    daemon = subprocess.Popen([daemon_path, "--no-logind", "--socket", socket_path, "--group",
                               group], env=environment, stderr=subprocess.DEVNULL)
    try:
        while not os.path.exists(socket_path):
            time.sleep(0.01)
        time.sleep(1)
        start = cpu_seconds(daemon.pid)
        time.sleep(seconds)
        idle = cpu_seconds(daemon.pid) - start
        client = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        client.connect(socket_path)
        start = cpu_seconds(daemon.pid)
        began = time.monotonic()
        while time.monotonic() - began < seconds:
            client.send(json.dumps({"id": 1, "op": "holdManualTargetLease", "request": {
                "fanIndex": 0, "targetRPM": 1250.0, "holdSeconds": 15,
                "reason": "app-curve-renewal"}}).encode())
            client.recv(4096)
            time.sleep(5)
        holding = cpu_seconds(daemon.pid) - start
        print(f"idle: {idle * 1000:.1f} ms CPU in {seconds:.0f} s = {idle / seconds * 100:.4f} %")
        print(f"holding a lease: {holding * 1000:.1f} ms CPU in {seconds:.0f} s = "
              f"{holding / seconds * 100:.4f} %")
    finally:
        daemon.terminate()
        daemon.wait(timeout=5)
        shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    main()
