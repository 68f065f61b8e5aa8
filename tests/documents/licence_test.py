#!/usr/bin/env python3
"""The licence data stands in one place, covers every file, and the packages say the same."""
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def words(text):
    return " ".join(text.split())


class Licence(unittest.TestCase):
    def setUp(self):
        self.data = (ROOT / ".reuse/dep5").read_text()
        self.packages = (ROOT / "debian/copyright").read_text()
        self.names = re.findall(r"^License: (.*)$", self.data, re.MULTILINE)

    def test_every_file_has_its_licence(self):
        run = subprocess.run(["reuse", "--root", ROOT, "lint"], capture_output=True, text=True, check=False)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)

    def test_packages_say_who_the_owner_is(self):
        # "Files: *" and what follows it. Other files may have other owners.
        owner = re.search(r"^Files: \*\nCopyright: (.*)$", self.data, re.MULTILINE)[1]
        self.assertEqual(re.search(r"^Files: \*\nCopyright: (.*)$", self.packages, re.MULTILINE)[1], owner)

    def test_packages_have_the_words_of_the_licence(self):
        for name in self.names:
            with self.subTest(name):
                text = (ROOT / f"LICENSES/{name}.txt").read_text()
                # What is known under its name is not repeated in the packages.
                if name.startswith("LicenseRef-"):
                    self.assertIn(words(text), words(self.packages))


unittest.main()
