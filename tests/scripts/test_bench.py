#!/usr/bin/env python3
"""scripts/bench, with programs beneath it that measure nothing and give figures that are known."""
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "benchmarks"))

from report import peers, syscalls  # noqa: E402

# Answers as tarvex-peers does. The pause takes 10 µs of CPU time and 10 ms. Each way takes a known time more, in µs.
PEERS = """#!/usr/bin/env python3
import os, sys, time
TIMES = {times}
if sys.argv[1] == "--list":
    print(*TIMES, sep="\\n")
    sys.exit()
if sys.argv[1] == {broken!r}:
    sys.exit("no luck today")
print("ready", os.getpid(), flush=True)
for line in sys.stdin:
    verb, *words = line.split()
    for _ in range(int(words[0]) if verb == "measure" else 0):
        more = TIMES[sys.argv[1]] * 1000
        print(10000 + more, 10000000 + 2 * more, 3 if sys.argv[1] == "project" else 0)
    print("done", flush=True)
"""
TIMES = {"pause": 0, "plain": 10, "possible": 20, "possible_record": 44, "by_hand": 60, "dbus": 50, "mqtt": 40,
         "project": 22}

# Answers as tarvex-benchmarks does, with one benchmark of each kind that the test needs.
BENCHMARKS = """#!/usr/bin/env python3
import json, os, sys
filter = next(one for one in sys.argv if one.startswith("--benchmark_filter=")).split("^")[1]
entries = [
    {"name": "log/no_output", "cpu_time": 100}, {"name": "log/filter_on/repeat", "cpu_time": 700},
    {"name": "log/filter_on/new_text", "cpu_time": 11000},
    {"name": "record/copy/message", "cpu_time": 19}, {"name": "record/copy/state", "cpu_time": 21},
    {"name": "startup/echo", "cpu_time": 0, "query": 0.003, "receiver": 0.005},
    {"name": "rest/echo", "cpu_time": 0, "rss": 9000, "pss": 4000, "written": 900, "threads": 6, "wakeups": 2},
    {"name": "growth/load/" + os.environ.get("TARVEX_BENCH_LARGE", "0"), "cpu_time": 5}]
for number, entry in enumerate(entries):
    entry.update(run_name=entry["name"], run_type="iteration", family_index=number, allocations=60)
print(json.dumps({"context": {"date": "2024-05-01", "qt": "5.15", "zlib": "1.2", "compiler": "GNU"},
                  "benchmarks": [one for one in reversed(entries) if one["name"].startswith(filter.rstrip("$"))]}))
"""


# Pieces of programs that are interrupted. MARK names the file that tells their number.
LIST = """
if "--list" in sys.argv:
    sys.exit(print("pause", "dbus", "mqtt", sep="\\n"))
"""
BEGIN_AND_STAY = """
tempfile.mkdtemp()
mark = pathlib.Path(os.environ["MARK"])
mark.with_suffix(".new").write_text(str(os.getpid()))
mark.with_suffix(".new").rename(mark)
time.sleep(1000)
"""


def wait_until(holds):
    """Whether it holds within a time that is long on any machine."""
    end = time.monotonic() + 60
    while not holds() and time.monotonic() < end:
        time.sleep(0.01)
    return holds()


