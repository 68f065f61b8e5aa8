#!/usr/bin/env python3
"""What scripts/check-quotes finds, in small trees of its own."""
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/check-quotes"
WHOLE = "int main()\n{\n    //! [call]\n    call();\n\n        again();\n\n    //! [call]\n}\n"
SHOWN = "int main()\n{\n    call();\n\n        again();\n\n}\n"
CALL = "call();\n\n    again();\n"
BUILD = "#! [find]\nfind_package(tarvexlib)\n#! [find]\nadd_library(snippets OBJECT\n    listed.cpp)\n"


def quotation(source, code, language="cpp"):
    return f"<!-- quote: {source} -->\n```{language}\n{code}```\n"


class CheckQuotes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in ("scripts", "docs/snippets", "examples"):
            (self.root / name).mkdir(parents=True)
        shutil.copy(SCRIPT, self.root / "scripts")
        self.write("README.md", quotation("examples/main.cpp", SHOWN))
        self.write("examples/main.cpp", WHOLE)
        self.write("docs/snippets/CMakeLists.txt", BUILD)
        self.write("docs/snippets/listed.cpp", WHOLE)
        self.write("docs/snippets/forgotten.cpp", WHOLE)

    def write(self, name, text):
        (self.root / name).write_text(text)

    def run_script(self, *arguments):
        run = subprocess.run([self.root / "scripts/check-quotes", *arguments], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout + run.stderr

    def assert_page_is_right(self, page):
        self.write("docs/page.md", page)
        self.assertEqual(self.run_script(), (0, ""))

    def assert_page_is_wrong(self, page, why):
        self.write("docs/page.md", page)
        status, said = self.run_script()
        self.assertEqual(status, 1, said)
        self.assertIn(why, said)

    def test_exact_quotations_are_right(self):
        for page in (quotation("examples/main.cpp", SHOWN), quotation("examples/main.cpp#call", CALL),
                     quotation("docs/snippets/listed.cpp#call", CALL),
                     quotation("docs/snippets/CMakeLists.txt#find", "find_package(tarvexlib)\n", "cmake"),
                     "Words with `<!-- quote: PATH -->`.\n\n    scripts/test\n\n```sh\ncd build\n```\n\n```\n$ ls\n```\n"):
            with self.subTest(page):
                self.assert_page_is_right(page)

    def test_other_code_is_wrong(self):
        self.assert_page_is_wrong(quotation("examples/main.cpp", SHOWN.replace("again", "twice")), "+        again();")
        self.assert_page_is_wrong(quotation("examples/main.cpp#call", "    call();\n\n        again();\n"), "+call();")
        self.assert_page_is_wrong(quotation("examples/main.cpp", WHOLE), "-    //! [call]")

    def test_code_that_is_quoted_from_no_file_is_wrong(self):
        self.assert_page_is_wrong("```cpp\ncall();\n```\n", "docs/page.md:1: a cpp block without a quote line")
        self.assert_page_is_wrong("```cmake\nproject(x)\n```\n", "a cmake block without a quote line")
        self.assert_page_is_wrong("- item\n\n  ```cpp\n  call();\n  ```\n", "a cpp block without a quote line")
        self.assert_page_is_wrong("```\n#include <QString>\n```\n", "this is code: quote it from a file")
        self.assert_page_is_wrong("```text\nfind_package(x)\n```\n", "this is code: quote it from a file")
        self.assert_page_is_wrong("```c++\ncall();\n```\n", '"c++" is called "cpp" here')
        self.assert_page_is_wrong("Words.\n\n    #!/bin/sh\n    exit 1\n", "docs/page.md:3: this is code")
        self.assert_page_is_wrong("Words.\n\n    add_test(NAME x COMMAND x)\n", "docs/page.md:3: this is code")

    def test_quotations_of_nothing_are_wrong(self):
        self.assert_page_is_wrong(quotation("examples/gone.cpp", SHOWN), "examples/gone.cpp cannot be read")
        self.assert_page_is_wrong(quotation("examples/main.cpp#gone", CALL), "has 0 lines that mark [gone], not 2")
        self.assert_page_is_wrong(quotation("docs/snippets/forgotten.cpp#call", CALL), "forgotten.cpp is not compiled")
        self.assert_page_is_wrong("<!-- quote: examples/main.cpp -->\nWords.\n", "has no code block below it")
        self.assert_page_is_wrong("<!-- quote: examples/main.cpp -->\n", "has no code block below it")
        self.assert_page_is_wrong("<!-- quote: examples/main.cpp#a b -->\n```cpp\n```\n", "this is no quote line")
        self.assert_page_is_wrong("<!-- quote: examples/main.cpp -->\n```cpp\n" + SHOWN, "this block has no end")

    def write_header(self, comment):
        (self.root / "src/records").mkdir(parents=True, exist_ok=True)
        lines = "".join(f"    /// {line}".rstrip() + "\n" for line in comment.splitlines())
        self.write("src/records/message.h", f"class Message\n{{\n{lines}    int size();\n}};\n")

    def assert_header_is_wrong(self, comment, why):
        self.write_header(comment)
        status, said = self.run_script()
        self.assertEqual(status, 1, said)
        self.assertIn(why, said)

    def test_headers_quote_too(self):
        self.write_header("Words.\n\n<!-- quote: examples/main.cpp#call -->\n\\code\n" + CALL + "\\endcode\n\nMore words.")
        self.assertEqual(self.run_script(), (0, ""))

    def test_headers_with_other_code_are_wrong(self):
        quote = "<!-- quote: examples/main.cpp#call -->\n"
        self.assert_header_is_wrong(quote + "\\code\ncall();\n\\endcode", "+    again();")
        self.assert_header_is_wrong("\\code\ncall();\n\\endcode", "src/records/message.h:3: \\code without a quote line")
        self.assert_header_is_wrong(quote + "Words.", "src/records/message.h:3: a quote line has no \\code below it")
        self.assert_header_is_wrong("<!-- quote: a b -->\n\\code\n\\endcode", "this is no quote line")
        self.assert_header_is_wrong("<!-- quote: docs/snippets/forgotten.cpp#call -->\n\\code\n\\endcode",
                                    "forgotten.cpp is not compiled")

    def test_private_headers_are_not_read(self):
        self.write_header("\\code\ncall();\n\\endcode")
        (self.root / "src/records/message.h").rename(self.root / "src/records/message_p.h")
        self.assertEqual(self.run_script(), (0, ""))

    def test_write_renews_headers(self):
        comment = "Words.\n<!-- quote: examples/main.cpp#call -->\n\\code\n{}\\endcode\nWords."
        self.write_header(comment.format(CALL))
        expected = (self.root / "src/records/message.h").read_text()
        self.write_header(comment.format("old();\n"))
        self.assertEqual(self.run_script("--write"), (0, ""))
        self.assertEqual((self.root / "src/records/message.h").read_text(), expected)

    def test_programs_of_the_reference_are_named_without_their_ending(self):
        (self.root / "docs/snippets/reference").mkdir()
        self.write("docs/snippets/reference/CMakeLists.txt", "reference_program(records)\n")
        self.write("docs/snippets/reference/records.cpp", WHOLE)
        self.write("docs/snippets/reference/record.cpp", WHOLE)
        self.assert_page_is_right(quotation("docs/snippets/reference/records.cpp#call", CALL))
        self.assert_page_is_wrong(quotation("docs/snippets/reference/record.cpp#call", CALL), "record.cpp is not compiled")

    def test_no_quotation_at_all_is_wrong(self):
        self.write("README.md", "Words.\n")
        self.assertEqual(self.run_script(), (1, "scripts/check-quotes: no document quotes anything\n"))

    def test_write_renews_what_is_quoted_and_nothing_else(self):
        words = "Words.\n\n    scripts/test\n\n"
        self.write("docs/page.md", words + quotation("examples/main.cpp#call", "old();\n") + words)
        self.assertEqual(self.run_script("--write"), (0, ""))
        expected = words + quotation("examples/main.cpp#call", CALL) + words
        self.assertEqual((self.root / "docs/page.md").read_text(), expected)

    def test_write_tells_what_it_cannot_put_right(self):
        self.write("docs/page.md", "```cpp\ncall();\n```\n")
        status, said = self.run_script("--write")
        self.assertEqual(status, 1)
        self.assertIn("a cpp block without a quote line", said)


unittest.main()
