#!/usr/bin/env python3
"""debian/ agrees with the rest of the tree. A build of the packages would find most of this as well, but much later."""
import os.path
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
DEBIAN = ROOT / "debian"


def fields(name):
    """The field of each paragraph of debian/control that has it, with its lines joined."""
    text = re.sub(r"\n[ \t]+", " ", (DEBIAN / "control").read_text())
    return re.findall(rf"^{name}: (.*)$", text, re.MULTILINE)


def group(name):
    """The packages of a group of packaging/debian-packages.txt."""
    text = (ROOT / "packaging/debian-packages.txt").read_text()
    lines = re.search(rf"^\[{name}\].*\n((?:(?!\[).*\n?)*)", text, re.MULTILINE)[1].splitlines()
    return {line.split("#")[0].strip() for line in lines} - {""}


class Tree(unittest.TestCase):
    def test_version(self):
        project = re.search(r"^project\(tarvexlib VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
        package = re.match(r"tarvexlib \((\S+)\)", (DEBIAN / "changelog").read_text())[1]
        self.assertEqual(package, project)

    def test_names_of_the_libraries_have_the_major_version(self):
        major = re.search(r"^project\(tarvexlib VERSION (\d+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
        libraries = [name for name in fields("Package") if re.fullmatch(r"lib\w+\d+", name)]
        self.assertEqual(sorted(libraries), [f"{name}{major}" for name in ("libtarvexlib", "libtarvextesting", "libwexcorcore")])

    def test_what_the_build_needs(self):
        needed = {re.match(r"\s*([^\s(<]+)", one)[1] for one in fields("Build-Depends")[0].split(",")}
        groups = group("library") | group("tools") | group("documentation")
        # Debian's builds have a compiler in any case.
        self.assertEqual(needed - groups - {"debhelper-compat"}, set())
        self.assertEqual({name for name in groups if name.endswith("-dev")} - needed, set())
        # Without one of these scripts/docs would install packages.
        self.assertEqual(group("documentation") - needed, set())

    def test_a_build_on_the_machine_itself_installs_what_it_needs(self):
        script = (ROOT / "scripts/package").read_text()
        calls = re.findall(r"^ *scripts/setup (.*)$", script, re.MULTILINE)
        installed = set().union(*(group(name) for call in calls for name in call.split()))
        needed = {re.match(r"\s*([^\s(<]+)", one)[1] for one in fields("Build-Depends")[0].split(",")}
        self.assertEqual(needed - {"debhelper-compat"} - installed, set())
        # dpkg-buildpackage asks for these, although debian/control does not name them.
        self.assertEqual({"build-essential", "debhelper"} - installed, set())

    def test_symbols(self):
        for library in ("tarvexlib", "tarvextesting", "wexcorcore"):
            text = (DEBIAN / f"lib{library}5.symbols").read_text()
            packaged = set(re.findall(r'^ \(c\+\+\)"(.*)@Base" ', text, re.MULTILINE))
            packaged |= set(re.findall(r"^ (\w+)@Base ", text, re.MULTILINE))
            packaged = {re.sub(r"\[abi:\w+\]", "", name) for name in packaged}
            for line in (ROOT / f"tests/abi/{library}.symbols").read_text().splitlines():
                with self.subTest(library=library, symbol=line):
                    # The type of the function may stand before its name.
                    words = line.split(" ")
                    self.assertTrue(any(" ".join(words[begin:]) in packaged for begin in range(len(words))),
                                    "see docs/packages.md")

    def test_each_override_has_a_reason(self):
        files = [*DEBIAN.glob("*.lintian-overrides"), DEBIAN / "source/lintian-overrides"]
        self.assertGreater(len(files), 4)
        for path in files:
            lines = path.read_text().splitlines()
            self.assertTrue(lines[0].startswith("# "), path.name)
            for before, line in zip(lines, lines[1:]):
                tag = re.match(r"\S+(?: source)?: (\S+)", line)
                if tag and not before.startswith("#"):
                    # One reason may hold for several lines of one tag.
                    self.assertIn(f": {tag[1]} ", before, path.name)

    def test_pages_of_the_package_link_to_what_is_in_it(self):
        # debian/rules installs the changelog; the examples are a link to a folder.
        packaged = {ROOT / "CHANGELOG.md", *(ROOT / "examples").rglob("*")}
        for line in (DEBIAN / "libtarvexlib-doc.install").read_text().splitlines():
            *sources, target = line.split()
            packaged |= {path for source in sources for path in ROOT.glob(source)}
        packaged |= {folder for path in packaged for folder in path.parents}
        pages = [path for path in packaged if path.suffix == ".md" and "examples" not in path.parts]
        self.assertGreater(len(pages), 30)
        for page in pages:
            text = re.sub(r"^```.*?^```", "", page.read_text(), flags=re.MULTILINE | re.DOTALL)
            for link in re.findall(r"\]\(([^)#\s:]+)(?:#[^)]*)?\)", text):
                with self.subTest(page=page.name, link=link):
                    self.assertTrue(pathlib.Path(os.path.normpath(page.parent / link)) in packaged)

    def test_pages_name_the_packages(self):
        page = (ROOT / "docs/packages.md").read_text()
        for name in fields("Package"):
            self.assertIn(f"| `{name}` |", page)


unittest.main()
