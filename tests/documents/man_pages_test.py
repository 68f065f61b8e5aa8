#!/usr/bin/env python3
"""Usage: man_pages_test.py PROGRAMS PAGES [UNITTEST-ARGUMENTS]

The manual pages say what --help says, both ways, and are right in form. PROGRAMS is the folder of the programs, PAGES
that of the pages. What is compared is what a user sees: the text of --help, and the page as man shows it.
"""

import functools
import os
import pathlib
import re
import subprocess
import sys
import unittest

PROGRAMS, PAGES = (pathlib.Path(argument) for argument in sys.argv[1:3])
ROOT = pathlib.Path(__file__).resolve().parents[2]
# Every verb has it; tarvexctl(1) tells of it once.
COMMON = {"-h", "--help"}


@functools.lru_cache(maxsize=None)
def help_text(*words):
    return subprocess.run([PROGRAMS / words[0], *words[1:], "--help"], capture_output=True, text=True, check=True,
                          env={"LC_ALL": "C.UTF-8", "HOME": "/nowhere"}).stdout


def part(text, heading):
    """The lines below a heading of --help."""
    found = re.search(rf"^{heading}:\n((?:  .*\n?)+)", text, re.MULTILINE)
    return found[1] if found else ""


def options_of_help(text):
    """The options, each with the word for its value."""
    options = {}
    for line in part(text, "Options").splitlines():
        if re.match(r"  -", line):
            head = re.split(r"\s{2,}", line.strip())[0]
            value = re.search(r"[ ,](\[?[A-Z]+\]?|<\w+>)(?=$|[= ])", head)
            for name in re.findall(r"(?<![\w-])--?[\w-]+", head.split("=")[0]):
                options[name] = value[1].strip("[]<>") if value else ""
    return options


def arguments_of_help(text):
    return set(re.findall(r"^  ([A-Z]+)\b", part(text, "Arguments"), re.MULTILINE))


def verbs_of_help(text):
    return re.findall(r"^  ([a-z][\w-]*)\b", part(text, "Verbs"), re.MULTILINE)


def statuses_of_help(text):
    return dict(re.findall(r"^  (\d+)\s+(.*)$", part(text, "Exit status"), re.MULTILINE))


def all_verbs(*group):
    """The words of every verb that can be run."""
    for name in verbs_of_help(help_text("tarvexctl", *group)):
        text = help_text("tarvexctl", *group, name)
        inner = verbs_of_help(text)
        if not inner or "[VERB]" in text.split("Options:")[0]:
            yield " ".join((*group, name))
        if inner:
            yield from all_verbs(*group, name)


@functools.lru_cache(maxsize=None)
def shown(page):
    """As man shows it, without its colours."""
    text = subprocess.run(["man", "-l", "-P", "cat", str(page)], capture_output=True, text=True, check=True,
                          env={**os.environ, "MANWIDTH": "100", "MANROFFOPT": "", "LC_ALL": "C.UTF-8"}).stdout
    return re.sub(r".\x08|\x1b\[[0-9;]*m", "", text).replace("\u2010", "-").replace("\u2212", "-")


