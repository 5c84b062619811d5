#!/usr/bin/env python3
"""Records 8 columns at 2000 lines a second while five clients follow over HTTP, one of which never reads.

Prints whether the recording lost anything, what the host's memory and processor time were, and what the clients got.

usage: serve.py HALDEN_HOST
"""
import json
import socket
import subprocess
import sys
import tempfile
import threading
import time

SECONDS = 30
PORT = 18080


def memory(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


def processor_time(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / 100


class Client(threading.Thread):
    """Reads the stream until it ends, or connects and never reads."""

    def __init__(self, reads):
        super().__init__(daemon=True)
        self.reads, self.frames, self.lost = reads, 0, 0
        self.start()

    def run(self):
        with socket.create_connection(("127.0.0.1", PORT)) as connection:
            connection.sendall(f"GET /stream HTTP/1.1\r\nHost: 127.0.0.1:{PORT}\r\n\r\n".encode())
            if not self.reads:
                time.sleep(SECONDS + 20)
                return
            event = ""
            for line in connection.makefile("r", encoding="utf-8"):
                if line.startswith("event: "):
                    event = line[7:].strip()
                elif line.startswith("data: "):
                    if event == "lost":
                        self.lost = int(line[6:])
                    elif event == "":
                        self.frames += json.loads(line[6:])["frames"]
                elif line == "\n":
                    event = ""


def main():
    with tempfile.TemporaryDirectory() as folder:
        host = subprocess.Popen(
            [sys.argv[1], "record", "--device", "sim:columns=8,rate=2000,baud=3000000", "--serve", str(PORT), "--seconds",
             str(SECONDS), "--csv", f"{folder}/data.csv", "--registry", f"{folder}/reg", "--json"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        for line in host.stderr:
            if line.startswith("Serving"):
                break
        clients = [Client(reads=i > 0) for i in range(5)]
        time.sleep(5)
        before, used = memory(host.pid), processor_time(host.pid)
        time.sleep(SECONDS - 10)
        after, used = memory(host.pid), processor_time(host.pid) - used
        summary = json.loads(host.communicate()[0])
        with open(f"{folder}/data.csv", encoding="ascii") as file:
            lines = sum(1 for _ in file) - 1
    for client in clients[1:]:
        client.join(10)
    print(f"recording: {summary['frames']} frames in {summary['seconds']:.1f} s, {lines} lines in the CSV, "
          f"ring full: {summary['ring_full']}, gaps: {len(summary['gaps'])}")
    print(f"memory:    {before} kB after 5 s, {after} kB after {SECONDS - 5} s")
    print(f"processor: {100 * used / (SECONDS - 10):.1f} % of a core")
    print("clients:   " + ", ".join(f"{client.frames} frames, {client.lost} lost" for client in clients[1:]) +
          ", and one that never reads")


if __name__ == "__main__":
    main()
