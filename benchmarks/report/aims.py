"""What the figures are to be, and whether they are."""

from typing import Callable, NamedTuple

from .peers import NAMES, OPERATIONS
from .text import duration, size_name, table

SMALL, LARGE = (64, 1000), (16000, 200000)
# A fault of the whole process now and then, such as another page of a stack, is none of an operation.
NO_FAULT = 0.05
# write, wait, read, pause, and three more
MOST_CALLS = 7


class Measured(NamedTuple):
    """Both of what was measured; each may lack some of it or be None."""
    peers: object
    google: object


class Aim(NamedTuple):
    """One line of the table for each pair of a name and a figure that VALUES gives. A figure that is None was not
    measured."""
    words: str
    most: float
    shown: Callable
    values: Callable
    below: bool = False  # The figure is to be less than MOST.

    def held(self, value):
        return value < self.most if self.below else value <= self.most

    def limit(self):
        return "below " * self.below + self.shown(self.most)


def ratios(other, key, sizes, operations=OPERATIONS):
    def values(measured):
        for operation in operations:
            for size in sizes:
                case = ("project", operation, size)
                yield f"{NAMES[operation]} {size_name(size)}", of_peers(
                    measured, other, case, lambda peers, case=case: median(peers.ratio(case, other, key)))
    return values


def median(figure):
    return figure and figure["median"]


def of_peers(measured, other, case, figure):
    """None if one of the two was not measured."""
    known = measured.peers and case in measured.peers.taken and (other, *case[1:]) in measured.peers.taken
    return figure(measured.peers) if known else None


def of_each_operation(figure):
    def values(measured):
        for case in measured.peers.cases() if measured.peers else [("project", "up", SMALL[0])]:
            if case[0] == "project":
                yield f"{NAMES[case[1]]} {size_name(case[2])}", measured.peers and figure(measured.peers, case)
    return values


def of_google(*names, key="cpu_time", scale=1.0):
    """The figures of benchmarks that are given by their names."""
    def values(measured):
        for name in names:
            figure = measured.google and measured.google.figure(name, key)
            yield name, None if figure is None else figure * scale
    return values


def held_back(measured):
    """What a repeated line costs more than a line without the bridge."""
    figures = [measured.google and measured.google.figure(f"log/{name}", "cpu_time")
               for name in ("filter_on/repeat", "no_output")]
    yield "log/filter_on/repeat - log/no_output", None if None in figures else figures[0] - figures[1]


def first_handshake(measured):
    for port in ("query", "receiver"):
        figure = measured.google and measured.google.figure("startup/echo", port)
        yield f"{port} port", None if figure is None else figure * 1e9


def times(value):
    return f"{value:.2f} ×"


def number(value):
    return f"{value:.2f}".rstrip("0").rstrip(".")


def megabytes(value):
    return f"{value / 1e6:.2f} MB"


CODEC_SMALL, CODEC_LARGE = ("64B", "1kB"), ("16kB", "200kB", "5MB")
RECORDS = ("message", "settings", "state", "error", "command")

AIMS = (
    Aim("CPU time over what is possible", 1.15, times, ratios("possible", "cpu", SMALL)),
    Aim("CPU time over what is possible", 1.3, times, ratios("possible", "cpu", LARGE)),
    Aim("CPU time over QtDBus", 1, times, ratios("dbus", "cpu", SMALL, ("up", "down")), below=True),
    Aim("wall time over QtDBus", 0.5, times, ratios("dbus", "wall", SMALL)),
    Aim("page faults of an operation", NO_FAULT, number, of_each_operation(lambda peers, case: peers.faults(case))),
    Aim("system calls of an operation", MOST_CALLS, number,
        of_each_operation(lambda peers, case: peers.calls.get(case))),
    Aim("encoding over the steps by hand", 0.55, times,
        of_google(*(f"encode/ratio/{size}" for size in CODEC_SMALL), key="ratio")),
    Aim("encoding over the steps by hand", 0.85, times,
        of_google(*(f"encode/ratio/{size}" for size in CODEC_LARGE), key="ratio")),
    Aim("decoding over the steps by hand", 0.35, times,
        of_google(*(f"decode/ratio/{size}" for size in CODEC_SMALL), key="ratio")),
    Aim("decoding over the steps by hand", 0.5, times,
        of_google(*(f"decode/ratio/{size}" for size in CODEC_LARGE), key="ratio")),
    Aim("a log line that is forwarded", 12e3, duration, of_google("log/filter_on/new_text")),
    Aim("its allocations", 60, number, of_google("log/filter_on/new_text", key="allocations")),
    Aim("a log line that is held back", 0.5e3, duration, held_back),
    Aim("the copy of a record", 20, duration, of_google(*(f"record/copy/{name}" for name in RECORDS))),
    Aim("a command to its handler", 1e3, duration, of_google("command/handler/0")),
    Aim("memory that the echo service has written", 1.1e6, megabytes,
        of_google("rest/echo", key="written", scale=1024)),
    Aim("its wake-ups between two reports", 0, number, of_google("rest/echo", key="wakeups")),
    Aim("its first handshake", 4e6, duration, first_handshake),
)


def check(measured):
    """A dictionary for each figure: its name, its limit, and what was measured."""
    for aim in AIMS:
        for name, value in aim.values(measured):
            yield {"aim": aim.words, "of": name, "most": aim.most, "measured": value,
                   "held": None if value is None else aim.held(value),
                   "texts": [f"{aim.words}: {name}", aim.limit(), *result(aim, value)]}


def result(aim, value):
    if value is None:
        return ["", "not measured"]
    return [aim.shown(value), "held" if aim.held(value) else f"missed by {aim.shown(value - aim.most)}"]


def print_table(checked):
    print("### Aims\n")
    held, missed, unknown = (sum(one["held"] is kind for one in checked) for kind in (True, False, None))
    print(f"{held} held, {missed} missed, {unknown} not measured.\n")
    table(["aim", "at most", "measured", ""], [one["texts"] for one in checked], words=1)
