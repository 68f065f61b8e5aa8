#!/usr/bin/env python3
"""Plants wrong includes in a small tree: each must be found."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).parent / "check_layers.py"
TABLE = """
support:
src/wire: support
src/records: src/wire/terms_p.h
src/client: support src/wire src/records
src/client/boss.h: src/client src/logging
src/logging: src/records
tools: src/client
"""
FILES = {
    "support/worker.h": "",
    "src/wire/frame_p.h": '#include "worker.h"\n#include <QString>\n',
    "src/wire/terms_p.h": "",
    "src/records/message.h": '#include "records_export.h"\n#include <vector>\n',
    "src/records/message.cpp": '#include "records/message.h"\n\n#include "wire/terms_p.h"\n',
    "src/logging/line.h": '#include "records/message.h"\n',
    "src/client/link.h": '#include "records/message.h"\n',
    "src/client/link.cpp": '#include "link.h"\n#include "wire/frame_p.h"\n',
    "src/client/boss.h": '#include "link.h"\n#include "logging/line.h"\n',
    "tools/verbs/ping.cpp": '#include "client/link.h"\n',
}


class CheckLayers(unittest.TestCase):
    def run_check(self, changes=None, table=TABLE):
        with tempfile.TemporaryDirectory() as folder:
            tree = pathlib.Path(folder)
            files = {**FILES, "tests/layers/layers.txt": table, **(changes or {})}
            for name, text in files.items():
                (tree / name).parent.mkdir(parents=True, exist_ok=True)
                (tree / name).write_text(text)
            done = subprocess.run([sys.executable, CHECK, tree], capture_output=True, text=True, check=False)
        return done.returncode, done.stderr

    def assert_found(self, words, changes=None, table=TABLE):
        status, errors = self.run_check(changes, table)
        self.assertIn(words, errors)
        self.assertEqual(status, 1)

    def test_right_tree_is_accepted(self):
        self.assertEqual(self.run_check(), (0, ""))

    def test_include_that_points_up_is_found(self):
        self.assert_found("support/worker.h includes src/records/message.h, which support may not",
                          {"support/worker.h": '#include "records/message.h"\n'})

    def test_include_by_bare_name_or_in_angles_is_found(self):
        for line in ('#include "line.h"', "#include <line.h>", "#  include <logging/line.h>"):
            self.assert_found("src/client/link.h includes src/logging/line.h, which src/client may not",
                              {"src/client/link.h": line + "\n"})

    def test_other_file_of_a_folder_of_which_one_is_allowed_is_found(self):
        self.assert_found("src/records/message.cpp includes src/wire/frame_p.h",
                          {"src/records/message.cpp": '#include "wire/frame_p.h"\n'})

    def test_file_with_a_line_of_its_own_is_not_its_folder(self):
        self.assert_found("src/client/link.cpp includes src/client/boss.h", {"src/client/link.cpp": '#include "boss.h"\n'})

    def test_private_header_outside_is_found(self):
        self.assert_found("tools/verbs/ping.cpp includes src/client/age_p.h, which is not installed",
                          {"src/client/age_p.h": "", "tools/verbs/ping.cpp": '#include "client/age_p.h"\n'})

    def test_folder_without_a_line_is_found(self):
        self.assert_found("src/state/wrapper.h: no line of layers.txt is about it", {"src/state/wrapper.h": ""})

    def test_line_without_a_folder_is_found(self):
        self.assert_found("there is no devbus", table=TABLE + "devbus: support\n")

    def test_circle_in_the_table_is_found(self):
        self.assert_found("layers in a circle", table=TABLE.replace("src/logging: ", "src/logging: src/client/boss.h "))

    def test_same_name_twice_is_refused(self):
        self.assert_found("could be any of",
                          {"src/wire/line.h": "", "src/client/link.cpp": '#include "line.h"\n'})


if __name__ == "__main__":
    unittest.main()