class Bench(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.build = pathlib.Path(folder.name)
        (self.build / "bin").mkdir()
        self.write("tarvex-benchmarks", BENCHMARKS)
        self.write_peers()

    def write(self, name, text):
        (self.build / "bin" / name).write_text(text)
        (self.build / "bin" / name).chmod(0o755)

    def write_peers(self, times=None, broken=""):
        self.write("tarvex-peers", PEERS.replace("{times}", repr(times or TIMES)).replace("{broken!r}", repr(broken)))

    def run_bench(self, *arguments, **environment):
        return subprocess.run([ROOT / "scripts/bench", "--quick", *arguments, self.build], capture_output=True,
                              text=True, check=False, timeout=100, env={**os.environ, **environment})

    def measure(self, *arguments):
        """What it prints, and the figures in the file that it writes."""
        run = self.run_bench(*arguments)
        self.assertEqual(run.returncode, 0, run.stderr)
        return run, json.loads((self.build / "bench-quick.json").read_text())

    def test_figures_are_without_the_pause(self):
        run, figures = self.measure("--only", "peers")
        self.assertEqual(run.stderr, "")
        self.assertIn("| message up 64 B | 10 (10–10) | 20 (20–20) | – | 60 (60–60) | 50 (50–50) | 40 (40–40) "
                      "| 22 (22–22) | 1.10 (1.10–1.10) | – | 0.44 (0.44–0.44) |\n", run.stdout)
        self.assertIn("| settings down 64 B | 10 (10–10) | 20 (20–20) | 44 (44–44) | 60 (60–60) | 50 (50–50) "
                      "| 40 (40–40) | 22 (22–22) | 1.10 (1.10–1.10) | 0.50 (0.50–0.50) | 0.44 (0.44–0.44) |\n", run.stdout)
        entry = next(one for one in figures["peers"]["entries"]
                     if (one["way"], one["operation"], one["bytes"]) == ("project", "down", 64))
        self.assertEqual(entry["cpu_ns"], {"median": 22000, "q1": 22000, "q3": 22000})
        self.assertEqual(entry["wall_ns"]["median"], 44000)
        self.assertEqual(entry["faults"], 3)
        self.assertAlmostEqual(entry["ratios"]["possible"]["cpu"]["median"], 1.1)
        self.assertAlmostEqual(entry["ratios"]["dbus"]["wall"]["median"], 0.44)

    def aims(self, figures):
        return {(one["aim"], one["of"]): one["held"] for one in figures["aims"]}

    def test_aims(self):
        run, figures = self.measure("--only", "peers", "--only", "log", "--only", "record")
        aims = self.aims(figures)
        self.assertIs(aims["CPU time over what is possible", "push 64 B"], True)
        self.assertIs(aims["wall time over QtDBus", "message up 64 B"], True)
        self.assertIs(aims["page faults of an operation", "push 200 kB"], False)
        self.assertIs(aims["a log line that is forwarded", "log/filter_on/new_text"], True)
        self.assertIs(aims["the copy of a record", "record/copy/state"], False)
        self.assertIs(aims["encoding over the steps by hand", "encode/ratio/64B"], None)
        self.assertIn("| a log line that is held back: log/filter_on/repeat - log/no_output | 500 ns | 600 ns | "
                      "missed by 100 ns |\n", run.stdout)
        self.assertIn("| a command to its handler: command/handler/0 | 1 µs |  | not measured |\n", run.stdout)

    def test_a_service_at_rest(self):
        run, figures = self.measure("--only", "service")
        aims = self.aims(figures)
        self.assertIs(aims["its wake-ups between two reports", "rest/echo"], False)
        self.assertIs(aims["memory that the echo service has written", "rest/echo"], True)
        self.assertIn("| its wake-ups between two reports: rest/echo | 0 | 2 | missed by 2 |\n", run.stdout)
        self.assertIn("| 9000 | 4000 | 900 | 6 | 2 |\n", run.stdout)

    def test_as_slow_as_qtdbus_is_not_below_it(self):
        self.write_peers({**TIMES, "dbus": TIMES["project"]})
        run, figures = self.measure("--only", "peers")
        self.assertIs(self.aims(figures)["CPU time over QtDBus", "message up 64 B"], False)
        self.assertIn("| CPU time over QtDBus: message up 64 B | below 1.00 × | 1.00 × | missed by 0.00 × |\n", run.stdout)
        self.write_peers({**TIMES, "dbus": TIMES["project"] + 1})
        self.assertIs(self.aims(self.measure("--only", "peers")[1])["CPU time over QtDBus", "message up 64 B"], True)

    def test_a_slow_project_misses(self):
        self.write_peers({**TIMES, "project": 60})
        aims = self.aims(self.measure("--only", "peers")[1])
        self.assertIs(aims["CPU time over what is possible", "push 64 B"], False)
        self.assertIs(aims["CPU time over what is possible", "push 200 kB"], False)
        self.assertIs(aims["CPU time over QtDBus", "message up 64 B"], False)
        self.assertIs(aims["wall time over QtDBus", "message up 64 B"], False)

    def test_a_way_that_is_not_built_is_left_out(self):
        self.write_peers({way: TIMES[way] for way in TIMES if way not in ("possible_record", "dbus", "mqtt")})
        run, figures = self.measure("--only", "peers")
        self.assertIn("scripts/bench: the row QtDBus is left out", run.stderr)
        self.assertIn("scripts/bench: the row MQTT is left out", run.stderr)
        self.assertIn("| operation | plain | possible | by hand | project | project / possible |\n", run.stdout)
        self.assertIs(self.aims(figures)["wall time over QtDBus", "push 64 B"], None)

    def test_the_tables_have_the_order_of_the_program(self):
        run, figures = self.measure("--only", "log")
        self.assertRegex(run.stdout, r"\| no output \| 100 \|.*\n\| filter on repeat \|.*\n\| filter on new text \|")
        self.assertEqual(list(figures["benchmarks"]), ["log"])
        self.assertIsNone(figures["peers"])

    def test_growth_stands_apart(self):
        _, figures = self.measure("--only", "growth")
        self.assertEqual([one["name"] for one in figures["growth"]], ["growth/load/0"])
        self.assertEqual(figures["benchmarks"], {})

    def test_the_machine_is_described(self):
        machine = self.measure("--only", "log")[1]["machine"]
        for key in ("cpu", "cores", "kernel", "system", "load", "qt", "zlib", "compiler"):
            self.assertTrue(machine[key], key)

    def test_the_file_can_be_named(self):
        file = self.build / "named.json"
        run = self.run_bench("--only", "log", "--json", str(file))
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertTrue(json.loads(file.read_text())["aims"])
        self.assertFalse((self.build / "bench-quick.json").exists())

    def copy_scripts(self, build):
        """A tree with scripts/bench in it and BUILD as its scripts/build."""
        root = self.build / "tree"
        shutil.copytree(ROOT / "benchmarks/report", root / "benchmarks/report")
        for name in ("scripts/bench", "tests/common/isolated"):
            (root / name).parent.mkdir(parents=True)
            shutil.copy(ROOT / name, root / name)
        (root / "scripts/build").write_text(build)
        (root / "scripts/build").chmod(0o755)
        return subprocess.run([root / "scripts/bench", "--quick", "--only", "log"], capture_output=True, text=True,
                              check=False, timeout=100)

    def test_without_a_folder_release_is_built(self):
        run = self.copy_scripts("#!/bin/sh\nfolder=${0%/*}/../build/$1\n"
                                f"mkdir -p $folder && cp -r {self.build}/bin $folder\n")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertTrue((self.build / "tree/build/release/bench-quick.json").exists())

    def test_the_build_fails(self):
        self.assert_fails(self.copy_scripts("#!/bin/sh\nexit 1\n"), "build/release cannot be built\n")

    def assert_fails(self, run, words):
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, rf"^scripts/bench: {words}")
        self.assertNotIn("Traceback", run.stderr)

    def test_a_way_that_fails(self):
        self.write_peers(broken="mqtt")
        self.assert_fails(self.run_bench("--only", "peers"),
                          r"\S*tarvex-peers mqtt ended with status 1\n    no luck today\n")

    def test_the_list_of_ways_fails(self):
        self.write("tarvex-peers", "#!/bin/sh\necho out of luck >&2\nexit 3\n")
        self.assert_fails(self.run_bench("--only", "peers"),
                          r"\S*tarvex-peers --list ended with status 3\n    out of luck\n")

    def test_without_strace_nothing_is_measured(self):
        folder = self.build / "path"
        folder.mkdir()
        (folder / "python3").symlink_to(sys.executable)
        self.write_peers(broken="plain")
        self.assert_fails(self.run_bench("--only", "peers", "--strace", PATH=str(folder)), "--strace needs strace")

    def interrupt(self, program, text):
        """Presses Ctrl-C once a file of PROGRAM shows that it runs. PROGRAM does not end by itself."""
        self.write(program, "#!/usr/bin/env python3\nimport os, pathlib, sys, tempfile, time\n" + text)
        temporary = self.build / "temporary"
        temporary.mkdir()
        run = subprocess.Popen([ROOT / "scripts/bench", "--quick", "--only", "peers", self.build], text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True,
                               env={**os.environ, "TMPDIR": str(temporary), "MARK": str(self.build / "pid")},
                               # What is started in the background by a shell ignores SIGINT.
                               preexec_fn=lambda: signal.signal(signal.SIGINT, signal.default_int_handler))
        self.addCleanup(run.wait)
        self.addCleanup(run.kill)
        self.assertTrue(wait_until((self.build / "pid").exists))
        os.killpg(run.pid, signal.SIGINT)
        self.assertEqual(run.communicate(timeout=100)[1], "")
        self.assertEqual(run.returncode, 130)
        self.assertEqual(list(temporary.iterdir()), [])
        process = pathlib.Path("/proc", (self.build / "pid").read_text())
        self.assertTrue(wait_until(lambda: not process.exists()))

    def test_an_interrupt_when_a_way_starts(self):
        self.interrupt("tarvex-peers", LIST + BEGIN_AND_STAY)

    def test_an_interrupt_when_a_way_is_measured(self):
        self.interrupt("tarvex-peers", LIST + "print('ready', os.getpid(), flush=True)\ninput()\n" + BEGIN_AND_STAY)

    def test_an_interrupt_of_the_benchmarks(self):
        self.interrupt("tarvex-benchmarks", BEGIN_AND_STAY)

    def test_a_program_that_fails(self):
        self.write("tarvex-benchmarks", "#!/bin/sh\necho out of luck >&2\nexit 3\n")
        self.assert_fails(self.run_bench(), r"tarvex-benchmarks ended with status 3\n    out of luck\n")

    def test_a_program_that_is_not_built(self):
        (self.build / "bin/tarvex-peers").unlink()
        self.assert_fails(self.run_bench("--only", "peers"),
                          r"there is no \S*tarvex-peers; scripts/build release makes it\n")

    def test_wrong_use(self):
        for arguments, words in ((["--only", "nonsense"], "invalid choice: 'nonsense'"),
                                 (["--json", "/nonsense/x.json"], "there is no folder for '/nonsense/x.json'"),
                                 (["--plots", "x", "--only", "log"], "--plots needs the part growth")):
            with self.subTest(arguments):
                run = self.run_bench(*arguments)
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertIn(words, run.stderr)


