"""System calls of a process, counted by the kernel or by strace. Both count all of its threads."""

import ctypes
import fcntl
import os
import platform
import re
import shutil
import struct
import subprocess
import tempfile
import time

from . import BenchError
from .programs import ended

NUMBERS = {"x86_64": 298, "aarch64": 241}  # of perf_event_open
EVENT_ID = "events/raw_syscalls/sys_enter/id"
TRACEPOINT, ATTRIBUTE_SIZE, DISABLED, INHERITED, CLOSE_ON_EXEC = 2, 112, 1, 2, 8
ENABLE = 0x2400
# Until a process that has answered waits for the next command again, in s.
SETTLING = 0.005


def event_id():
    """The number of the kernel's event. Nobody but root may read it, and it may have to be made visible first."""
    for folder in ("/sys/kernel/tracing", "/sys/kernel/debug/tracing"):
        try:
            with open(os.path.join(folder, EVENT_ID), encoding="ascii") as file:
                return int(file.read())
        except OSError:
            pass
    # Visible to this one command, in a file system of its own view.
    with tempfile.TemporaryDirectory() as folder:
        script = f'mount -t tracefs nodev "$0" && cat "$0/{EVENT_ID}"'
        shown = subprocess.run(["unshare", "--mount", "sh", "-c", script, folder], capture_output=True, text=True,
                               check=False).stdout
    return int(shown) if shown else None


class KernelCounter:
    """Counts the system calls of the threads that a process has."""

    def __init__(self, event, pid):
        self.files = []
        for thread in os.listdir(f"/proc/{pid}/task"):
            attributes = struct.pack("IIQQQQQ", TRACEPOINT, ATTRIBUTE_SIZE, event, 0, 0, 0, DISABLED | INHERITED)
            attributes = ctypes.create_string_buffer(attributes, ATTRIBUTE_SIZE)
            file = ctypes.CDLL(None, use_errno=True).syscall(
                NUMBERS[platform.machine()], attributes, int(thread), -1, -1, CLOSE_ON_EXEC)
            if file < 0:
                self.close()
                raise OSError(ctypes.get_errno(), "the kernel's counter is not to be had")
            self.files.append(file)

    def count(self, step):
        """How many system calls there are while STEP runs."""
        for file in self.files:
            fcntl.ioctl(file, ENABLE, 0)
        before = self.value()
        step()
        return self.value() - before

    def value(self):
        time.sleep(SETTLING)
        return sum(int.from_bytes(os.read(file, 8), "little") for file in self.files)

    def close(self):
        for file in self.files:
            os.close(file)


def by_kernel(event, client, operation, size, few, many):
    """System calls in one operation of a client that runs. It carries out FEW operations and then MANY: the difference
    leaves out what is done once."""
    counter = KernelCounter(event, client.pid)
    try:
        client.ask(f"prepare {operation} {size} {few + many}")
        counts = [counter.count(lambda count=count: client.ask(f"run {count}")) for count in (few, many)]
    finally:
        counter.close()
    return (counts[1] - counts[0]) / (many - few)


def is_to_be_had():
    """The kernel's event, or None where it cannot be counted."""
    if platform.machine() not in NUMBERS:
        return None
    event = event_id()
    if event is not None:
        try:
            KernelCounter(event, os.getpid()).close()
        except OSError:
            return None
    return event


def by_strace(command, operation, size, few, many):
    """The same of a client that is started for this alone. strace slows it down, so no times are taken."""
    if not shutil.which("strace"):
        raise BenchError("--strace needs strace; scripts/setup benchmarks installs it")
    counts = [strace(command, f"prepare {operation} {size} {few + many}\nrun {count}\n") for count in (few, many)]
    return (counts[1] - counts[0]) / (many - few)


def strace(command, asked):
    with tempfile.NamedTemporaryFile("r") as report:
        # Threads are followed, but other programs that it starts are left alone. So the isolation stands in front.
        run = subprocess.run([*command[:-2], "strace", "-f", "-b", "execve", "-c", "-o", report.name, *command[-2:]],
                             input=asked, capture_output=True, text=True, check=False)
        if run.returncode != 0:
            raise ended("strace", run.returncode, run.stderr)
        return int(re.search(r"^100\.00\s+\S+\s+\d+\s+(\d+)", report.read(), re.M).group(1))
