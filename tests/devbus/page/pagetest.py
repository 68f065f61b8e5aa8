"""What the tests of the live page share: a bus, clients that do what they are told, and a browser."""
import json
import os
import pathlib
import re
import select
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "common"))
import busframe  # noqa: E402

PATIENCE_S = 60


def wait_for(condition, what):
    """Waits until condition() is true, and returns what it has returned."""
    end = time.monotonic() + PATIENCE_S
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.05)
    raise AssertionError(f"waited in vain for: {what}")


class Program:
    """A program of the build. It is ended with the object."""

    def __init__(self, folder, name, *arguments):
        environment = dict(os.environ, XDG_RUNTIME_DIR=folder, XDG_STATE_HOME=folder)
        self.errors = tempfile.TemporaryFile()
        self.printed = b""
        self.process = subprocess.Popen([pathlib.Path(sys.argv[1]) / name, *arguments], stdout=subprocess.PIPE,
                                        stdin=subprocess.DEVNULL, stderr=self.errors, env=environment)

    def line(self):
        """The next line of its stdout."""
        while b"\n" not in self.printed:
            if not select.select([self.process.stdout], [], [], PATIENCE_S)[0]:
                raise AssertionError("the program has printed nothing")
            more = os.read(self.process.stdout.fileno(), 4096)
            if not more:
                raise AssertionError("the program has ended")
            self.printed += more
        line, self.printed = self.printed.split(b"\n", 1)
        return line.decode()

    def end(self):
        """SIGTERM. Returns the exit status, also when it has ended before."""
        self.process.terminate()
        try:
            return self.process.wait(PATIENCE_S)
        finally:
            self.process.kill()
            self.process.wait()
            self.process.stdout.close()
            self.errors.close()


class Bus(Program):
    """The development bus with its page."""

    def __init__(self, folder, port=0, *arguments):
        super().__init__(folder, "tarvex-devbus", "--memory", "--http", str(port), *arguments)
        line = self.line()
        match = re.fullmatch(r"tarvex-devbus: live page on (http://127\.0\.0\.1:(\d+)/)#token=([0-9a-f]{32})", line)
        if not match or not self.line().startswith("tarvex-devbus: ready on "):
            raise AssertionError(f"the bus has not started: {line}")
        self.page, self.port, self.token = match[1], int(match[2]), match[3]

    def get(self, path):
        with urllib.request.urlopen(self.page + path, timeout=PATIENCE_S) as answer:
            return answer.read().decode()

    def post(self, path, body):
        request = urllib.request.Request(self.page + path, json.dumps(body).encode(), {
            "Content-Type": "application/json", "X-Tarvex-Token": self.token})
        with urllib.request.urlopen(request, timeout=PATIENCE_S) as answer:
            return json.load(answer)


class Client:
    """One connection to the bus, without the library."""

    def __init__(self, name, port=45535):
        self.name = name
        self.socket = socket.create_connection(("127.0.0.1", port), PATIENCE_S)
        self.stream = self.socket.makefile("rb")
        if port == 45535:
            self.ask("handshake", {"name": name})
        else:
            self.send("request", {"operation": "handshake", "data": {"name": name}})
            self.receive()

    def send(self, kind, envelope):
        self.socket.sendall(busframe.encode(kind, envelope))

    def receive(self):
        lines = [self.stream.readline(), self.stream.readline()]
        return busframe.decode(b"".join(lines) + self.stream.read(int(lines[1])))["envelope"]

    def ask(self, operation, data):
        self.send("request", {"operation": operation, "data": data})
        return self.receive()

    def command(self, receiver, name, data):
        text = json.dumps({"cmd": name, "data": data}, separators=(",", ":"))
        return self.ask("sendMessage", {"reciever": receiver, "message": text})

    def save_settings(self, values, second=0):
        entries = [{"group": "paper", "key": key, "value": value} for key, value in values.items()]
        return self.ask("saveSettings", {"owner": self.name, "date": f"2026-03-01T10:11:{second:02}.000",
                                         "description": "for the desk", "mailOwner": 0, "settings": entries})

    def save_state(self, state, description="Waiting"):
        return self.ask("saveState", {"owner": self.name, "date": "2026-03-01T10:11:12.000", "type": 0,
                                      "description": description, "state": json.dumps(state)})

    def acknowledge(self, message):
        data = message["data"]
        self.send("reply", {"operation": "sendMessage", "result": {"code": 0, "description": ""}, "data": {
            "sender": data["sender"], "reciever": data["reciever"], "uid": data["UID"]}})

    def close(self):
        self.stream.close()
        self.socket.close()
