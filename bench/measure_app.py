#!/usr/bin/python3
"""Start-up time, idle CPU and resident memory of the running application.

Run it under a private X server and session bus, from the repository root:

    xvfb-run -a dbus-run-session -- /usr/bin/python3 bench/measure_app.py --minutes 5

A stand-in tray host (python3-dbusmock's StatusNotifierWatcher) is put on the session bus
first, so that the application finds a tray as on a KDE, XFCE or extended GNOME desktop:
its item goes into the tray and the panel stays hidden. With --no-tray there is no host
and the panel shows as a small window instead.

Start-up is the time from starting the process to the tray item's registration (or the
panel window's appearance). CPU is the process's user plus system time over wall time
after the first minute; memory is VmRSS, sampled every ten seconds after the first minute.
"""

import argparse
import os
import subprocess
import sys
import time

WATCHER = "org.kde.StatusNotifierWatcher"
WATCHER_PATH = "/StatusNotifierWatcher"


def start_tray_host():
    import dbus
    import dbusmock

    process = dbusmock.DBusTestCase.spawn_server(WATCHER, WATCHER_PATH, WATCHER,
                                                 system_bus=False, stdout=subprocess.DEVNULL)
    bus = dbus.SessionBus()
    deadline = time.monotonic() + 10
    while True:
        try:
            mock = dbus.Interface(bus.get_object(WATCHER, WATCHER_PATH), dbusmock.MOCK_IFACE)
            mock.AddProperties(WATCHER, {
                "IsStatusNotifierHostRegistered": dbus.Boolean(True),
                "ProtocolVersion": dbus.Int32(0),
                "RegisteredStatusNotifierItems": dbus.Array([], signature="s"),
            })
            break
        except dbus.exceptions.DBusException:
            if time.monotonic() > deadline:
                raise
            time.sleep(0.05)
    mock.AddMethod(WATCHER, "RegisterStatusNotifierItem", "s", "", "")
    mock.AddMethod(WATCHER, "RegisterStatusNotifierHost", "s", "", "")
    return process, mock


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    ticks = os.sysconf("SC_CLK_TCK")
    return (int(fields[11]) + int(fields[12])) / ticks  # utime + stime


def resident_kib(pid):
    with open(f"/proc/{pid}/status") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return 0


def panel_window_shown():
    result = subprocess.run(["xwininfo", "-root", "-tree"], capture_output=True, text=True,
                            timeout=5)
    return '"Windlark Mac"' in result.stdout


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--minutes", type=float, default=5.0)
    parser.add_argument("--no-tray", action="store_true")
    parser.add_argument("--executable", default="build/default/windlark-mac")
    parser.add_argument("--machine", default="examples/machines/mac-mini-one-fan.json")
    arguments = parser.parse_args()

    host, mock = (None, None) if arguments.no_tray else start_tray_host()
    environment = dict(os.environ)
    for name in ("QT_QPA_PLATFORM", "WINDLARK_SIMULATED_MACHINE"):
        environment.pop(name, None)

    started = time.monotonic()
    app = subprocess.Popen([arguments.executable, "--simulated-machine", arguments.machine],
                           env=environment)
    shown_after = None
    while time.monotonic() - started < 10:
        if app.poll() is not None:
            sys.exit(f"the application ended early with status {app.returncode}")
        shown = (panel_window_shown() if mock is None
                 else any(call[1] == "RegisterStatusNotifierItem" for call in mock.GetCalls()))
        if shown:
            shown_after = time.monotonic() - started
            break
        time.sleep(0.002)
    print(f"start to shown {'panel' if mock is None else 'tray item'}: "
          f"{shown_after * 1000:.0f} ms" if shown_after is not None else "never shown")

    time.sleep(60)
    wall_start, cpu_start = time.monotonic(), cpu_seconds(app.pid)
    samples = [resident_kib(app.pid)]
    end = wall_start + arguments.minutes * 60
    while time.monotonic() < end:
        time.sleep(min(10, max(0.0, end - time.monotonic())))
        samples.append(resident_kib(app.pid))
    wall, cpu = time.monotonic() - wall_start, cpu_seconds(app.pid) - cpu_start
    print(f"idle CPU over {wall / 60:.1f} min after the first: {100 * cpu / wall:.3f} % of one core"
          f" ({cpu:.2f} s CPU)")
    print(f"resident memory after the first minute: {samples[0]} KiB, then "
          f"{min(samples)}..{max(samples)} KiB (spread {max(samples) - min(samples)} KiB)")

    app.terminate()
    status = app.wait(timeout=30)
    print(f"exit status after SIGTERM: {status}")
    if host is not None:
        host.terminate()
        host.wait(timeout=10)


if __name__ == "__main__":
    main()
