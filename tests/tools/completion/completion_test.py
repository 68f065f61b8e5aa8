#!/usr/bin/python3
"""Usage: completion_test.py PROGRAMS COMPLETIONS MADE [UNITTEST-ARGUMENTS]

Presses Tab in real shells, with a real bus and without one. PROGRAMS is the folder of the programs, COMPLETIONS that of
the completions in the sources, MADE that of the completions which the build makes. To be run in a network of its own.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from terminal import Terminal

PROGRAMS, COMPLETIONS, MADE = (pathlib.Path(argument) for argument in sys.argv[1:4])
TARVEXCTL = PROGRAMS / "tarvexctl"
PATIENCE_S = 20
WORD_BREAKS = " \t\n\"'@><=;|&(:"
# Each of them would do something, if a shell took it for more than a name.
HOSTILE_NAMES = ["my client", "it's", 'a"b', "$(touch RUN)", "`touch RUN`", "semi;touch RUN", "<(touch RUN)", "${x}",
                 "back\\slash", "col:on", "eq=ual", "*", "~root", "{a,b}", "#hash", "!bang", "us@er", "@host", "ünï", "%n"]
# They can be neither shown nor typed.
IMPOSSIBLE_NAMES = ["qtab\tqname", "qnew\nqline", "qred\x1b[31m", "qbell\a", "qback\u202eqwards"]

SETUPS = {
    "bash": r"""
        bind 'set enable-bracketed-paste off'; bind 'set show-all-if-ambiguous on'; bind 'set page-completions off'
        bind 'set completion-query-items 0'
        report() { eval "set -- $READLINE_LINE"; printf '<[%%s]>' "${@: -1}"; READLINE_LINE= READLINE_POINT=0; }
        bind -x '"\C-xl": report'
        %(load)s
        printf '<[]>'
    """,
    "zsh": r"""
        fpath=(%(load)s $fpath); autoload -Uz compinit; compinit -u -d $HOME/dump
        report() { eval "set -- $BUFFER"; print -rn -- "<[$argv[-1]]>"; BUFFER= }
        zle -N report; bindkey "^Xl" report
        print -n '<[]>'
    """,
}
# Where each shell gets the completions from: the sources and what is made of them, or what is installed. bash-completion
# looks for a file of the program's name, in the folders of XDG_DATA_DIRS.
LOADS = {"bash": f". {COMPLETIONS}/tarvexctl.bash; . {MADE}/bash/tarvex-devbus", "zsh": f"{COMPLETIONS} {MADE}/zsh"}
LOADS_INSTALLED = {"bash": ". /usr/share/bash-completion/bash_completion", "zsh": "$HOME/usr/share/zsh/vendor-completions"}
COMMANDS = {"bash": ["/bin/bash", "--norc", "--noprofile", "-i"], "zsh": ["/usr/bin/zsh", "-f", "-i"]}


class Desk:
    """A folder for everything that a test makes, and a bus when it is asked for."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.environment = {"PATH": f"{PROGRAMS}:/usr/bin:/bin", "HOME": str(self.folder), "TERM": "dumb",
                            "XDG_RUNTIME_DIR": str(self.folder), "LC_ALL": "C.UTF-8"}
        self.bus = None

    def start_bus(self):
        self.bus = subprocess.Popen([PROGRAMS / "tarvex-devbus", "--memory"], env=self.environment,
                                    stdout=subprocess.PIPE)
        if b"ready" not in self.bus.stdout.readline():
            raise RuntimeError("the bus did not start")

    def run(self, *arguments):
        return subprocess.run([TARVEXCTL, *arguments], env=self.environment, check=True, capture_output=True, text=True,
                              cwd=self.folder).stdout

    def complete(self, shell, *words):
        return subprocess.run([TARVEXCTL, "complete", shell, "--", *words], env=self.environment, cwd=self.folder,
                              capture_output=True, text=True, check=False)

    def offered(self, *words):
        """The words that are offered, with their help."""
        lines = [line.split("\t") for line in self.complete("fish", *words).stdout.splitlines()]
        return {line[1]: line[2] for line in lines if line[0] != "files"}

    def fish(self, line):
        """What fish offers: words, with their help."""
        script = f"source {COMPLETIONS}/tarvexctl.fish; source {MADE}/fish/tarvex-devbus.fish; complete -C $argv[1]"
        result = subprocess.run(["fish", "--no-config", "-c", script, line], env=self.environment, cwd=self.folder,
                                capture_output=True, text=True, check=True)
        if result.stderr:
            raise AssertionError(result.stderr)
        return dict(line.split("\t") if "\t" in line else (line, "") for line in result.stdout.splitlines())

    def install(self):
        """Puts the completions where shells look for them."""
        data = self.folder / "usr/share"
        subprocess.run(["cmake", f"-DCMAKE_INSTALL_PREFIX={data.parent}", "-DCMAKE_INSTALL_COMPONENT=tools", "-P",
                        MADE / "cmake_install.cmake"], env=self.environment, cwd=self.folder, check=True,
                       stdout=subprocess.DEVNULL)
        self.environment["XDG_DATA_DIRS"] = f"{data}:/usr/share"

    def terminal(self, shell, loads=LOADS):
        setup = self.folder / f"setup.{shell}"
        setup.write_text(SETUPS[shell] % {"load": loads[shell]})
        os.chdir(self.folder)
        return Terminal(COMMANDS[shell], setup, self.environment)

    def close(self):
        if self.bus:
            self.bus.send_signal(signal.SIGCONT)
            self.bus.terminate()
            self.bus.wait()
            self.bus.stdout.close()
        shutil.rmtree(self.folder)


