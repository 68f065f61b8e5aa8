#!/usr/bin/env python3
"""Bus frames made and read with Python's own modules, so that our codec is not tested against itself.

busframe.py encode request|reply   envelope as JSON on stdin, frame on stdout
busframe.py decode                 frame on stdin, {"header", "envelope"} as JSON on stdout
"""
import base64
import json
import struct
import sys
import zlib

#! [codec]
HEADERS = {"request": b"[-REQUEST-]", "reply": b"[-REPLY-]"}


def encode(kind, envelope, level=-1):
    text = json.dumps(envelope, separators=(",", ":"), ensure_ascii=False).encode()
    payload = base64.b64encode(struct.pack(">I", len(text)) + zlib.compress(text, level))
    return b"%s\r\n%d\r\n%s" % (HEADERS[kind], len(payload), payload)


def decode(frame):
    header, size, payload = frame.split(b"\r\n", 2)
    if int(size) != len(payload):
        sys.exit(f"size line says {int(size)}, payload has {len(payload)}")
    block = base64.b64decode(payload, validate=True)
    text = zlib.decompress(block[4:])
    if struct.unpack(">I", block[:4])[0] != len(text):
        sys.exit("length prefix is wrong")
    return {"header": header.decode(), "envelope": json.loads(text)}
#! [codec]


def main():
    if sys.argv[1] == "encode":
        sys.stdout.buffer.write(encode(sys.argv[2], json.load(sys.stdin)))
    else:
        json.dump(decode(sys.stdin.buffer.read()), sys.stdout)


if __name__ == "__main__":
    main()
