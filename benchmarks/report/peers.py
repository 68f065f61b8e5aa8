"""The project beside other ways in which two processes talk: the program tarvex-peers."""

import os
import random
import signal
import statistics
import subprocess
import sys
import tempfile

from . import syscalls
from .programs import ended, isolation, program
from .text import size_name, spread, table, with_spread

WAYS = ("pause", "plain", "possible", "possible_record", "by_hand", "dbus", "mqtt", "project")
TITLES = {"pause": "pause", "plain": "plain", "possible": "possible",
          "possible_record": "possible, as our record", "by_hand": "by hand", "dbus": "QtDBus",
          "mqtt": "MQTT", "project": "project"}
MISSING = {"dbus": "QtDBus or dbus-daemon", "mqtt": "libmosquitto or mosquitto"}
OPERATIONS = ("up", "down", "push")
SIZES = (64, 1000, 16000, 200000)
QUICK_SIZES = (64, 200000)
NAMES = {"up": "message up", "down": "settings down", "push": "push"}
COMPARED = ("possible", "possible_record", "dbus")
FIGURES = ("cpu", "wall", "faults")
# A short operation takes little more than the pause, so it is repeated more often.
SHORT, REPEATS = 1000, 3


class Client:
    """A process that measures one way at one size. Large messages change how its heap behaves, so small ones must not
    come after them."""

    def __init__(self, command):
        self.command = command
        self.errors = tempfile.TemporaryFile("w+")
        # A session of its own, so that Ctrl-C does not end it before it has cleaned up.
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.errors,
                                        text=True, bufsize=1, start_new_session=True)
        try:
            self.pid = int(self.line().split()[1])
        except BaseException:
            self.end()
            raise

    def line(self):
        line = self.process.stdout.readline()
        if not line:
            self.errors.seek(0)
            raise ended(" ".join(self.command[-2:]), self.process.wait(), self.errors.read())
        return line.strip()

    def ask(self, command):
        """Has a command carried out. The lines that it answers with."""
        try:
            self.process.stdin.write(command + "\n")
        except BrokenPipeError:
            pass  # line() tells why
        lines = []
        while (line := self.line()) != "done":
            lines.append(line)
        return lines

    def measure(self, operation, size, count):
        self.ask(f"prepare {operation} {size} {count}")
        return [dict(zip(FIGURES, map(int, line.split()))) for line in self.ask(f"measure {count}")]

    def end(self):
        """It ends by itself when its standard input does."""
        try:
            self.process.communicate(timeout=5)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        self.errors.close()


class Clients:
    """All of them, each started when it is first needed."""

    def __init__(self, path):
        self.path = path
        self.isolation = isolation()
        self.running = {}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for client in self.running.values():
            client.end()

    def command(self, way):
        return [*self.isolation, self.path, way]

    def get(self, way, size):
        if (way, size) not in self.running:
            if way == "project" and not self.isolation:
                # Its ports are fixed, so there is one at a time where all share a network.
                for key in [key for key in self.running if key[0] == way]:
                    self.running.pop(key).end()
            self.running[way, size] = Client(self.command(way))
        return self.running[way, size]


def ways_of(path):
    """The ways that the program was built with, in the order of the tables."""
    listed = subprocess.run([path, "--list"], capture_output=True, text=True, check=False)
    if listed.returncode != 0:
        raise ended(f"{path} --list", listed.returncode, listed.stderr)
    known = listed.stdout.split()
    for way in MISSING:
        if way not in known:
            print(f"scripts/bench: the row {TITLES[way]} is left out, because {MISSING[way]} was not there when the "
                  f"benchmarks were built", file=sys.stderr)
    return [way for way in WAYS if way in known]


def cases_of(ways, sizes):
    """What is measured: the way, the operation and the size. The pause has no size. What is possible with the library's
    record differs for settings alone."""
    for way in ways:
        for operation in OPERATIONS if way != "possible_record" else ("down",):
            for size in sizes[:1] if way == "pause" else sizes:
                yield way, operation, size


def take_rounds(clients, cases, rounds, batch):
    """For each case a list of rounds, each a list of operations with their figures."""
    taken = {case: [] for case in cases}
    order = random.Random(1)
    for number in range(rounds):
        tell(f"measuring beside other ways: round {number + 1} of {rounds}")
        order.shuffle(cases)
        for way, operation, size in cases:
            count = batch * REPEATS if size <= SHORT else batch
            taken[way, operation, size].append(clients.get(way, size).measure(operation, size, count))
    return taken


def count_calls(clients, cases, make_counter, times):
    """By case the system calls of an operation; nothing where they cannot be counted."""
    if make_counter is None:
        return {}
    tell("counting system calls")
    counted = {}
    for way, operation, size in cases:
        client = clients.get(way, size)
        counted[way, operation, size] = syscalls.in_one_operation(
            make_counter(client.pid), client, operation, size, *times)
    # The order to push is one call in every way, and belongs to the measurement.
    return {case: count - (case[1] == "push") for case, count in counted.items()}


def tell(words):
    """Shows how far it is, to a terminal alone."""
    if sys.stderr.isatty():
        print(f"\r\033[K{words}", end="", file=sys.stderr, flush=True)


