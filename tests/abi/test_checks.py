#!/usr/bin/env python3
"""test_checks.py LIBRARY: what the checks of this folder notice. LIBRARY is wexcorcore as it was built."""
import importlib.machinery
import importlib.util
import pathlib
import subprocess
import sys
import tempfile
import unittest

from publicheaders import Declarations

HERE = pathlib.Path(__file__).resolve().parent
SUPPORT = HERE.parents[1] / "support"
LIBRARY = pathlib.Path(sys.argv.pop(1))
HEADER = """
// class TARVEXLIB_EXPORT OutOfUse { };
namespace tarvex {
enum class Kind { Plain = 1, Special, };
class Named;
TARVEXLIB_EXPORT extern const QString NAME; ///< A constant; not { a brace.
class TARVEXLIB_EXPORT Sample : public QObject
{
    Q_OBJECT
public:
    explicit Sample(int a = 0) : m_a(a) { }
    ~Sample() override;
    virtual QString name() const = 0;
    bool operator==(const Sample& other) const;
Q_SIGNALS:
    void changed(); // clazy:exclude=none
protected:
    bool event(QEvent* event) override;
private Q_SLOTS:
    void onTimeout();
private:
    class Q_DECL_HIDDEN Watch;
    void load(const QString& name);
    std::atomic<bool> m_isBusy{false};
    int m_a = 0;
public Q_SLOTS:
    bool load();
};
struct Hidden
{
    int value() const;
};
} // namespace tarvex
"""


def load(script):
    loader = importlib.machinery.SourceFileLoader(script, str(HERE / script))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(script, loader))
    loader.exec_module(module)
    return module


check_symbols = load("check_symbols")
check_tables = load("check_tables")


class WithHeader(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "sample.h").write_text(HEADER)
        (self.folder / "queue_p.h").write_text(HEADER.replace("Sample", "Private"))
        self.declared = Declarations([self.folder])


class Reading(WithHeader):
    def test_members_have_type_and_access(self):
        members = {name: [(member.type, member.is_private) for member in overloads]
                   for name, overloads in self.declared.members.items()}
        self.assertEqual(members, {
            "tarvex::NAME": [("const QString", False)],
            "tarvex::Sample::Sample": [("", False)],
            "tarvex::Sample::~Sample": [("", False)],
            "tarvex::Sample::name": [("QString", False)],
            "tarvex::Sample::operator==": [("bool", False)],
            "tarvex::Sample::changed": [("void", False)],
            "tarvex::Sample::event": [("bool", False)],
            "tarvex::Sample::onTimeout": [("void", True)],
            "tarvex::Sample::load": [("void", True), ("bool", False)],
            "tarvex::Sample::m_isBusy": [("std::atomic<bool>", True)],
            "tarvex::Sample::m_a": [("int", True)],
        })

    def test_classes_and_enumerators_are_found(self):
        self.assertEqual(sorted(self.declared.classes), ["tarvex::Hidden", "tarvex::Sample"])
        sample = self.declared.classes["tarvex::Sample"]
        self.assertTrue(sample.is_exported and sample.has_meta_object and sample.has_virtuals)
        hidden = self.declared.classes["tarvex::Hidden"]
        self.assertFalse(hidden.is_exported or hidden.has_meta_object or hidden.has_virtuals)
        self.assertEqual(self.declared.enumerators, {"tarvex::Kind::Plain", "tarvex::Kind::Special"})

    def test_tables_lack_what_is_new(self):
        self.assertIn(("tst_layout.cpp", "tarvex::Hidden"), check_tables.missing(self.declared))
        self.assertIn(("tst_metaobjects.cpp", "tarvex::Sample"), check_tables.missing(self.declared))
        self.assertIn(("tst_virtualtables.cpp", "tarvex::Sample"), check_tables.missing(self.declared))
        self.assertIn(("tst_layout.cpp", "tarvex::Kind::Plain"), check_tables.missing(self.declared))
        # What the tables have and the header has not.
        self.assertIn(("tst_layout.cpp", "tarvex::Message"), check_tables.missing(self.declared))


