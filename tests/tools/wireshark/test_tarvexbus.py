#!/usr/bin/env python3
"""tools/wireshark/tarvexbus.lua in tshark: on capture files of frames by Python's own modules, and on a capture of real
services on the development bus.

usage: test_tarvexbus.py TARVEX-DEVBUS TARVEXCTL ECHO-SERVICE
"""
import base64
import json
import os
import pathlib
import re
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "tests/common"))
import busframe  # noqa: E402
from capturefile import CaptureFile  # noqa: E402

SCRIPT = ROOT / "tools/wireshark/tarvexbus.lua"
DEVBUS, TARVEXCTL, ECHO = sys.argv[1:4]
PATIENCE_S = 90
QUERY, RECEIVER, CLIENT = 45535, 45537, 40000
INFO = "_ws.col.Info"
EXPERT = "_ws.expert.message"


def tshark(path, *fields, filter_text="tarvexbus", passes=2):
    """Each packet as a map from field to the list of its values."""
    command = ["tshark", "-n", *["-2"] * (passes - 1), "-Y", filter_text, "-X", f"lua_script:{SCRIPT}", "-r", path, "-T", "fields",
               "-E", "separator=/t", "-E", "aggregator=\x1f", "-e", "frame.number"]
    for field in fields:
        command += ["-e", field]
    run = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE_S)
    noise = [line for line in run.stderr.splitlines() if not line.startswith("Running as user")]
    if run.returncode != 0 or noise:
        raise AssertionError(f"tshark ended with {run.returncode}: {run.stderr}")
    rows = {}
    for line in run.stdout.splitlines():
        cells = line.split("\t")
        rows[int(cells[0])] = {name: cell.split("\x1f") if cell else [] for name, cell in zip(fields, cells[1:])}
    return rows


def request(operation, **data):
    return busframe.encode("request", {"operation": operation, "data": data})


def reply(operation, code=0, description="", **data):
    return busframe.encode("reply", {"operation": operation, "data": data,
                                     "result": {"code": code, "description": description}})


def message(uid="u1", text='{"cmd":"print","data":{"copies":2}}'):
    return request("sendMessage", UID=uid, sender="gui", reciever="printer", date="", message=text)


def acknowledgement(uid="u1"):
    return reply("sendMessage", uid=uid, sender="gui", reciever="printer")


def with_block(block, kind=b"REQUEST"):
    payload = base64.b64encode(block)
    return b"[-%s-]\r\n%d\r\n%s" % (kind, len(payload), payload)


def parts(frame):
    """The header line, the size and the payload."""
    header, size, payload = frame.split(b"\r\n", 2)
    return header, int(size), payload


