#!/usr/bin/env python3
"""The discovery row's measurements, run inside the searching namespace.

  discovery_probe.py search -- COMMAND...   runs `orvane discover --json`
      and times its "add" lines from the start of the command;
  discovery_probe.py raw --ipv4 A --interface IF --seconds S
      sends one Probe to 239.255.255.250 and one to FF02::C from plain
      sockets and times the replies, the baseline.

Both print result lines for bench/report.py: devices found (distinct
identities on each address family, summed), milliseconds to the first and
the last device, and the CPU time of the searching process.
"""
import argparse
import json
import sys
import re
import resource
import select
import socket
import subprocess
import time
import uuid

VENDOR = "http://schemas.zq.com/schemas/imaging/con/discovery/2006/09/19"
PROBE = ('<?xml version="1.0" encoding="UTF-8"?><s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"'
         ' xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing"'
         ' xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery" xmlns:zqd="' + VENDOR + '">'
         '<s:Header><a:MessageID>urn:uuid:{id}</a:MessageID>'
         '<a:To>urn:schemas-xmlsoap-org:ws:2005:04:discovery</a:To>'
         '<a:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe</a:Action></s:Header>'
         '<s:Body><d:Probe><d:Types>zqd:zqDevice</d:Types></d:Probe></s:Body></s:Envelope>')


def report(variant, found, first, last, cpu_ms, seen):
    ipv6 = sum(1 for _, v6 in seen if v6)
    print(f"discovery {variant}: {len(seen) - ipv6} devices over IPv4, {ipv6} over IPv6", file=sys.stderr)
    for name, value, unit in (("found", found, "devices"), ("first", first, "ms"), ("last", last, "ms"),
                              ("cpu", cpu_ms, "ms")):
        if value is not None:
            print(f"result discovery.{name}.{variant} {value:.1f} {value:.1f} {value:.1f} 1 {unit}")


def search(command):
    started = time.monotonic()
    seen, times = set(), []
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, errors="replace") as child:
        for line in child.stdout:
            try:
                event = json.loads(line)
            except ValueError:
                continue
            if event.get("event") == "add":
                times.append((time.monotonic() - started) * 1000)
                seen.add((event["id"], ":" in event["ipAddress"]))
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    report("ours", len(seen), times[0] if times else None, times[-1] if times else None,
           (usage.ru_utime + usage.ru_stime) * 1000, seen)


def raw(ipv4, interface, seconds):
    before = resource.getrusage(resource.RUSAGE_SELF)
    index = socket.if_nametoindex(interface)
    v4 = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    v4.bind((ipv4, 0))
    v4.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(ipv4))
    v6 = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
    v6.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, index)
    started = time.monotonic()
    v4.sendto(PROBE.format(id=uuid.uuid4()).encode(), ("239.255.255.250", 3702))
    v6.sendto(PROBE.format(id=uuid.uuid4()).encode(), ("ff02::c", 3702, 0, index))
    seen, times = set(), []
    deadline = started + seconds
    while time.monotonic() < deadline:
        ready, _, _ = select.select([v4, v6], [], [], deadline - time.monotonic())
        for sock in ready:
            data = sock.recv(65536).decode("utf-8", "replace")
            found = re.search(r"<[^>]*:UUID>(.*?)</", data)
            if found:
                key = (found.group(1), sock is v6)
                if key not in seen:
                    seen.add(key)
                    times.append((time.monotonic() - started) * 1000)
    after = resource.getrusage(resource.RUSAGE_SELF)
    cpu = (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1000
    report("raw", len(seen), times[0] if times else None, times[-1] if times else None, cpu, seen)


def main():
    parser = argparse.ArgumentParser()
    sub = parser.add_subparsers(dest="mode", required=True)
    run = sub.add_parser("search")
    run.add_argument("command", nargs=argparse.REMAINDER)
    baseline = sub.add_parser("raw")
    baseline.add_argument("--ipv4", required=True)
    baseline.add_argument("--interface", required=True)
    baseline.add_argument("--seconds", type=float, default=12)
    args = parser.parse_args()
    if args.mode == "search":
        search(args.command[1:] if args.command[:1] == ["--"] else args.command)
    else:
        raw(args.ipv4, args.interface, args.seconds)


if __name__ == "__main__":
    main()
