#!/usr/bin/env python3
"""The presets, the packages and the scripts that use them: each says for itself what it needs."""
import json
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PRESETS = json.loads((ROOT / "CMakePresets.json").read_text())
CONFIGURE = {preset["name"]: preset for preset in PRESETS["configurePresets"]}


def options():
    """The options of the build, with those that hold a text."""
    text = (ROOT / "cmake" / "TarvexOptions.cmake").read_text()
    return re.findall(r"^option\((TARVEX_\w+)|^set\((TARVEX_\w+) .* CACHE", text, re.MULTILINE)


def values(name):
    """What a preset sets, with what it inherits."""
    preset = CONFIGURE[name]
    inherited = values(preset["inherits"]) if "inherits" in preset else {}
    return {**inherited, **preset.get("cacheVariables", {})}


def run(*command):
    return subprocess.run([ROOT / "scripts" / command[0], *command[1:]], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=60)


class Presets(unittest.TestCase):
    def test_each_sets_every_option(self):
        # Otherwise an option that somebody gave in the same folder would stay.
        names = [first or second for first, second in options()]
        self.assertGreaterEqual(len(names), 7)
        for preset in CONFIGURE.values():
            if not preset.get("hidden"):
                with self.subTest(preset=preset["name"]):
                    self.assertEqual([name for name in names if name not in values(preset["name"])], [])

    def test_each_can_be_built(self):
        built = {preset["configurePreset"] for preset in PRESETS["buildPresets"]}
        self.assertEqual(built, {name for name, preset in CONFIGURE.items() if not preset.get("hidden")})

    def test_tests_where_they_are_built(self):
        tested = {preset["configurePreset"] for preset in PRESETS["testPresets"] if not preset.get("hidden")}
        self.assertEqual(tested, {name for name, preset in CONFIGURE.items()
                                  if not preset.get("hidden") and values(name)["TARVEX_BUILD_TESTS"] == "ON"})


class Scripts(unittest.TestCase):
    def test_build_names_the_presets(self):
        result = run("build", "nonsense")
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertIn("there is no build preset 'nonsense'; there are release debug tools libraries asan", result.stderr)

    def test_setup_names_the_groups(self):
        result = run("setup", "library", "nonsense")
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertIn("there is no group 'nonsense'; there are library tools", result.stderr)

    def test_groups_that_the_scripts_ask_for_exist(self):
        groups = re.findall(r"^\[(\w+)\]", (ROOT / "packaging" / "debian-packages.txt").read_text(), re.MULTILINE)
        asked = re.findall(r"groups=\(([\w ]+)\)", (ROOT / "scripts" / "build").read_text())
        self.assertGreaterEqual(len(asked), 7)
        self.assertEqual({group for names in asked for group in names.split()} - set(groups), set())
        self.assertIn("lint", groups)


unittest.main()
