#!/usr/bin/env python3
"""A family device's WS-Discovery side, for tests between network namespaces.

Serves several identities from one process: answers Probe and Resolve on
239.255.255.250 and FF02::C port 3702 of one interface, each reply sent
twice with one MessageID as WS-Discovery repeats UDP messages, and the
directed Probe over HTTP on port 80 of its addresses. A Probe whose type
list names zqd:HelloTest is answered by a Hello of the identity "late"
instead; zqd:ByeTest by a Bye of the first identity only; zqd:SilentTest,
or a list without the family's prefix, by nothing. Stops by itself after --seconds.

Usage: wsd_responder.py --interface IF --ipv4 A --ipv6 A --count N --seconds S
"""
import argparse
import http.server
import re
import socket
import socketserver
import struct
import threading
import time
import uuid

HOST = "http://schemas.zq.com"
ENVELOPE = (
    '<?xml version="1.0" encoding="utf-8"?>\n<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"'
    ' xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing"'
    ' xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery"'
    f' xmlns:v="{HOST}/schemas/imaging/con/discovery/2006/09/19"'
    f' xmlns:x="{HOST}/schemas/imaging/con/dictionaries/1.0"'
    f' xmlns:p="{HOST}/schemas/imaging/con/pwg/sm/1.0">'
    "<s:Header>{header}</s:Header><s:Body>{body}</s:Body></s:Envelope>")
ACTION = "http://schemas.xmlsoap.org/ws/2005/04/discovery/"


def identity_uuid(n):
    return f"5a0f0000-0000-4000-8000-{n:012x}"


def children(n, args, bye=False):
    ident = identity_uuid(n)
    ext = (f"<v:VendorExtension><x:HardwareAddress>00:11:22:33:44:{n:02x}</x:HardwareAddress>"
           f"<x:UUID>uuid:{ident}</x:UUID><x:IPv4Address>{args.ipv4}</x:IPv4Address>"
           f"<x:IPv6Address><item>{args.ipv6}</item></x:IPv6Address>"
           f"<x:Hostname>orvane-dev-{n}</x:Hostname><p:DeviceId>MFG:ACME;MDL:Laser {n};</p:DeviceId>"
           f"<p:SerialNumber>SN{n:04d}</p:SerialNumber><p:Services>Print9100 RestScan Fax</p:Services>"
           f"<p:AdapterType>Ethernet</p:AdapterType></v:VendorExtension>")
    version = "" if bye else "<d:MetadataVersion>1</d:MetadataVersion>"
    return (f"<a:EndpointReference><a:Address>urn:uuid:{ident}</a:Address></a:EndpointReference>"
            f"<d:Types>v:zqDevice</d:Types><d:XAddrs>http://{args.ipv4}:80/wsd</d:XAddrs>{version}{ext}")


def message(action, body, relates=None):
    header = f"<a:MessageID>urn:uuid:{uuid.uuid4()}</a:MessageID><a:Action>{ACTION}{action}</a:Action>"
    if relates:
        header += f"<a:RelatesTo>{relates}</a:RelatesTo>"
    return ENVELOPE.format(header=header, body=body).encode()


def field(pattern, text):
    found = re.search(pattern, text, re.S)
    return found.group(1).strip() if found else None


class Responder:
    LATE = 0xFFF

    def __init__(self, args):
        self.args = args
        self.ids = list(range(1, args.count + 1))
        index = socket.if_nametoindex(args.interface)
        self.v4 = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.v4.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.v4.bind(("0.0.0.0", 3702))
        self.v4.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
                           socket.inet_aton("239.255.255.250") + socket.inet_aton(args.ipv4))
        self.v4.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(args.ipv4))
        self.v6 = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
        self.v6.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.v6.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
        self.v6.bind(("::", 3702))
        self.v6.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP,
                           socket.inet_pton(socket.AF_INET6, "ff02::c") + struct.pack("@I", index))
        self.v6.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, index)
        self.index = index

    def twice(self, sock, data, to):
        sock.sendto(data, to)
        sock.sendto(data, to)

    def announce(self, sock, action, body):
        group = ("239.255.255.250", 3702) if sock is self.v4 else ("ff02::c", 3702, 0, self.index)
        self.twice(sock, message(action, body), group)

    def answer(self, sock, data, sender):
        text = data.decode("utf-8", "replace")
        request = field(r"<[^>]*MessageID[^>]*>(.*?)</", text)
        if re.search(r":Probe[ >]", text):
            types = field(r"<[^>]*Types[^>]*>(.*?)</", text) or ""
            # The family's types only (or none): wsdd answers the others.
            if types and "zqd:" not in types or "zqd:SilentTest" in types:
                return
            if "zqd:HelloTest" in types:
                time.sleep(0.3)
                self.announce(sock, "Hello", "<d:Hello>" + children(self.LATE, self.args) + "</d:Hello>")
                return
            if "zqd:ByeTest" in types:
                self.announce(sock, "Bye", "<d:Bye>" + children(self.ids[0], self.args, bye=True) + "</d:Bye>")
                return
            for n in self.ids:
                body = "<d:ProbeMatches><d:ProbeMatch>" + children(n, self.args) + "</d:ProbeMatch></d:ProbeMatches>"
                self.twice(sock, message("ProbeMatches", body, request), sender)
        elif re.search(r":Resolve[ >]", text):
            wanted = field(r"<[^>]*:Address>(.*?)</", text[text.find(":Body"):])
            for n in self.ids:
                if wanted == f"urn:uuid:{identity_uuid(n)}":
                    body = "<d:ResolveMatches><d:ResolveMatch>" + children(n, self.args) + \
                        "</d:ResolveMatch></d:ResolveMatches>"
                    self.twice(sock, message("ResolveMatches", body, request), sender)

    def serve(self, sock):
        while True:
            data, sender = sock.recvfrom(65536)
            self.answer(sock, data, sender)


def directed_handler(args):
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_POST(self):
            text = self.rfile.read(int(self.headers.get("Content-Length", "0"))).decode("utf-8", "replace")
            request = field(r"<[^>]*MessageID[^>]*>(.*?)</", text)
            body = message("ProbeMatches", "<d:ProbeMatches><d:ProbeMatch>" + children(1, args) +
                           "</d:ProbeMatch></d:ProbeMatches>", request)
            self.send_response(200)
            self.send_header("Content-Type", "application/soap+xml")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *_):
            pass
    return Handler


class V6Server(socketserver.TCPServer):
    address_family = socket.AF_INET6
    allow_reuse_address = True


class V4Server(socketserver.TCPServer):
    allow_reuse_address = True


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--interface", required=True)
    parser.add_argument("--ipv4", required=True)
    parser.add_argument("--ipv6", required=True)
    parser.add_argument("--count", type=int, default=3)
    parser.add_argument("--seconds", type=float, default=120)
    args = parser.parse_args()
    responder = Responder(args)
    servers = [V4Server((args.ipv4, 80), directed_handler(args)), V6Server((args.ipv6, 80), directed_handler(args))]
    for target in [lambda: responder.serve(responder.v4), lambda: responder.serve(responder.v6)] + \
            [server.serve_forever for server in servers]:
        threading.Thread(target=target, daemon=True).start()
    print("ready", flush=True)
    time.sleep(args.seconds)


if __name__ == "__main__":
    main()
