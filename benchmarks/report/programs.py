"""The programs that measure, each in a network of its own where the system allows it."""

import os
import subprocess

from . import BenchError

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
ISOLATED = os.path.join(ROOT, "tests", "common", "isolated")


def isolation():
    """What stands before a command that opens the bus's ports. Empty where the system knows no such networks."""
    can = subprocess.run([ISOLATED, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0
    return [ISOLATED] if can else []


def program(build, name):
    path = os.path.join(build, "bin", name)
    if not os.access(path, os.X_OK):
        raise BenchError(f"there is no {path}; scripts/build release makes it")
    return path


def ended(name, status, said):
    """What to tell when a program has not done its work."""
    words = said.strip().splitlines()[-3:]
    return BenchError(f"{name} ended with status {status}" + "".join("\n    " + line for line in words))
