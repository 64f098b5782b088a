#!/usr/bin/env python3
"""The table of `make bench`: reads the result lines of the native program
and of orvane-bench.exe, counts the wineserver requests between the markers
of the counting run, and writes results.md (also printed)."""
import argparse
import re
import sys

# (title, unit text, id prefix, [(variant, what it is)]); the first variant is ours.
GROUPS = [
    ("Stream write, 64 KiB", "MB/s", "stream.write.65536",
     [("ours", "`Stream::Write`"), ("raw", "raw overlapped `WSASend` loop"),
      ("native", "native Linux `send`")]),
    ("Stream write, 512 B", "MB/s", "stream.write.512",
     [("ours", "`Stream::Write`"), ("raw", "raw overlapped `WSASend` loop"),
      ("native", "native Linux `send`")]),
    ("Stream read, 64 KiB", "MB/s", "stream.read.65536",
     [("ours", "`Stream::Read`"),
      ("fair", "raw overlapped `WSARecv` loop, the stream's 17520-byte receive buffer (fair)"),
      ("raw", "raw overlapped `WSARecv` loop, default receive buffer (ceiling)"),
      ("native", "native Linux `recv`")]),
    ("Stream read, 512 B", "MB/s", "stream.read.512",
     [("ours", "`Stream::Read`"),
      ("fair", "raw overlapped `WSARecv` loop, the stream's 17520-byte receive buffer (fair)"),
      ("raw", "raw overlapped `WSARecv` loop, default receive buffer (ceiling)"),
      ("native", "native Linux `recv`")]),
    ("HTTP 1 KiB page, new connection each", "exchanges/s", "http.new",
     [("ours", "`HTTPRequest::GetResponse`"), ("wininet", "WinINet"),
      ("winsock", "hand-written Winsock loop")]),
    ("HTTP 1 KiB page, kept session", "exchanges/s", "http.kept",
     [("ours", "`HTTPRequest::GetResponse`, `OpenSession` held"),
      ("wininet", "WinINet, keep-alive"), ("winsock", "hand-written Winsock loop"),
      ("nodrain", "diagnostic: the client's `Navigate` on the held session without the drain")]),
    ("Trace scope, logging off", "ns per scope", "trace.scope",
     [("ours", "scope (entry and exit filter)"),
      ("before", "scope, silent-module shortcut off (before)"),
      ("mutex", "named mutex wait + release")]),
    ("Log line, logging on", "lines/s", "trace.line",
     [("ours", "informational line to a file"),
      ("append", "open-append-close `WriteFile` of the same bytes")]),
    ("Resolve a queue among 1", "ns per call", "resolve.1",
     [("ours", "`Resolver::Resolve` by printer name"),
      ("enum", "`EnumPrintersW` level 2, size and records"),
      ("thread", "thread start and wait")]),
    ("Resolve a queue among 100", "ns per call", "resolve.100",
     [("ours", "`Resolver::Resolve` by printer name"),
      ("enum", "`EnumPrintersW` level 2, size and records"),
      ("thread", "thread start and wait")]),
    ("Resolve a queue among 1000", "ns per call", "resolve.1000",
     [("ours", "`Resolver::Resolve` by printer name"),
      ("enum", "`EnumPrintersW` level 2, size and records"),
      ("thread", "thread start and wait")]),
    ("Enumerate 200 USB devices with their functions", "ns per call", "devices.200",
     [("ours", "`CUSBDevices::GetInstalledDevices`, node cache warm"),
      ("cold", "the same, node cache emptied before each")]),
    ("List a folder of 1000 network device records", "ns per call", "records.1000",
     [("ours", "`CNetworkDevices::GetInstalledDevices`"),
      ("read", "the folder listed, each file opened and read once")]),
    ("USB write, 64 KiB, virtual USB printer", "MB/s", "usb.write.65536",
     [("ours", "`CIOUSB::Write`"), ("raw", "raw overlapped `WriteFile` on the same device path")]),
    ("USB read, 64 KiB, virtual USB printer", "MB/s", "usb.read.65536",
     [("ours", "`CIOUSB::Read`"), ("raw", "raw overlapped `ReadFile` on the same device path")]),
    ("Memory, open streams", "private bytes per stream", "memory.stream",
     [("ours", "`Stream`, opened, per stream of 1000 more")]),
    ("Discovery by type, 50 devices: found on IPv4 + IPv6 (target 100)", "devices", "discovery.found",
     [("ours", "`orvane discover`, the library's own server"), ("raw", "raw Python multicast Probe")]),
    ("Discovery by type, 50 devices: first device", "ms", "discovery.first",
     [("ours", "`orvane discover`, from the command's start (Wine's start included)"),
      ("raw", "raw Python multicast Probe, from the send")]),
    ("Discovery by type, 50 devices: last device", "ms", "discovery.last",
     [("ours", "`orvane discover`, from the command's start (Wine's start included)"),
      ("raw", "raw Python multicast Probe, from the send")]),
    ("Discovery by type, 50 devices: CPU time", "ms", "discovery.cpu",
     [("ours", "`orvane discover`'s process, the whole 12 s search"),
      ("raw", "raw Python multicast Probe, 12 s of listening")]),
]

