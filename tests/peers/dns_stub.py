#!/usr/bin/env python3
"""A name server on 127.0.0.1:53 that answers every query from a fixed
table of reverse names, for tests of failing look-ups:
  1.0.0.10.in-addr.arpa  NXDOMAIN (the name does not exist)
  2.0.0.10.in-addr.arpa  no error and no record (no data)
  anything else          SERVFAIL (try again)
Writes "ready" on standard output once it listens; stops after its
lifetime (seconds, the first argument) or when killed."""
import socket
import sys
import time

NXDOMAIN, NOERROR, SERVFAIL = 3, 0, 2
TABLE = {"1.0.0.10.in-addr.arpa": NXDOMAIN, "2.0.0.10.in-addr.arpa": NOERROR}


def question_end(packet):
    at = 12
    labels = []
    while packet[at] != 0:
        length = packet[at]
        labels.append(packet[at + 1:at + 1 + length].decode("ascii", "replace").lower())
        at += 1 + length
    return ".".join(labels), at + 5  # the zero, type and class


def answer(packet):
    name, end = question_end(packet)
    rcode = TABLE.get(name, SERVFAIL)
    flags = 0x8000 | (packet[2] & 0x01) << 8 | 0x0080 | rcode
    header = packet[0:2] + flags.to_bytes(2, "big") + (1).to_bytes(2, "big") + bytes(6)
    return header + packet[12:end]


def main():
    lifetime = float(sys.argv[1]) if len(sys.argv) > 1 else 60
    server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    server.bind(("127.0.0.1", 53))
    server.settimeout(0.2)
    print("ready", flush=True)
    deadline = time.monotonic() + lifetime
    while time.monotonic() < deadline:
        try:
            packet, peer = server.recvfrom(512)
        except socket.timeout:
            continue
        if len(packet) > 12:
            server.sendto(answer(packet), peer)


if __name__ == "__main__":
    main()