class InFiles(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "bus.pcap")

    def seen(self, segments, *fields):
        """Writes the segments, each with its source port, its target port and its data, and lets tshark read them."""
        with CaptureFile(self.path) as capture:
            for segment in segments:
                capture.add(*segment)
        return tshark(self.path, *fields)

    def asked(self, data, *fields):
        return self.seen([(CLIENT, QUERY, data)], *fields)

    def test_request_is_a_tree_with_fields(self):
        rows = self.asked(request("loadState", owner="cash\u00e4box"), INFO, "tarvexbus.kind", "tarvexbus.operation",
                          "tarvexbus.owner", "tarvexbus.port", "tarvexbus.direction", "tarvexbus.size", "json.path_with_value",
                          "_ws.col.Protocol")
        frame = request("loadState", owner="cash\u00e4box")
        self.assertEqual(rows, {1: {
            INFO: ["REQUEST loadState cash\u00e4box"], "tarvexbus.kind": ["REQUEST"], "tarvexbus.operation": ["loadState"],
            "tarvexbus.owner": ["cash\u00e4box"], "tarvexbus.port": ["query"], "tarvexbus.direction": ["to bus"],
            "tarvexbus.size": [str(parts(frame)[1])],
            "json.path_with_value": ["/operation:loadState", "/data/owner:cash\u00e4box"], "_ws.col.Protocol": ["TARVEX"]}})

    def test_reply_is_linked_with_its_request(self):
        rows = self.seen([(CLIENT, QUERY, request("handshake", name="printer")), (QUERY, CLIENT, reply("handshake")),
                          (CLIENT, QUERY, request("loadState", owner="gui")),
                          (QUERY, CLIENT, reply("loadState", 5, "There is no state for client"))],
                         INFO, "tarvexbus.request_in", "tarvexbus.response_in", "tarvexbus.time", "tarvexbus.code",
                         "tarvexbus.client", EXPERT)
        self.assertEqual([rows[n]["tarvexbus.response_in"] for n in (1, 2, 3, 4)], [["2"], [], ["4"], []])
        self.assertEqual([rows[n]["tarvexbus.request_in"] for n in (1, 2, 3, 4)], [[], ["1"], [], ["3"]])
        self.assertEqual(rows[4], {
            INFO: ["REPLY loadState 5 There is no state for client"], "tarvexbus.request_in": ["3"],
            "tarvexbus.response_in": [], "tarvexbus.time": ["0.001000000"], "tarvexbus.code": ["5"],
            "tarvexbus.client": ["printer"], EXPERT: ["Refused: 5 There is no state for client"]})

    def test_push_is_linked_with_its_acknowledgement(self):
        rows = self.seen([(RECEIVER, CLIENT, message("u1") + message("u2")), (CLIENT, RECEIVER, acknowledgement("u2")),
                          (CLIENT, RECEIVER, acknowledgement("u1")), (RECEIVER, CLIENT, message("u1"))],
                         INFO, "tarvexbus.uid", "tarvexbus.command", "tarvexbus.request_in", "tarvexbus.response_in",
                         "tarvexbus.first_in", "tarvexbus.direction")
        self.assertEqual(rows[1][INFO], ["REQUEST sendMessage gui -> printer print; REQUEST sendMessage gui -> printer print"])
        self.assertEqual(rows[1]["tarvexbus.uid"], ["u1", "u2"])
        self.assertEqual(rows[1]["tarvexbus.command"], ["print", "print"])
        self.assertEqual(rows[1]["tarvexbus.response_in"], ["3", "2"])
        self.assertEqual(rows[1]["tarvexbus.direction"], ["from bus", "from bus"])
        self.assertEqual(rows[2][INFO], ["REPLY sendMessage gui -> printer 0"])
        self.assertEqual([rows[n]["tarvexbus.request_in"] for n in (2, 3)], [["1"], ["1"]])
        self.assertEqual(rows[4]["tarvexbus.first_in"], ["1"])

    def test_frame_in_several_segments(self):
        frame = request("loadState", owner="gui")
        places = (1, 5, 11, 13, 14, 40, len(frame) - 1)
        for place in places:
            with self.subTest(place):
                rows = self.seen([(CLIENT, QUERY, frame[:place]), (CLIENT, QUERY, frame[place:])], INFO)
                self.assertEqual(rows, {2: {INFO: ["REQUEST loadState gui"]}})
        rows = self.seen([(CLIENT, QUERY, frame[n:n + 1]) for n in range(len(frame))], INFO)
        self.assertEqual(rows, {len(frame): {INFO: ["REQUEST loadState gui"]}})

    def test_frames_across_segments(self):
        stream = request("loadState", owner="a") + request("loadSettings", owner="b") + request("loadState", owner="c")
        for step in (50, 101, 130, 200):
            with self.subTest(step):
                rows = self.seen([(CLIENT, QUERY, stream[n:n + step]) for n in range(0, len(stream), step)], INFO)
                words = "; ".join(words for row in rows.values() for words in row[INFO])
                self.assertEqual(words, "REQUEST loadState a; REQUEST loadSettings b; REQUEST loadState c")

    def test_wrong_size_line(self):
        good = request("loadState", owner="gui")
        header, size, payload = parts(good)
        cases = {
            b"%d" % (size + 1): f"The size line says {size + 1}, and a header line begins after {size} bytes",
            b"%d" % (size - 1): f"The size line says {size - 1}, which is no length of base64",
            b"abc": "The size line is no number",
            b"-4": "The size line is no number",
            b"50331649": "The size line is above 48 MiB",
            b"0": "The size line says 0, which is no length of base64",
        }
        for line, problem in cases.items():
            with self.subTest(line):
                rows = self.asked(header + b"\r\n" + line + b"\r\n" + payload + good, INFO, EXPERT, "tarvexbus.owner")
                self.assertIn(problem, rows[1][EXPERT])
                # The frame behind it is found again.
                self.assertTrue(rows[1][INFO][0].endswith("REQUEST loadState gui"), rows[1][INFO])
                self.assertEqual(rows[1]["tarvexbus.owner"][-1], "gui")

    def test_damaged_payload(self):
        text = b'{"data":{"owner":"gui"},"operation":"loadState"}'
        packed = zlib.compress(text)
        header, size, payload = parts(request("loadState", owner="gui"))
        line = header + b"\r\n%d\r\n" % size
        damaged = packed[:5] + bytes([packed[5] ^ 0xFF]) + packed[6:]
        cases = [
            (line + b"*" + payload[1:], "The payload is no base64"),
            (with_block(struct.pack(">I", len(text)) + b"\x78\x9c" + b"\xff" * 20), "The block cannot be inflated"),
            (with_block(struct.pack(">I", len(text)) + text), "The block cannot be inflated"),
            (with_block(b"\0\0"), "The block cannot be inflated"),
            (with_block(struct.pack(">I", len(text) + 1) + packed), "The length of the JSON text is wrong"),
            (with_block(struct.pack(">I", 33 << 20) + packed), "The length of the JSON text is wrong"),
            (with_block(struct.pack(">I", 5) + zlib.compress(b"[1,2]")), "The text is no JSON object"),
            (with_block(struct.pack(">I", 9) + zlib.compress(b'{"a":1} 2')), "The text is no JSON object"),
        ]
        for data, problem in cases:
            with self.subTest(problem):
                self.assertIn(problem, self.asked(data, EXPERT)[1][EXPERT])
        self.assertNotEqual(self.asked(with_block(struct.pack(">I", len(text)) + damaged), EXPERT)[1][EXPERT], [])

    def test_garbage_is_shown_and_left_behind(self):
        good = request("loadState", owner="gui")
        rows = self.asked(b"SSH-2.0-sshd\r\n" + good, INFO, EXPERT, "tarvexbus.garbage")
        self.assertEqual(rows, {1: {INFO: ["no frame; REQUEST loadState gui"], EXPERT: ["No header line"],
                                    "tarvexbus.garbage": [b"SSH-2.0-sshd\r\n".hex()]}})

    def test_capture_that_begins_in_the_middle(self):
        good = reply("loadState")
        rows = self.seen([(QUERY, CLIENT, good[30:] + good)], INFO, EXPERT)
        self.assertEqual(rows[1][INFO], ["no frame; REPLY loadState 0"])
        self.assertIn("A reply without a request in the capture", rows[1][EXPERT])

    def test_reply_to_another_operation(self):
        rows = self.seen([(CLIENT, QUERY, request("loadState", owner="gui")), (QUERY, CLIENT, reply("saveState"))], EXPERT)
        self.assertEqual(rows[2][EXPERT], ["A reply to saveState where one to loadState is due"])

    def test_request_without_reply_does_not_shift_the_others(self):
        rows = self.seen([(CLIENT, QUERY, request("loadState", owner="a")), (CLIENT, QUERY, request("loadSettings", owner="b")),
                          (QUERY, CLIENT, reply("loadSettings"))], "tarvexbus.response_in", "tarvexbus.request_in", EXPERT)
        self.assertEqual(rows[1]["tarvexbus.response_in"], [])
        self.assertEqual(rows[3], {"tarvexbus.response_in": [], "tarvexbus.request_in": ["2"], EXPERT: []})

    def test_capture_that_kept_only_a_part(self):
        rows = self.seen([(CLIENT, QUERY, request("loadState", owner="gui"), 50)], EXPERT)
        self.assertIn("The capture does not hold the whole frame", rows[1][EXPERT])

    def test_json_of_every_kind(self):
        texts = {
            r'{"operation":"\u00e4\ud83d\ude00\"\\u0041\n","data":{}}': '\u00e4\U0001f600"\\u0041\\n',
            ' { "data" : { "a" : [ 1 , -2.5e3 , true , false , null , {} , [] ] } , "operation" : "x" } ': "x",
            '{"operation":7}': "7",
        }
        for text, operation in texts.items():
            with self.subTest(text):
                packed = struct.pack(">I", len(text.encode())) + zlib.compress(text.encode())
                rows = self.asked(with_block(packed), "tarvexbus.operation", EXPERT)
                self.assertEqual(rows, {1: {"tarvexbus.operation": [operation], EXPERT: []}})

    def test_large_frame(self):
        frame = request("saveState", owner="gui", state=base64.b64encode(os.urandom(300000)).decode())
        rows = self.seen([(CLIENT, QUERY, frame[n:n + 1400]) for n in range(0, len(frame), 1400)], INFO, EXPERT)
        self.assertEqual(list(rows.values()), [{INFO: ["REQUEST saveState gui"], EXPERT: []}])

    def test_frame_that_never_ends_is_awaited(self):
        good = request("loadState", owner="gui")
        header, size, payload = parts(good)
        with CaptureFile(self.path) as capture:
            capture.add(CLIENT, QUERY, good + header + b"\r\n%d\r\n" % (size + 4) + payload)
        rows = tshark(self.path, INFO, "tarvexbus.awaited", passes=1)
        self.assertEqual(rows, {1: {INFO: ["REQUEST loadState gui"], "tarvexbus.awaited": ["4"]}})

    def test_filters_find(self):
        segments = [(CLIENT, QUERY, request("loadState", owner="gui")), (QUERY, CLIENT, reply("loadState", 5, "none")),
                    (RECEIVER, CLIENT + 1, message())]
        with CaptureFile(self.path) as capture:
            for segment in segments:
                capture.add(*segment)
        for filter_text, expected in {
                'tarvexbus.operation == "loadState"': [1, 2], "tarvexbus.code != 0": [2], 'tarvexbus.command == "print"': [3],
                'tarvexbus.direction == "from bus"': [2, 3], 'tarvexbus.port == "receiver"': [3], "tarvexbus.time > 0.0005": [2],
                'tarvexbus.uid == "u1"': [3], 'tarvexbus.reciever == "printer"': [3]}.items():
            with self.subTest(filter_text):
                self.assertEqual(list(tshark(self.path, INFO, filter_text=filter_text)), expected)


