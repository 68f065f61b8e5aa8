#!/usr/bin/python3
"""What scripts/docs makes of pages, and what it finds wrong: in small trees, and in a copy of this one."""
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "docs/doxygen"))
from reference import links, names, navigation, pages, qch  # noqa: E402
from reference.wrong import Wrong  # noqa: E402

HEADER = """
namespace n {
/// Words.
/// \\code
/// Known known;
/// \\endcode
class Known
{
public:
    Known(); ///< Words.
    ~Known();
    Known(const Known&) = delete;
    /// Words.
    enum Kind {
        Good, ///< Words.
        Bad
    };
    int forgotten() const;
    int described() const; ///< Words.
Q_SIGNALS:
    void signalled();
protected:
    int m_seen;
private:
    int m_hidden;
};
/// Words.
class Bare
{
};
class Unknown
{
};
int freeFunction();
using Type = int;
extern const int VALUE;
} // namespace n
int globalFunction();
"""


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()

    def write(self, name, text):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path


class Links(Folder):
    def faults(self, body, more=()):
        self.write("index.html", f"<html><body>{body}</body></html>")
        self.write("other.html", '<h1 id="there">Words</h1><a name="old"></a>')
        return list(links.faults(self.folder, more))

    def test_right_links(self):
        self.write("style.css", "")
        self.assertEqual(self.faults('<link href="style.css"><a href="other.html#there"></a><a href="other.html#old"></a>'
                                     '<a href="#here" id="here"></a><a href="https://www.debian.org/doc/">x</a>'
                                     '<a href="javascript:f()">x</a><a href="other.html?x=1">x</a>'), [])

    def test_wrong_links(self):
        for link, why in (('<a href="gone.html">', "gone.html is not there"),
                          ('<a href="other.html#gone">', "other.html#gone has no such anchor"),
                          ('<a href="#gone">', "#gone has no such anchor"),
                          ('<img src="gone.svg">', "gone.svg is not there"),
                          ('<a href="../index.html">', "../index.html leads out of the folder"),
                          ('<script src="https://www.debian.org/x.js">', "is fetched from the network"),
                          ('<link href="//www.debian.org/x.css">', "is fetched from the network"),
                          ('<a href="https:/www.debian.org">', "has not the form")):
            with self.subTest(link):
                faults = self.faults(link)
                self.assertEqual(len(faults), 1, faults)
                self.assertTrue(faults[0].startswith("index.html:1: "))
                self.assertIn(why, faults[0])

    def test_links_of_the_search(self):
        self.assertEqual(self.faults("", ["other.html#there"]), [])
        self.assertEqual(self.faults("", ["other.html#gone"]), ["search: other.html#gone has no such anchor"])

    def test_an_empty_folder_is_wrong(self):
        self.assertEqual(len(list(links.faults(self.folder))), 1)


class Names(Folder):
    def read(self, header):
        self.write("known.h", header)
        settings = f"""
            INPUT={self.folder}/known.h
            OUTPUT_DIRECTORY={self.folder}
            STRIP_FROM_PATH={self.folder}
            EXTRACT_ALL=YES
            GENERATE_HTML=NO
            GENERATE_LATEX=NO
            GENERATE_XML=YES
            QUIET=YES
            """
        subprocess.run(["doxygen", "-"], input=settings, text=True, check=True, stderr=subprocess.DEVNULL)
        return names.read(self.folder / "xml")

    def test_what_is_missing(self):
        faults = list(names.faults(self.read(HEADER)))
        missing = {fault.split(": ", 1)[1].split(" (")[0] for fault in faults if "has no comment" in fault}
        self.assertEqual(missing, {"n", "n::Known::Bad", "n::Known::forgotten", "n::Known::signalled", "n::Known::m_seen",
                                   "n::Unknown", "n::freeFunction", "n::Type", "n::VALUE", "globalFunction"})
        self.assertIn("known.h:18: n::Known::forgotten (function) has no comment", faults)
        self.assertEqual([fault.split(": ")[1] for fault in faults if "has no example" in fault],
                         ["n::Bare has no example"])

    def test_nothing_is_missing(self):
        self.assertEqual(list(names.faults(self.read("/// Words.\n/// \\code\n/// f();\n/// \\endcode\nclass A\n{\n};\n"))), [])

    def test_a_name_of_two_meanings_is_no_link(self):
        targets = names.links(self.read("namespace a { class X {}; class Y { void f(); }; } namespace b { class X {}; }"))
        self.assertEqual(targets["a::X"], "a::X")
        self.assertEqual(targets["Y"], "a::Y")
        self.assertNotIn("X", targets)

    def test_namespaces_and_headers_are_names_but_no_links(self):
        found = self.read("/// \\file\n/// Words.\n/// Words.\nnamespace bus { class X {}; }\n")
        self.assertEqual({(name.qualified, name.kind) for name in found},
                         {("bus", "namespace"), ("bus::X", "class"), ("known.h", "file")})
        self.assertEqual(set(names.links(found)), {"X", "bus::X"})


