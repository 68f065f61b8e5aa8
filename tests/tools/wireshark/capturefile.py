"""A capture file of TCP segments on the loopback, written without any capturing."""
import struct

LINKTYPE_RAW = 101
PUSH_AND_ACK = 0x18
MS_PER_SEGMENT = 1000  # in microseconds
LOOPBACK = b"\x7f\0\0\1"


class CaptureFile:
    """Each segment comes a millisecond after the one before it, and follows on its connection's last one."""

    def __init__(self, path):
        self.file = open(path, "wb")
        self.file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 1 << 18, LINKTYPE_RAW))
        self.microseconds = 0
        self.sent = {}
        self.count = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()

    def add(self, source, target, data, kept=None):
        """Adds one segment between two ports. kept: how many bytes of the packet's data the capture kept.
        Returns the number of the packet."""
        here, there = self.sent.get((source, target), 1), self.sent.get((target, source), 1)
        self.sent[source, target] = here + len(data)
        segment = struct.pack(">HHIIBBHHH", source, target, here, there, 5 << 4, PUSH_AND_ACK, 65535, 0, 0) + data
        packet = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(segment), 0, 0, 64, 6, 0, LOOPBACK, LOOPBACK) + segment
        held = packet if kept is None else packet[:40 + kept]
        self.microseconds += MS_PER_SEGMENT
        self.file.write(struct.pack("<IIII", 1700000000, self.microseconds, len(held), len(packet)) + held)
        self.count += 1
        return self.count
