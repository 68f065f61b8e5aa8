"""The program tarvex-benchmarks, built on Google Benchmark, and its tables."""

import json
import os
import re
import statistics
import subprocess
from collections import defaultdict

from .programs import ended, isolation, program
from .text import duration, table

STAGES = ("json", "zlib", "base64")

# What belongs to a part: the beginning of the benchmarks' names, how often they run, and for how long, in s.
PARTS = {
    "codec": (("encode", 5, 0.1), ("decode", 5, 0.1)),
    "exchange": (("exchange", 5, 0.2),),
    "push": (("push", 5, 1),),
    "log": (("log", 9, 0.2),),
    "command": (("command", 9, 0.2),),
    "record": (("record", 9, 0.1),),
    "state": (("state", 9, 0.2),),
    "service": (("startup", 15, 0), ("rest", 3, 0)),
    "growth": (("growth", 3, 0.05),),
}

# A quick run leaves out the megabytes, which take long to be made.
QUICK_NAMES = dict.fromkeys(("encode", "decode", "exchange"), "/[a-z0-9_]+/[0-9]+(B|kB|ms)")


class Program:
    """Runs benchmarks and keeps what they say."""

    def __init__(self, build, quick, with_large):
        self.path = program(build, "tarvex-benchmarks")
        self.isolation = isolation()
        self.quick = quick
        self.with_large = with_large
        self.entries = {}  # by the beginning of the name a list, as Google Benchmark has them

    def context(self):
        """What the program knows about the machine and about itself. One benchmark has to run for that."""
        return self.run("record/copy/error$", 1, 0.001)["context"]

    def measure(self, part):
        for name, repetitions, min_time in PARTS[part]:
            names = name + "/"
            if self.quick:
                names, repetitions, min_time = name + QUICK_NAMES.get(name, "/"), 1, 0.001
            report = self.run(names, repetitions, min_time)
            runs = [one for one in report["benchmarks"] if one["run_type"] == "iteration"]
            # They ran in random order. The tables have the order in which they were registered.
            self.entries[name] = sorted(runs, key=lambda one: one["family_index"])

    def run(self, name, repetitions, min_time):
        command = [*self.isolation, self.path, f"--benchmark_filter=^{name}", "--benchmark_format=json",
                   f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={min_time}",
                   "--benchmark_enable_random_interleaving=true"]
        environment = {**os.environ, **({"TARVEX_BENCH_LARGE": "1"} if self.with_large else {})}
        run = subprocess.run(command, capture_output=True, text=True, env=environment, check=False)
        if run.returncode != 0:
            raise ended("tarvex-benchmarks", run.returncode, run.stderr)
        return json.loads(run.stdout or '{"benchmarks": [], "context": {}}')

    def runs(self, name):
        """The runs of the benchmarks whose names begin with NAME: by name a list."""
        runs = defaultdict(list)
        for entry in self.entries.get(name, []):
            runs[re.sub("/(real_time|manual_time|iterations:1)", "", entry["run_name"])].append(entry)
        return runs

    def figure(self, name, key):
        """The median of one benchmark, or None if it has not run."""
        entries = self.runs(name.split("/")[0]).get(name)
        return median(entries, key) if entries else None


def median(runs, key):
    return statistics.median(run[key] for run in runs)


def codec_rows(direction, runs):
    for name in [name for name in runs if name.startswith(f"{direction}/codec/")]:
        size = name.rsplit("/", 1)[1]
        codec, by_hand = runs[name], runs[f"{direction}/by_hand/{size}"]
        time = median(codec, "cpu_time")
        shares = [median(runs[f"{direction}/{stage}/{size}"], "cpu_time") for stage in STAGES]
        yield [size, f"{median(codec, 'payload'):.0f}", duration(time),
               f"{median(codec, 'bytes_per_second') / 1e6:.1f}", duration(median(by_hand, "cpu_time")),
               f"{median(runs[f'{direction}/ratio/{size}'], 'ratio'):.3f}",
               " / ".join(f"{100 * share / sum(shares):.0f}" for share in shares),
               f"{median(codec, 'allocations'):.0f}", f"{median(by_hand, 'allocations'):.0f}"]


