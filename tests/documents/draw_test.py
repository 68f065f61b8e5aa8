#!/usr/bin/env python3
"""What scripts/draw makes and finds, in small trees of its own."""
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/draw"
BOXES = 'digraph { one [label="first box"] one -> two }\n'
TALK = 'msc { a [label="client"], b [label="server"]; a => b [label="a question"]; }\n'


class Draw(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.drawings = self.root / "docs/drawings"
        self.drawings.mkdir(parents=True)
        (self.root / "scripts").mkdir()
        shutil.copy(SCRIPT, self.root / "scripts")
        (self.drawings / "boxes.dot").write_text(BOXES)
        (self.drawings / "talk.msc").write_text(TALK)

    def run_script(self, *arguments):
        run = subprocess.run([self.root / "scripts/draw", *arguments], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout + run.stderr

    def change(self, name, before, after):
        path = self.drawings / name
        text = path.read_text()
        self.assertIn(before, text)
        path.write_text(text.replace(before, after))

    def assert_check_finds(self, name, words):
        status, said = self.run_script("--check")
        self.assertEqual(status, 1, said)
        self.assertIn(f"scripts/draw: {name}: ", said)
        self.assertIn(words, said)
        self.assertEqual(len(said.splitlines()), 1)

    def test_pictures_hold_the_texts_on_white(self):
        self.assertEqual(self.run_script(), (0, ""))
        for name, texts in (("boxes.svg", ["first box", "two"]), ("talk.svg", ["client", "server", "a question"])):
            with self.subTest(name):
                picture = xml.etree.ElementTree.fromstring((self.drawings / name).read_text())
                self.assertEqual(sorted(text.text for text in picture.iter("{http://www.w3.org/2000/svg}text")), sorted(texts))
                self.assertEqual(picture[0].attrib, {"width": "100%", "height": "100%", "fill": "white"})
        self.assertEqual(self.run_script("--check"), (0, ""))

    def test_check_changes_nothing(self):
        self.assertEqual(self.run_script("--check")[0], 1)
        self.assertEqual(list(self.drawings.glob("*.svg")), [])

    def test_pictures_that_are_not_up_to_date(self):
        self.run_script()
        (self.drawings / "talk.svg").unlink()
        self.assert_check_finds("talk.msc", "there is no talk.svg")
        self.run_script()
        self.change("boxes.dot", "->", "->  ")
        self.assert_check_finds("boxes.dot", "older than the drawing")
        self.run_script()
        self.change("boxes.svg", "first box", "another box")
        self.assert_check_finds("boxes.dot", "changed by hand")
        self.run_script()
        self.change("talk.svg", "Made by", "Drawn by")
        self.assert_check_finds("talk.msc", "was not made by scripts/draw")
        self.run_script()
        self.assertEqual(self.run_script("--check"), (0, ""))

    def test_picture_without_a_drawing(self):
        self.run_script()
        (self.drawings / "gone.svg").write_text("<svg/>")
        self.assert_check_finds("gone.svg", "there is no drawing of this name")

    def test_drawing_with_a_mistake(self):
        for name, text in (("boxes.dot", "digraph {"), ("talk.msc", "msc {")):
            with self.subTest(name):
                (self.drawings / name).write_text(text)
                status, said = self.run_script()
                self.assertEqual(status, 1)
                self.assertRegex(said, f"scripts/draw: {name}: .* fails: .*")

    def test_no_drawing_at_all_is_wrong(self):
        for drawing in self.drawings.iterdir():
            drawing.unlink()
        self.assertEqual(self.run_script("--check")[0], 1)

    def test_wrong_use(self):
        for arguments in (["--unknown"], ["boxes"], ["--chec"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_script(*arguments)[0], 2)


unittest.main()
