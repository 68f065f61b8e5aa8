#!/usr/bin/env python3
"""The Containerfile takes along all that its commands need. To run them takes minutes and a network, so this does not."""
import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Container(unittest.TestCase):
    def setUp(self):
        text = (ROOT / "Containerfile").read_text()
        lines = [line for line in text.splitlines() if line and not line.startswith("#")]
        self.steps = [line.split(maxsplit=1) for line in lines]

    def values(self, word):
        return [value for name, value in self.steps if name == word]

    def test_begins_with_debian(self):
        self.assertEqual(self.steps[0], ["FROM", "debian:12"])

    def test_commands_are_commands_of_the_shell(self):
        self.assertTrue(self.values("RUN"))
        for command in self.values("RUN"):
            with self.subTest(command):
                subprocess.run(["sh", "-n", "-c", command], check=True)

    def test_packages_are_installed_by_what_is_copied(self):
        with tempfile.TemporaryDirectory() as folder:
            for copied in self.values("COPY"):
                *sources, target = copied.split()
                place = pathlib.Path(folder, target.lstrip("/"))
                place.mkdir(parents=True)
                for source in sources:
                    shutil.copy(ROOT / source, place)
            scripts = re.findall(r"/setup/scripts/\w+", " ".join(self.values("RUN")))
            self.assertEqual(scripts, ["/setup/scripts/setup"])
            run = subprocess.run([folder + scripts[0], "--help"], capture_output=True, text=True, check=False)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            # It has found the list, because it names the groups.
            self.assertIn("  library tools ", run.stdout)
            # What setup runs by itself has come along too.
            for name in re.findall(r"\$root/scripts/([\w-]+)", (ROOT / "scripts/setup").read_text()):
                self.assertTrue(pathlib.Path(folder, "setup/scripts", name).exists(), name)

    def test_editor_opens_the_same(self):
        data = json.loads((ROOT / ".devcontainer/devcontainer.json").read_text())
        file = (ROOT / ".devcontainer" / data["build"]["dockerfile"]).resolve()
        self.assertEqual(file, ROOT / "Containerfile")
        self.assertEqual((ROOT / ".devcontainer" / data["build"]["context"]).resolve(), ROOT)
        self.assertEqual([data["workspaceFolder"]], self.values("WORKDIR"))


unittest.main()
