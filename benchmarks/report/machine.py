"""The machine on which something was measured, and what was measured."""

import os
import platform
import subprocess

from .programs import ROOT


def line_of(path, beginning):
    """What follows BEGINNING in a file of the system, or nothing."""
    try:
        with open(path, encoding="utf-8") as file:
            found = next((line for line in file if line.startswith(beginning)), beginning)
            return found.split(beginning, 1)[1].strip(' \t:="\n')
    except OSError:
        return ""


def commit():
    """The commit that is checked out; "-dirty" when files differ from it. Empty without git."""
    try:
        return subprocess.run(["git", "-C", ROOT, "describe", "--always", "--dirty", "--exclude=*"],
                              capture_output=True, text=True, check=False).stdout.strip()
    except OSError:
        return ""


def describe(context):
    """CONTEXT is what Google Benchmark knows."""
    return {
        "date": context["date"], "commit": commit(),
        "cpu": line_of("/proc/cpuinfo", "model name") or platform.machine(), "cores": os.cpu_count(),
        "memory": line_of("/proc/meminfo", "MemTotal"), "kernel": platform.release(),
        "system": line_of("/etc/os-release", "PRETTY_NAME"), "load": os.getloadavg(),
        **{name: context.get(name, "") for name in ("qt", "zlib", "compiler")},
    }


def print_line(machine):
    print(f"{machine['date']}, {machine['cpu']}, {machine['cores']} processors, {machine['system']}, "
          f"kernel {machine['kernel']}, Qt {machine['qt']}, zlib {machine['zlib']}, {machine['compiler']}, "
          f"load {machine['load'][0]:.1f}\n")
