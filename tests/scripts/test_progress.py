#!/usr/bin/env python3
"""scripts/progress says nothing about a quick command, a line now and then about a slow one, one line on a terminal."""
import os
import pathlib
import pty
import re
import select
import subprocess
import tempfile
import time
import unittest

PROGRESS = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "progress"
SLOW = "echo '[1/20] one'; echo '[7/20] seven'; sleep 8; echo '[20/20] all'"


class Progress(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.log = pathlib.Path(folder.name, "sub", "work.log")

    def run_it(self, *arguments, **options):
        return subprocess.run([PROGRESS, *arguments], text=True, stdout=subprocess.PIPE, timeout=100,
                              **{"stderr": subprocess.PIPE, **options})

    def run_command(self, script, *options, **more):
        return self.run_it(*options, "the work", self.log, "sh", "-c", script, **more)

    def test_quick_says_nothing(self):
        result = self.run_command("echo words; echo more >&2")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertEqual(self.log.read_text(), "words\nmore\n")
        self.assertFalse(pathlib.Path(f"{self.log}.took").exists())

    def test_failure_shows_the_log_and_keeps_the_status(self):
        result = self.run_command("echo words; exit 7")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (7, "", "words\n"))

    def test_slow_tells_steps_and_then_the_last_time(self):
        first = self.run_command(SLOW, "--usually", "an hour")
        self.assertEqual((first.returncode, first.stdout), (0, ""))
        self.assertRegex(first.stderr, r"^the work: step 7 of 20, \d+ s \(usually an hour\)\n")
        steps, seconds = pathlib.Path(f"{self.log}.took").read_text().split()
        self.assertEqual(steps, "20")
        self.assertGreaterEqual(int(seconds), 8)
        second = self.run_command(SLOW, "--usually", "an hour")
        self.assertRegex(second.stderr, rf"^the work: step 7 of 20, \d+ s \(last time {duration(int(seconds))} for 20 steps\)\n")

    def test_slow_without_steps(self):
        result = self.run_command("sleep 8")
        self.assertRegex(result.stderr, r"^the work, \d+ s\n")
        self.assertRegex(pathlib.Path(f"{self.log}.took").read_text(), r"^- \d+\n$")

    def test_terminal_has_one_line_that_goes(self):
        terminal, other_end = pty.openpty()
        result = self.run_command(SLOW, stderr=other_end, env={**os.environ, "TERM": "xterm"})
        os.close(other_end)
        shown = b""
        try:
            while block := os.read(terminal, 4096):
                shown += block
        except OSError:  # all has been read
            pass
        os.close(terminal)
        self.assertEqual(result.returncode, 0)
        self.assertNotIn(b"\n", shown)
        lines = [line for line in re.split(rb"\r\x1b\[K", shown) if line]
        self.assertGreaterEqual(len(lines), 2)
        self.assertRegex(lines[0], rb"^the work: step 7 of 20, \d+ s$")
        self.assertTrue(shown.endswith(b"\r\x1b[K"))

    def test_killed_leaves_no_watch(self):
        terminal, other_end = pty.openpty()
        process = subprocess.Popen([PROGRESS, "the work", self.log, "sleep", "20"], stderr=other_end)
        os.close(other_end)
        self.addCleanup(os.close, terminal)
        self.assertTrue(select.select([terminal], [], [], 100)[0])  # the first line of the watch
        process.kill()
        process.wait()
        # Once nobody has the terminal open any more, reading fails.
        end = time.monotonic() + 60
        with self.assertRaises(OSError):
            while time.monotonic() < end:
                if select.select([terminal], [], [], 1)[0]:
                    os.read(terminal, 4096)

    def test_wrong_use(self):
        for arguments in ([], ["name"], ["name", "log"], ["--unknown", "name", "log", "true"], ["--usually"]):
            with self.subTest(arguments=arguments):
                result = self.run_it(*arguments)
                self.assertEqual(result.returncode, 2)
                self.assertTrue(result.stderr)

    def test_help(self):
        result = self.run_it("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("usage: scripts/progress", result.stdout)


def duration(seconds):
    return f"{seconds} s" if seconds < 60 else f"{seconds // 60}:{seconds % 60:02} min"


unittest.main()