class Pages(Folder):
    def rendered(self, text, known=None):
        page = self.write("docs/page.md", text)
        self.write("docs/other.md", "# Other\n\n## A `part`\n")
        site = pages.Site([page, self.folder / "docs/other.md"], self.folder)
        site.names = known or {}
        return site.rendered(site.pages[page.resolve()])

    def assert_wrong(self, text, why):
        with self.assertRaisesRegex(Wrong, why):
            self.rendered(text)

    def test_headings_have_labels(self):
        text = self.rendered("# Page\n\nWords.\n\n## `--quiet` and more\n\n## Twice\n\n## Twice\n")
        for heading in ("# Page {#page}", "## \\--quiet and more {#page---quiet-and-more}", "## Twice {#page-twice}",
                        "## Twice {#page-twice-1}"):
            self.assertIn(f"{heading}\n", text)

    def test_links_lead_to_pages(self):
        text = self.rendered("# Page\n\n[other.md](other.md), [words](other.md#a-part), [up](#page), "
                             "[site](https://www.debian.org/)\n")
        self.assertIn('<a href="other.html">Other</a>, <a href="other.html#other-a-part">words</a>, '
                      '<a href="page.html#page">up</a>, <a href="https://www.debian.org/">site</a>', text)

    def test_links_to_nothing_are_wrong(self):
        self.assert_wrong("# Page\n\n[words](gone.md)\n", "docs/page.md: there is no gone.md")
        self.assert_wrong("# Page\n\n[words](other.md#gone)\n", "other.md#gone is no heading")
        self.assert_wrong("# Page\n\n![words](gone.svg)\n", "there is no gone.svg")
        self.assert_wrong("Words.\n", "has no heading")

    def test_two_pictures_of_one_name_are_wrong(self):
        self.write("docs/a/x.svg", "")
        self.write("docs/b/x.svg", "")
        self.assert_wrong("# Page\n\n![one](a/x.svg)\n\n![two](b/x.svg)\n", "another picture is called x.svg, too")

    def test_known_names_are_links(self):
        text = self.rendered("# Page\n\n`Message` and `Massage`\n", {"Message": "tarvex::Message"})
        self.assertIn('@ref tarvex::Message "Message" and <code>Massage</code>', text)

    def test_code_is_left_alone(self):
        text = self.rendered("# Page\n\n<!-- quote: a.cpp -->\n```cpp\nf(\"\\n\"); // @x [a](b.md)\n```\n\n```text\n@x\n```\n")
        self.assertIn("\n```{.cpp}\nf(\"\\n\"); // @x [a](b.md)\n```\n\n```{.unparsed}\n@x\n```\n", text)
        self.assertNotIn("quote:", text)

    def test_indented_code_gets_fences(self):
        text = self.rendered("# Page\n\nWords:\n\n    $ a --b\n\n    c\n\nWords.\n\n- item\n\n      code of the item\n")
        self.assertIn("Words:\n```{.unparsed}\n$ a --b\n\nc\n```\nWords.\n\n- item\n\n      code of the item\n", text)

    def test_each_line_keeps_its_number(self):
        source = "# Page\n\nWords:\n\n    code\n\n<!-- quote: x -->\n```cpp\nf();\n```\n\n## Part\n\nThe last line.\n"
        self.assertEqual(self.rendered(source).splitlines().index("The last line."), source.splitlines().index("The last line."))


    def test_code_that_does_not_come_through_is_seen(self):
        page = pages.Page(self.write("docs/page.md", "# Page\n\n`--a *b* \\| c`\n\n    d  e\n\n```cpp\nf();\n```\n"))
        self.write("page.html", "<code>--a *b* | c</code><pre>d e</pre><div>f</div><div>();</div>")
        self.assertEqual(pages.lost_code(page, self.folder), [])
        self.write("page.html", "<code>&ndash;a <em>b</em> | c</code><p>d e</p>")
        self.assertEqual(pages.lost_code(page, self.folder), ["--a *b* | c", "f();"])


