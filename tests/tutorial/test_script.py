#!/usr/bin/env python3
"""scripts/ten-minutes as a user without root's rights runs it: in a user namespace, which a stand-in takes the place of."""
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Takes its time to end, as the removal of a clean system does.
UNSHARE = """#!/bin/bash
end() { sleep 1; echo removed >removed; exit "$1"; }
trap 'end 143' TERM
trap 'end 130' INT
echo "$*" >arguments.new && mv arguments.new arguments
while [[ ! -e go ]]; do sleep 0.05; done
exit 1
"""
SECONDS = 60


class Script(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.write("bin/unshare", UNSHARE)
        self.write("bin/newuidmap", "#!/bin/sh\n")
        # An ordinary user, also where the test is root.
        self.write("python/sitecustomize.py", "import os\nos.geteuid = lambda: 1000\n")
        self.write("packages/one.deb", "")
        self.write("root.tar", "")

    def write(self, name, text):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)
        path.chmod(0o755)

    def start(self):
        environment = {**os.environ, "PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}",
                       "PYTHONPATH": str(self.folder / "python")}
        process = subprocess.Popen([ROOT / "scripts/ten-minutes", "--packages", "packages", "--root", "root.tar"],
                                   cwd=self.folder, env=environment, start_new_session=True)
        self.addCleanup(process.kill)
        end = time.monotonic() + SECONDS
        while not (self.folder / "arguments").exists():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)
        return process

    def test_goes_on_as_root_of_a_namespace(self):
        process = self.start()
        self.write("go", "")
        self.assertEqual(process.wait(SECONDS), 1)
        arguments = (self.folder / "arguments").read_text()
        self.assertRegex(arguments, "^--map-root-user --map-auto .*/ten-minutes --packages packages --root root.tar$")

    def test_removes_the_clean_system_when_it_is_asked_to_end(self):
        process = self.start()
        process.terminate()
        self.assertEqual(process.wait(SECONDS), 143)
        self.assertTrue((self.folder / "removed").exists())

    def test_removes_the_clean_system_at_an_interrupt(self):
        process = self.start()
        os.killpg(process.pid, signal.SIGINT)
        self.assertEqual(process.wait(SECONDS), 130)
        self.assertTrue((self.folder / "removed").exists())


unittest.main()
