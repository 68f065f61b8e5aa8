#!/usr/bin/env python3
"""What scripts/check-translations finds: each mistake is planted once into copies of the catalogues."""
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAME = "tarvexprograms_de.ts"


class Check(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for path in (ROOT / "translations").glob("*.ts"):
            shutil.copy(path, self.folder)

    def plant(self, pattern, replacement, name=NAME):
        path = self.folder / name
        text, count = re.subn(pattern, replacement, path.read_text(encoding="utf-8"), count=1, flags=re.DOTALL)
        self.assertEqual(count, 1, f"nothing to plant at: {pattern}")
        path.write_text(text, encoding="utf-8")

    def told(self):
        run = subprocess.run([ROOT / "scripts/check-translations", self.folder], capture_output=True, text=True,
                             check=False)
        self.assertEqual(run.stderr, "")
        lines = run.stdout.splitlines()
        self.assertEqual(run.returncode, 1 if lines else 0)
        return lines

    def assertTold(self, source, words, name=NAME):
        lines = self.told()
        self.assertEqual(len(lines), 1, lines)
        self.assertIn(f'{name}: "{source}" {words}', lines[0])

    def translate(self, source, translation):
        """Gives the text a translation."""
        self.plant(rf"(<source>{re.escape(source)}</source>\s*<translation)[^>]*>[^<]*<", rf"\g<1>>{translation}<")

    def test_nothing_is_told_of_the_catalogues_as_they_are(self):
        self.assertEqual(self.told(), [])

    def test_a_missing_text(self):
        self.plant(r"<message>\s*<source>the bus is back</source>.*?</message>", "")
        self.assertTold("the bus is back", "is missing")

    def test_an_obsolete_text(self):
        self.plant(r"<source>the bus is back</source>",
                   "<source>the bus was here</source><translation>x</translation></message><message>"
                   r"\g<0>")
        self.assertTold("the bus was here", "is in no source")

    def test_an_unfinished_text(self):
        self.plant(r"(<source>the bus is back</source>\s*<translation)>", r'\1 type="unfinished">')
        self.assertTold("the bus is back", "is unfinished")

    def test_an_empty_translation(self):
        self.translate("the bus is back", "")
        self.assertTold("the bus is back", "is not translated")

    def test_another_placeholder(self):
        self.translate("the bus refused the handshake of &quot;%1&quot;".replace("&quot;", '"'), 'Handshake von "%2"')
        self.assertTold('the bus refused the handshake of "%1"', "has the placeholders %2 in place of %1")

    def test_a_plural_form_without_its_count(self):
        self.plant(r"(<source>%n frames</source>\s*<translation>\s*<numerusform>[^<]*</numerusform>\s*<numerusform>)"
                   r"%n ", r"\1")
        self.assertTold("%n frames", "has the placeholders none in place of %n")

    def test_a_plural_form_too_few(self):
        self.plant(r"(<source>%n frames</source>\s*<translation>)\s*<numerusform>[^<]*</numerusform>", r"\1")
        lines = self.told()
        self.assertEqual(lines, [f"{NAME}: texts have different numbers of plural forms: [1, 2]"])

    def test_other_punctuation_at_the_end(self):
        self.translate("the bus is back", "der Bus ist wieder da.")
        self.assertTold("the bus is back", "has other punctuation or blanks at its end")

    def test_another_line_end(self):
        self.translate("the bus is back", "der Bus ist wieder da\n")
        self.assertTold("the bus is back", "has other punctuation or blanks at its end")

    def test_other_punctuation_at_the_beginning(self):
        self.translate("; there are: %1", "es gibt: %1")
        self.assertTold("; there are: %1", "has other punctuation or blanks at its beginning")

    def test_a_quotation_mark_alone(self):
        self.translate("the bus is back", 'der "Bus ist wieder da')
        self.assertTold("the bus is back", "has a quotation mark without its other one")

    def test_a_translated_log_line(self):
        name = "tarvexlib_de.ts"
        self.plant(r"<translation>Socket is empty<", "<translation>Socket ist leer<", name)
        self.assertTold("Socket is empty", "is a log line or a text of the bus, which stays as it is", name)


class Translate(unittest.TestCase):
    def told(self, folder):
        run = subprocess.run([ROOT / "scripts/translate", "--into", folder], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout, run.stderr

    def test_a_folder_that_is_not_there(self):
        status, out, words = self.told("/nowhere/translations")
        self.assertEqual((status, out), (2, ""))
        self.assertIn("there is no folder '/nowhere/translations'", words)

    def test_a_folder_without_catalogues_is_left_as_it_is(self):
        with tempfile.TemporaryDirectory() as folder:
            status, out, words = self.told(folder)
            self.assertEqual((status, out, list(pathlib.Path(folder).iterdir())), (1, "", []))
            self.assertIn(f"there is no tarvexlib_LANGUAGE.ts in {folder}", words)


if __name__ == "__main__":
    unittest.main()