class Page(unittest.TestCase):
    """What docs/wireshark.md names is there: tshark takes its filters, and knows its fields."""

    def test_names_and_filters(self):
        page = (ROOT / "docs/wireshark.md").read_text()
        filters = re.findall(r"^\| [^`|]+ \| `([^`]+)` \|$", page.split("## Filters")[1].split("##")[0], re.MULTILINE)
        names = sorted(set(re.findall(r"`(tarvexbus\.[a-z_0-9]+)`", page)) - {"tarvexbus.lua"})
        self.assertGreater(len(filters), 6)
        self.assertGreater(len(names), 20)
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "bus.pcap")
            with CaptureFile(path) as capture:
                capture.add(CLIENT, QUERY, b"SSH-2.0-sshd\r\n")
            found = {text: list(tshark(path, INFO, filter_text=text)) for text in filters}
            self.assertEqual([text for text in filters if found[text]], ["_ws.expert.severity == error"])
            for name in names:
                with self.subTest(name):
                    tshark(path, INFO, filter_text=name)


class OnTheBus(unittest.TestCase):
    """The examples talk on the development bus, and dumpcap captures the loopback of this network."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "bus.pcap")
        self.environment = dict(os.environ, XDG_RUNTIME_DIR=folder.name)

    def start(self, *command, **options):
        process = subprocess.Popen(command, env=self.environment, text=True, **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
        process.wait()
        for stream in (process.stdout, process.stderr):
            if stream:
                stream.close()

    def tarvexctl(self, *arguments):
        return subprocess.run([TARVEXCTL, *arguments], env=self.environment, capture_output=True, text=True, timeout=PATIENCE_S)

    def start_capture(self):
        capture = self.start("dumpcap", "-q", "-i", "lo", "-f", "tcp port 45535 or tcp port 45537", "-w", self.path,
                             stderr=subprocess.PIPE)
        line = ""
        while not line.startswith("File: "):  # it captures by then
            line = capture.stderr.readline()
            self.assertNotEqual(line, "", "dumpcap does not capture")
        return capture

    def talk(self):
        """A service gets a command and answers it; then something is asked for that is not there."""
        bus = self.start(DEVBUS, "--memory", stdout=subprocess.PIPE)
        self.assertIn("ready", bus.stdout.readline())
        self.start(ECHO, "left", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        call = self.tarvexctl("--as", "asker", "call", "left", "echo", json.dumps({"text": "one"}), "--timeout", "60")
        self.assertEqual(call.returncode, 0, call.stderr)
        self.assertEqual(self.tarvexctl("--as", "asker", "state", "get", "nobody").returncode, 1)

    def wait_for_packet(self, filter_text):
        """The kernel hands the packets over a little later."""
        deadline = time.monotonic() + PATIENCE_S
        while time.monotonic() < deadline:
            run = subprocess.run(["tshark", "-X", f"lua_script:{SCRIPT}", "-r", self.path, "-Y", filter_text],
                                 capture_output=True, text=True, timeout=PATIENCE_S)
            if run.stdout:
                return
            time.sleep(0.1)
        self.fail(f"there is no packet {filter_text}")

    def test_real_talk(self):
        capture = self.start_capture()
        self.talk()
        self.wait_for_packet('tarvexbus.kind == "REPLY" && tarvexbus.operation == "loadState" && tarvexbus.client == "asker"')
        capture.send_signal(signal.SIGINT)
        capture.wait(PATIENCE_S)
        names = ("kind", "operation", "client", "port", "sender", "reciever", "command", "code", "request_in", "response_in",
                 "time")
        rows = tshark(self.path, *[f"tarvexbus.{name}" for name in names], INFO, EXPERT)
        frames = {number: {name: (row[f"tarvexbus.{name}"] + [""])[0] for name in names} for number, row in rows.items()}

        push, = [n for n, f in frames.items() if f["command"] == "echo" and f["port"] == "receiver"]
        self.assertEqual((frames[push]["client"], frames[push]["sender"], frames[push]["reciever"]), ("left", "asker", "left"))
        acknowledgement_number = int(frames[push]["response_in"])
        self.assertEqual(frames[acknowledgement_number]["request_in"], str(push))
        self.assertEqual(frames[acknowledgement_number]["kind"], "REPLY")

        refused, = [n for n, f in frames.items() if f["operation"] == "loadState" and f["client"] == "asker"
                    and f["kind"] == "REPLY"]
        self.assertEqual(frames[refused]["code"], "5")
        self.assertEqual(frames[int(frames[refused]["request_in"])]["response_in"], str(refused))
        self.assertEqual(rows[refused][INFO], ["REPLY loadState 5 There is no state for client"])
        self.assertGreater(float(frames[refused]["time"]), 0)

        # Nothing of a real talk is damaged, and every reply has its request.
        known = ("Refused: ", "Connection ")
        strange = [words for row in rows.values() for words in row[EXPERT] if not words.startswith(known)]
        self.assertEqual(strange, [])
        self.assertTrue(all(f["request_in"] for f in frames.values() if f["kind"] == "REPLY"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
