#!/usr/bin/env python3
"""scripts/abi finds a broken interface. The libraries are small ones, which a script in the place of scripts/build makes.

usage: test_abi.py COMPILER"""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMPILER = sys.argv.pop()
BUILD = """#!/bin/bash
set -e
mkdir -p build/abi/lib
for library in wexcorcore tarvexlib; do
    soname=lib$library.so.$(cat soversion)
    "{compiler}" -g -fPIC -shared -fvisibility=hidden -Isupport -Isrc -Wl,-soname,$soname \\
        -o build/abi/lib/$soname.0.2 $library.cpp ${{library}}_user.cpp
    ln -sf $soname.0.2 build/abi/lib/lib$library.so
done
"""
HEADER = """#define EXPORT __attribute__((visibility("default")))
class EXPORT {name}
{{
public:
    {name}();
    virtual ~{name}();
    virtual void first();
    virtual void second();
    int count() const;
private:
    int m_count = 0;
}};
"""
SOURCE = """#include "{header}"
{name}::{name}() {{}}
{name}::~{name}() {{}}
void {name}::first() {{}}
void {name}::second() {{}}
int {name}::count() const {{ return m_count; }}
"""
# The compiler sees a class in several files, as in a real library.
USER = """#include "{header}"
class EXPORT {name}User : public {name}
{{
public:
    {name}User();
    void second() override;
}};
{name}User::{name}User() {{}}
void {name}User::second() {{}}
EXPORT int use(const {name}& object, {name}User* user) {{ return user == &object; }}
"""
CHANGELOG = """# Changelog

## {version} (unreleased)

- Something new.
{lines}
## 4.0.1

Interface break:

- That was long ago.
"""


