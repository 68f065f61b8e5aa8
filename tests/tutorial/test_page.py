#!/usr/bin/env python3
"""How a tutorial page is read, and that the real page is complete."""
import pathlib
import re
import sys
import unittest

sys.dont_write_bytecode = True

from page import Expected, PageError, Step, steps_of  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
MARK = re.compile(r"\s*(//|#)! \[.*\]\s*")


def block(mark, text, language="console"):
    return f"{mark}\n```{language}\n{text}```\n"


class Reading(unittest.TestCase):
    def test_commands_and_what_appears(self):
        page = "Words.\n" + block("<!-- run -->", "$ one\n1\n\n2\n$ two \\\n    more\n")
        self.assertEqual(steps_of(page), [Step("run", 4, "one", ["1", "", "2"]), Step("run", 8, "two \\\n    more")])

    def test_kinds(self):
        page = (block("<!-- run: root -->", "# apt\n") + block("<!-- run: background -->", "$ bus\nready\n")
                + block("<!-- see: bus -->", "more\n") + "<!-- stop -->\n")
        self.assertEqual([(step.kind, step.what, step.text) for step in steps_of(page)],
                         [("root", "apt", []), ("background", "bus", ["ready"]), ("see", "bus", ["more"]),
                          ("stop", "", [])])

    def test_pieces_of_a_file_are_put_together(self):
        page = (block("<!-- file: a.cpp -->\n<!-- quote: x/a.cpp#one -->", "one\n", "cpp") + block("<!-- file: b -->", "b\n")
                + block("<!-- file: a.cpp -->", "two\n", "cpp"))
        self.assertEqual([(step.what, step.text) for step in steps_of(page)], [("a.cpp", ["one", "", "two"]), ("b", ["b"])])

    def test_blocks_without_a_mark_are_left_alone(self):
        self.assertEqual(steps_of("```\n$ ls\n<!-- run -->\n```\n\n    $ cd\n<!-- quote: a -->\n```cpp\n```\n"), [])

    def test_wrong_pages(self):
        for page, why in ((block("<!-- run: soon -->", "$ a\n"), "line 1: there is no way to run 'soon'"),
                          (block("<!-- runs -->", "$ a\n"), None),
                          (block("<!-- run : root -->", "$ a\n"), "line 1: this is no mark"),
                          ("<!-- run -->\nwords\n", "line 1: there is no code block"),
                          ("<!-- run -->", "line 1: there is no code block"),
                          ("\n<!-- run -->\n```\n$ a\n", "line 3: this block has no end"),
                          (block("<!-- run -->", "words\n$ a\n"), "line 3: a block of commands begins with '$ '"),
                          (block("<!-- run: root -->", "$ a\n"), "begins with '# '"),
                          (block("<!-- run -->", ""), "here is no command"),
                          (block("<!-- run: background -->", "$ a\n$ b\n"), "one command has a terminal"),
                          (block("<!-- file -->", "a\n"), "'file' needs a name"),
                          ("<!-- stop: all -->\n", "'stop' takes no name")):
            with self.subTest(page):
                if why is None:
                    self.assertEqual(steps_of(page), [])
                else:
                    with self.assertRaises(PageError) as caught:
                        steps_of(page)
                    self.assertIn(why, str(caught.exception))


class Comparing(unittest.TestCase):
    def compare(self, page, appeared):
        expected = Expected(page)
        for line in appeared:
            expected.take(line)
        return expected.wrong, expected.next()

    def test_what_appears_as_on_the_page(self):
        for page, appeared in ((["a", "b"], ["a", "b"]), (["a", "", "b"], ["a  ", "b", ""]), ([], []),
                               (["...", "b"], ["x", "y", "b"]), (["a", "..."], ["a", "x", "y"]), (["..."], []),
                               (["a", "...", "b"], ["a", "b"]), (["written to: ..."], ["written to: /home"]),
                               (["Sent  2026-11-21T16:07:53.471"], ["Sent  2027-01-02T03:04:05.006"]),
                               (["took 0.12 s"], ["took 13.4 s"]), (["UID V4AyouBg1g04YSjOr5LeJQ=="],
                                                                    ["UID s7oywxiDTrmM5Qc4ctOlng=="])):
            with self.subTest(page=page, appeared=appeared):
                self.assertEqual(self.compare(page, appeared), (None, None))

    def test_what_does_not(self):
        for page, appeared, result in ((["a", "b"], ["a"], (None, "b")), (["a"], ["b"], ("b", "a")),
                                       (["a"], ["a", "b"], ("b", None)), (["...", "b"], ["x"], (None, "b")),
                                       (["a"], ["a b"], ("a b", "a")), (["5 replies"], ["6 replies"], ("6 replies", "5 replies")),
                                       (["Sent  2026-11-21T16:07:53.471"], ["Sent  today"],
                                        ("Sent  today", "Sent  2026-11-21T16:07:53.471"))):
            with self.subTest(page=page, appeared=appeared):
                self.assertEqual(self.compare(page, appeared), result)


class RealPage(unittest.TestCase):
    def test_files_are_those_of_the_example(self):
        steps = steps_of((ROOT / "docs/first-service.md").read_text())
        files = {pathlib.PurePath(step.what): step.text for step in steps if step.kind == "file"}
        folder = ROOT / "examples/echo"
        self.assertEqual({path.name for path in folder.iterdir()}, {path.name for path in files if len(path.parts) == 1})
        for path, text in files.items():
            with self.subTest(str(path)):
                lines = (folder / path).read_text().splitlines()
                self.assertEqual([line for line in text if line], [line for line in lines if line and not MARK.match(line)])

    def test_leads_to_a_tested_service_that_answers(self):
        steps = steps_of((ROOT / "docs/first-service.md").read_text())
        commands = [step.what.split()[0] for step in steps if step.kind not in ("file", "stop")]
        self.assertEqual(commands[0], "apt")
        for command in ("cmake", "ctest", "tarvex-devbus"):
            self.assertIn(command, commands)
        answers = [step for step in steps if step.what.startswith("tarvexctl call")]
        self.assertTrue(answers and all("Command  echoed" in step.text for step in answers))
        self.assertEqual(steps[-1].kind, "stop")


unittest.main()
