#!/usr/bin/env python3
"""scripts/release in a copy of the tree's files, in a repository of its own. What it runs are stand-ins."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Each notes that it ran, and fails when a file of its name says so. The second leaves an interface behind.
STEPS = {".ci/run": "", "scripts/package": "",
         "scripts/abi": "v=$(sed -n 's/^project(tarvexlib VERSION \\([0-9.]*\\).*/\\1/p' CMakeLists.txt)\n"
                        "mkdir -p packaging/abi/$v; echo symbols >packaging/abi/$v/tarvexlib.abi\n"}
OWN = {"GIT_CONFIG_GLOBAL": "/dev/null", "GIT_CONFIG_SYSTEM": "/dev/null", "SOURCE_DATE_EPOCH": "1800000000"}
NAMES = {f"GIT_{who}_{what}": value for who in ("AUTHOR", "COMMITTER")
         for what, value in (("NAME", "Somebody"), ("EMAIL", "somebody@localhost"))}


class Release(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name, "tree")
        shutil.copytree(ROOT / "debian", self.root / "debian")
        for name in ("CMakeLists.txt", "CHANGELOG.md", "scripts/release"):
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, self.root / name)
        for name, more in STEPS.items():
            word = name.replace("/", "-")
            self.write(name, f"#!/bin/bash\nset -e\necho \"{name} $*\" >>../ran\n{more}[[ ! -e ../{word}-fails ]]\n")
            (self.root / name).chmod(0o755)
        self.write("CMakeLists.txt", re.sub(r"VERSION \d+\.\d+\.\d+", "VERSION 5.0.28", self.read("CMakeLists.txt"), count=1))
        self.changelog("## 5.0.28 (unreleased)\n\n- `One` line,\n  wrapped.\n- Another one.\n")
        self.git("init", "--quiet")
        self.commit()

    def write(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text)

    def read(self, name):
        return (self.root / name).read_text()

    def changelog(self, sections):
        self.write("CHANGELOG.md", f"# Changelog\n\n{sections}")

    def git(self, *arguments):
        return subprocess.run(["git", *arguments], cwd=self.root, check=True, capture_output=True, text=True,
                              env={**os.environ, **OWN, **NAMES}).stdout

    def commit(self):
        self.git("add", "--all")
        self.git("commit", "--quiet", "--message", "x: Work")

    def run_it(self, *arguments):
        return subprocess.run([self.root / "scripts/release", *arguments], cwd="/", capture_output=True, text=True,
                              check=False, env={**os.environ, **OWN, **NAMES}, timeout=60)

    def ran(self):
        file = self.root.parent / "ran"
        return file.read_text().splitlines() if file.exists() else []

    def release(self, version):
        run = self.run_it(version)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        return run.stdout

    def assert_refused(self, version, why):
        before = self.git("rev-parse", "HEAD"), self.git("tag"), self.git("status", "--porcelain")
        run = self.run_it(version)
        self.assertEqual(run.returncode, 1, run.stdout)
        self.assertIn(why, run.stderr)
        self.assertEqual((self.git("rev-parse", "HEAD"), self.git("tag"), self.git("status", "--porcelain")), before)

    def next_section(self, text="- More.\n"):
        """Puts a section on top, in place of one that is not released."""
        released = re.sub(r"## \S+ \(unreleased\)\n.*?(?=^## )", "", self.read("CHANGELOG.md"), flags=re.MULTILINE | re.DOTALL)
        self.write("CHANGELOG.md", released.replace("# Changelog\n\n", f"# Changelog\n\n## 5.0.29 (unreleased)\n\n{text}\n", 1))
        self.commit()

    def test_first_release(self):
        self.assertIn("released 5.0.28", self.release("5.0.28"))
        self.assertEqual(self.ran(), [".ci/run ", "scripts/abi --dump", "scripts/package --test"])
        self.assertIn("## 5.0.28 (2027-01-15)\n\n- `One` line,", self.read("CHANGELOG.md"))
        self.assertEqual(self.git("status", "--porcelain"), "")
        self.assertEqual(self.git("log", "-1", "--format=%s").strip(), "tree: Release 5.0.28")
        self.assertIn("- Another one.", self.git("for-each-ref", "--format=%(contents)", "refs/tags/v5.0.28"))
        self.assertIn("packaging/abi/5.0.28/tarvexlib.abi", self.git("show", "--stat=200", "v5.0.28"))
        self.assertEqual(self.git("rev-parse", "v5.0.28^{commit}"), self.git("rev-parse", "HEAD"))

    def test_packages_get_the_changelog(self):
        self.release("5.0.28")
        self.assertTrue(self.read("debian/changelog").startswith(
            "tarvexlib (5.0.28) bookworm; urgency=medium\n\n  * One line, wrapped.\n  * Another one.\n\n -- "))
        self.next_section()
        self.release("5.0.29")
        parsed = subprocess.run(["dpkg-parsechangelog", "--all", "--file", self.root / "debian/changelog"],
                                capture_output=True, text=True, check=True)
        self.assertEqual(parsed.stderr, "")
        self.assertEqual(re.findall(r"^tarvexlib \((.*?)\)", self.read("debian/changelog"), re.MULTILINE), ["5.0.29", "5.0.28"])
        self.assertIn("Date: Fri, 15 Jan 2027 08:00:00", parsed.stdout)

    def test_later_release_sets_the_version(self):
        self.release("5.0.28")
        self.next_section()
        self.release("5.1.0")
        self.assertIn("project(tarvexlib VERSION 5.1.0 ", self.read("CMakeLists.txt"))
        self.assertIn("## 5.1.0 (2027-01-15)\n\n- More.", self.read("CHANGELOG.md"))
        self.assertNotIn("5.0.29", self.read("CHANGELOG.md") + self.read("debian/changelog"))

    def test_dry_run_changes_nothing(self):
        self.release("5.0.28")
        self.next_section()
        (self.root.parent / "ran").unlink()
        before = {path: path.read_bytes() for path in self.root.rglob("*") if path.is_file()}
        run = self.run_it("5.0.29", "--dry-run")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        for words in ("+project(tarvexlib VERSION 5.0.29", "+## 5.0.29 (2027-01-15)", "+  * More.", "Then .ci/run", "v5.0.29"):
            self.assertIn(words, run.stdout)
        self.assertEqual({path: path.read_bytes() for path in self.root.rglob("*") if path.is_file()}, before)
        self.assertEqual(self.ran(), [])

    def test_step_that_fails_leaves_the_tree_as_it_was(self):
        for number, step in enumerate((".ci/run", "scripts/abi", "scripts/package")):
            with self.subTest(step):
                flag = self.root.parent / f"{step.replace('/', '-')}-fails"
                flag.touch()
                self.assert_refused("5.0.28", f"{step}")
                self.assertEqual(len(self.ran()), number + 1)
                (self.root.parent / "ran").unlink()
                flag.unlink()
        self.release("5.0.28")

    def test_tag_that_cannot_be_made_leaves_the_tree_as_it_was(self):
        # git keeps no tag beside others whose names begin with it and a slash.
        self.git("tag", "v5.0.28/first")
        self.assert_refused("5.0.28", "git tag has failed")
        self.assertEqual(len(self.ran()), len(STEPS))
        self.assertEqual(self.git("log", "--format=%s").split("\n")[0], "x: Work")

    def test_one_that_is_asked_to_end_leaves_the_tree_as_it_was(self):
        self.write("scripts/package", "#!/bin/sh\nexec >/dev/null 2>&1; kill -TERM $PPID; exec sleep 20\n")
        self.commit()
        before = self.git("rev-parse", "HEAD"), self.git("status", "--porcelain")
        self.assertEqual(self.run_it("5.0.28").returncode, 143)
        self.assertEqual((self.git("rev-parse", "HEAD"), self.git("status", "--porcelain")), before)

    def test_changes_that_are_not_committed_are_refused(self):
        self.write("new", "new\n")
        self.assert_refused("5.0.28", "not committed")
        self.assertEqual(self.ran(), [])

    def test_versions_that_cannot_follow_are_refused(self):
        self.assert_refused("5.0.27", "less than 5.0.28, the version in CMakeLists.txt")
        self.release("5.0.28")
        self.assert_refused("5.0.29", "nothing to release")
        self.next_section()
        self.assert_refused("5.0.28", "not greater than 5.0.28, the last release")
        self.assert_refused("4.9.0", "not greater than 5.0.28")

    def test_new_major_version_needs_a_planned_break(self):
        self.release("5.0.28")
        self.next_section()
        self.assert_refused("6.0.0", "Interface break:")
        self.next_section("Interface break:\n\nSoon.\n\n- One.\n")
        self.assert_refused("6.0.0", "no line '- ...' follows")
        self.next_section("Interface break:\n\n- `Message` has grown.\n")
        self.assert_refused("5.1.0", "at least 6.0.0")
        self.assert_refused("6.0.0", "no package libtarvexlib6")
        self.write("debian/control", self.read("debian/control").replace("libtarvexlib5", "libtarvexlib6"))
        self.commit()
        self.release("6.0.0")

    def test_changelog_without_a_line_is_refused(self):
        self.changelog("## 5.0.28 (unreleased)\n\nSoon.\n")
        self.commit()
        self.assert_refused("5.0.28", "no line '- ...'")
        self.changelog("## 5.0.28 (unreleased)\n\n- One.\n\n## 5.0.27 (unreleased)\n\n- Two.\n")
        self.commit()
        self.assert_refused("5.0.28", "more than one section")

    def test_wrong_use(self):
        for arguments in ([], ["5.0"], ["v5.0.28"], ["5.0.028"], ["5.0.28-rc1"], ["5.0.28", "5.0.29"], ["--tag"]):
            with self.subTest(arguments):
                run = self.run_it(*arguments)
                self.assertEqual((run.returncode, run.stdout), (2, ""))


unittest.main()
