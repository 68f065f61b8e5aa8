#!/usr/bin/env python3
"""What scripts/check-log-lines finds, in small trees of its own."""
import pathlib
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/check-log-lines"
SOURCE = """#include <QDebug>
// qWarning() << "no line: a comment";
const char* const text = "qWarning() is no call";
void f(int code, const QString& name)
{
    const QString words = tr("Not found (%1)").arg(name);
    if (code) {
        qWarning().noquote() << words;
    }
    qCritical().noquote() << code << logtab << name.left(5);
    qCritical() << name;
    qInfo() << "a \\"quoted\\" text" " in two pieces" << QStringLiteral("%1 and %2").arg(a, b) << tr("end: ") + name;
    error(tr("told to somebody"));
}
"""
PAGE = """# Lines

<!-- lines of: src/a.cpp -->
| Line | Level | What it means |
|---|---|---|
| `Not found (<name>)` | WARNING | words |
| `<code> <name>` | ERROR | words |
| `<name>` | ERROR | words with `code` |
| `a "quoted" text in two pieces <a> and <b> end: <name>` | INFO | words |
| `told to somebody` | - | words |

| Line | Level |
|---|---|
| `in a table of another kind` | ERROR |
"""


class CheckLogLines(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in ("src", "support", "docs"):
            (self.root / name).mkdir()
        self.write(SOURCE, PAGE)

    def write(self, source, page):
        (self.root / "src/a.cpp").write_text(source)
        (self.root / "docs/log-lines.md").write_text(page)

    def run_script(self, *arguments):
        run = subprocess.run([SCRIPT, *arguments], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout + run.stderr

    def assert_is_right(self, source=SOURCE, page=PAGE):
        self.write(source, page)
        self.assertEqual(self.run_script(self.root), (0, ""))

    def assert_is_wrong(self, why, source=SOURCE, page=PAGE):
        self.write(source, page)
        status, said = self.run_script(self.root)
        self.assertEqual(status, 1, said)
        self.assertIn(why, said)

    def with_line(self, line):
        return SOURCE.replace("    error(", f"    {line}\n    error(")

    def test_complete_page_is_right(self):
        self.assert_is_right()

    def test_same_words_in_two_places_are_one_line(self):
        self.assert_is_right(self.with_line('qWarning() << tr("Not found (%1)").arg(other);'))

    def test_line_that_the_page_lacks_is_wrong(self):
        lacks = "src/a.cpp: this line is missing from docs/log-lines.md: "
        self.assert_is_wrong(lacks + "WARNING new", self.with_line('qWarning() << "new";'))
        self.assert_is_wrong(lacks + "- new", self.with_line('error(tr("new"));'))
        self.assert_is_wrong(lacks + "ERROR *", self.with_line("qCritical() << other;"))
        self.assert_is_wrong(lacks + "INFO *", self.with_line("qDebug() << other;"))
        self.assert_is_wrong(lacks + "ERROR Not found (*)", SOURCE.replace("qWarning().noquote() <<", "qCritical() <<"))
        self.assert_is_wrong(lacks + "WARNING Not found (*)", page=PAGE.replace("| `Not found", "| `found"))

    def test_line_that_is_gone_is_wrong(self):
        gone = "docs/log-lines.md: this line is not in src/a.cpp, or is there too often: "
        self.assert_is_wrong(gone + "ERROR *", SOURCE.replace("qCritical() << name;", ""))
        self.assert_is_wrong(gone + "ERROR *", page=PAGE.replace("| `<name>`", "| `<name>` | ERROR | again |\n| `<name>`"))
        self.assert_is_wrong("this line is not in src/b.cpp", page=PAGE + "\n<!-- lines of: src/b.cpp -->\n| `x` | INFO |\n")

    def test_call_that_cannot_be_read_is_wrong(self):
        for line in ('qWarning("%d lines", 5);', "qWarning();", "QDebug debug = qWarning();", "auto* log = &qWarning;",
                     'qInfo() << (code ? "a" : "b");', 'qInfo() << words("text");', 'qInfo() << tr("text", "hint");'):
            with self.subTest(line):
                self.assert_is_wrong("src/a.cpp:13: q", self.with_line(line))
        for line in ('qCWarning(LOGGER()) << "x";', 'fprintf(stderr, "x");', 'std::cerr << "x";', 'qFatal("x");',
                     'QMessageLogger().warning() << "x";', 'QDebug(QtWarningMsg) << "x";', "Q_ASSERT(code);"):
            with self.subTest(line):
                self.assert_is_wrong("may write a line in a form that this script does not know", self.with_line(line))
        self.assert_is_wrong("tr() of something that is no text", self.with_line("error(tr(words));"))
        self.assert_is_wrong("src/a.cpp:2: qWarning()", SOURCE.replace("// qW", "#define WARN qW", 1).replace(' << "no', " //", 1))

    def test_row_without_a_text_is_wrong(self):
        self.assert_is_wrong("the first cell is no text between backticks", page=PAGE.replace("`<name>`", "a name"))

    def test_list_shows_what_was_found(self):
        status, said = self.run_script("--list", self.root)
        self.assertEqual(status, 0)
        self.assertIn("src/a.cpp\tWARNING\tNot found (*)\n", said)
        self.assertEqual(len(said.splitlines()), 5)

    def test_wrong_use(self):
        self.assertEqual(self.run_script("--bad")[0], 2)
        self.assertEqual(self.run_script(self.root, self.root)[0], 2)
        self.assertEqual(self.run_script(self.root / "docs")[0], 2)
        self.assertEqual(self.run_script("--help")[0], 0)


unittest.main()
