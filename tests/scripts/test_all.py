#!/usr/bin/env python3
"""scripts/test and its steps, with scripts beneath it that only say that they were called."""
import pathlib
import shutil
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGE = "package --test"
STUB = """#!/bin/bash
name="$(basename "$0")${1+ $1}"
echo "begin $name" >>calls
echo "$name speaks ${*:2}"
sleep "$(cat "pause $name" 2>/dev/null || cat pause)"
echo "end $name" >>calls
if [[ $name == run-tests* ]]; then
    mkdir -p "build/$1" && echo "7 tests, 0 failed, 0 left out" >"build/$1/tests.summary"
fi
! grep -qx "$name" fails
"""


class Tests(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "scripts").mkdir()
        (self.root / "tests/common").mkdir(parents=True)
        for name in ("test", "test.mk", "common"):
            shutil.copy(ROOT / "scripts" / name, self.root / "scripts")
        shutil.copy(ROOT / "CMakePresets.json", self.root)
        for name in ("build", "run-tests", "demo", "lint", "package", "ten-minutes"):
            self.write(f"scripts/{name}", STUB)
        self.write("scripts/setup", "#!/bin/sh\n")
        self.write("calls", "")
        self.write("tests/common/isolated", "#!/bin/sh\nexec \"$@\"\n")
        self.write("pause", "0.2")
        self.write("fails", "")

    def write(self, name, text):
        (self.root / name).write_text(text)
        (self.root / name).chmod(0o755)

    def start(self, *arguments):
        return subprocess.Popen([self.root / "scripts/test", *arguments], cwd=self.root, text=True, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT)

    def run_script(self, *arguments):
        process = self.start(*arguments)
        said, _ = process.communicate(timeout=100)
        return process.returncode, said

    def calls(self):
        """What was called, by its name: where in the order it began and where it ended."""
        order = (self.root / "calls").read_text().splitlines()
        return {line[len("begin "):]: (number, order.index("end " + line[len("begin "):]))
                for number, line in enumerate(order) if line.startswith("begin ")}

    def assert_apart(self, *names):
        """None of them runs beside another one, and they come in this order."""
        calls = self.calls()
        for former, latter in zip(names, names[1:]):
            self.assertLess(calls[former][1], calls[latter][0], f"{latter} runs beside {former}")

    def assert_order(self):
        self.assert_apart("demo", "build release", "run-tests release", "run-tests asan", "run-tests tsan", PACKAGE,
                          "ten-minutes")
        self.assert_apart("demo", "build asan", "build tsan", "lint")
        self.assert_apart("run-tests release", "lint")
        self.assert_apart("build tsan", "run-tests tsan")

    def test_all_in_order(self):
        for slow in ("run-tests release", "build asan", "build tsan"):
            with self.subTest(slow):
                self.write("calls", "")
                self.write(f"pause {slow}", "3")
                status, said = self.run_script("--all")
                (self.root / f"pause {slow}").unlink()
                self.assertEqual(status, 0, said)
                self.assert_order()

    def test_all_shows_each_step_and_a_summary(self):
        status, said = self.run_script("--all")
        self.assertEqual(status, 0, said)
        # What each has said, in the order of the report and once.
        spoken = [line.split(" speaks")[0] for line in said.splitlines() if " speaks" in line]
        self.assertEqual(spoken[-10:], ["demo", "build release", "run-tests release", "build asan", "run-tests asan",
                                       "build tsan", "run-tests tsan", "lint", PACKAGE, "ten-minutes"])
        self.assertRegex(said, r"\n\nscripts/test: demo: passed, in \d+ s\n"
                         r"scripts/test: release: 7 tests, 0 failed, 0 left out; built in \d+ s, tested in \d+ s\n"
                         r"scripts/test: asan: 7 tests, .*\nscripts/test: tsan: 7 tests, .*\n"
                         r"scripts/test: lint: passed, in \d+ s\n"
                         r"scripts/test: packages: passed, in \d+ s\nscripts/test: ten-minutes: passed, in \d+ s\n$")

    def test_all_runs_side_by_side(self):
        self.write("pause", "1")
        self.run_script("--all")
        order = (self.root / "calls").read_text().splitlines()
        both = {order.index("begin build release"), order.index("begin build asan")}
        self.assertLess(max(both), order.index("end build release"))

    def test_a_failure_stops_nothing_else(self):
        self.write("fails", "demo\nbuild asan\nrun-tests release\n")
        status, said = self.run_script("--all")
        self.assertEqual(status, 1)
        self.assertNotIn("run-tests asan", self.calls())
        self.assertIn("lint", self.calls())
        self.assertRegex(said, r"\nscripts/test: demo: FAILED, in \d+ s\nscripts/test: release: 7 tests, ")
        self.assertRegex(said, r"\nscripts/test: asan: the build FAILED, in \d+ s\nscripts/test: tsan: 7 tests, ")

    def test_one_step_alone_fails(self):
        for script, step in (("lint", "lint"), (PACKAGE, "packages"), ("ten-minutes", "ten-minutes")):
            with self.subTest(script):
                self.write("fails", f"{script}\n")
                status, said = self.run_script("--all")
                self.assertEqual(status, 1)
                self.assertRegex(said, rf"\nscripts/test: {step}: FAILED, in \d+ s\n")
                self.assertEqual(said.count("FAILED"), 1)

    def test_one_preset(self):
        status, said = self.run_script("--preset", "debug", "--", "-R", "two words", "$HOME")
        self.assertEqual(status, 0, said)
        self.assert_apart("build debug", "run-tests debug")
        self.assertIn("run-tests debug speaks -R two words $HOME\n", said)
        self.assertRegex(said, r"\n\nscripts/test: debug: 7 tests, 0 failed, 0 left out; built in \d+ s, tested in \d+ s\n$")

    def test_without_arguments_it_is_release(self):
        self.write("fails", "run-tests release\n")
        self.assertEqual(self.run_script()[0], 1)
        self.write("fails", "build release\n")
        status, said = self.run_script()
        self.assertEqual(status, 1)
        self.assertRegex(said, r"\nscripts/test: release: the build FAILED, in \d+ s\n$")

    def test_arguments_for_ctest_reach_every_preset(self):
        status, said = self.run_script("--all", "--", "-R", "two words", "$HOME")
        self.assertEqual(status, 0, said)
        for preset in ("release", "asan", "tsan"):
            self.assertIn(f"run-tests {preset} speaks -R two words $HOME\n", said)

    def test_interrupt_ends_all(self):
        self.write("pause", "1000")
        process = self.start("--all")
        while not (self.root / "calls").read_text():
            time.sleep(0.05)
        process.terminate()
        # Its output ends when nobody holds it any more: no step, and not who shows what the step says.
        process.communicate(timeout=100)
        self.assertNotEqual(process.returncode, 0)
        self.assertEqual((self.root / "calls").read_text(), "begin demo\n")

    def test_wrong_use(self):
        for arguments, words in ((["--unknown"], "unknown argument '--unknown'"), (["release"], "unknown argument 'release'"),
                                 (["--preset"], "--preset takes a name"),
                                 (["--preset", "tools"], "there is no test preset 'tools'; there are release debug asan"),
                                 (["--preset", "nonsense"], "there is no test preset 'nonsense'"),
                                 (["--all", "--preset", "asan"], "--all and --preset exclude each other")):
            with self.subTest(arguments):
                status, said = self.run_script(*arguments)
                self.assertEqual(status, 2)
                self.assertIn(f"scripts/test: {words}", said)
                self.assertIn("Try 'scripts/test --help'.\n", said)


unittest.main()