def exchange_rows(runs):
    for name, entries in runs.items():
        scale = {"ns": 1, "us": 1e3, "ms": 1e6}[entries[0]["time_unit"]]
        rounds = [run["rounds"] for run in entries]
        yield [name.split("/", 1)[1].replace("/", " "), f"{median(entries, 'frame'):.0f}",
               duration(median(entries, "real_time") * scale),
               duration(min(run["real_time"] for run in entries) * scale),
               duration(median(entries, "cpu_time") * scale),
               f"{statistics.mean(rounds):.2f}", f"{median(entries, 'allocations'):.0f}"]


def push_rows(runs):
    for name, entries in runs.items():
        time, cpu = (median(entries, key) * 1e6 for key in ("real_time", "cpu_time"))
        yield [name.split("/", 1)[1].replace("/", " "), f"{median(entries, 'frame'):.0f}", f"{1e9 / time:.1f}",
               f"{1e9 / min(run['real_time'] * 1e6 for run in entries):.1f}", duration(time), duration(cpu),
               f"{statistics.mean(run['rounds'] for run in entries):.2f}", f"{median(entries, 'allocations'):.0f}"]


def cpu_row(entries):
    """Median and least CPU time, and the allocations."""
    times = [run["cpu_time"] for run in entries]
    return [f"{statistics.median(times):.0f}", f"{min(times):.0f}", f"{median(entries, 'allocations'):.0f}"]


def named_rows(runs, prefix):
    """A row for each benchmark, named by what follows the prefix."""
    for name, entries in runs.items():
        yield [re.sub("[/_]", " ", name[len(prefix) + 1:]), *cpu_row(entries)]


def command_rows(runs):
    for name, executors in (("handler", 0), ("handler", 50), ("executor", 50)):
        yield [name, str(executors), *cpu_row(runs[f"command/{name}/{executors}"])]


def state_rows(runs):
    for name, what in (("set", "one value, setValue()"), ("catch", "the same by the catcher"),
                       ("commit", "commit(), nobody connected"), ("json", "toByteArray(), four values")):
        yield [what, *cpu_row(runs[f"state/{name}"])]


def startup_rows(entries):
    for name, key in (("query port", "query"), ("receiver port", "receiver")):
        times = [1e9 * run[key] for run in entries]
        yield [name, duration(statistics.median(times)), duration(min(times)), duration(max(times))]


def print_codec(measured):
    for direction in ("encode", "decode"):
        print(f"### {direction.capitalize()}\n")
        table(["JSON", "payload, bytes", "codec", "MB/s of JSON", "by hand", "ratio", "JSON / zlib / base64, %",
               "allocations", "by hand"], codec_rows(direction, measured.runs(direction)))


def print_exchange(measured):
    print("### Exchange\n")
    table(["reply", "frame, bytes", "wall, median", "wall, least", "client's CPU", "rounds", "allocations"],
          exchange_rows(measured.runs("exchange")))


def print_push(measured):
    print("### Pushed messages\n")
    table(["message text", "frame, bytes", "per second", "best run", "wall", "receiver's CPU", "rounds", "allocations"],
          push_rows(measured.runs("push")))


def print_log(measured):
    print("### Log lines\n")
    table(["line", "CPU, ns", "least", "allocations"], named_rows(measured.runs("log"), "log"))


def print_command(measured):
    print("### Commands\n")
    table(["carried out by", "executors", "CPU, ns", "least", "allocations"], command_rows(measured.runs("command")))


def print_record(measured):
    print("### Records\n")
    table(["record", "CPU, ns", "least", "allocations"], named_rows(measured.runs("record"), "record"))


def print_state(measured):
    print("### State\n")
    table(["operation", "CPU, ns", "least", "allocations"], state_rows(measured.runs("state")))


def print_service(measured):
    # There are none when the examples are not built.
    starts, rests = (measured.runs(name).get(f"{name}/echo") for name in ("startup", "rest"))
    if starts and rests:
        print("### A whole service\n")
        table(["first handshake on the", "median", "least", "most"], startup_rows(starts))
        table(["Rss, KiB", "Pss, KiB", "written, KiB", "threads", "wake-ups between two reports"],
              [[f"{median(rests, key):.0f}" for key in ("rss", "pss", "written", "threads", "wakeups")]])


def print_growth(measured):
    """Nothing, because scripts/plot draws it."""


TABLES = {"codec": print_codec, "exchange": print_exchange, "push": print_push, "log": print_log,
          "command": print_command, "record": print_record, "state": print_state, "service": print_service,
          "growth": print_growth}
