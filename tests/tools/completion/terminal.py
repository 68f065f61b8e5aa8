"""A shell in a terminal of its own, as a user has it, for tests of what happens when Tab is pressed."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time

PATIENCE_S = 60
MARK = re.compile(rb"<\[(.*?)\]>", re.DOTALL)
REPORT_KEY = "\x18l"   # Ctrl-X l


class Terminal:
    """The file that sets the shell up makes REPORT_KEY write the last word of the line between "<[" and "]>", after the
    shell has read the line as it would to run it. Then the line is empty again. At its end the file writes "<[]>"."""

    def __init__(self, command, setup, environment):
        self.child, self.end = pty.fork()
        if self.child == 0:
            os.execve(command[0], command, environment)
        # Wide, so that no line is broken.
        fcntl.ioctl(self.end, termios.TIOCSWINSZ, struct.pack("HHHH", 200, 500, 0, 0))
        self.seen = b""
        self.send(f". {setup}\n")
        self._report()

    def send(self, text):
        os.write(self.end, text.encode())

    def _read(self, until):
        deadline = time.monotonic() + PATIENCE_S
        while True:
            found = until.search(self.seen)
            if found:
                self.seen = self.seen[found.end():]
                return found
            ready = select.select([self.end], [], [], max(0, deadline - time.monotonic()))[0]
            if not ready:
                raise TimeoutError(f"the terminal shows only {self.seen!r}")
            self.seen += os.read(self.end, 65536)

    def _report(self):
        return self._read(MARK).group(1).decode().replace("\r\n", "\n")

    def last_word(self, line):
        """The last word of the line after Tab, as the command would get it."""
        self.send(line + "\t" + REPORT_KEY)
        return self._report()

    def listed(self, line):
        """What the shell shows after Tab."""
        self.send(line + "\t" + REPORT_KEY)
        shown = self._read(re.compile(rb"(.*?)<\[.*?\]>", re.DOTALL)).group(1).decode()
        return re.sub(r"\x1b\[[0-9;?]*[A-Za-z]|\r", "", shown)

    def close(self):
        os.kill(self.child, signal.SIGKILL)
        os.waitpid(self.child, 0)
        os.close(self.end)
