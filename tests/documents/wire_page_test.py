#!/usr/bin/env python3
"""docs/wire.md without the library: its frames by Python's own modules, its talk with the development bus, its bounds.

usage: wire_page_test.py DEVBUS
"""
import json
import pathlib
import re
import socket
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/common"))
import busframe  # noqa: E402

PAGE = (ROOT / "docs/wire.md").read_text()
BLOCKS = dict(re.findall(r"^<!-- wire: ([^\n]+) -->\n```\w+\n(.*?)\n```$", PAGE, re.MULTILINE | re.DOTALL))
FRAMES = {name.rsplit(", ", 1)[0]: text for name, text in BLOCKS.items() if name.endswith(", frame")}
OPERATIONS = re.findall(r"^\| `(\w+)` \| .* \| .* \|$", PAGE.split("## The query operations")[1].split("###")[0], re.MULTILINE)
DEVBUS = pathlib.Path(sys.argv[1])
PATIENCE_S = 60


def envelope(name):
    return json.loads(BLOCKS[name])


def kind(name):
    return "reply" if "result" in envelope(name) else "request"


class Connection:
    """A client's end of a connection to the bus server."""

    def __init__(self, port, name):
        with socket.create_connection(("127.0.0.1", port), PATIENCE_S) as connection:
            self.stream = connection.makefile("rwb")
        self.send("request", {"operation": "handshake", "data": {"name": name}})
        self.answer = self.read()

    def send(self, frame_kind, content):
        self.stream.write(busframe.encode(frame_kind, content))
        self.stream.flush()

    def read(self):
        """The next frame's envelope."""
        header, size = self.stream.readline(), self.stream.readline()
        return busframe.decode(header + size + self.stream.read(int(size)))["envelope"]

    def ask(self, content):
        self.send("request", content)
        return self.read()


class Frames(unittest.TestCase):
    def test_each_is_the_frame_of_its_envelope(self):
        self.assertEqual(set(FRAMES), {"handshake request", "handshake reply", "pushed message", "acknowledgement"})
        for name, text in FRAMES.items():
            with self.subTest(name):
                frame = text.replace("\n", "\r\n").encode()
                self.assertEqual(busframe.decode(frame)["envelope"], envelope(name))
                self.assertEqual(frame, busframe.encode(kind(name), envelope(name)))

    def test_block_in_hexadecimal(self):
        block = bytes.fromhex(BLOCKS["handshake request, block"])
        self.assertEqual(busframe.base64.b64encode(block).decode(), FRAMES["handshake request"].splitlines()[2])
        self.assertIn(f"It has {len(BLOCKS['handshake request'])} bytes, in hexadecimal `{block[3]:02x}`", PAGE)

    def test_texts_are_written_as_the_page_says(self):
        texts = [text for text in BLOCKS.values() if text.startswith("{")]
        self.assertGreater(len(texts), 25)
        for text in texts:
            with self.subTest(text):
                canonical = json.dumps(json.loads(text), separators=(",", ":"), sort_keys=True, ensure_ascii=False)
                self.assertEqual(text, canonical)


class Bounds(unittest.TestCase):
    def test_each_is_the_constant_in_the_source(self):
        rows = re.findall(r"^\| .+ \| `([^`]+)` \| `(\w+)` \| `(\S+)` \|$", PAGE, re.MULTILINE)
        self.assertEqual(len(rows), 16)
        for value, name, path in rows:
            with self.subTest(f"{name} in {path}"):
                self.assertEqual(re.findall(rf"\b{name} = ([^;]+);", (ROOT / path).read_text()), [value])

    def test_ports_are_those_in_the_source(self):
        terms = (ROOT / "src/wire/busterms_p.h").read_text()
        ports = [f"| {re.search(rf'{name} = (.*);', terms)[1]} | {called} |" for name, called in
                 (("QUERY_PORT", "query"), ("RECEIVER_PORT", "receiver"))]
        self.assertEqual([port for port in ports if f"\n{port} " not in PAGE], [])


