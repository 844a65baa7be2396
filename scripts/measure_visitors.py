#!/usr/bin/env python3
"""What web visitors cost the server: memory and descriptors while they come, stay, go and return.

    scripts/measure_visitors.py FOLDER_OF_THE_PROGRAMS [VISITORS]

Starts a server of its own on a loopback address and a fresh folder; prints one line a stage.
"""

import base64
import os
import socket
import subprocess
import sys
import tempfile
import time

KEY = "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
REQUEST = f"GET / HTTP/1.1\r\nHost: here\r\nOrigin: http://here\r\n{KEY}\r\n".encode()


def frame(record):
    payload = base64.b64encode(record.encode())
    assert len(payload) < 126
    return bytes([0x81, 0x80 | len(payload), 0, 0, 0, 0]) + payload


class Server:
    def __init__(self, programs, folder):
        self.address = f"127.88.{os.getpid() // 254 % 254}.{1 + os.getpid() % 254}"
        subprocess.run([f"{programs}/vnqctl", "init", "--app-path", folder], check=True,
                       stdout=subprocess.DEVNULL)
        self.process = subprocess.Popen(
            [f"{programs}/vnq_main_service", "--app-path", folder, "--bind", self.address],
            stderr=subprocess.PIPE, text=True)
        while "ready" not in self.process.stderr.readline():
            pass

    def rss_kib(self):
        with open(f"/proc/{self.process.pid}/status") as status:
            return int(next(line for line in status if line.startswith("VmRSS")).split()[1])

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def stop(self):
        self.process.terminate()
        self.process.wait()


def connect(server, number):
    visitor = socket.create_connection((server.address, 6001))
    visitor.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    visitor.sendall(REQUEST)
    while b"\r\n\r\n" not in visitor.recv(4096):
        pass
    visitor.sendall(frame(f".+customer||visitor-{number}|c||#"))
    return visitor


def main():
    programs = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 10_000
    with tempfile.TemporaryDirectory() as folder:
        server = Server(programs, folder)
        base = server.rss_kib()

        def report(stage, took=0.0):
            time.sleep(2)
            kib = server.rss_kib()
            print(f"{stage:44} {kib / 1024:8.1f} MiB  {(kib - base) / count:6.2f} KiB/visitor  "
                  f"{server.descriptors():6} descriptors  {took:6.1f} s", flush=True)

        report("started")
        for visit in ("came", "returned"):
            began = time.monotonic()
            visitors = [connect(server, number) for number in range(count)]
            report(f"{count} visitors {visit}, all connected", time.monotonic() - began)
            for visitor in visitors:
                visitor.close()
            report("all of them left")
        began = time.monotonic()
        for number in range(count):
            connect(server, number).close()
        report("returned and left one by one", time.monotonic() - began)
        server.stop()


if __name__ == "__main__":
    main()