def medians_of_rounds(rounds, key):
    return [statistics.median(operation[key] for operation in batch) for batch in rounds]


class Result:
    """What was measured, without the pause where that is meant."""

    def __init__(self, taken, calls, counted_by):
        self.taken = taken
        self.calls = calls
        self.counted_by = counted_by

    def cases(self):
        return sorted(self.taken, key=lambda case: (OPERATIONS.index(case[1]), case[2], WAYS.index(case[0])))

    def ways(self):
        return [way for way in WAYS if any(case[0] == way for case in self.taken)]

    def pause(self, operation, key):
        return statistics.median(one[key] for batch in self.taken["pause", operation, SIZES[0]] for one in batch)

    def above_pause(self, case, key):
        """The median and the quartiles of an operation's CPU or wall time, in ns, or None."""
        if case not in self.taken:
            return None
        pause = self.pause(case[1], key) if case[0] != "pause" else 0
        return spread([one[key] - pause for batch in self.taken[case] for one in batch])

    def ratio(self, case, other, key):
        """How many times the figure of another way this one is. The rounds are compared one by one, because a machine
        is not equally fast in all of them."""
        if (other, *case[1:]) not in self.taken:
            return None
        pauses, ours, others = (medians_of_rounds(self.taken[way, case[1], size], key)
                                for way, size in (("pause", SIZES[0]), (case[0], case[2]), (other, case[2])))
        ratios = [(our - pause) / (other - pause) for pause, our, other in zip(pauses, ours, others) if other > pause]
        # None if the pause always took longer than the other way, as it may once in a quick run.
        return spread(ratios) if ratios else None

    def faults(self, case):
        """Page faults of an operation: the mean, because a median would hide those of every other operation."""
        return statistics.mean(one["faults"] for batch in self.taken[case] for one in batch)

    def to_json(self):
        entries = []
        for case in self.cases():
            entry = dict(zip(("way", "operation", "bytes"), case))
            entry.update(cpu_ns=self.above_pause(case, "cpu"), wall_ns=self.above_pause(case, "wall"),
                         faults=self.faults(case), system_calls=self.calls.get(case),
                         ratios={other: {key: self.ratio(case, other, key) for key in ("cpu", "wall")}
                                 for other in COMPARED if (other, *case[1:]) in self.taken},
                         rounds=[[[one[key] for key in FIGURES] for one in batch] for batch in self.taken[case]])
            entries.append(entry)
        return {"system_calls_by": self.counted_by, "entries": entries}


def measure(build, quick, with_strace):
    path = program(build, "tarvex-peers")
    # One look at a socket more or less, because something came late, is to count little among the operations.
    rounds, batch, sizes, times = (1, 2, QUICK_SIZES, (1, 3)) if quick else (24, 6, SIZES, (3, 53))
    cases = list(cases_of(ways_of(path), sizes))
    # Before the measurement, which takes minutes, because it fails without strace.
    make_counter = syscalls.by_strace() if with_strace else syscalls.by_kernel()
    with Clients(path) as clients:
        taken = take_rounds(clients, list(cases), rounds, batch)
        calls = count_calls(clients, cases, make_counter, times)
    tell("")
    return Result(taken, calls, make_counter and ("strace" if with_strace else "kernel"))


def print_tables(result):
    others = [way for way in result.ways() if way != "pause"]
    rows = [case[1:] for case in result.cases() if case[0] == "project"]
    compared = [other for other in COMPARED if other in others]
    for title, key in (("CPU time of the client", "cpu"), ("Wall time", "wall")):
        pauses = [with_spread(result.above_pause(("pause", operation, SIZES[0]), key), "{:.0f}".format, 1e3)
                  for operation in ("up", "push")]
        print(f"### {title} beside other ways\n")
        print(f"In µs, without the pause, which takes {pauses[0]}; with the order to push {pauses[1]}.\n")
        table(["operation", *(TITLES[way] for way in others), *(f"project / {TITLES[way]}" for way in compared)],
              [[f"{NAMES[operation]} {size_name(size)}",
                *(with_spread(result.above_pause((way, operation, size), key), "{:.0f}".format, 1e3) for way in others),
                *(with_spread(result.ratio(("project", operation, size), way, key), "{:.2f}".format)
                  for way in compared)]
               for operation, size in rows], words=1)
    print("### Page faults and system calls beside other ways\n")
    print({"kernel": "In one operation; system calls as the kernel counts them.\n",
           "strace": "In one operation; system calls as strace counts them.\n",
           None: "In one operation. The kernel's count of system calls is not available here; --strace counts them by "
                 "strace.\n"}[result.counted_by])
    table(["operation", *(TITLES[way] for way in others)],
          [[f"{NAMES[operation]} {size_name(size)}",
            *(f"{result.faults(case):.2f} / {calls_text(result.calls.get(case))}" if case in result.taken else "–"
              for case in ((way, operation, size) for way in others))]
           for operation, size in rows], words=1)


def calls_text(count):
    return "not available" if count is None else f"{count:.1f}"