class Talk(unittest.TestCase):
    """The page's talk, in its order, with the development bus."""

    def setUp(self):
        self.bus = subprocess.Popen([DEVBUS, "--memory"], stdout=subprocess.PIPE)
        self.addCleanup(self.bus.stdout.close)
        self.addCleanup(self.bus.wait)
        self.addCleanup(self.bus.terminate)
        self.assertIn(b"ready", self.bus.stdout.readline())
        self.printer = self.connect(45535, "ticket_printer")

    def connect(self, port, name):
        connection = Connection(port, name)
        self.addCleanup(connection.stream.close)
        return connection

    def test_handshakes(self):
        self.assertEqual(self.printer.answer, envelope("handshake reply"))
        self.assertEqual(self.connect(45537, "ticket_printer").answer, envelope("handshake reply"))
        self.assertEqual(self.connect(45535, "").answer, envelope("handshake refused"))

    def test_every_operation(self):
        asked = [name.split()[0] for name in BLOCKS if name.endswith(" request") and kind(name) == "request"]
        self.assertEqual(sorted(set(asked) & set(OPERATIONS)), sorted(OPERATIONS))
        self.assertEqual(len(OPERATIONS), 9)
        for operation in asked:
            if operation in OPERATIONS:
                with self.subTest(operation):
                    answer = self.printer.ask(envelope(f"{operation} request"))
                    self.assertEqual(answer, envelope(f"{operation} reply"))
        self.assertEqual(self.printer.ask(envelope("loadSettings request")), envelope("loadSettings refused"))
        description = self.printer.ask({"operation": "loadState", "data": {"owner": "nobody"}})["result"]["description"]
        self.assertIn(f'with code 5 and "{description}"', PAGE)

    def test_pushed_message_comes_until_it_is_acknowledged(self):
        self.printer.ask(envelope("sendMessage request"))
        first = self.connect(45537, "cashbox")
        self.assertEqual(first.read(), envelope("pushed message"))
        second = self.connect(45537, "cashbox")
        self.assertEqual(second.read(), envelope("pushed message"))
        second.send("reply", envelope("acknowledgement"))
        # The bus answers in order, so it has dealt with the acknowledgement when this answer is there.
        self.assertEqual(second.ask(envelope("unknown pushed request")), envelope("answer to an unknown pushed request"))
        later = envelope("sendMessage request")
        later["data"]["UID"] = "later"
        self.printer.ask(later)
        self.assertEqual(self.connect(45537, "cashbox").read()["data"]["UID"], "later")

    def test_commands_of_the_server(self):
        receiver = self.connect(45537, "ticket_printer")
        self.printer.ask(envelope("saveSettings request"))
        pushed = receiver.read()
        self.assertEqual(pushed["data"]["message"], BLOCKS["updateSettings text"])
        self.assertEqual((pushed["operation"], pushed["data"]["sender"]), ("sendMessage", "ticket_printer"))
        watcher = self.connect(45537, "cashbox")
        goal = {"operation": "subscribe", "data": {"publishers": [{"name": "ticket_printer", "goal": 1}]}}
        self.connect(45535, "cashbox").ask(goal)
        self.printer.ask(envelope("saveState request"))
        self.assertEqual(watcher.read()["data"]["message"], BLOCKS["stateChanged text"])

    def test_rubbish(self):
        for rubbish, code, is_closed in ((b"[-HELLO-]\r\n", 2, True), (b"[-REQUEST-]\r\nnine\r\n", 1, True),
                                         (b"[-REQUEST-]\r\n-4\r\n", 1, True), (b"[-REQUEST-]\r\n0\r\n", 1, True),
                                         (b"[-REQUEST-]\r\n7\r\n", 1, True), (b"[-REQUEST-]\r\n50331652\r\n", 1, True),
                                         (b"[-REQUEST-]\r\n4\r\n????", 2, False), (busframe.encode("request", []), 2, False),
                                         (busframe.encode("reply", {"operation": "x"}), 4, False),
                                         (busframe.encode("request", {"operation": "x"}), 4, False)):
            with self.subTest(rubbish):
                client = self.connect(45535, "rubbish")
                client.stream.write(rubbish)
                client.stream.flush()
                self.assertEqual(client.read()["result"]["code"], code)
                if is_closed:
                    self.assertEqual(client.stream.read(), b"")
                else:
                    self.assertEqual(client.ask(envelope("handshake request")), envelope("handshake reply"))

    def test_request_before_the_handshake(self):
        stranger = self.connect(45535, "")
        self.assertEqual(stranger.ask(envelope("loadState request"))["result"]["code"], 3)


class Page(unittest.TestCase):
    def test_no_block_is_left_out(self):
        # By its name each block is looked at here or in tst_wirepage.cpp.
        tests = (ROOT / "tests/documents/tst_wirepage.cpp").read_text() + pathlib.Path(__file__).read_text()
        for name in BLOCKS:
            whole = re.sub(r", (frame|block)$", "", name)
            operation = whole.rsplit(" ", 1)[0]
            with self.subTest(name):
                self.assertTrue(f'"{whole}"' in tests or operation in OPERATIONS, "no test looks at this block")
        self.assertEqual(len(re.findall("<!-- wire: ", PAGE)), len(BLOCKS))


unittest.main(argv=sys.argv[:1])