REQUEST = re.compile(r"^([0-9a-f]{4}): ([a-z_0-9]+)\( ")
MARKER = re.compile(r'name=L"orvane-bench-(begin|end):([^"]+)"')
DIRECT_RESULT = re.compile(r"set_async_direct_result\( .*information=([0-9a-f]+)")


def read_results(paths):
    results = {}
    for path in paths:
        with open(path, encoding="utf-8", errors="replace") as f:
            for line in f:
                parts = line.split()
                if len(parts) == 7 and parts[0] == "result":
                    results[parts[1]] = {
                        "median": float(parts[2]), "min": float(parts[3]),
                        "max": float(parts[4]), "runs": int(parts[5]), "unit": parts[6]}
    return results


def read_seam(path):
    """Per case: calls at the configuration manager's seam and readings of
    the whole device tree, per enumeration ("seam <id> <calls> <lists>")."""
    seam = {}
    with open(path, encoding="utf-8", errors="replace") as f:
        for line in f:
            parts = line.split()
            if len(parts) == 4 and parts[0] == "seam":
                seam[parts[1]] = (float(parts[2]), float(parts[3]))
    return seam


def read_counted(path, kind):
    """The "ops" or "allocs" lines of the counting run, by case."""
    counted = {}
    with open(path, encoding="utf-8", errors="replace") as f:
        for line in f:
            parts = line.split()
            if len(parts) == 3 and parts[0] == kind:
                counted[parts[1]] = int(parts[2])
    return counted


# Cases whose work runs on threads of their own (a resolution's worker):
# every thread's requests between the markers count.
ALL_THREADS = ("resolve.",)


def read_trace(path):
    """Per case: the requests of the marker's thread (of every thread, for
    ALL_THREADS) between the begin and end markers, and the bytes its socket
    calls reported as done at once."""
    counts, moved = {}, {}
    window = None  # [case, thread, requests, bytes]
    with open(path, encoding="utf-8", errors="replace") as f:
        for line in f:
            request = REQUEST.match(line)
            if not request:
                continue
            thread = request.group(1)
            marker = MARKER.search(line)
            if marker and request.group(2) == "create_event":
                kind, case = marker.groups()
                if kind == "begin":
                    window = [case, thread, 0, 0]
                elif window and window[0] == case:
                    counts[case], moved[case] = window[2], window[3]
                    window = None
                continue
            if window and (thread == window[1] or window[0].startswith(ALL_THREADS)):
                window[2] += 1
                done = DIRECT_RESULT.search(line)
                if done:
                    window[3] += int(done.group(1), 16)
    return counts, moved


def figure(value):
    if value >= 100:
        return f"{value:,.0f}"
    if value >= 10:
        return f"{value:.1f}"
    return f"{value:.2f}"


