"""Follows the steps of a page in a place, as its reader would, and compares what appears."""
import os
import posixpath
import selectors
import shlex
import signal
import subprocess
import time

from page import Expected

COMMAND_SECONDS = 300
ROOT_SECONDS = 900
APPEARING_SECONDS = 60
ENDING_SECONDS = 30


class Stuck(Exception):
    """Where the reader cannot go on, and why."""


def heed_interrupts():
    """A shell starts what runs in its background so that it ignores Ctrl+C, and a child inherits that."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)


class Terminal:
    """A terminal in which one command runs."""

    def __init__(self, place, folder, command, is_root=False, replaces_shell=False):
        self.command = command
        self.pid_of_command = lambda: place.pid_of_command(self.process.pid)
        self.lines = []
        self.seen = 0  # so many lines are compared
        self.place_of_shell, where = os.pipe()
        argv, environment = place.shell(is_root)
        typed = f"exec {command}" if replaces_shell else f"{{ {command}\n}}; status=$?; pwd >&{where}; exit $status"
        self.process = subprocess.Popen(
            [*argv, f"cd {shlex.quote(folder)} && {typed}"], env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, pass_fds=[where], preexec_fn=heed_interrupts)
        os.close(where)
        os.set_blocking(self.process.stdout.fileno(), False)
        self.rest = b""
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.process.stdout, selectors.EVENT_READ)

    def read(self, seconds):
        """Takes in what has appeared, waiting for it. \\return false at the end of the output."""
        if not self.selector.select(seconds):
            return True
        data = self.process.stdout.read()
        *lines, self.rest = (self.rest + (data or b"")).split(b"\n")
        self.lines += [line.decode(errors="replace") for line in lines]
        if data == b"" and self.rest:
            self.lines.append(self.rest.decode(errors="replace"))
            self.rest = b""
        return data != b""

    def read_all(self, seconds):
        """Reads until the command ends. \\return its exit status; nothing when it has not ended in time."""
        end = time.monotonic() + seconds
        while self.read(max(0, end - time.monotonic())):
            if time.monotonic() >= end:
                return None
        return self.wait(end)

    def wait(self, end):
        try:
            return self.process.wait(max(0.1, end - time.monotonic()))
        except subprocess.TimeoutExpired:
            return None

    def folder(self):
        """Where the shell was at its end; empty when it has not said so."""
        with os.fdopen(self.place_of_shell) as said:
            return said.read().rstrip("\n")

    def interrupt(self):
        """What Ctrl+C does. The signal goes to the command itself, which has taken its shell's place."""
        os.kill(self.pid_of_command() or self.process.pid, signal.SIGINT)

    def kill(self):
        if self.process.poll() is None:
            for pid in filter(None, (self.pid_of_command(), self.process.pid)):
                os.kill(pid, signal.SIGKILL)
            self.process.wait()
        self.process.stdout.close()
        self.selector.close()


class Reader:
    """Keeps what a reader keeps: the folder in which he is, and the terminals that are open."""

    def __init__(self, place, told):
        self.place = place
        self.told = told  # called with each step, what it was and how long it took
        self.folder = place.home(False)
        self.open = []

    def follow(self, steps, without_root=False):
        """Raises Stuck where the page does not lead on. Nothing of it runs afterwards."""
        try:
            for step in steps:
                if step.kind == "root" and without_root:
                    continue
                began = time.monotonic()
                getattr(self, "do_" + step.kind)(step)
                self.told(step, time.monotonic() - began)
        finally:
            for terminal in self.open:
                terminal.kill()

    def do_file(self, step):
        path = posixpath.normpath(posixpath.join(self.folder, step.what))
        try:
            self.place.write(path, "\n".join(step.text) + "\n")
        except OSError as error:
            raise Stuck(f"line {step.line}: {step.what} cannot be written: {error.strerror}") from error

    def do_run(self, step):
        self.folder = self.run(step, self.folder, COMMAND_SECONDS)

    def do_root(self, step):
        self.run(step, self.place.home(True), ROOT_SECONDS, is_root=True)

    def run(self, step, folder, seconds, is_root=False):
        """Runs a command to its end. \\return where it leaves the reader."""
        terminal = Terminal(self.place, folder, step.what, is_root)
        try:
            status = terminal.read_all(seconds)
        finally:
            terminal.kill()
        if status is None:
            raise Stuck(self.words(step, f"has not ended within {seconds} s", terminal.lines))
        if status != 0:
            raise Stuck(self.words(step, f"has failed with status {status}", terminal.lines))
        expected = Expected(step.text)
        if step.text:
            for line in terminal.lines:
                expected.take(line)
        self.check(step, expected, terminal.lines)
        return terminal.folder()

    def do_background(self, step):
        self.open.append(Terminal(self.place, self.folder, step.what, replaces_shell=True))
        self.wait_for(step, self.open[-1])

    def do_see(self, step):
        terminal = next((terminal for terminal in self.open if terminal.command == step.what), None)
        if not terminal:
            raise Stuck(f"line {step.line}: no terminal runs '{step.what}'")
        self.wait_for(step, terminal)

    def wait_for(self, step, terminal):
        """Waits until the lines of the step have appeared, and fails when others appear."""
        expected = Expected(step.text)
        end = time.monotonic() + APPEARING_SECONDS
        first = terminal.seen
        is_open = True
        while True:
            for line in terminal.lines[terminal.seen:]:
                if expected.wrong is None and expected.next() is not None:
                    expected.take(line)
                    terminal.seen += 1
            if expected.next() is None or expected.wrong is not None or not is_open or time.monotonic() >= end:
                break
            is_open = terminal.read(max(0, end - time.monotonic()))
        self.check(step, expected, terminal.lines[first:])

    def do_stop(self, step):
        while self.open:
            terminal = self.open[-1]
            if terminal.process.poll() is not None:
                raise Stuck(f"line {step.line}: '{terminal.command}' had ended by itself:\n{shown(terminal.lines)}")
            terminal.interrupt()
            if terminal.read_all(ENDING_SECONDS) is None:
                raise Stuck(f"line {step.line}: '{terminal.command}' has not ended within {ENDING_SECONDS} s of Ctrl+C")
            terminal.kill()
            self.open.pop()

    def check(self, step, expected, lines):
        missing = expected.next()
        if expected.wrong is not None:
            instead = f'instead of "{missing}"' if missing is not None else "and the page does not have it"
            raise Stuck(self.words(step, f'there is the line "{expected.wrong}" {instead}', lines))
        if missing is not None:
            raise Stuck(self.words(step, f'the line "{missing}" does not appear', lines))

    @staticmethod
    def words(step, what, lines):
        return f"line {step.line}: {step.what}: {what}. What appeared:\n{shown(lines)}"


def shown(lines):
    """The last lines, as they appeared."""
    return "\n".join(f"    {line}" for line in lines[-40:]) or "    (nothing)"
