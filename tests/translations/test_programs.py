#!/usr/bin/env python3
"""test_programs.py TARVEXCTL TARVEX_DEVBUS: the programs speak the language of the locale, also when the system has not
generated it, and English otherwise. What programs read is English in every locale."""
import json
import os
import pathlib
import subprocess
import sys
import unittest

GERMAN = {"LC_ALL": "de_DE.UTF-8"}
RUSSIAN = {"LC_ALL": "ru_RU.UTF-8"}
ENGLISH = {"LC_ALL": "C.UTF-8"}


def run(program, *arguments, locale):
    environment = {name: value for name, value in os.environ.items()
                   if name != "LANGUAGE" and name != "LANG" and not name.startswith("LC_")}
    result = subprocess.run([program, *arguments], env={**environment, **locale}, capture_output=True, check=False)
    return result.returncode, result.stdout.decode(), result.stderr.decode()


def ctl(*arguments, locale):
    return run(TARVEXCTL, *arguments, locale=locale)


class Programs(unittest.TestCase):
    def test_help_is_translated(self):
        for locale, words in ((GERMAN, ("Aufruf: tarvexctl", "Verben:", "Exit-Status:", "unterbrochen")),
                              (RUSSIAN, ("Вызов: tarvexctl", "Действия:", "Код завершения:", "прервано")),
                              (ENGLISH, ("Usage: tarvexctl", "Verbs:", "Exit status:", "interrupted"))):
            status, text, words_on_stderr = ctl("--help", locale=locale)
            self.assertEqual((status, words_on_stderr), (0, ""))
            for word in words:
                self.assertIn(word, text)

    def test_help_keeps_to_its_columns(self):
        for locale in (GERMAN, RUSSIAN):
            for arguments in (("--help",), ("decode", "--help"), ("settings", "--help")):
                for line in ctl(*arguments, locale=locale)[1].splitlines():
                    self.assertLessEqual(len(line), 80, line)

    def test_failures_are_translated(self):
        for locale, words in ((GERMAN, 'tarvexctl: unerwartetes Argument "x"; siehe --help\n'),
                              (RUSSIAN, 'tarvexctl: неожиданный аргумент "x"; см. --help\n'),
                              (ENGLISH, 'tarvexctl: unexpected argument "x"; see --help\n')):
            self.assertEqual(ctl("ping", "x", locale=locale), (2, "", words))

    def test_the_words_of_the_parser_are_translated(self):
        self.assertEqual(ctl("send", locale=GERMAN)[2], "tarvexctl: RECEIVER fehlt; siehe --help\n")

    def test_language_goes_before_the_locale(self):
        self.assertIn("Вызов:", ctl("--help", locale={**GERMAN, "LANGUAGE": "xx:ru:de"})[1])
        self.assertIn("Usage:", ctl("--help", locale={**GERMAN, "LANGUAGE": "en:de"})[1])

    def test_the_locale_of_c_is_english_whatever_language_says(self):
        for locale in ({"LC_ALL": "C", "LANGUAGE": "de"}, {"LANG": "C.UTF-8", "LANGUAGE": "de"}, {"LANGUAGE": "de"}):
            self.assertIn("Usage:", ctl("--help", locale=locale)[1])

    def test_messages_of_a_locale_go_before_its_rest(self):
        self.assertIn("Aufruf:", ctl("--help", locale={"LANG": "ru_RU.UTF-8", "LC_MESSAGES": "de_AT.UTF-8@euro"})[1])

    def test_json_is_english(self):
        status, text, _ = ctl("--json", "doctor", locale=GERMAN)
        self.assertEqual(status, 1)
        self.assertIn("nobody listens", json.loads(text.splitlines()[0])["what"])
        self.assertIn("niemand lauscht", ctl("doctor", locale=GERMAN)[1])

    def test_the_development_bus_is_translated(self):
        for locale, words, usage in (
                (GERMAN, 'tarvex-devbus: unbekannte Option "--xy"; siehe --help\n', "Aufruf: tarvex-devbus"),
                (RUSSIAN, 'tarvex-devbus: неизвестный параметр "--xy"; см. --help\n', "Вызов: tarvex-devbus"),
                (ENGLISH, 'tarvex-devbus: unknown option "--xy"; see --help\n', "Usage: tarvex-devbus")):
            self.assertEqual(run(DEVBUS, "--xy", locale=locale), (2, "", words))
            self.assertTrue(run(DEVBUS, "--help", locale=locale)[1].startswith(usage))

    def test_qts_words_of_the_development_bus_are_translated(self):
        self.assertEqual(run(DEVBUS, "--keep", locale=GERMAN)[2],
                         "tarvex-devbus: Nach '--keep' fehlt ein Wert; siehe --help\n")

    def test_the_reasons_of_the_development_bus_are_translated(self):
        for arguments, words in (
                (("--fault", "do=delay:0"),
                 '--fault "do=delay:0": do=delay braucht eine Zeit in ms von 1 bis 600000, nicht 0; siehe --help'),
                (("--storage", "/proc/none/bus"),
                 'kann den Speicher "/proc/none/bus" nicht verwenden: den Ordner dafür gibt es nicht')):
            self.assertEqual(run(DEVBUS, *arguments, locale=GERMAN)[2], f"tarvex-devbus: {words}\n")

    def test_what_systemd_has_passed_is_told_in_the_language(self):
        words = 'exec 3</dev/null; LISTEN_FDS=1 LISTEN_PID=$$ exec "$0" --memory'
        status, _, told = run("/bin/sh", "-c", words, DEVBUS, locale=GERMAN)
        self.assertEqual(status, 1)
        self.assertIn("systemd hat dies übergeben: etwas, das kein Socket ist; der Bus nimmt ", told)


class OnABus(unittest.TestCase):
    """The bus speaks German to its user. To its clients it says what it always says."""

    def setUp(self):
        self.bus = subprocess.Popen([DEVBUS, "--memory"], env={**os.environ, **GERMAN}, stdout=subprocess.PIPE)
        self.addCleanup(self.end)
        # Programs wait for this line, so it is not translated.
        self.assertIn(b"tarvex-devbus: ready on 127.0.0.1", self.bus.stdout.readline())

    def end(self):
        self.bus.terminate()
        self.bus.wait()
        self.bus.stdout.close()

    def test_what_the_bus_answers_is_english(self):
        status, _, words = ctl("--as", "nobody", "settings", "get", locale=GERMAN)
        self.assertEqual(status, 1)
        self.assertIn("vom Bus abgelehnt: 5 There are no settings for client", words)

    def test_why_the_bus_refuses_a_fault_is_english(self):
        status, _, words = ctl("fault", "add", "do=delay:0", locale=GERMAN)
        self.assertEqual(status, 1)
        self.assertIn("do=delay needs a time in ms from 1 to 600000, not 0", words)

    def test_columns_are_aligned(self):
        ctl("--as", "tür", "state", "set", "bereit", "--type", "1", locale=GERMAN)
        for locale, heading in ((GERMAN, "BESITZER"), (RUSSIAN, "ВЛАДЕЛЕЦ")):
            lines = ctl("state", "list", locale=locale)[1].splitlines()
            self.assertEqual(lines[1].index("tür"), lines[0].index(heading))

    def test_the_status_is_translated(self):
        self.assertIn("Entwicklungsbus", ctl("status", locale=GERMAN)[1])
        self.assertIn("шина разработки", ctl("status", locale=RUSSIAN)[1])


if __name__ == "__main__":
    TARVEXCTL, DEVBUS = (str(pathlib.Path(path).resolve()) for path in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