class Report:
    def __init__(self, results, ops, allocs, requests, moved, seam):
        self.results = results
        self.seam = seam
        self.rt = {c: requests[c] / n for c, n in ops.items() if c in requests and n}
        self.allocs = {c: allocs[c] / n for c, n in ops.items() if c in allocs and n}
        self.bytes_per_op = {c: moved[c] / n for c, n in ops.items() if c in moved and n}

    def get(self, case):
        return self.results.get(case)

    def median(self, case):
        result = self.get(case)
        return result["median"] if result else None

    @staticmethod
    def unit_of(prefix):
        return next(g[1] for g in GROUPS if g[2] == prefix)

    def ratio(self, prefix, variant):
        ours, other = self.median(f"{prefix}.ours"), self.median(f"{prefix}.{variant}")
        if not ours or not other:
            return None
        # Times: less is better, so the ratio is turned round.
        return other / ours if self.unit_of(prefix).startswith(("ns", "ms")) else ours / other

    def table(self):
        lines = ["| Case | Figure | Median | Min | Max | Ours ÷ this | Round trips per op "
                 "| Allocations per op |",
                 "|---|---|---:|---:|---:|---:|---:|---:|"]
        for title, unit, prefix, variants in GROUPS:
            for index, (variant, what) in enumerate(variants):
                case = f"{prefix}.{variant}"
                result = self.get(case)
                head = f"{title} ({unit})" if index == 0 else ""
                if result is None:
                    lines.append(f"| {head} | {what} | not measured | | | | | |")
                    continue
                r = self.ratio(prefix, variant) if index > 0 else None
                rt = self.rt.get(case)
                allocs = self.allocs.get(case)
                lines.append("| {} | {} | {} | {} | {} | {} | {} | {} |".format(
                    head, what, figure(result["median"]), figure(result["min"]),
                    figure(result["max"]), f"{r:.2f}×" if r is not None else "",
                    f"{rt:.1f}" if rt is not None else "—",
                    f"{allocs:.1f}" if allocs is not None else "—"))
        return lines

    def round_trip_us(self):
        mutex, rt = self.median("trace.scope.mutex"), self.rt.get("trace.scope.mutex")
        return mutex / 1000 / rt if mutex and rt else None

    def targets(self):
        def met(ok):
            return "met" if ok else "**missed**"
        lines = []
        calls = [f"stream.{way}.{size}.ours" for way in ("write", "read") for size in (65536, 512)]
        rts = [self.rt[c] for c in calls if c in self.rt]
        if rts:
            lines.append(f"- Round trips per stream call: 3.0: {', '.join(f'{r:.1f}' for r in rts)} "
                         f"(write 64 KiB, write 512 B, read 64 KiB, read 512 B), "
                         f"{met(max(rts) <= 3.05)}.")
        for prefix, bound, what in (("stream.write.65536", 0.7, "Stream 64 KiB writes"),
                                    ("stream.write.512", 0.6, "Stream 512-byte writes")):
            r = self.ratio(prefix, "raw")
            if r is not None:
                lines.append(f"- {what} ≥ {bound}× the raw overlapped `WSASend` loop: {r:.2f}×, "
                             f"{met(r >= bound)}.")
        for prefix, what in (("usb.write.65536", "USB 64 KiB writes"), ("usb.read.65536", "USB 64 KiB reads")):
            r, rt = self.ratio(prefix, "raw"), self.rt.get(f"{prefix}.ours")
            if r is not None:
                lines.append(f"- {what} ≥ 0.8× raw overlapped calls on the same device path: {r:.2f}×, "
                             f"{met(r >= 0.8)}" + (f"; {rt:.1f} round trips per call." if rt is not None else "."))
        r64 = self.ratio("stream.read.65536", "fair")
        if r64 is not None:
            lines.append(f"- Stream 64 KiB reads ≥ 0.7× the fair `WSARecv` loop (same receive buffer): "
                         f"{r64:.2f}×, {met(r64 >= 0.7)}.")
        r512 = self.ratio("stream.read.512", "fair")
        if r512 is not None:
            lines.append(f"- Stream 512-byte reads (reported): {r512:.2f}× the fair `WSARecv` loop.")
        allocs = [self.allocs[c] for c in calls if c in self.allocs]
        if allocs:
            lines.append(f"- Allocations per stream call with logging off: 0: "
                         f"{', '.join(f'{a:.1f}' for a in allocs)}, {met(max(allocs) == 0)}.")
        kept = self.median("http.kept.ours")
        if kept is not None:
            lines.append(f"- HTTP through `HTTPRequest` (reported): {figure(kept)} exchanges/s with a kept "
                         "session, at its floor of about 10 per second per connection (below).")
        scope, before = self.median("trace.scope.ours"), self.median("trace.scope.before")
        if scope is not None:
            text = f"- Trace scope with logging off ≤ 1 µs: {figure(scope)} ns, {met(scope <= 1000)}"
            if before is not None:
                text += (f"; before the silent-module shortcut {figure(before)} ns, "
                         f"{before / scope:,.0f} times as long")
            lines.append(text + ".")
        for count in (1, 100, 1000):
            prefix = f"resolve.{count}"
            ours, enum, thread = (self.median(f"{prefix}.{v}") for v in ("ours", "enum", "thread"))
            if ours and enum and thread:
                bound = 1.5 * (enum + thread)
                lines.append(f"- Resolve among {count} queue{'s' if count > 1 else ''} ≤ 1.5× (the listing "
                             f"+ one thread start): {ours / 1000:,.0f} µs against {bound / 1000:,.0f} µs, "
                             f"{ours / (enum + thread):.2f}×, {met(ours <= bound)}.")
        found = self.median("discovery.found.ours")
        if found is not None:
            raw = self.median("discovery.found.raw")
            lines.append(f"- Discovery by type finds all 50 devices, each once per address family: "
                         f"{found:.0f} of 100" + (f" (the raw Probe {raw:.0f})" if raw is not None else "")
                         + f", {met(found >= 100)}.")
        seam_warm = self.seam.get("devices.200.ours")
        if seam_warm is not None:
            lines.append(f"- 200 USB devices, warm node cache: the tree asked nothing per device, "
                         f"{seam_warm[1]:.0f} readings of the whole tree per enumeration, "
                         f"{met(seam_warm[1] == 0)}; each device's own refresh still makes "
                         f"{seam_warm[0] / 200:.0f} calls.")
        records = self.seam.get("records.1000.ours")
        if records is not None:
            lines.append(f"- Listing 1000 records: one file open per record: {records[0]:.0f} opens per "
                         f"record, {met(records[0] <= 1)}; {records[1]:.0f} records listed per call.")
        return lines

    def stream_note(self):
        ours, raw = self.median("stream.write.65536.ours"), self.median("stream.write.65536.raw")
        rt_ours, rt_raw = self.rt.get("stream.write.65536.ours"), self.rt.get("stream.write.65536.raw")
        if not (ours and raw and rt_ours and rt_raw):
            return None
        per_ours, per_raw = 65536 / ours, 65536 / raw
        text = (f"Stream writes: a 64 KiB `Stream::Write` takes {per_ours:.0f} µs, the raw loop's "
                f"`WSASend` {per_raw:.0f} µs. Both send alike (`send_socket` and "
                f"`set_async_direct_result`, 2 round trips); ours makes {rt_ours:.1f} round trips per "
                f"call, the raw loop {rt_raw:.1f}. The one more is the floor: the zero-length wait "
                "with which `IsOpen` watches for the device's close before each call, so that a "
                "device that hung up between two calls is reconnected instead of losing the data. "
                "The transfer's event is kept per connection and direction, not made and closed "
                "per call (that was 2 more). With 3 round trips against 2, the best a stream call "
                "can do under Wine is about 0.75–0.8× the raw loop for 64 KiB and about 0.67× for "
                "512 B; on Windows these are cheap system calls, not server round trips.")
        unit = self.round_trip_us()
        if unit:
            text += (f" At {unit:.0f} µs per round trip here (the named-mutex pair), the extra one "
                     f"is {(rt_ours - rt_raw) * unit:.0f} µs of the {per_ours - per_raw:.0f} µs "
                     "difference.")
        return text

    def read_note(self):
        ours_bytes = self.bytes_per_op.get("stream.read.65536.ours")
        fair_bytes = self.bytes_per_op.get("stream.read.65536.fair")
        raw_bytes = self.bytes_per_op.get("stream.read.65536.raw")
        if not ours_bytes or not raw_bytes:
            return None
        fair = (f", the fair loop's on a socket with the same buffer {fair_bytes:,.0f}"
                if fair_bytes else "")
        return (f"Stream reads: a stream's socket gets a receive buffer of 17520 bytes when it "
                f"opens (Linux doubles it), so a 64 KiB `Stream::Read` returns "
                f"{ours_bytes:,.0f} bytes on average{fair}, and the raw loop's `WSARecv` on a "
                f"socket with the default buffer {raw_bytes:,.0f}. The buffer size is the "
                "design's and stays, so reads are judged against the fair loop; the default-buffer "
                "loop stays as the machine's ceiling.")

    def http_note(self):
        ours, nodrain = self.median("http.kept.ours"), self.median("http.kept.nodrain")
        wininet = self.median("http.kept.wininet")
        if not (ours and nodrain and wininet):
            return None
        return (f"HTTP: every `GetResponse` first drains what the device may still send from an "
                f"earlier answer, with a read of 100 ms time-out; on a quiet connection that read "
                f"waits the whole 100 ms. That is the floor of `HTTPRequest`: about 10 exchanges "
                f"per second per connection, with or without a session ({figure(1000 / ours)} ms "
                "per exchange here). The drain and its time-out "
                "are the design's and stay: a device's late tail (say, the last line of a chunked "
                "answer) is drained rather than read as the next answer. Without it the same "
                f"client on the held session does {figure(nodrain)} exchanges/s "
                f"({nodrain / wininet:.2f}× WinINet, "
                f"{self.rt.get('http.kept.nodrain', 0):.0f} round trips per exchange against "
                f"WinINet's {self.rt.get('http.kept.wininet', 0):.0f}); the public `HTTPRequest` "
                "has no way to leave the drain out.")

    def resolve_note(self):
        ours, enum = self.median("resolve.1000.ours"), self.median("resolve.1000.enum")
        rt_ours, rt_enum = self.rt.get("resolve.1000.ours"), self.rt.get("resolve.1000.enum")
        if not (ours and enum):
            return None
        text = (f"Resolve: among 1000 queues a resolution takes {ours / 1e6:,.0f} ms, the spooler's "
                f"listing {enum / 1e6:,.0f} ms, {ours / enum:.2f} times as long. A USB queue is "
                "looked up twice, each time with the listing's two calls (size, then records): "
                "once by the name given and once more by its printer name in the USB step, which "
                "refreshes the queue's names. That second look-up is the design's and stays; the "
                "thread and its wait add a few milliseconds.")
        if rt_ours and rt_enum:
            text += (f" Round trips, all threads: {rt_ours:,.0f} per resolution against "
                     f"{rt_enum:,.0f} per listing, about {rt_enum / 1000:.0f} per queue listed.")
        return text

    def devices_note(self):
        warm, cold = self.median("devices.200.ours"), self.median("devices.200.cold")
        seam_warm, seam_cold = self.seam.get("devices.200.ours"), self.seam.get("devices.200.cold")
        if not (warm and cold and seam_warm and seam_cold):
            return None
        text = (f"Devices: 200 described USB printers (400 nodes) take {warm / 1e6:,.0f} ms with the node "
                f"cache warm and {cold / 1e6:,.0f} ms with it emptied first. At the configuration manager's "
                f"seam an enumeration makes {seam_warm[0]:,.0f} calls warm, {seam_warm[0] / 200:.0f} per "
                f"device, and reads the whole tree {seam_warm[1]:.0f} times; cold it makes "
                f"{seam_cold[0]:,.0f} calls and reads the tree {seam_cold[1]:.0f} time. The difference, "
                f"{(seam_cold[0] - seam_warm[0]) / 400:.1f} calls per node, is the cache's own reading of "
                "parents and prefixes, which the warm cache doesn't repeat; what remains per device is the "
                "device's own refresh (its nodes' ids, properties and driver keys). Each call here goes "
                "through the tests' double over Wine's SetupDi, which opens the node anew, so the times "
                "measure that double as much as the library.")
        rt_warm, rt_cold = self.rt.get("devices.200.ours"), self.rt.get("devices.200.cold")
        if rt_warm and rt_cold:
            text += f" Round trips per enumeration: {rt_warm:,.0f} warm, {rt_cold:,.0f} cold."
        return text

    def records_note(self):
        ours, read = self.median("records.1000.ours"), self.median("records.1000.read")
        records = self.seam.get("records.1000.ours")
        if not (ours and read and records):
            return None
        return (f"Records: listing 1000 network device records takes {ours / 1e6:,.0f} ms, "
                f"{ours / 1000 / 1000:,.0f} µs per record, against {read / 1e6:,.0f} ms for opening and "
                f"reading each file once. Each record is read key by key through the platform's profile "
                f"functions, and each such read opens the file anew: {records[0]:.0f} opens per record "
                "(the nine keys the load needs, the network type, and one for each of the four "
                "function sections). One open per record would take reading the file whole and parsing "
                "it ourselves instead of the profile functions, which the record's format leaves to "
                "the platform.")

    def line_note(self):
        ours, append = self.rt.get("trace.line.ours"), self.rt.get("trace.line.append")
        if not ours or not append:
            return None
        return (f"Log lines: {ours:.0f} round trips per line against {append:.0f} for the "
                "open-append-close loop. The other two are the settings block's named mutex "
                "(wait and release), which guards the block whenever it is read: a module with a "
                "file to write takes it for every line. That, and opening and closing the file "
                "for each line so that a crash loses nothing, stay.")

    def scope_note(self):
        ours, before = self.rt.get("trace.scope.ours"), self.rt.get("trace.scope.before")
        if ours is None or before is None:
            return None
        return (f"Trace scopes: {ours:.1f} round trips per scope with the shortcut, {before:.0f} "
                "before it (the named mutex for the entry and for the exit line's filter). A "
                "module with nothing to write and no settings poll due decides from its own "
                "settings and the tick count, under its critical section only; the poll and the "
                "block's mutex are unchanged. The \"before\" figure is measured on the same build "
                "with a platform layer whose tick count also signals a settings poll, which "
                "disarms the shortcut at every filter.")

    def method_notes(self):
        runs = sorted({r["runs"] for r in self.results.values()})
        rt_unit = self.round_trip_us()
        notes = [
            f"Each figure is the median of {'/'.join(map(str, runs))} timed runs after a warm-up "
            "run, with the smallest and largest run beside it. The cases of one row group take "
            "turns run by run (ours, then each baseline, round after round), so that a change in "
            "the machine's load falls on all of them alike; the native figures come from their own "
            "process just before. Ratios are ours ÷ the other in speed (above 1: ours is faster; "
            "for times per operation the inverse of the times).",
            "Round trips per op: wineserver requests made by the measuring thread between two "
            "named markers, counted in a separate run of the same cases under a wineserver that "
            "traces its requests (`WINEDEBUG=+server`), divided by the operations in between. "
            "The traced run is slower, so a transfer may go pending more often there than in the "
            "timed run." + (f" One round trip costs about {rt_unit:.0f} µs here." if rt_unit else ""),
            "Streams run against a native Linux sink (for writes) and source (for reads) on "
            "loopback; the 64 KiB runs move 64 MiB each, the 512-byte runs last a second each. "
            "The raw baseline is an overlapped socket with one event for the whole run, waited "
            "on only when a call goes pending; it uses `WSASend`/`WSARecv` because an overlapped "
            "`WriteFile` on a socket that goes pending never completes under Wine. `Stream` uses "
            "the same calls. For reads there are two: the fair one sets the socket's receive "
            "buffer to the stream's 17520 bytes before it connects, the other keeps the default. "
            "The native figures are Linux `send`/`recv` against the same sink "
            "and source: the machine's loopback limit.",
            "Allocations per op: `operator new` calls of the whole process between the markers "
            "of the counting run, divided by the operations; orvane-bench.exe replaces the "
            "global allocation operators, and the library's core is linked into it. Logging is "
            "off (no settings) in every run.",
            "HTTP: all clients fetch the same 1 KiB page from one native loopback server (HTTP/1.1, "
            "keep-alive). New connection each: ours opens and closes its connection per "
            "`GetResponse`, WinINet gets a connection handle per exchange and asks for "
            "\"Connection: close\", the Winsock loop connects per exchange. Kept session: "
            "ours holds `OpenSession` on the request's client, WinINet keeps its connection "
            "handle and connection alive, the Winsock loop keeps one socket. The \"diagnostic\" "
            "row is not part of the public API.",
            "Trace: scopes of a library module (\"OrvaneAPI\") with no logging settings; a line "
            "of a module whose registry settings write informational lines with date, time, "
            "process and thread to a file, each line opened, appended and closed.",
            "Discovery: two network namespaces joined by a veth pair; in one, a responder "
            "(tests/peers/wsd_responder.py) serves 50 family devices on one IPv4 and one IPv6 "
            "address, each reply sent twice as WS-Discovery repeats datagrams; in the other, "
            "`orvane discover --json` searches by type for its full 12 s under a Wine prefix whose "
            "server runs there, and a Python script sends one Probe to each group from plain "
            "sockets. Found counts distinct identities per address family. One search each.",
            "Memory: the growth of private bytes while 1000 more streams are created and opened "
            "(each run adds 1000 to those already open). Wine leaves `PrivateUsage` at 0, so "
            "`PagefileUsage` (the process's resident anonymous memory under Wine) stands in. "
            "Memory the wineserver and the kernel keep for each socket is not in it.",
        ]
        return notes

    def discovery_note(self):
        ours, raw = self.median("discovery.found.ours"), self.median("discovery.found.raw")
        if ours is None or raw is None:
            return None
        return (f"Discovery: a Probe makes all 50 devices answer at once, each reply twice (WS-Discovery's "
                f"repeat of datagrams), about 100 datagrams of 1.2 KB in one burst to each searching "
                f"socket. The socket's receive buffer (Linux's default) holds only part of a burst and "
                f"drops the rest, so even the raw Probe found {raw:.0f} of 100. The own server sends one "
                f"Probe per local address and never repeats it, as designed, and takes each datagram "
                f"through gSOAP and a wait on the session's event; it found {ours:.0f}. What a burst "
                f"loses is lost for the search; the per-family counts are in the bench's output.")

    def text(self, seconds, timed_what):
        parts = ["### Results", "", *self.table(), "", "### Targets", "", *self.targets(), "",
                 "### Where the time goes", ""]
        for note in (self.stream_note(), self.read_note(), self.http_note(), self.resolve_note(), self.devices_note(),
                     self.records_note(), self.line_note(), self.discovery_note(),
                     self.scope_note()):
            if note:
                parts.append(f"- {note}")
        parts += ["", "### How it was measured", ""]
        parts += [f"- {n}" for n in self.method_notes()]
        if seconds:
            parts += ["", f"{timed_what}: {seconds:.0f} s."]
        return "\n".join(parts) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--native", required=True)
    parser.add_argument("--wine", required=True)
    parser.add_argument("--discovery", help="result lines of bench/discovery.sh")
    parser.add_argument("--count", required=True)
    parser.add_argument("--trace", required=True)
    parser.add_argument("--seconds", type=float, default=0)
    parser.add_argument("--timed-what", default="The run")
    parser.add_argument("--out", required=True)
    args = parser.parse_args()

    requests, moved = read_trace(args.trace)
    report = Report(read_results([args.native, args.wine] + ([args.discovery] if args.discovery else [])), read_counted(args.count, "ops"),
                    read_counted(args.count, "allocs"), requests, moved, read_seam(args.count))
    text = report.text(args.seconds, args.timed_what)
    with open(args.out, "w", encoding="utf-8") as f:
        f.write(text)
    sys.stdout.write(text)


if __name__ == "__main__":
    main()