class Linking(WithHeader):
    def test_what_services_link_is_found(self):
        pairs = [("T", "tarvex::Sample::name() const"), ("D", "tarvex::Sample::staticMetaObject"),
                 ("B", "tarvex::NAME"), ("V", "vtable for tarvex::Sample"), ("T", "tarvex::Sample::load()"),
                 ("T", "tarvex::Sample::operator==(tarvex::Sample const&) const")]
        found, undeclared = check_symbols.linked(pairs, self.declared)
        self.assertEqual(check_symbols.lines(found), [
            "const QString tarvex::NAME", "bool tarvex::Sample::load()", "QString tarvex::Sample::name() const",
            "bool tarvex::Sample::operator==(tarvex::Sample const&) const", "tarvex::Sample::staticMetaObject",
            "vtable for tarvex::Sample"])
        self.assertEqual(undeclared, [])

    def test_private_and_weak_symbols_are_left_out(self):
        pairs = [("T", "tarvex::Sample::onTimeout()"), ("W", "void std::vector<int>::_M_realloc_insert<int>(int&&)"),
                 ("V", "vtable for tarvex::Hidden")]
        self.assertEqual(check_symbols.linked(pairs, self.declared), ({}, []))

    def test_undeclared_symbols_are_told(self):
        names = ["helper(int)", "tarvex::Hidden::value() const", "tarvex::Hidden::metaObject() const::local",
                 "tarvex::Sample::other()", "void tarvex::visit<int>(int)"]
        found, undeclared = check_symbols.linked([("T", name) for name in names], self.declared)
        self.assertEqual((found, undeclared), ({}, sorted(names)))

    def test_symbols_that_must_not_be_there_are_told(self):
        pairs = [("W", "std::default_delete<tarvex::Queue>"), ("u", "std::_Sp_make_shared_tag::_S_ti()::__tag"),
                 ("T", "tarvex::devbus::serve()"), ("T", "tarvex::Sample::name() const")]
        told = check_symbols.forbidden(pathlib.Path("libtarvexlib.so"), pairs, [self.folder])
        self.assertEqual(told, ["std::default_delete<tarvex::Queue>: of a private header",
                                "tarvex::devbus::serve(): of a private header",
                                "std::_Sp_make_shared_tag::_S_ti()::__tag: keeps the library loaded for ever"])
        self.assertEqual(check_symbols.forbidden(pathlib.Path("libtarvextesting.so"), pairs[1:2], [self.folder]), [])


class Table(unittest.TestCase):
    """The check as it runs, with a table of which one line was changed."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.table = pathlib.Path(folder.name) / "wexcorcore.symbols"
        self.lines = (HERE / "wexcorcore.symbols").read_text().splitlines(keepends=True)

    def check(self, lines, *options):
        self.table.write_text("".join(lines))
        return subprocess.run([HERE / "check_symbols", *options, LIBRARY, self.table, SUPPORT], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)

    def test_equal_passes(self):
        self.assertEqual(self.check(self.lines).returncode, 0)

    def test_added_symbol_is_told(self):
        done = self.check(self.lines[1:])
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"  added: {self.lines[0]}", done.stderr)
        self.assertIn("An entry may be added, never removed. Renew the table:", done.stderr)

    def test_removed_symbol_is_told(self):
        done = self.check([*self.lines, "void zzz()\n"])
        self.assertEqual(done.returncode, 1)
        self.assertIn("  removed: void zzz()\n", done.stderr)
        self.assertNotIn("Renew the table", done.stderr)

    def test_changed_type_is_told(self):
        changed = [line.replace("bool wexcor::AppVersion::isValid", "int wexcor::AppVersion::isValid")
                   for line in self.lines]
        self.assertNotEqual(changed, self.lines)
        self.assertEqual(self.check(changed).returncode, 1)

    def test_unsorted_is_told(self):
        self.assertIn("the table is not sorted", self.check(reversed(self.lines)).stderr)

    def test_renewing_adds(self):
        self.assertEqual(self.check(self.lines[1:], "--renew").returncode, 0)
        self.assertEqual(self.table.read_text(), "".join(self.lines))

    def test_renewing_removes_nothing(self):
        planted = [*self.lines[1:], "void zzz()\n"]
        self.assertEqual(self.check(planted, "--renew").returncode, 1)
        self.assertEqual(self.table.read_text(), "".join(planted))


if __name__ == "__main__":
    unittest.main()
