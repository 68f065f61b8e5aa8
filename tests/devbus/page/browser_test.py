#!/usr/bin/env python3
"""usage: browser_test.py FOLDER_OF_PROGRAMS

The live page in a real browser, with the real bus and real services."""
import base64
import json
import os
import sys
import tempfile
import unittest
import urllib.error
import urllib.request

from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import browser as browsers
from pagetest import Bus, Client, Program, wait_for

HOSTILE = "<script>document.title='taken'</script>"

# What a reader of the page can see at once; the limits are far from what is there, and from growth.
MAX_NODES = 12000
MAX_GROWTH = 12 * 1024 * 1024

# Every control has a name, every list and table a role and a name, and no identifier comes twice.
UNNAMED = """
return [...document.querySelectorAll('input, textarea, button, a, [role=listbox], [role=group], [role=img], nav, form')]
    .filter((node) => !(node.labels?.length || node.textContent.trim() || node.getAttribute('aria-label')
        || node.getAttribute('aria-labelledby')))
    .map((node) => node.outerHTML);
"""
BAD_IDS = """
const ids = [...document.querySelectorAll('[id]')].map((node) => node.id);
const twice = ids.filter((id, i) => ids.indexOf(id) !== i);
const lost = [...document.querySelectorAll('[aria-labelledby], [aria-activedescendant]')]
    .flatMap((node) => [node.getAttribute('aria-labelledby'), node.getAttribute('aria-activedescendant')])
    .filter((id) => id !== null && !document.getElementById(id));
return [...twice, ...lost];
"""
# The contrast of every text with what is behind it, as WCAG counts it.
LOW_CONTRAST = """
const canvas = document.createElement('canvas').getContext('2d', { willReadFrequently: true });
function rgba(color) {
    canvas.clearRect(0, 0, 1, 1);
    canvas.fillStyle = color;
    canvas.fillRect(0, 0, 1, 1);
    const [r, g, b, a] = canvas.getImageData(0, 0, 1, 1).data;
    return [r, g, b, a / 255];
}
function over(top, below) {
    return [0, 1, 2].map((i) => top[i] * top[3] + below[i] * (1 - top[3]));
}
function backOf(node) {
    const layers = [];
    for (let at = node; at; at = at.parentElement) {
        layers.push(rgba(getComputedStyle(at).backgroundColor));
    }
    return layers.reduceRight((below, layer) => over(layer, below), [255, 255, 255]);
}
function luminance(color) {
    const [r, g, b] = color.map((part) => part / 255)
        .map((part) => part <= 0.03928 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}
const low = new Set();
for (const node of document.querySelectorAll('body *:not(svg *)')) {
    const isText = [...node.childNodes].some((child) => child.nodeType === 3 && child.data.trim() !== '');
    if (!isText || !node.checkVisibility()) {
        continue;
    }
    const back = backOf(node);
    const lights = [luminance(over(rgba(getComputedStyle(node).color), back)), luminance(back)];
    const contrast = (Math.max(...lights) + 0.05) / (Math.min(...lights) + 0.05);
    if (contrast < 4.5) {
        low.add(`${node.className || node.tagName} ${node.textContent.slice(0, 40)}: ${contrast.toFixed(2)}`);
    }
}
return [...low];
"""