def sections(text):
    """Its parts, by their headings."""
    parts = re.split(r"^(\S.*)$", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def subsections(text):
    parts = re.split(r"^   (\S.*)$", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def options_of_page(text):
    options = {}
    for line in re.findall(r"^       (-.*)$", text, re.MULTILINE):
        head = re.match(r"((?:-{1,2}[\w-]+(?:, )?)+)(?: \[?([A-Z]+|[a-z]+|MiB)\]?(?=$|\s))?", line)
        takes_value = head[2] and (head[2].isupper() or len(line) == head.end() or line[head.end():].startswith("  "))
        for name in head[1].split(", "):
            options[name.strip()] = head[2] if takes_value else ""
    return options


def tags_of_page(text):
    """The names of arguments: capitals that begin an entry."""
    return set(re.findall(r"^       ([A-Z]+)(?:$|  )", text, re.MULTILINE))


def own_pages():
    return [page for page in sorted(PAGES.glob("man*/*")) if not page.is_symlink()]


class ManPages(unittest.TestCase):
    maxDiff = None

    def verb_sections(self):
        """Every verb with the pages on which it has a section."""
        found = {}
        for page in own_pages():
            for heading, text in subsections(sections(shown(page)).get("VERBS", "")).items():
                found.setdefault(heading, []).append((page.name, text))
        return found

    def test_every_verb_is_on_one_page(self):
        pages = {verb: [name for name, _ in places] for verb, places in self.verb_sections().items()}
        self.assertEqual(sorted(pages), sorted(all_verbs()))
        for verb, names in pages.items():
            self.assertEqual(len(names), 1, f"{verb} is on {names}")

    def test_verbs_take_what_their_help_says(self):
        for verb, places in self.verb_sections().items():
            with self.subTest(verb):
                text = help_text("tarvexctl", *verb.split())
                options = {name: value for name, value in options_of_help(text).items() if name not in COMMON}
                self.assertEqual(options_of_page(places[0][1]), options)
                self.assertEqual(tags_of_page(places[0][1]), arguments_of_help(text))
                synopsis = places[0][1].split("\n\n")[0]
                self.assertEqual(set(re.findall(r"--[\w-]+", synopsis)), {name for name in options if name[1] == "-"})

    def test_synopses_leave_no_option_out(self):
        for page in own_pages():
            synopsis = sections(shown(page)).get("SYNOPSIS", "")
            for line in re.findall(r"^ +(tarvexctl [a-z].*)", synopsis, re.MULTILINE):
                text = help_text(*re.match(r"tarvexctl(?: [a-z][\w-]*)+", line)[0].split())
                options = {name for name in options_of_help(text) if name[1] == "-"} - COMMON
                told = set(re.findall(r"--[\w-]+", line))
                with self.subTest(line):
                    self.assertTrue("[OPTION...]" in line or verbs_of_help(text) and "VERB" in line or told == options,
                                    f"{options - told} is missing")

    def test_devbus_tells_what_systemd_is_for(self):
        section = " ".join(sections(shown(PAGES / "man1/tarvex-devbus.1"))["WITH SYSTEMD"].split())
        for unit in ("packaging/systemd/tarvex-devbus.socket", "packaging/systemd/tarvex-devbus.service.in"):
            for line in re.findall(r"^(?:Type|WatchdogSec)=.*|^ListenStream=\S+", (ROOT / unit).read_text(), re.MULTILINE):
                key, value = line.split("=")
                told = {"ListenStream": value.replace(":", " port "), "Type": line}.get(key, f"{key}=")
                self.assertIn(told.removeprefix("127.0.0.1 "), section)

    def test_program_takes_what_its_help_says(self):
        page = sections(shown(PAGES / "man1/tarvexctl.1"))
        text = help_text("tarvexctl")
        self.assertEqual(options_of_page(page["OPTIONS"]), options_of_help(text))
        entries = page["VERBS"].split("\n\n")[1:]
        self.assertEqual([entry.split()[0] for entry in entries if entry.strip()], verbs_of_help(text))
        self.check_statuses(page["EXIT STATUS"], text)

    def check_statuses(self, section, text):
        told = dict(re.findall(r"^       (\d+) +(.*)$", section, re.MULTILINE))
        self.assertEqual(set(told), set(statuses_of_help(text)))
        for status, words in statuses_of_help(text).items():
            first = " ".join(re.findall(r"\w+", words)[:2])
            self.assertIn(first, " ".join(re.findall(r"\w+", told[status])), f"status {status}")

    def test_list_of_verbs_leads_to_their_pages(self):
        text = sections(shown(PAGES / "man1/tarvexctl.1"))["VERBS"]
        text = " ".join(re.sub(r"-\n\s+", "-", text).split())
        places = self.verb_sections()
        for verb in verbs_of_help(help_text("tarvexctl")):
            page = next(name for heading, [(name, _)] in places.items() if heading.split()[0] == verb)
            self.assertRegex(text, rf"{verb} .*?See {re.escape(page.removesuffix('.1'))}\(1\)")
            self.assertEqual((PAGES / f"man1/tarvexctl-{verb}.1").resolve().name, page)

    def test_devbus_takes_what_its_help_says(self):
        page = sections(shown(PAGES / "man1/tarvex-devbus.1"))
        text = help_text("tarvex-devbus")
        self.assertEqual(options_of_page(page["OPTIONS"]), options_of_help(text))
        self.check_statuses(page["EXIT STATUS"], text)

    def test_capture_takes_what_its_help_says(self):
        page = sections(shown(PAGES / "man1/tarvex-capture.1"))
        text = help_text("tarvex-capture")
        self.assertEqual(set(options_of_page(page["OPTIONS"])), set(re.findall(r"(?<![\w-])--?h\w*", text)))
        self.assertEqual(tags_of_page(page["OPTIONS"]), set(re.findall(r"^  ([A-Z]+) ", text, re.MULTILINE)))
        statuses = set(re.findall(r"(\d) [a-z]", text.split("Exit status:")[1]))
        self.assertEqual(set(re.findall(r"^       (\d) ", page["EXIT STATUS"], re.MULTILINE)), statuses)

    def test_form_is_right(self):
        for page in sorted(PAGES.glob("man*/*")):
            with self.subTest(page.name):
                for command in (["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page],
                                ["groff", "-t", "-k", "-ww", "-man", "-Tutf8", "-Z", page],
                                ["mandoc", "-T", "lint", page]):
                    result = subprocess.run(command, capture_output=True, text=True, check=False)
                    # mandoc writes its findings to stdout.
                    found = result.stderr + (result.stdout if command[0] == "mandoc" else "")
                    self.assertEqual((found, result.returncode), ("", 0), command[0])

    def test_every_name_can_be_looked_up(self):
        """lexgrog finds in a page what apropos will know."""
        for page in sorted(PAGES.glob("man*/*")):
            result = subprocess.run(["lexgrog", page], capture_output=True, text=True, check=True)
            names = re.findall(r': "(\S+) - ', result.stdout)
            self.assertIn(page.name.rsplit(".", 1)[0], names)

    def test_pages_lead_to_each_other(self):
        names = {re.sub(r"^(.*)\.(\d)$", r"\1(\2)", page.name) for page in PAGES.glob("man*/*")}
        for page in own_pages():
            text = re.sub(r"-\n\s+", "-", shown(page))
            for name in re.findall(r"\btarvex[\w-]*\(\d\)", text):
                self.assertIn(name, names, page.name)

    def test_wire_page_has_the_codes_and_operations(self):
        text = shown(PAGES / "man5/tarvex-frame.5")
        sources = (ROOT / "src/wire/busterms_p.h").read_text()
        operations = set(re.findall(r'OPERATION_\w+\b[^"\n]*"(\w+)"', sources)) - {"handshake"}
        self.assertGreater(len(operations), 8)
        for operation in operations:
            self.assertRegex(text, rf"│{operation} ")
        self.assertRegex(text, "512")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