class Tests(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in ("scripts", "packaging/abi", "support", "src"):
            (self.root / name).mkdir(parents=True)
        for name in ("scripts/abi", "scripts/common", "packaging/abi/suppressions"):
            shutil.copy(ROOT / name, self.root / name)
        self.write("scripts/build", BUILD.format(compiler=COMPILER))
        (self.root / "scripts/build").chmod(0o755)
        self.write("soversion", "5")
        self.write_changelog("5.0.2", "")
        for library, header, name in (("wexcorcore", "support/worker.h", "Worker"), ("tarvexlib", "src/record.h", "Record")):
            self.write(header, HEADER.format(name=name))
            self.write(f"{library}.cpp", SOURCE.format(header=pathlib.Path(header).name, name=name))
            self.write(f"{library}_user.cpp", USER.format(header=pathlib.Path(header).name, name=name))
        self.check_dump()

    def write(self, name, text):
        (self.root / name).write_text(text)

    def write_changelog(self, version, lines):
        self.write("CHANGELOG.md", CHANGELOG.format(version=version, lines=lines))

    def replace(self, name, old, new):
        text = (self.root / name).read_text()
        self.assertIn(old, text)
        self.write(name, text.replace(old, new))

    def run_script(self, *arguments):
        return subprocess.run([self.root / "scripts/abi", *arguments], text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False, timeout=100)

    def check_dump(self):
        run = self.run_script("--dump")
        self.assertEqual(run.returncode, 0, run.stdout)
        self.assertEqual(sorted(path.name for path in (self.root / "packaging/abi/5.0.2").iterdir()),
                         ["tarvexlib.abi.xz", "wexcorcore.abi.xz"])

    def assert_kept(self):
        run = self.run_script("--check")
        self.assertEqual(run.returncode, 0, run.stdout)
        self.assertEqual(run.stdout, "scripts/abi: libwexcorcore.so: the interface of 5.0.2 is kept\n"
                         "scripts/abi: libtarvexlib.so: the interface of 5.0.2 is kept\n")

    def assert_broken(self, *words):
        run = self.run_script()
        self.assertEqual(run.returncode, 1, run.stdout)
        for word in (*words, "the interface of 5.0.2 is BROKEN"):
            self.assertIn(word, run.stdout)
        return run.stdout

    def test_unchanged(self):
        self.assert_kept()

    def test_dump_is_reproducible(self):
        first = (self.root / "packaging/abi/5.0.2/tarvexlib.abi.xz").read_bytes()
        self.check_dump()
        self.assertEqual(first, (self.root / "packaging/abi/5.0.2/tarvexlib.abi.xz").read_bytes())

    def test_additions_are_allowed(self):
        self.replace("src/record.h", "int count() const;", "int count() const;\n    int more() const;")
        self.replace("tarvexlib.cpp", "int Record::count", "int Record::more() const { return 1; }\nint Record::count")
        self.write("src/other.h", HEADER.format(name="Other").replace("#define EXPORT", "#define EXPORT_OTHER"))
        self.assert_kept()

    def test_private_types_may_change(self):
        self.write("src/inner_p.h", "struct Inner { int a; };\n")
        for name in ("src/record.h", "tarvexlib.cpp"):
            text = (self.root / name).read_text()
            self.write(name, text.replace("int m_count = 0;", "int m_count = 0;\n    struct Inner* m_inner = nullptr;")
                       .replace('#include "record.h"', '#include "record.h"\n#include "inner_p.h"'))
        self.check_dump()
        self.replace("src/inner_p.h", "int a;", "int a; long b;")
        self.assert_kept()

    def test_virtual_functions_in_another_order(self):
        self.replace("src/record.h", "virtual void first();\n    virtual void second();",
                     "virtual void second();\n    virtual void first();")
        self.assertIn("libwexcorcore.so: the interface of 5.0.2 is kept", self.assert_broken("another place of the vtable:\n", "    Record::first()\n", "    Record::second()\n"))

    def test_a_function_is_gone(self):
        self.replace("support/worker.h", "    int count() const;\n", "")
        self.replace("wexcorcore.cpp", "int Worker::count() const { return m_count; }\n", "")
        self.assertIn("libtarvexlib.so: the interface of 5.0.2 is kept", self.assert_broken("1 Removed", "Worker::count"))

    def test_an_object_is_larger(self):
        self.replace("src/record.h", "int m_count = 0;", "int m_count = 0;\n    long m_more[2] = {};")
        self.assert_broken("type size changed", "m_more")

    def test_a_planned_break_needs_both(self):
        self.replace("src/record.h", "int m_count = 0;", "int m_count = 0;\n    long m_more[2] = {};")
        self.assert_broken("needs a new SOVERSION", "needs 'Interface break:' in CHANGELOG.md below 5.0.2")
        self.write_changelog("5.0.2", "\nInterface break:\n\n- Record is larger.\n")
        self.assertNotIn("CHANGELOG.md", self.assert_broken("needs a new SOVERSION"))
        self.write("soversion", "6")
        self.write_changelog("6.0.2", "")
        self.assertNotIn("SOVERSION", self.assert_broken("needs 'Interface break:' in CHANGELOG.md below 6.0.2"))
        self.write_changelog("6.0.2", "\nInterface break:\n\nNothing is said.\n")
        self.assert_broken("needs 'Interface break:'")
        self.write_changelog("6.0.2", "\nInterface break:\n\n- Record is larger.\n")
        run = self.run_script()
        self.assertEqual(run.returncode, 0, run.stdout)
        self.assertIn("libtarvexlib.so: the interface of 5.0.2 is broken, as planned", run.stdout)
        self.assertIn("m_more", run.stdout)

    def test_no_dump(self):
        shutil.rmtree(self.root / "packaging/abi/5.0.2")
        run = self.run_script()
        self.assertEqual(run.returncode, 1)
        self.assertIn("there is no dump in packaging/abi", run.stdout)

    def test_a_failed_build_is_no_pass(self):
        self.write("scripts/build", "#!/bin/sh\nexit 1\n")
        self.assertEqual(self.run_script().returncode, 1)


unittest.main()
