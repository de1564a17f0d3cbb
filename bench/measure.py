#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Watches running processes for a while and prints what each of them cost.

Usage: measure.py SECONDS NAME=PID [NAME=PID ...]. The last one named is the floor that the ratios refer to.
CPU time is the kernel's own account in nanoseconds, wake-ups are the context switches of all threads.
"""
import os
import sys
import time


def cpu_seconds(pid):
    # The process CPU-time clock of another process, as clock_getcpuclockid() makes it.
    return time.clock_gettime((~pid << 3) | 2)


def switches(pid):
    total = {}
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/status") as status:
                total[task] = sum(int(line.split()[1]) for line in status if "ctxt_switches" in line)
        except FileNotFoundError:
            pass
    return total


def written(pid):
    with open(f"/proc/{pid}/io") as io:
        return next(int(line.split()[1]) for line in io if line.startswith("write_bytes"))


def memory(pid):
    """Resident, proportional and private dirty memory in MB of 10^6 bytes."""
    kib = {"Rss": 0, "Pss": 0, "Private_Dirty": 0}
    with open(f"/proc/{pid}/smaps_rollup") as smaps:
        for line in smaps:
            name = line.split(":")[0]
            if name in kib:
                kib[name] = int(line.split()[1])
    return [value * 1024 / 1e6 for value in kib.values()]


def reading(pid):
    return cpu_seconds(pid), switches(pid), written(pid), time.monotonic()


def main():
    seconds = float(sys.argv[1])
    processes = [(name, int(pid)) for name, pid in (argument.split("=") for argument in sys.argv[2:])]
    before = {name: reading(pid) for name, pid in processes}
    time.sleep(seconds)
    rows = []
    for name, pid in processes:
        cpu0, switches0, written0, moment0 = before[name]
        cpu1, switches1, written1, moment1 = reading(pid)
        minutes = (moment1 - moment0) / 60
        woken = sum(count - switches0.get(task, 0) for task, count in switches1.items())
        rows.append((name, (cpu1 - cpu0) / minutes, woken / minutes, (written1 - written0) / 1024 / minutes,
                     *memory(pid)))
    floor = rows[-1][1]
    count = sum(entry.isdigit() for entry in os.listdir("/proc"))
    print(f"{seconds:.0f} s, {count} processes on the machine")
    print(f"{'':14}{'CPU s/min':>11}{'ratio':>8}{'wakeups/min':>13}{'KiB/min':>9}{'RSS MB':>8}{'PSS MB':>8}{'dirty MB':>10}")
    for name, cpu, woken, kib, rss, pss, dirty in rows:
        print(f"{name:14}{cpu:11.4f}{cpu / floor:8.2f}{woken:13.0f}{kib:9.0f}{rss:8.1f}{pss:8.1f}{dirty:10.1f}")


main()
