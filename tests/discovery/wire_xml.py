#!/usr/bin/env python3
"""Reads the requests that ProbeWire captured with Python's own XML parser,
so that the library's serializer is not the only judge of what it wrote."""
import sys
import xml.etree.ElementTree as ET
from pathlib import Path

SOAP = "http://www.w3.org/2003/05/soap-envelope"
WSA = "http://schemas.xmlsoap.org/ws/2004/08/addressing"
WSD = "http://schemas.xmlsoap.org/ws/2005/04/discovery"
VENDOR = "http://schemas.zq.com/schemas/imaging/con"
NAMESPACES = [
    ("SOAP-ENV", SOAP),
    ("SOAP-ENC", "http://www.w3.org/2003/05/soap-encoding"),
    ("xsi", "http://www.w3.org/2001/XMLSchema-instance"),
    ("xsd", "http://www.w3.org/2001/XMLSchema"),
    ("wsa", WSA),
    ("pwg", VENDOR + "/pwg/sm/1.0"),
    ("dd", VENDOR + "/dictionaries/1.0"),
    ("zqd", VENDOR + "/discovery/2006/09/19"),
    ("wsd", WSD),
]
MUST = "{%s}mustUnderstand" % SOAP
failures = []


def check(condition, text):
    if not condition:
        failures.append(text)


def declared(data):
    """The namespace declarations of the document, in order."""
    return [(prefix, uri) for event, (prefix, uri) in
            ET.iterparse(__import__("io").BytesIO(data), events=["start-ns"])]


def header(root, name, action):
    head = root.find("{%s}Header" % SOAP)
    children = list(head)
    check([c.tag for c in children] == ["{%s}%s" % (WSA, n) for n in ("MessageID", "ReplyTo", "To", "Action")],
          name + ": header elements " + str([c.tag for c in children]))
    check(all(c.get(MUST) == "true" for c in children), name + ": mustUnderstand on every header element")
    check(children[0].text.startswith("uuid:") and children[0].text == children[0].text.lower(),
          name + ": MessageID " + children[0].text)
    check(children[1].find("{%s}Address" % WSA).text == WSA + "/role/anonymous", name + ": ReplyTo")
    check(children[2].text == "urn:schemas-xmlsoap-org:ws:2005:04:discovery", name + ": To")
    check(children[3].text == WSD + "/" + action, name + ": Action")


def body(root):
    return list(root.find("{%s}Body" % SOAP))


def main(folder):
    folder = Path(folder)
    for name, action, types in (("probe.xml", "Probe", "zqd:zqDevice"),
                                ("probe-types.xml", "Probe", "wsdp:Device zqd:zqDevice"),
                                ("resolve.xml", "Resolve", None),
                                ("directed-probe.http", "Probe", None)):
        data = (folder / name).read_bytes()
        if name.endswith(".http"):
            head, _, data = data.partition(b"\r\n\r\n")
            check(b"Content-Type: application/soap+xml; charset=utf-8" in head, name + ": content type")
            check(b"SOAPAction" not in head, name + ": no SOAPAction")
            length = int(head.split(b"Content-Length: ")[1].split(b"\r\n")[0])
            check(length == len(data), name + ": Content-Length %d for %d bytes" % (length, len(data)))
        check(declared(data) == NAMESPACES, name + ": namespace declarations " + str(declared(data)))
        root = ET.fromstring(data)
        check(root.tag == "{%s}Envelope" % SOAP, name + ": envelope " + root.tag)
        check(root.find(".//*[@{%s}encodingStyle]" % SOAP) is None, name + ": no encodingStyle")
        header(root, name, action)
        elements = body(root)
        check(len(elements) == 1 and elements[0].tag == "{%s}%s" % (WSD, action), name + ": body element")
        if action == "Probe":
            children = list(elements[0])
            if types is None:
                check(children == [], name + ": empty Probe")
            else:
                check([c.tag for c in children] == ["{%s}Types" % WSD] and children[0].text == types,
                      name + ": Types")
        else:
            address = elements[0].find("{%s}EndpointReference/{%s}Address" % (WSA, WSA))
            check(address is not None and address.text == "urn:uuid:4a6f1c2e-0000-1000-8000-00aa00bb00cc",
                  name + ": Resolve address")
    for text in failures:
        print("FAIL: " + text)
    print("%d passed, %d failed" % (4 - len({f.split(":")[0] for f in failures}), len({f.split(":")[0] for f in failures})))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
