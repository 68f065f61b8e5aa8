#!/usr/bin/env python3
"""What every script says about itself, and what it says to wrong input."""
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = sorted(path for path in (ROOT / "scripts").iterdir() if path.stat().st_mode & 0o100) + [ROOT / ".ci/run"]
WRONG = {
    "build": ([], ["release", "debug"], ["nonsense"]),
    "setup": (["nonsense"], ["library", "nonsense"]),
    "run-tests": ([], ["nonsense"], ["tools"]),
    "docs": (["nonsense"], ["--into"], ["--check", "--into", "nonsense"]),
    "progress": ([], ["name"], ["name", "log"], ["--usually"]),
    "abi": (["nonsense"], ["--check", "--dump"]),
    "test": (["release"], ["--preset"]),
    "bench": (["/nonsense"], [".", "."], ["--only", "nonsense"], ["--json", "/nonsense/x"]),
}


class Usage(unittest.TestCase):
    def run_script(self, script, *arguments):
        # From another folder, because each works from any.
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run([script, *arguments], cwd=folder, capture_output=True, text=True, check=False, timeout=60)
            self.assertEqual(list(pathlib.Path(folder).iterdir()), [])
        return run

    def test_help(self):
        self.assertGreater(len(SCRIPTS), 11)
        for script in SCRIPTS:
            with self.subTest(script.name):
                run = self.run_script(script, "--help")
                self.assertEqual((run.returncode, run.stderr), (0, ""))
                self.assertRegex(run.stdout, rf"^usage: {script.relative_to(ROOT)}\b")
                self.assertLess(max(len(line) for line in run.stdout.splitlines()), 121)

    def test_wrong_use(self):
        for script in SCRIPTS:
            # A script that takes no arguments refuses any.
            for arguments in (["--nonsense"], *WRONG.get(script.name, (["nonsense"],))):
                with self.subTest(script=script.name, arguments=arguments):
                    run = self.run_script(script, *arguments)
                    self.assertEqual((run.returncode, run.stdout), (2, ""))
                    self.assertIn(f"{script.relative_to(ROOT)}: ", run.stderr)
                    self.assertIn("usage: " if "usage: " in run.stderr else "Try '", run.stderr)

    def test_every_script_is_explained(self):
        page = (ROOT / "docs/development.md").read_text()
        for script in SCRIPTS:
            with self.subTest(script.name):
                self.assertTrue(f"`{script.relative_to(ROOT)}" in page)


unittest.main()