# Makes five system calls an operation, and says so as tarvex-peers does.
FIVE_CALLS = """#!{python}
import os, sys
print("ready", os.getpid(), flush=True)
for line in sys.stdin:
    verb, *words = line.split()
    for _ in range(5 * int(words[0]) if verb == "run" else 0):
        os.getppid()
    print("done", flush=True)
"""


def can_attach():
    """Whether strace is there and may look at a process that it has not started. Some systems forbid that."""
    if not shutil.which("strace"):
        return False
    sleeper = subprocess.Popen(["sleep", "60"])
    try:
        strace = subprocess.Popen(["strace", "-o", "/dev/null", "-p", str(sleeper.pid)], stderr=subprocess.PIPE,
                                  text=True)
        said = strace.stderr.readline()
        strace.send_signal(signal.SIGINT)
        strace.communicate()
        return "attached" in said
    finally:
        sleeper.kill()
        sleeper.wait()


class SystemCalls(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        program = pathlib.Path(folder.name) / "program"
        program.write_text(FIVE_CALLS.replace("{python}", sys.executable))
        program.chmod(0o755)
        self.command = [str(program), "way"]

    def test_both_count_the_same(self):
        counters = []
        if can_attach():
            counters.append(syscalls.by_strace())
        # Only root may have the kernel's count, and not in every container.
        if syscalls.by_kernel():
            counters.append(syscalls.by_kernel())
        for make_counter in counters:
            client = peers.Client(self.command)
            self.addCleanup(client.end)
            count = syscalls.in_one_operation(make_counter(client.pid), client, "up", 64, 3, 13)
            # The wait for a command may fall into one of the two runs and not into the other.
            self.assertAlmostEqual(count, 5, delta=0.3)


unittest.main()
