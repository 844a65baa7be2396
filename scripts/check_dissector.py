#!/usr/bin/env python3
"""Holds examples/wireshark/vnq.lua and `vnqctl decode` to docs/protocol: both have to find every record in a capture.

    scripts/check_dissector.py BIN_FOLDER

Writes a capture in which each record of docs/protocol/records.txt travels once, each field holding a value of its own,
and compares what tshark with the dissector and what vnqctl make of it. Exit code 1 when a record, a name or a value is
missing or another one.
"""
import base64
import json
import os
import re
import struct
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DISSECTOR = os.path.join(ROOT, "examples/wireshark/vnq.lua")
RECORDS = os.path.join(ROOT, "docs/protocol/records.txt")
PLAIN, VISITORS = (6003, 6008), 6001
MASK = bytes([0x11, 0x22, 0x33, 0x44])


class Capture:
    """Packets of TCP between two loopback addresses, in the classic format."""

    def __init__(self):
        self.bytes = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1)
        self.sequence = {}

    def add(self, source, target, payload):
        flow = (source, target)
        begin = flow not in self.sequence
        if begin:
            self.sequence[flow] = 1000
            self.packet(source, target, 999, 0x02, b"")
        self.packet(source, target, self.sequence[flow], 0x18, payload)
        self.sequence[flow] += len(payload)

    def packet(self, source, target, sequence, flags, payload):
        tcp = struct.pack(">HHIIBBHHH", source, target, sequence, 0, 5 << 4, flags, 65535, 0, 0) + payload
        ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(tcp), 0, 0, 64, 6, 0, bytes([127, 0, 0, 1]),
                         bytes([127, 0, 0, 2]))
        frame = bytes(12) + b"\x08\x00" + ip + tcp
        self.bytes += struct.pack("<IIII", 1_700_000_000, 0, len(frame), len(frame)) + frame


def frame_of(text):
    assert len(text) < 65536
    length = bytes([0x80 | len(text)]) if len(text) < 126 else bytes([0x80 | 126]) + struct.pack(">H", len(text))
    return b"\x81" + length + MASK + bytes(byte ^ MASK[i % 4] for i, byte in enumerate(text))


def on_wire(port, record):
    data = record.encode("gbk")
    if port in PLAIN:
        return data
    text = base64.b64encode(data)
    return frame_of(text) if port == VISITORS else text


def forms():
    with open(RECORDS, encoding="utf-8") as records:
        for line in records:
            match = re.match(r"(\d{4}) ([<>]) (.*)$", line)
            if match and not (int(match[1]) == VISITORS and match[2] == "<"):
                yield int(match[1]), match[2], match[3].split("|")


def write_capture(path):
    """The records in order: (port, side, word, [(name, value)])."""
    capture, expected, clients = Capture(), [], {}
    for port, side, (word, *names) in forms():
        client = clients.setdefault(port, 40000 + port)
        if port == VISITORS and len([e for e in expected if e[0] == port]) == 0:
            capture.add(client, port, b"GET / HTTP/1.1\r\nSec-WebSocket-Key: x\r\n\r\n")
        values = [name if name in ("#", "") else f"值{i}" for i, name in enumerate(names)]
        ends = (client, port) if side == ">" else (port, client)
        capture.add(*ends, on_wire(port, "|".join([word] + values)))
        fields = [(name, value) for name, value in zip(names, values) if name not in ("#", "")]
        expected.append((port, side, word, fields))
    with open(path, "wb") as file:
        file.write(capture.bytes)
    return expected


def abbreviation(word, name):
    return f"vnq.{word[2:]}." + (re.sub(r"[^A-Za-z0-9]+", "_", name).strip("_") or "more")


def seen_by_tshark(path):
    # A dissector of a user's own must not stand beside this one.
    environment = dict(os.environ, HOME=os.path.dirname(path), XDG_CONFIG_HOME=os.path.dirname(path))
    run = subprocess.run(["tshark", "-X", f"lua_script:{DISSECTOR}", "-r", path, "-T", "json", "--no-duplicate-keys"],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment)
    if run.returncode != 0 or b"Lua:" in run.stderr:
        sys.exit(f"tshark: {run.stderr.decode()}")
    for packet in json.loads(run.stdout.decode(errors="replace")):
        layers = packet["_source"]["layers"]
        for name, layer in layers.items():
            if name.startswith("vnq") and isinstance(layer, dict):
                yield layer


def flat(key, node, found):
    """Each name of a tree with each of its values."""
    if isinstance(node, dict):
        for below, value in node.items():
            flat(below, value, found)
    elif isinstance(node, list):
        for value in node:
            flat(key, value, found)
    else:
        found.add((key, node))


def check_tshark(path, expected):
    records = []
    for layer in seen_by_tshark(path):
        found = set()
        flat("", layer, found)
        if any(key == "vnq.word" for key, _ in found):
            records.append(found)
    faults = [] if len(records) == len(expected) else [f"tshark shows {len(records)} records of {len(expected)}"]
    for (port, side, word, fields), found in zip(expected, records):
        wanted = [("vnq.word", word), ("vnq.from", "client" if side == ">" else "server")]
        wanted += [(abbreviation(word, name), value) for name, value in fields]
        faults += [f"tshark, {port} {side} {word}: no {name} = {value}" for name, value in wanted
                   if (name, value) not in found]
    return faults


def check_vnqctl(bin_folder, path, expected):
    run = subprocess.run([os.path.join(bin_folder, "vnqctl"), "decode", path, "--json", "--passwords"],
                         stdout=subprocess.PIPE, check=True, text=True)
    records = [json.loads(line) for line in run.stdout.splitlines()]
    seen = [(record["port"], ">" if record["from"] == "client" else "<", record["word"],
             [(field["name"], field["value"]) for field in record["fields"] if field["value"] not in ("#", "")])
            for record in records]
    key = lambda record: (record[0], record[1], record[2], len(record[3]))
    return [f"vnqctl: {a} in place of {b}" for a, b in zip(sorted(seen, key=key), sorted(expected, key=key)) if a != b] + \
        ([] if len(seen) == len(expected) else [f"vnqctl shows {len(seen)} records of {len(expected)}"])


def main():
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "capture.pcap")
        expected = write_capture(path)
        faults = check_tshark(path, expected) + check_vnqctl(sys.argv[1], path, expected)
    print("\n".join(faults) or f"{len(expected)} records, each as docs/protocol has it")
    return 1 if faults or len(expected) < 100 else 0


if __name__ == "__main__":
    sys.exit(main())
