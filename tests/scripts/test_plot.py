#!/usr/bin/env python3
"""What scripts/plot makes of the benchmarks' results. A program that repeats what it is told stands for gnuplot."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

PLOT = pathlib.Path(__file__).resolve().parents[2] / "scripts/plot"
ECHO = "#!/bin/sh\necho '<svg><![CDATA['; cat; echo ']]></svg>'\n"
FAILURE = "#!/bin/sh\ncat >/dev/null; echo 'line 1: no such terminal' >&2; exit 1\n"


def entry(name, cpu, unit="us", **others):
    return {"name": name, "run_type": "iteration", "cpu_time": cpu, "real_time": cpu, "time_unit": unit, **others}


class Plot(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.provide_gnuplot(ECHO)

    def provide_gnuplot(self, text):
        program = self.folder / "bin/gnuplot"
        program.parent.mkdir(exist_ok=True)
        program.write_text(text)
        program.chmod(0o755)

    def plot(self, report, path=None):
        file = self.folder / "results.json"
        file.write_text(report if isinstance(report, str) else json.dumps(report))
        environment = {**os.environ, "PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"}
        return subprocess.run([PLOT, path or file, self.folder / "plots"], env=environment, capture_output=True, text=True,
                              check=False, timeout=60)

    def picture(self, name):
        return (self.folder / "plots" / f"{name}.svg").read_text()

    def assert_fails(self, run, words):
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertRegex(run.stderr, rf"^scripts/plot: .*{words}.*\n$")
        self.assertFalse((self.folder / "plots").exists())

    def test_points_are_medians_with_their_spread_in_microseconds(self):
        runs = [entry("growth/dispatch/10", 2, "ms"), entry("growth/dispatch/10", 1, "ms"),
                entry("growth/dispatch/10", 9, "ms"), entry("growth/dispatch/1/iterations:5/real_time", 500, "ns")]
        for key in ("growth", "benchmarks"):
            with self.subTest(key):
                self.assertEqual(self.plot({key: runs}).stdout, f"{self.folder}/plots/dispatch.svg\n")
                self.assertIn("$curve0 << END\n1 0.5 0.5 0.5\n10 2000 1000 9000\nEND\n", self.picture("dispatch"))
                # In proportion to the size, through the last point of the curve.
                self.assertIn("$work << END\n1 200\n10 2000\nEND\n", self.picture("dispatch"))

    def test_bus_is_drawn_by_its_own_cpu_time(self):
        self.plot({"growth": [entry("growth/queue_add/1", 7, bus_cpu_us=150.5)]})
        self.assertIn("\n1 150.5 150.5 150.5\n", self.picture("bus-queue"))

    def test_aggregates_and_other_benchmarks_are_left_out(self):
        aggregate = {**entry("growth/dispatch/1_median", 7), "run_type": "aggregate"}
        run = self.plot({"benchmarks": [entry("encode/codec/64B", 3), aggregate, entry("growth/dispatch/1", 5)]})
        self.assertEqual(run.stdout, f"{self.folder}/plots/dispatch.svg\n")
        self.assertIn("$curve0 << END\n1 5 5 5\nEND\n", self.picture("dispatch"))

    def test_same_results_give_the_same_bytes(self):
        runs = [entry("growth/load_text/64", 3), entry("growth/push_text/64", 5)]
        self.plot({"growth": runs})
        first = self.picture("payload-cpu")
        self.plot({"growth": runs[::-1]})
        self.assertEqual(self.picture("payload-cpu"), first)
        self.assertNotIn(str(self.folder), first)

    def test_what_was_not_measured_is_told(self):
        run = self.plot({"growth": [entry("growth/dispatch/1", 5)]})
        self.assertEqual(run.returncode, 0)
        self.assertRegex(run.stderr, r"^scripts/plot: not drawn, because nothing of it was measured: .*bus-queue.svg.*\n$")
        self.assertNotIn("dispatch", run.stderr)

    def test_failures_are_told_in_one_line(self):
        self.assert_fails(self.plot("no JSON"), "holds no results of the benchmarks")
        self.assert_fails(self.plot({"growth": [{"time": 3}]}), "holds no results of the benchmarks")
        self.assert_fails(self.plot({"growth": []}), "has no benchmarks growth/")
        self.assert_fails(self.plot({}, "/nonsense"), "cannot read '/nonsense': No such file or directory")
        self.assert_fails(self.plot({"growth": [entry("growth/queue_add/1", 7)]}), "has no bus_cpu_us")

    def test_failure_of_gnuplot_is_told(self):
        self.provide_gnuplot(FAILURE)
        self.assert_fails(self.plot({"growth": [entry("growth/dispatch/1", 5)]}), "gnuplot fails: line 1: no such terminal")
        self.provide_gnuplot("#!/bin/sh\ncat >/dev/null; echo nothing\n")
        self.assert_fails(self.plot({"growth": [entry("growth/dispatch/1", 5)]}), "is no SVG")


unittest.main()