class Page(unittest.TestCase):
    """Each test has a bus of its own; they share the browser, which takes long to start."""

    @classmethod
    def setUpClass(cls):
        cls.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        cls.browser = browsers.start(cls.profile.name)

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        cls.profile.cleanup()

    def setUp(self):
        self.folder = tempfile.mkdtemp()  # mode 0700, as the folder of the control socket must be
        self.bus = Bus(self.folder)
        self.addCleanup(lambda: self.bus.end())  # also when the page does not open
        self.programs = []
        self.clients = []
        self.expected = []
        browsers.resize(self.browser, 1400, 1000)
        self.browser.get_log("browser")
        self.browser.get("about:blank")
        self.open()

    def tearDown(self):
        messages = [entry["message"] for entry in self.browser.get_log("browser") if entry["level"] != "INFO"]
        self.browser.get("about:blank")
        for client in self.clients:
            client.close()
        for program in reversed(self.programs):
            program.end()
        status = self.bus.end()
        unexpected = [text for text in messages if not any(part in text for part in self.expected)]
        self.assertEqual(unexpected, [], "the browser has complained")
        self.assertEqual(status, 0)

    def open(self, with_token=True):
        self.browser.get(self.bus.page + (f"#token={self.bus.token}" if with_token else ""))
        self.wait_for_text("#bus-state", "connected to the bus")

    def client(self, name, port=45535):
        client = Client(name, port)
        self.clients.append(client)
        return client

    def service(self, name):
        self.programs.append(Program(self.folder, name))

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def texts(self, selector):
        """In one step, because the page may change between two."""
        return self.browser.execute_script(
            "return [...document.querySelectorAll(arguments[0])].map((node) => node.innerText ?? node.textContent)", selector)

    def wait_for_text(self, selector, part, where=any):
        wait_for(lambda: where(part in text for text in self.texts(selector)), f"{part!r} in {selector}")

    def press(self, selector):
        def pressed():
            try:
                self.browser.execute_script("arguments[0].scrollIntoView({block: 'center'})", self.one(selector))
                self.one(selector).click()
                return True
            except StaleElementReferenceException:
                return False  # the page has made its lists anew in between
        wait_for(pressed, f"{selector} to be pressed")

    def write(self, selector, text):
        field = self.one(selector)
        field.clear()
        field.send_keys(text)

    def test_frames_appear_as_they_pass(self):
        self.wait_for_text("#flow-empty", "No frame fits.")
        client = self.client("cashbox")
        self.wait_for_text("#flow .what", "handshake")
        client.ask("dance", {"step": 7})
        self.wait_for_text("#flow .error .summary", '4 Unsupported request')
        self.wait_for_text("#flow .summary", '{"step":7}')
        self.wait_for_text("#flow-count", "5 shown, 5 kept")

    def test_names_from_the_bus_are_text(self):
        client = self.client(HOSTILE)
        client.save_settings({HOSTILE: HOSTILE})
        client.save_state({HOSTILE: HOSTILE}, HOSTILE)
        client.command(HOSTILE, HOSTILE, {"key": "<img src=x onerror=alert(1)>\u202e\u0007\u061c\u180e\ufff9\U000e0041"})
        client.command("logger", "saveLog", {"prefix": HOSTILE, "text": HOSTILE})
        for place in ("#flow .from", "#clients-rows th", "#settings-list strong", "#states-list strong", "#log"):
            self.wait_for_text(place, "<script>")
        self.wait_for_text("#sequence .name", "<script>docume")
        self.press("#flow li:has(.what[title*=script])")
        self.wait_for_text("#detail-content .json", 
                           r"<img src=x onerror=alert(1)>\u{202e}\u{7}\u{61c}\u{180e}\u{fff9}\u{e0041}")
        self.assertEqual(self.browser.title, "Tarvex bus")
        self.assertEqual(len(self.all("body script, body img")), 0)

    def test_filters_and_pause(self):
        one, other = self.client("cashbox"), self.client("printer")
        one.ask("dance", {"step": 1})
        other.command("cashbox", "pay", {"sum": 5})
        self.wait_for_text("#flow .what", "pay")
        for field, value, expected in (("client", "PRINT", "pay"), ("operation", "dan", "dance"),
                                       ("command", "pay", "pay"), ("text", '"sum', "pay")):
            self.write(f"#filter-{field}", value)
            self.wait_for_text("#flow .what", expected)
            unwanted = {"pay": "dance", "dance": "pay"}[expected]
            wait_for(lambda: unwanted not in self.texts("#flow .what"), f"{field} hides {unwanted}")
            self.one(f"#filter-{field}").send_keys(Keys.ESCAPE)
            wait_for(lambda: {"pay", "dance"} <= set(self.texts("#flow .what")), "Escape shows all again")
        self.one("#flow").send_keys("e")
        wait_for(lambda: set(self.texts("#flow .what")) == {"dance reply"}, "errors only")
        self.one("#flow").send_keys("e", "p")
        self.assertEqual(self.one("#pause").get_attribute("aria-pressed"), "true")
        one.ask("waltz", {})
        self.wait_for_text("#pause", "Go on (2 new)")
        self.assertNotIn("waltz", self.texts("#flow .what"))
        self.one("#flow").send_keys("p")
        self.wait_for_text("#flow .what", "waltz")
        self.wait_for_text("#pause", "Pause")

    def test_detail_and_difference(self):
        client = self.client("cashbox")
        client.command("printer", "print", {"ticket": "A17", "lines": ["one", "two"]})
        client.command("printer", "other", {})
        client.command("printer", "print", {"ticket": "A18", "lines": ["one", "three"]})
        wait_for(lambda: self.texts("#flow .what").count("print") == 2, "both commands")
        self.one("#flow").send_keys(Keys.END, Keys.ARROW_UP)
        self.wait_for_text("#detail-title", "sendMessage print")
        self.wait_for_text("#detail-content .tree", '"A18"')
        self.wait_for_text("#detail-content h3", "Difference to frame")
        self.assertEqual(self.texts(".difference tbody tr"), [
            "message.data.ticket\tA17\tA18", "message.data.lines.1\ttwo\tthree"])
        self.one("#flow").send_keys(Keys.HOME)
        self.wait_for_text("#detail-title", "Frame 1: opened")
        chosen = self.all('#flow [aria-selected="true"]')
        self.assertEqual([row.get_attribute("id") for row in chosen],
                         [self.one("#flow").get_attribute("aria-activedescendant")])

    def test_large_frame_is_fetched_when_it_is_chosen(self):
        client = self.client("cashbox")
        client.command("printer", "print", {"text": "x" * 300000})
        self.wait_for_text("#flow .summary", " bytes")
        self.browser.execute_script("document.querySelector('#flow .request:last-of-type')?.click()")
        self.one("#flow").send_keys(Keys.END, Keys.ARROW_UP)
        self.wait_for_text("#detail-content .json", "xxx… (+")

    def test_sequence_is_drawn(self):
        self.service("tarvex-example-ticketprinter")
        self.wait_for_text("#sequence .name", "ticket_printer")
        self.client("cashbox").command("ticket_printer", "print", {"text": "A17"})
        self.wait_for_text("#sequence .label", "print")
        names = self.texts("#sequence .name")
        self.assertIn("bus", names)
        self.assertEqual(len(names), len(set(names)))
        arrows = self.browser.execute_script("""
            return [...document.querySelectorAll('#sequence .arrow')].map((arrow) => {
                const line = arrow.querySelector('line');
                return { from: +line.getAttribute('x1'), to: +line.getAttribute('x2'),
                         time: arrow.querySelector('.time').textContent };
            });""")
        self.assertTrue(all(abs(arrow["to"] - arrow["from"]) > 100 for arrow in arrows), arrows)
        self.assertEqual([arrow["time"] for arrow in arrows], sorted(arrow["time"] for arrow in arrows))
        self.assertRegex(self.one("#sequence svg[role=img]").get_attribute("aria-label"),
                         "between the bus and its clients .*ticket_printer")

    def test_clients_settings_states_and_log(self):
        self.service("tarvex-example-logger")
        self.service("tarvex-example-ticketprinter")
        wait_for(lambda: any(text.startswith("ticket_printer\tconnected") for text in self.texts("#clients-rows tr")),
                 "the printer is connected")
        client = self.client("cashbox")
        client.command("absent", "wake", {})
        wait_for(lambda: "absent\taway\t–\t–\t1\t0" in self.texts("#clients-rows tr"), "the queue of the absent client")
        client.save_settings({"width": 80, "cut": True})
        client.save_state({"paperLeft": 97})
        self.wait_for_text("#settings-list summary", "cashbox")
        self.wait_for_text("#states-list summary", "cashbox")
        client.save_settings({"width": 58, "cut": True}, 1)
        client.save_state({"paperLeft": 96})
        wait_for(lambda: self.texts("#settings-list tr.changed") == ["paper / width\t58\twas 80"], "the new setting")
        wait_for(lambda: self.texts("#states-list .changes li") == ["state.paperLeft: was 97"], "the new state")
        client.command("logger", "saveLog", {"prefix": "WARNING", "text": "paper is low"})
        self.wait_for_text("#log .warning", "cashbox WARNING paper is low")

    def test_settings_of_the_same_date_are_shown(self):
        client = self.client("cashbox")
        client.save_settings({"width": 80})
        self.wait_for_text("#settings-list summary", "cashbox")
        client.save_settings({"width": 58})
        wait_for(lambda: self.texts("#settings-list tr.changed") == ["paper / width\t58\twas 80"], "the new setting")

    def test_pause_holds_what_it_shows(self):
        client = self.client("cashbox")
        self.wait_for_text("#flow .what", "handshake")
        self.press("#pause")
        for _ in range(600):
            client.ask("dance", {})
        self.wait_for_text("#pause", "Go on (1200 new)")
        self.write("#filter-operation", "handshake")
        wait_for(lambda: self.texts("#flow .what") == ["handshake", "handshake reply"], "what was held")
        self.one("#flow").send_keys(Keys.HOME)
        self.wait_for_text("#detail-title", "Frame 2: handshake")
        self.press("#pause")
        wait_for(lambda: self.texts("#flow .what") == [], "what has gone meanwhile")

    def test_large_frames_do_not_make_it_grow(self):
        client = self.client("cashbox")
        for step in range(250):  # small on the wire, where they are packed
            client.command("printer", "print", {"step": step, "text": "x" * 100000})
        self.wait_for_text("#flow .summary", '"step":249')
        kept = int(self.texts("#flow-count")[0].split(", ")[1].removesuffix(" kept"))
        self.assertLess(kept, 400)

    def test_frame_before_is_gone(self):
        self.browser.get("about:blank")
        self.bus.end()
        self.bus = Bus(self.folder, 0, "--frames", "1")
        self.open()
        client = self.client("cashbox")
        client.command("printer", "print", {"text": "x" * 300000})
        self.wait_for_text("#flow .summary", " bytes")
        for _ in range(8):  # the bus forgets it, and the page does not
            client.command("printer", "fill", {"text": base64.b64encode(os.urandom(200000)).decode()})
        client.command("printer", "print", {"text": "short"})
        self.wait_for_text("#flow .summary", '"text":"short"')
        self.expected = ["404 (Not Found)"]
        self.one("#flow").send_keys(Keys.END, Keys.ARROW_UP)
        self.wait_for_text("#detail-content .json", '"short"')
        self.wait_for_text("#detail-content .failure", "this frame is not kept any more")

    def test_too_many_pages_are_told(self):
        self.browser.get("about:blank")
        streams = []
        self.addCleanup(lambda: [stream.close() for stream in streams])
        while len(streams) < 8:
            stream = wait_for(self.event_stream, "room for one more stream")
            streams.append(stream)
        self.expected = ["503 (Service Unavailable)"]
        self.browser.get(self.bus.page)
        self.wait_for_text("#bus-state", "too many pages are open")
        streams.pop().close()
        self.wait_for_text("#bus-state", "connected to the bus")

    def event_stream(self):
        try:
            return urllib.request.urlopen(self.bus.page + "events", timeout=60)
        except urllib.error.HTTPError:
            return None

    def test_command_is_sent(self):
        self.assertEqual(self.browser.current_url, self.bus.page)  # without the token
        receiver = self.client("printer", 45537)
        for field, text in (("receiver", "printer"), ("name", "print"), ("data", '{"text":"A17"}')):
            self.write(f"#command-{field}", text)
        self.press("#command-form button")
        self.wait_for_text("#command-answer", "The bus has accepted the command.")
        pushed = receiver.receive()
        receiver.acknowledge(pushed)
        self.assertEqual((pushed["data"]["sender"], json.loads(pushed["data"]["message"])),
                         ("live-page", {"cmd": "print", "data": {"text": "A17"}}))
        self.write("#command-data", "{nonsense")
        self.press("#command-form button")
        self.wait_for_text("#command-answer.failure", "The data is no JSON")
        self.write("#command-data", "[]")
        self.press("#command-form button")
        self.wait_for_text("#command-answer.failure", "the data must be a JSON object")

    def test_without_token_it_only_shows(self):
        self.browser.execute_script("sessionStorage.clear()")
        self.browser.get("about:blank")
        self.open(with_token=False)
        self.wait_for_text("#token-missing", "This page can only show")
        self.write("#command-receiver", "printer")
        self.write("#command-name", "print")
        self.expected = ["403 (Forbidden)"]
        self.press("#command-form button")
        self.wait_for_text("#command-answer.failure", "the token is missing or wrong")
        self.assertEqual(json.loads(self.bus.get("api/clients"))["items"], [])

    def test_fault_is_switched(self):
        self.assertFalse(self.one("#token-missing").is_displayed())
        self.write("#fault-rule", "client=cashbox operation=loadState do=error:5:gone")
        self.press("#fault-form button")
        self.wait_for_text("#faults-list code", "do=error:5:gone")
        client = self.client("cashbox")
        state = {"owner": "nobody"}
        self.assertEqual(client.ask("loadState", state)["result"]["description"], "gone")
        self.wait_for_text("#faults-list li", "1 times")
        self.press("#faults-list input")
        self.wait_for_text("#faults-list li", "off")
        self.assertNotEqual(client.ask("loadState", state)["result"]["description"], "gone")
        self.press("#faults-list input")
        self.wait_for_text("#faults-list li", "0 times")
        self.assertEqual(client.ask("loadState", state)["result"]["description"], "gone")
        self.press("#fault-clear")
        self.wait_for_text("#faults-empty", "There are none.")
        self.write("#fault-rule", "nonsense")
        self.expected = ["422 (Unprocessable Entity)"]
        self.press("#fault-form button")
        self.wait_for_text("#fault-answer.failure", "nonsense")

    def test_ten_thousand_frames_do_not_make_it_grow(self):
        client = self.client("cashbox")
        receiver = self.client("printer", 45537)

        def pass_frames(count):
            for step in range(count // 4):  # a request, its reply, a push and its acknowledgement
                client.command("printer", "print", {"step": step, "text": "x" * 200})
                receiver.acknowledge(receiver.receive())

        def last_shown():
            return self.browser.execute_script(
                "return Number(document.querySelector('#flow li:last-child')?.id.slice(6) ?? 0)")

        def weigh():
            kept = json.loads(self.bus.get("frames.jsonl").splitlines()[-1])["number"]
            wait_for(lambda: last_shown() >= kept, "the last frame")
            return self.browser.execute_script(
                "gc(); return [document.querySelectorAll('*').length, performance.memory.usedJSHeapSize]")

        pass_frames(3000)
        nodes, heap = weigh()
        pass_frames(10000)
        nodes_later, heap_later = weigh()
        self.assertLess(nodes_later, min(MAX_NODES, nodes + 200))
        self.assertLess(heap_later - heap, MAX_GROWTH)
        self.wait_for_text("#flow-count", "500 shown, 1000 kept")

    def test_bus_away_and_back(self):
        self.client("cashbox")
        self.wait_for_text("#flow .what", "handshake")
        self.expected = ["ERR_CONNECTION_REFUSED", "ERR_INCOMPLETE_CHUNKED_ENCODING", "ERR_CONNECTION_RESET",
                         "ERR_EMPTY_RESPONSE"]
        self.clients.pop().close()
        port = self.bus.port
        self.assertEqual(self.bus.end(), 0)
        self.wait_for_text("#bus-state", "the bus is away")
        self.bus = Bus(self.folder, port)
        self.wait_for_text("#bus-state", "connected to the bus")
        wait_for(lambda: self.texts("#flow .what") == [], "the frames of the former bus are gone")
        self.client("printer")
        self.wait_for_text("#flow .from", "printer")
        self.browser.get(f"{self.bus.page}#token={self.bus.token}")  # in the same tab it is no other page
        for field, text in (("receiver", "printer"), ("name", "print")):
            self.write(f"#command-{field}", text)
        self.press("#command-form button")
        self.wait_for_text("#command-answer", "The bus has accepted the command.")

    def test_keyboard_reaches_everything(self):
        self.client("cashbox").ask("dance", {})
        self.wait_for_text("#flow .what", "dance")
        self.browser.execute_script("document.body.focus()")
        reached = []
        for _ in range(60):
            self.browser.switch_to.active_element.send_keys(Keys.TAB)
            node = self.browser.switch_to.active_element
            reached.append(node.get_attribute("id"))
            outline = node.value_of_css_property("outline-style")
            self.assertNotEqual(outline, "none", node.get_attribute("outerHTML")[:200])
            if reached[-1] == "command-data":
                break
        order = ["pause", "filter-client", "filter-errors", "flow", "detail-content", "fault-rule", "command-sender",
                 "command-data"]
        self.assertEqual([name for name in reached if name in order], order)
        self.one("#flow").send_keys("/")
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "filter-text")
        self.one("#flow").send_keys("?")
        self.assertTrue(self.one("#keys").get_property("open"))

    def test_names_roles_and_contrast(self):
        client = self.client("cashbox")
        client.command("absent", "wake", {"n": 1})
        client.command("absent", "wake", {"n": 2})
        client.command("logger", "saveLog", {"prefix": "WARNING", "text": "low"})
        client.ask("dance", {})
        client.save_settings({"width": 80})
        client.save_state({"left": 97})
        self.wait_for_text("#settings-list summary", "cashbox")
        self.wait_for_text("#states-list summary", "cashbox")
        client.save_settings({"width": 58}, 1)
        client.save_state({"left": 96})
        self.wait_for_text("#settings-list .badge", "changed")
        self.wait_for_text("#states-list .badge", "changed")
        self.one("#flow").send_keys(Keys.END, Keys.ARROW_UP, Keys.ARROW_UP)
        self.wait_for_text("#detail-title", "Frame ")
        self.assertEqual(self.one("html").get_attribute("lang"), "en")
        for theme in ("light", "dark"):
            browsers.set_theme(self.browser, theme)
            for width in (1400, 400):
                with self.subTest(theme=theme, width=width):
                    browsers.resize(self.browser, width, 1000)
                    self.assertEqual(self.browser.execute_script(UNNAMED), [])
                    self.assertEqual(self.browser.execute_script(BAD_IDS), [])
                    self.assertEqual(self.browser.execute_script(LOW_CONTRAST), [])
                    wide = self.browser.execute_script("return document.documentElement.scrollWidth - innerWidth")
                    self.assertLessEqual(wide, 0, "it scrolls sideways")

    def test_nothing_is_loaded_from_elsewhere(self):
        self.client("cashbox")
        self.wait_for_text("#flow .what", "handshake")
        loaded = self.browser.execute_script(
            "return performance.getEntriesByType('resource').map((entry) => entry.name)")
        self.assertGreater(len(loaded), 10)
        self.assertEqual([name for name in loaded if not name.startswith(self.bus.page)], [])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