class Navigation(Folder):
    def groups(self, text):
        site = pages.Site([self.write("docs/a.md", "# First\n"), self.write("docs/b.md", "# Second\n")], self.folder)
        return navigation.groups_of_pages(text, site.pages.values())

    def test_each_page_has_a_place(self):
        self.assertEqual(self.groups("# Words\n[Begin]\nb\n"), [("Begin", [("Second", "b.html")]), ("More", [("First", "a.html")])])

    def test_a_page_that_is_not_there_is_wrong(self):
        with self.assertRaisesRegex(Wrong, "there is no page 'gone'"):
            self.groups("[Begin]\ngone\n")


class HelpFile(Folder):
    def help_file(self, namespace="org.x", files=("index.html",), data=b"x", keywords=("A",)):
        path = self.folder / "x.qch"
        path.unlink(missing_ok=True)
        database = sqlite3.connect(path)
        database.executescript("CREATE TABLE NamespaceTable (Name); CREATE TABLE FileNameTable (Name, FileId);"
                               "CREATE TABLE FileDataTable (Id, Data); CREATE TABLE IndexTable (Name);")
        database.execute("INSERT INTO NamespaceTable VALUES (?)", (namespace,))
        for number, name in enumerate(files):
            database.execute("INSERT INTO FileNameTable VALUES (?, ?)", (name, number))
            database.execute("INSERT INTO FileDataTable VALUES (?, ?)", (number, data))
        database.executemany("INSERT INTO IndexTable VALUES (?)", [(name,) for name in keywords])
        database.commit()
        database.close()
        return list(qch.faults(path, "org.x", ["A"]))

    def test_a_whole_one(self):
        self.assertEqual(self.help_file(), [])

    def test_others(self):
        self.assertIn("its namespace is org.y, not org.x", self.help_file(namespace="org.y")[0])
        self.assertIn("it has no index.html", self.help_file(files=("a.html",))[0])
        self.assertIn("index.html is empty", self.help_file(data=b"")[0])
        self.assertIn("A is no keyword", self.help_file(keywords=())[0])
        path = self.write("y.qch", "no database")
        self.assertEqual(len(list(qch.faults(path, "org.x", []))), 1)
        self.assertEqual(len(list(qch.faults(self.folder / "gone.qch", "org.x", []))), 1)


class Tree(Folder):
    """A copy of this tree, with a fault."""

    def setUp(self):
        super().setUp()
        shutil.rmtree(self.folder)
        shutil.copytree(ROOT, self.folder, symlinks=True, ignore=shutil.ignore_patterns("build", ".git", ".cache", "obj-*", "__pycache__"))

    def change(self, name, old, new):
        text = (self.folder / name).read_text()
        self.assertIn(old, text)
        (self.folder / name).write_text(text.replace(old, new, 1))

    def assert_is_refused(self, why):
        run = subprocess.run([self.folder / "scripts/docs"], capture_output=True, text=True, check=False)
        self.assertEqual((run.returncode, run.stdout), (1, ""), run.stderr)
        self.assertIn(why, run.stderr)
        self.assertEqual(list((self.folder / "build").iterdir()), [])

    def test_a_public_name_without_a_comment(self):
        self.change("support/appversion.h", " ///< For example \"5.0.28\".", "")
        self.assert_is_refused("version (function) has no comment")

    def test_a_class_without_a_comment(self):
        self.change("testing/busfault.h", "private:", "    struct Planted\n    {\n    };\n\nprivate:")
        self.assert_is_refused("tarvex::testing::BusFault::Planted (struct) has no comment")

    def test_a_page_with_a_link_to_nothing(self):
        self.change("docs/settings.md", "](state.md)", "](stale.md)")
        self.assert_is_refused("docs/settings.md: there is no stale.md")

    def test_a_page_that_doxygen_does_not_understand(self):
        self.change("docs/settings.md", "# Settings\n\n", "# Settings\n\nA <plant>.\n\n")
        self.assert_is_refused("docs/settings.md:3: ")

    def test_a_comment_with_a_link_to_nothing(self):
        self.change("src/records/message.h", "/// The unit of traffic", "/// See \\ref Massage. The unit of traffic")
        self.assert_is_refused("unable to resolve reference to 'Massage'")

    def test_a_page_of_the_site_with_a_link_to_nothing(self):
        self.change("docs/doxygen/footer.html", "<footer>", '<footer><a href="gone.html">gone</a>')
        self.assert_is_refused("index.html")


unittest.main()