class WithBus(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desk = Desk()
        cls.desk.start_bus()
        for name in HOSTILE_NAMES + IMPOSSIBLE_NAMES:
            cls.desk.run(f"--as={name}", "state", "set", "ready")
        cls.desk.run("--as=-dash", "state", "set", "ready")
        for key, value in {"width mm": "80", "$(touch RUN)": "1", "name": 'A "4" $(touch RUN)'}.items():
            cls.desk.run("settings", "set", "printer", "paper", key, value)
        cls.desk.run("send", "printer", "--command", "fold")
        cls.desk.run("send", "cashbox", "--command", "count")
        cls.desk.run("fault", "add", "client=nobody", "do=silence")
        (cls.desk.folder / "some file.json").touch()
        (cls.desk.folder / "@at").touch()
        (cls.desk.folder / "bin").mkdir()
        (cls.desk.folder / "bin/tarvexctl").symlink_to(TARVEXCTL)

    @classmethod
    def tearDownClass(cls):
        cls.desk.close()

    def tearDown(self):
        self.assertFalse((self.desk.folder / "RUN").exists(), "a name was run")

    # What a user types, and the last word after Tab.
    LINES = [
        ("tarvexctl state g", "get"),
        ("tarvexctl moni", "monitor"),
        ("tarvexctl --js", "--json"),
        ("tarvexctl monitor --jso", "--json"),
        ("tarvexctl --color al", "always"),
        ("tarvexctl --color=al", "--color=always"),
        ("tarvexctl log --level w", "warning"),
        ("tarvexctl monitor --operation loadSta", "loadState"),
        ("tarvexctl settings get pr", "printer"),
        ("tarvexctl settings set printer ", "paper"),
        ("tarvexctl settings set printer paper wi", "width mm"),
        ("tarvexctl settings unset printer paper \\$", "$(touch RUN)"),
        ('tarvexctl settings set printer paper "width mm" ', "80"),
        ("tarvexctl settings set printer paper name ", 'A "4" $(touch RUN)'),
        ("tarvexctl call printer ", "fold"),
        ("tarvexctl send cashbox --command ", "count"),
        ("tarvexctl fault clear ", "1"),
        ("tarvexctl fault add do=sil", "do=silence"),
        ("tarvexctl settings import so", "some file.json"),
        ("tarvexctl settings export --output so", "some file.json"),
        ("tarvexctl settings export --output=so", "--output=some file.json"),
        ("tarvexctl settings diff pri", "printer"),
        ("tarvexctl settings diff so", "some file.json"),
        ("tarvexctl send a --command b --data @so", "@some file.json"),
        ("tarvexctl send my", "my client"),
        ('tarvexctl send "my', "my client"),
        ("tarvexctl send 'my", "my client"),
        ("tarvexctl send 'it", "it's"),
        ('tarvexctl send te"rmin"al_g', "terminal_gui"),
        ("tarvexctl --as=my", "--as=my client"),
        ("tarvexctl send col:", "col:on"),
        ("tarvexctl send eq=", "eq=ual"),
        ("tarvexctl send us@", "us@er"),
        ("tarvexctl send @ho", "@host"),
        ("tarvexctl --as=us@e", "--as=us@er"),
        ("tarvexctl send '$(", "$(touch RUN)"),
        ("tarvexctl send \\$\\(", "$(touch RUN)"),
        ('tarvexctl send "\\$(', "$(touch RUN)"),
        ("tarvexctl send -- -d", "-dash"),
        ("A=b tarvexctl call printer ", "fold"),
        ("~/bin/tarvexctl call printer ", "fold"),
        ("tarvexctl tarvex", "tarvex"),                           # nothing fits
        ("tarvexctl send x some te", "te"),                       # a text of one's own
        ("tarvex-devbus --mem", "--memory"),
        ("tarvex-devbus --storage so", "some file.json"),
        ("tarvex-devbus --keep so", "so"),
    ]

    def assert_soon(self, expected, ask, *arguments):
        """The bus has 100 ms to answer. On a loaded machine that is too short now and then, and a user presses Tab
        again."""
        deadline = time.monotonic() + PATIENCE_S
        answer = ask(*arguments)
        while answer != expected and time.monotonic() < deadline:
            answer = ask(*arguments)
        self.assertEqual(answer, expected)

    def check_lines(self, shell):
        terminal = self.desk.terminal(shell)
        self.addCleanup(terminal.close)
        for line, word in self.LINES:
            with self.subTest(line):
                self.assert_soon(word, terminal.last_word, line)

    def check_names(self, shell):
        terminal = self.desk.terminal(shell)
        self.addCleanup(terminal.close)
        for name in HOSTILE_NAMES:
            with self.subTest(name):
                self.assert_soon(name, terminal.last_word, "tarvexctl send " + re.sub(r"(\W)", r"\\\1", name[:3]))
        shown = terminal.listed("tarvexctl send ")
        self.assertNotRegex(shown, r"q[a-z]")

    def check_substitution_is_not_run(self, shell):
        terminal = self.desk.terminal(shell)
        self.addCleanup(terminal.close)
        terminal.send("tarvexctl send \"$(touch RUN)\" `touch RUN` --command \t\x15")
        # The line was removed without being run. What comes now shows that Tab has been dealt with.
        self.assertEqual(terminal.last_word("tarvexctl moni"), "monitor")

    def test_bash_completes_lines(self):
        self.check_lines("bash")

    def test_zsh_completes_lines(self):
        self.check_lines("zsh")

    def test_bash_keeps_names_names(self):
        self.check_names("bash")

    def test_zsh_keeps_names_names(self):
        self.check_names("zsh")

    def test_bash_runs_nothing_of_the_line(self):
        self.check_substitution_is_not_run("bash")

    def test_zsh_runs_nothing_of_the_line(self):
        self.check_substitution_is_not_run("zsh")

    def test_zsh_shows_descriptions(self):
        terminal = self.desk.terminal("zsh")
        self.addCleanup(terminal.close)
        self.assertRegex(terminal.listed("tarvexctl state "), r"list\s+-- Shows all states that are stored")

    def test_fish_completes_lines(self):
        # Fish does the quoting itself, and completes no quoted word that has ended.
        for line, word in self.LINES:
            if word not in line.split() and "te\"rmin" not in line:
                with self.subTest(line):
                    self.assert_soon(True, lambda line=line, word=word: word in self.desk.fish(line))

    def test_fish_keeps_names_names_and_describes_them(self):
        def offered(name):
            return self.desk.fish("tarvexctl send ").get(name)

        for name in HOSTILE_NAMES:
            self.assert_soon("not connected", offered, name)
        self.assert_soon("known to the library", offered, "logger")
        self.desk.fish("tarvexctl send \"$(touch RUN)\" (touch RUN) --command ")

    def test_names_that_cannot_be_typed_are_left_out(self):
        for shell in ("zsh", "fish"):
            lines = self.desk.complete(shell, "send", "").stdout
            self.assertEqual({line.count("\t") for line in lines.splitlines()}, {2})
            self.assertFalse(set("\x1b\a\u202e") & set(lines))
            self.assertNotRegex(lines, r"q[a-z]")
        self.assertNotIn("-dash", self.desk.offered("send", ""))
        self.assert_soon(True, lambda: "--as=-dash" in self.desk.offered("--as=-"))

    def test_help_tells_what_is_known(self):
        for words, offered in (
                (("settings", "get", ""), {"printer": "not connected"}),
                (("settings", "set", "printer", ""), {"paper": "width mm, $(touch RUN), name"}),
                (("settings", "set", "printer", "paper", "w"),
                 {"width mm": "80", "$(touch RUN)": "1", "name": '"A \\"4\\" $(touch RUN)"'}),
                (("settings", "set", "cashbox", ""), {}),
                (("monitor", "--command", ""), {"count": "seen to cashbox", "fold": "seen to printer"}),
                (("fault", "clear", ""), {"1": "client=nobody do=silence"}),
                (("fault", "add", "port="), {"port=query": "", "port=receiver": ""})):
            with self.subTest(words):
                self.assert_soon(offered, self.desk.offered, *words)

    def test_options_are_offered_once(self):
        self.assertIn("--json", self.desk.offered("monitor", "-"))
        self.assertNotIn("--json", self.desk.offered("--json", "monitor", "-"))
        self.assertNotIn("--count", self.desk.offered("monitor", "--count", "5", "--"))
        self.assertIn("--subscribe", self.desk.offered("listen", "--subscribe", "gui:3", "--"))
        self.assertFalse([word for word in self.desk.offered("send", "--", "-") if word.startswith("--")])

    def test_bus_notices_nothing(self):
        def counts():
            about = json.loads(self.ask("about"))["item"]
            return about["connections"], about["requests"], self.ask("clients")

        before = counts()
        for words in (["send", ""], ["settings", "set", "printer", ""], ["call", "printer", ""], ["--as", ""]):
            self.assertEqual(self.desk.complete("zsh", *words).returncode, 0)
        self.assertEqual(counts(), before)

    def ask(self, request):
        import socket
        with socket.socket(socket.AF_UNIX) as control:
            control.connect(str(next(self.desk.folder.glob("tarvex-devbus-*.sock"))))
            control.sendall(json.dumps({"request": request}).encode() + b"\n")
            control.shutdown(socket.SHUT_WR)
            return b"".join(iter(lambda: control.recv(65536), b"")).decode().split("\n{\"done\"")[0]


class Installed(unittest.TestCase):
    """The shells find the installed files by themselves."""

    def setUp(self):
        self.desk = Desk()
        self.addCleanup(self.desk.close)
        self.desk.install()

    def check_shell(self, shell):
        terminal = self.desk.terminal(shell, LOADS_INSTALLED)
        self.addCleanup(terminal.close)
        self.assertEqual(terminal.last_word("tarvexctl moni"), "monitor")
        self.assertEqual(terminal.last_word("tarvexctl send terminal_g"), "terminal_gui")
        self.assertEqual(terminal.last_word(f"{PROGRAMS}/tarvexctl moni"), "monitor")
        self.assertEqual(terminal.last_word("tarvex-devbus --mem"), "--memory")

    def test_bash(self):
        self.check_shell("bash")

    def test_zsh(self):
        self.check_shell("zsh")

    def test_fish(self):
        for line, word in (("tarvexctl moni", "monitor"), ("tarvex-devbus --mem", "--memory")):
            result = subprocess.run(["fish", "-c", "complete -C $argv[1]", line], env=self.desk.environment,
                                    cwd=self.desk.folder, check=True, capture_output=True, text=True)
            self.assertEqual((result.stdout.split("\t")[0], result.stderr), (word, ""))


class WithoutBus(unittest.TestCase):
    def setUp(self):
        self.desk = Desk()
        self.addCleanup(self.desk.close)

    def check_is_silent(self, words):
        start = time.monotonic()
        result = self.desk.complete("bash", WORD_BREAKS, "tarvexctl " + words)
        print(f"{words[:40]!r}: {1000 * (time.monotonic() - start):.0f} ms", file=sys.stderr)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout.splitlines()

    def test_known_names_are_offered(self):
        self.assertEqual(self.check_is_silent("send terminal"), ["word\tterminal_gui"])
        self.assertEqual(self.check_is_silent("settings get log"), ["word\tlogger"])
        for words in ("settings set logger ", "call logger ", "fault clear "):
            self.assertEqual(self.check_is_silent(words), [])

    def test_strange_lines_are_silent(self):
        for words in ("", "'", '"', "\\", "--", "-- --", "--as", "--as=", "--nothing=", "nothing ", "settings nothing ",
                      "settings set a b c d e f ", "monitor --capture ", "$(", "`", "send \\", "é" * 5000):
            self.check_is_silent(words)

    def test_shells_show_nothing_wrong(self):
        for shell in ("bash", "zsh"):
            terminal = self.desk.terminal(shell)
            self.assertEqual(terminal.last_word("tarvexctl send terminal_g"), "terminal_gui")
            shown = terminal.listed("tarvexctl settings set logger ")
            self.assertNotRegex(shown.replace("tarvexctl settings", ""), "tarvexctl|error|command")
            terminal.close()
        self.assertIn("terminal_gui", self.desk.fish("tarvexctl send t"))

    def test_hung_bus_is_not_waited_for(self):
        self.desk.start_bus()
        self.desk.bus.send_signal(signal.SIGSTOP)
        os.waitpid(self.desk.bus.pid, os.WUNTRACED)
        start = time.monotonic()
        self.assertEqual(self.check_is_silent("send terminal"), ["word\tterminal_gui"])
        # The bound is 0.1 s. The library's own patience, without a bound, is 30 s.
        self.assertLess(time.monotonic() - start, 10)

    def test_wrong_use_is_told(self):
        for arguments in (["complete"], ["complete", "fish"], ["complete", "tcsh", "--", ""], ["describe", "all"]):
            result = subprocess.run([TARVEXCTL, *arguments], env=self.desk.environment, capture_output=True, text=True,
                                    check=False)
            self.assertEqual(result.returncode, 2, arguments)
            self.assertTrue(result.stderr.startswith("tarvexctl: "))

    def test_value_of_everything_is_known(self):
        """A new option or argument needs a line in tools/completion/valuekind.cpp."""
        def unknown(part, words):
            for entry in part["arguments"] + part["options"]:
                if entry["values"] == "unknown":
                    yield words, entry.get("name") or entry["names"]
            for verb in part["verbs"]:
                yield from unknown(verb, f"{words} {verb['name']}".strip())

        self.assertEqual(list(unknown(json.loads(self.desk.run("describe")), "")), [])

    def test_hidden_verbs_are_not_offered(self):
        shown = self.desk.run("--help")
        self.assertNotRegex(shown, r"(?m)^  (complete|describe)\b")
        self.assertFalse({"complete", "describe"} & set(self.desk.offered("")))


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
