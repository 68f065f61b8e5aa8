#!/usr/bin/python3
"""usage: site_test.py FOLDER

The site of the API reference in a browser, as files, without a server."""
import pathlib
import sys
import tempfile
import unittest

from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.wait import WebDriverWait

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "tests/devbus/page"))
import browser as browsers  # noqa: E402

SITE = pathlib.Path(sys.argv.pop()).resolve()
PAGES = sorted(path.name for path in SITE.glob("*.html") if not path.name.endswith("-members.html"))
PATIENCE_S = 60
PHONE = (400, 800)
DESK = (1400, 900)

TOO_WIDE = """
return document.documentElement.scrollWidth > window.innerWidth || [...document.querySelectorAll('main, main p, main .title')]
    .some((node) => node.getBoundingClientRect().right > window.innerWidth + 1);
"""
PICTURES = "return [...document.images].filter((image) => !image.complete || !image.naturalWidth).map((image) => image.src)"


class Site(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        profile = tempfile.TemporaryDirectory()
        cls.addClassCleanup(profile.cleanup)
        cls.browser = browsers.start(profile.name)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        browsers.resize(self.browser, *DESK)

    def open(self, page):
        self.browser.get((SITE / page).as_uri())

    def element(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def wait_for(self, condition):
        return WebDriverWait(self.browser, PATIENCE_S).until(lambda _: condition())

    def search(self, text):
        field = self.element("#search")
        field.send_keys(text)
        # Each letter makes the list anew.
        self.wait_for(lambda: self.element("#results").get_attribute("data-text") == text)
        return field

    def titles(self):
        return [found.text for found in self.browser.find_elements(By.CSS_SELECTOR, "#results b")]

    def test_each_page_fits_a_phone(self):
        browsers.resize(self.browser, *PHONE)
        self.assertGreater(len(PAGES), 60)
        for page in PAGES:
            with self.subTest(page):
                self.open(page)
                self.assertFalse(self.browser.execute_script(TOO_WIDE))
                self.assertEqual(self.browser.execute_script(PICTURES), [])
        faults = [entry["message"] for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]
        self.assertEqual(faults, [])

    def test_the_contents_open_on_a_phone(self):
        browsers.resize(self.browser, *PHONE)
        self.open("settings.html")
        tree = self.element(".tree")
        self.assertFalse(tree.is_displayed())
        self.element(".menu-button").click()
        self.assertTrue(tree.is_displayed())
        self.assertEqual(tree.find_element(By.CSS_SELECTOR, "[aria-current]").text, "Settings")
        tree.find_element(By.LINK_TEXT, "Commands").click()
        self.wait_for(lambda: self.browser.current_url.endswith("/commands.html"))

    def test_the_contents_stand_beside_the_text_on_a_desk(self):
        self.open("settings.html")
        self.assertTrue(self.element(".tree").is_displayed())
        self.assertFalse(self.element(".menu-button").is_displayed())

    def test_search_finds_a_function(self):
        self.open("index.html")
        field = self.search("loadSettings")
        self.assertEqual(self.titles()[0], "loadSettings")
        field.send_keys(Keys.ENTER)
        self.wait_for(lambda: "/classtarvex_1_1TarvexQueryHandler.html#a" in self.browser.current_url)

    def test_search_finds_the_beginning_of_a_name(self):
        self.open("index.html")
        self.search("TarvexQueryW")
        self.assertEqual(self.titles()[0], "TarvexQueryWorker")

    def test_search_finds_words_of_a_page(self):
        self.open("classtarvex_1_1Message.html")
        field = self.search("end of a service")
        self.assertIn("The end of a service", self.titles())
        while self.element("#results a.chosen b").text != "The end of a service":
            field.send_keys(Keys.ARROW_DOWN)
        field.send_keys(Keys.ENTER)
        self.wait_for(lambda: self.browser.current_url.endswith("/threads.html#threads-the-end-of-a-service"))

    def test_search_finds_first_what_bears_the_name(self):
        self.open("index.html")
        for text, title, place, kind in (("Message", "Message", "tarvex", "class"),
                                         ("tarvex::Message", "Message", "tarvex", "class"),
                                         ("AppVersion", "AppVersion", "wexcor", "class"),
                                         ("Message::uid()", "uid", "tarvex::Message", "function"),
                                         ("wexcor", "wexcor", "", "namespace"),
                                         ("logtools", "logtools.h", "", "header"),
                                         ("settings", "Settings", "", "page")):
            with self.subTest(text):
                self.element("#search").clear()
                self.search(text)
                first = self.element("#results a")
                self.assertEqual([first.find_element(By.CSS_SELECTOR, part).text for part in ("b", ".place", ".kind")],
                                 [title, place, kind])

    def test_search_finds_names_while_they_are_typed(self):
        self.open("index.html")
        for length in range(4, len("loadSettings") + 1):
            with self.subTest(length):
                self.element("#search").clear()
                self.search("query " + "loadSettings"[:length])
                self.assertIn("loadSettings", self.titles())

    def test_a_variable_is_no_link_to_a_namespace(self):
        self.open("classtarvex_1_1TarvexQueryHandler.html")
        example = self.element(".fragment")
        self.assertIn("bus.open()", example.text)
        self.assertNotIn("bus", [link.text for link in example.find_elements(By.TAG_NAME, "a")])

    def test_search_says_that_there_is_nothing(self):
        self.open("index.html")
        field = self.search("qqqqqq")
        self.assertEqual(self.element("#results").text, "Nothing found")
        field.send_keys(Keys.ESCAPE)
        self.assertFalse(self.element("#results").is_displayed())

    def test_the_slash_begins_a_search(self):
        self.open("index.html")
        self.element("body").send_keys("/")
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "search")

    def test_inherited_members_unfold(self):
        self.open("classtarvex_1_1TarvexMsgWorker.html")
        row = self.element("tr.inherit")
        self.assertFalse(row.is_displayed())
        # Beside the link to the base class.
        self.browser.execute_script("arguments[0].click()", self.element("tr.inherit_header td"))
        self.assertTrue(row.is_displayed())

    def test_dark_follows_the_system(self):
        colours = []
        for theme in ("light", "dark"):
            browsers.set_theme(self.browser, theme)
            self.open("index.html")
            colours.append(self.element("body").value_of_css_property("background-color"))
        self.assertNotEqual(*colours)
        browsers.set_theme(self.browser, "light")


unittest.main()
