#!/usr/bin/env python3
"""check_hardening.py finds each kind of hardening that a planted program lacks."""
import pathlib
import subprocess
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parent / "check_hardening.py"
# The size of the copy is not known, so the compiler cannot leave the guard out; and there is an array to protect.
SOURCE = """
#include <cstdio>
#include <cstring>
int main(int count, char** words)
{
    char text[64];
    std::strcpy(text, words[count - 1]);
    return std::printf("%s %d\\n", text, count);
}
"""
GOOD = ["-O2", "-D_FORTIFY_SOURCE=2", "-fstack-protector-strong", "-fPIE", "-pie", "-Wl,-z,relro", "-Wl,-z,now"]


class Hardening(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "planted.cpp").write_text(SOURCE)

    def check(self, *changed, drop=()):
        """Compiles with Debian's flags and the changed ones, and without those to drop."""
        program = self.folder / "planted"
        flags = [flag for flag in GOOD if flag not in drop]
        subprocess.run(["c++", *flags, *changed, self.folder / "planted.cpp", "-o", program], check=True)
        return subprocess.run([CHECK, program], text=True, capture_output=True, check=False)

    def test_hardened(self):
        run = self.check()
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(run.stdout, "hardening: 1 files are in order\n")

    def test_each_lack_is_found_alone(self):
        for changed, drop, words in (
                (["-no-pie", "-fno-pie"], ["-fPIE", "-pie"], "Position Independent Executable: no, normal executable!"),
                (["-fno-stack-protector"], [], "Stack protected: no, not found!"),
                (["-U_FORTIFY_SOURCE"], ["-D_FORTIFY_SOURCE=2"], "Fortify Source functions: printf not guarded"),
                (["-Wl,-z,norelro"], ["-Wl,-z,relro"], "Read-only relocations: no, not found!"),
                (["-Wl,-z,lazy"], ["-Wl,-z,now"], "Immediate binding: no, not found!")):
            with self.subTest(words):
                run = self.check(*changed, drop=drop)
                self.assertEqual(run.returncode, 1)
                self.assertEqual(run.stderr.splitlines(), [f"{self.folder / 'planted'}: {words}",
                                                           "hardening: 1 faults in 1 files"])

    def test_in_a_package(self):
        self.check("-fno-stack-protector")
        place = self.folder / "package"
        (place / "DEBIAN").mkdir(parents=True)
        (place / "usr/bin").mkdir(parents=True)
        (self.folder / "planted").rename(place / "usr/bin/planted")
        (place / "DEBIAN/control").write_text("Package: planted\nVersion: 1\nArchitecture: all\n"
                                              "Maintainer: Nobody <nobody@localhost>\nDescription: a planted program\n")
        package = self.folder / "planted.deb"
        subprocess.run(["dpkg-deb", "--build", "--root-owner-group", place, package], check=True,
                       stdout=subprocess.DEVNULL)
        run = subprocess.run([CHECK, package], text=True, capture_output=True, check=False)
        self.assertEqual(run.returncode, 1)
        self.assertIn("planted.deb: /usr/bin/planted: Stack protected: no, not found!\n", run.stderr)

    def test_nothing_to_check_is_a_failure(self):
        run = subprocess.run([CHECK, self.folder / "planted.cpp"], text=True, capture_output=True, check=False)
        self.assertEqual((run.returncode, run.stderr), (1, "hardening: 0 faults in 0 files\n"))


unittest.main()
