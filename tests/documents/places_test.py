#!/usr/bin/env python3
"""The files, folders and names that README.md and docs/architecture.md name are there, and the links lead somewhere."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("benchmarks", "cmake", "devbus", "docs", "examples", "fuzz", "mock", "packaging", "programs", "scripts", "src",
           "support", "testing", "tests", "tools", "traffic")
PLACE = re.compile(rf"(?:{'|'.join(FOLDERS)})/[\w./-]*|\.ci/\w+|\.clang-\w+|CMake\w+\.\w+")
NAMES_IN_PLACES = re.compile(r"((?:`\w+`(?:, )?)+) in ((?:`[^`]+`(?:, )?)+)")


def quoted(text):
    return re.findall("`([^`]+)`", text)


def rows(page):
    """The rows of the tables "To change", as the text behind the first column."""
    for table in re.findall(r"^\| To change \| Look at \|\n\|[-|]+\|\n((?:\|.*\n)+)", page, re.MULTILINE):
        yield from (line.strip("|\n").split("|", 1)[1] for line in table.splitlines())


class Places(unittest.TestCase):
    def test_each_is_there(self):
        for name in ("README.md", "docs/architecture.md"):
            page = (ROOT / name).read_text()
            places = [text for text in quoted(re.sub(r"```.*?```", "", page, flags=re.DOTALL)) if PLACE.fullmatch(text)]
            self.assertGreater(len(places), 10)
            for place in places:
                with self.subTest(f"{place} in {name}"):
                    path = ROOT / place
                    self.assertTrue(path.is_dir() if place.endswith("/") else path.is_file() or path.is_dir())

    def test_functions_are_there(self):
        page = (ROOT / "docs/architecture.md").read_text()
        sources = "".join(path.read_text() for folder in ("src", "support", "devbus", "testing", "traffic")
                          for path in (ROOT / folder).rglob("*.h"))
        drawings = "".join(path.read_text() for path in (ROOT / "docs/drawings").glob("*.msc")).replace("\\n", " ")
        names = set(re.findall(r"`(?:\w+::)?(\w+)\(\)`", page) + re.findall(r"(\w+)\(\)", drawings)) - {"qWarning"}
        self.assertGreater(len(names), 20)
        for name in names:
            with self.subTest(name):
                self.assertTrue(re.search(rf"\b{name}\(", sources))

    def test_links_and_pictures_lead_somewhere(self):
        for page in (*sorted(ROOT.glob("*.md")), *sorted((ROOT / "docs").glob("*.md"))):
            for target, anchor in re.findall(r"\]\(([^)#\s]*)(?:#([^)\s]+))?\)", page.read_text()):
                with self.subTest(f"{target}#{anchor} in {page.name}"):
                    if target.startswith("http"):
                        continue
                    path = (page.parent / target).resolve() if target else page
                    self.assertTrue(path.exists())
                    if anchor:
                        self.assertIn(anchor, anchors(path.read_text()))

    def test_tables_say_where(self):
        page = (ROOT / "docs/architecture.md").read_text()
        cells = list(rows(page))
        self.assertGreater(len(cells), 50)
        for cell in cells:
            with self.subTest(cell):
                self.assertTrue([text for text in quoted(cell) if PLACE.fullmatch(text)] or "](log-lines.md)" in cell)
                for names, places in NAMES_IN_PLACES.findall(cell):
                    for place in quoted(places):
                        for name in quoted(names):
                            self.assertRegex((ROOT / place).read_text(), rf"\b{name}\b")

    def test_tables_name_nothing_without_a_place(self):
        page = (ROOT / "docs/architecture.md").read_text()
        for cell in rows(page):
            with self.subTest(cell):
                rest = NAMES_IN_PLACES.sub("", cell)
                self.assertEqual([text for text in quoted(rest) if not PLACE.fullmatch(text)], [])


def anchors(page):
    """The anchors of a page's headings, as they are made of them on the web."""
    headings = re.findall(r"^#+ (.*)$", re.sub(r"^```.*?^```", "", page, flags=re.DOTALL | re.MULTILINE), re.MULTILINE)
    return [re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings]


unittest.main()
