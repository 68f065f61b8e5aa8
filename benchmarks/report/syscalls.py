"""System calls of a process, counted by the kernel or by strace. Both count all of its threads."""

import ctypes
import fcntl
import os
import platform
import re
import shutil
import signal
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
                raise OSError(ctypes.get_errno(), "the kernel's counter is not available")
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


class StraceCounter:
    """The same by strace. It slows the process down, so no times are taken meanwhile."""

    def __init__(self, pid):
        self.pid = pid

    def count(self, step):
        with tempfile.NamedTemporaryFile("r") as report:
            strace = subprocess.Popen(["strace", "-f", "-c", "-o", report.name, "-p", str(self.pid)],
                                      stderr=subprocess.PIPE, text=True, start_new_session=True)
            try:
                said = strace.stderr.readline()
                if "attached" not in said:
                    strace.wait()
                    raise ended("strace", strace.returncode, said)
                step()
                time.sleep(SETTLING)
            finally:
                strace.send_signal(signal.SIGINT)
                strace.communicate()
            return int(re.search(r"^100\.00\s+\S+\s+\d+\s+(\d+)\s.*total$", report.read(), re.M).group(1))

    def close(self):
        """Nothing is open between two counts."""


def in_one_operation(counter, client, operation, size, few, many):
    """System calls in one operation of a client that runs. It carries out FEW operations and then MANY: the difference
    leaves out what is done once."""
    try:
        client.ask(f"prepare {operation} {size} {few + many}")
        counts = [counter.count(lambda count=count: client.ask(f"run {count}")) for count in (few, many)]
    finally:
        counter.close()
    return (counts[1] - counts[0]) / (many - few)


def by_kernel():
    """What makes a counter for a process, or None where the kernel's count is not available."""
    event = event_id() if platform.machine() in NUMBERS else None
    if event is None:
        return None
    try:
        KernelCounter(event, os.getpid()).close()
    except OSError:
        return None
    return lambda pid: KernelCounter(event, pid)


def by_strace():
    """What makes a counter for a process."""
    if not shutil.which("strace"):
        raise BenchError("--strace needs strace; scripts/setup benchmarks installs it")
    return StraceCounter
