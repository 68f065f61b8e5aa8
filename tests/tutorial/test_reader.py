#!/usr/bin/env python3
"""What the reader of a tutorial finds: each way in which a page can fail to lead on."""
import os
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

import reader  # noqa: E402
from page import steps_of  # noqa: E402
from reader import Reader, Stuck  # noqa: E402


class Folder:
    """A place without namespaces."""

    def __init__(self, folder):
        self.folder = folder

    def shell(self, _is_root):
        return ["/bin/bash", "-c"], {"PATH": os.environ["PATH"], "HOME": self.folder, "LC_ALL": "C.UTF-8"}

    def pid_of_command(self, pid):
        return pid

    def home(self, _is_root):
        return self.folder

    def write(self, path, text):
        pathlib.Path(path).write_text(text)


def block(mark, text):
    return f"<!-- {mark} -->\n```\n{text}```\n"


# A program as a service is: it says when it is ready, and ends in order when it is interrupted.
SERVICE = block("file: service", "#!/bin/bash\ntrap 'echo bye; rm alive; exit' INT\ntouch alive\necho $$ >pid\necho ready\n"
                "until [[ -e go ]]; do sleep 0.05; done\necho went\nuntil [[ -e never ]]; do sleep 0.05; done\n")
START = SERVICE + block("run: background", "$ bash service\nready\n")


class Following(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.told = []

    def follow(self, page, **options):
        Reader(Folder(str(self.folder)), lambda step, _seconds: self.told.append(step.what)).follow(steps_of(page), **options)

    def assert_stuck(self, page, *words):
        with self.assertRaises(Stuck) as caught:
            self.follow(page)
        for word in words:
            self.assertIn(word, str(caught.exception))

    def limit(self, name, seconds):
        old = getattr(reader, name)
        setattr(reader, name, seconds)
        self.addCleanup(setattr, reader, name, old)

    def assert_service_is_gone(self):
        with self.assertRaises(ProcessLookupError):
            os.kill(int((self.folder / "pid").read_text()), 0)

    def test_page_that_leads_on(self):
        self.follow(block("run", "$ mkdir sub\n$ cd sub\n") + block("file: note", "one\n\ntwo\n")
                    + block("run", "$ cat note\none\n\ntwo\n$ echo $HOME >&2\n/...\n$ true\n"))
        self.assertEqual((self.folder / "sub/note").read_text(), "one\n\ntwo\n")
        self.assertEqual(self.told, ["mkdir sub", "cd sub", "note", "cat note", "echo $HOME >&2", "true"])

    def test_other_output_is_found(self):
        self.assert_stuck(block("run", "$ printf 'hello\\nworld\\n'\nhello\nmoon\n"), "line 3: printf",
                          'there is the line "world" instead of "moon"', "    hello\n    world")
        self.assert_stuck(block("run", "$ printf 'one\\ntwo\\n'\none\n"), 'line "two" and the page does not have it')
        self.assert_stuck(block("run", "$ echo one\none\ntwo\n"), 'the line "two" does not appear')
        self.assert_stuck(block("run", "$ true\none\n"), "(nothing)")

    def test_command_that_fails_is_found(self):
        self.assert_stuck(block("run", "$ true\n$ echo oh; false\noh\n"), "line 4: echo oh; false: has failed with status 1",
                          "    oh")
        self.assert_stuck(block("run", "$ nonsense\n"), "status 127")
        self.assertEqual(self.told, ["true"])

    def test_command_that_does_not_end_is_found(self):
        self.limit("COMMAND_SECONDS", 0.5)
        self.assert_stuck(block("run", "$ sleep 1000\n"), "has not ended within 0.5 s")

    def test_file_without_a_folder_is_found(self):
        self.assert_stuck(block("file: sub/note", "one\n"), "sub/note cannot be written")

    def test_root_steps_can_be_left_out(self):
        page = block("run: root", "# touch rooted\n")
        self.follow(page, without_root=True)
        self.assertFalse((self.folder / "rooted").exists())
        self.follow(page)
        self.assertTrue((self.folder / "rooted").exists())

    def test_background_runs_until_it_is_stopped(self):
        self.follow(START + block("run", "$ ls alive\nalive\n$ touch go\n") + block("see: bash service", "went\n")
                    + "<!-- stop -->\n" + block("run", "$ test ! -e alive\n"))

    def test_background_ends_with_the_page(self):
        self.follow(START)
        self.assert_service_is_gone()

    def test_background_ends_with_a_failure(self):
        self.assert_stuck(START + block("run", "$ false\n"))
        self.assert_service_is_gone()

    def test_background_that_says_something_else_is_found(self):
        self.assert_stuck(SERVICE + block("run: background", "$ bash service\nsteady\n"), '"ready" instead of "steady"')
        self.assert_service_is_gone()

    def test_background_that_says_nothing_is_found(self):
        self.limit("APPEARING_SECONDS", 1)
        self.assert_stuck(START + block("see: bash service", "went\n"), 'the line "went" does not appear')

    def test_background_that_has_ended_is_found(self):
        self.assert_stuck(block("run: background", "$ true\nready\n"), 'the line "ready" does not appear')
        self.assert_stuck(START + block("run", "$ kill -KILL $(cat pid); until grep -q ') Z' /proc/$(cat pid)/stat; do sleep 0.05; done\n")
                          + "<!-- stop -->\n", "had ended by itself")

    def test_background_that_ignores_the_stop_is_found(self):
        self.limit("ENDING_SECONDS", 0.5)
        self.assert_stuck(block("file: deaf", "trap '' INT\necho ready\nsleep 1000\n")
                          + block("run: background", "$ bash deaf\nready\n") + "<!-- stop -->\n", "has not ended within 0.5 s")

    def test_look_at_no_terminal_is_found(self):
        self.assert_stuck(block("see: bus", "ready\n"), "no terminal runs 'bus'")


unittest.main()
