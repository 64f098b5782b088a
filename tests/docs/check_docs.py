#!/usr/bin/env python3
"""Keeps docs/ honest.

  check_docs.py includes DOCS
      Every block marked <!-- include: examples/FILE --> is the file,
      character for character, and every file of DOCS/examples is shown.
      The text under <!-- readme: HEADING --> (up to the next heading) is
      the README's under that heading: the figures are kept there.
  check_docs.py trace DOCS LOG
      Every block marked <!-- trace: NAME --> (the library's log, UTF-16) or
      <!-- log: NAME --> (a program's output, UTF-8) whose NAME is the
      file's name matches the file's lines as an output block does.
  check_docs.py builds DOCS ROOT BUILD WINE_RUN
      Every block marked <!-- build: examples/FILE --> is a command line that
      builds FILE, as a host developer types it: it runs in a fresh folder
      that holds the file, the DLL, and ROOT's include and BUILD as
      "include" and "build". The program it makes must start and print its
      usage line.
  check_docs.py file DOCS NAME OUT
      Writes the block marked <!-- file: NAME --> to OUT, for a test to use
      as a reader would (a .reg file with CR LF line ends, as Windows tools
      write them).
  check_docs.py update DOCS
      Writes each file into its marked blocks, after an example changed,
      and the README's sections into theirs.
  check_docs.py outputs DOCS WINE_RUN BIN WORK NAME=VALUE...
      Every block marked <!-- output: PROGRAM ARGS --> is run in the folder
      WORK through WINE_RUN with BIN/PROGRAM.exe, the values of the documentation's
      addresses and ports replaced by the live ones (NAME=VALUE: NAME in the
      docs stands for VALUE here), and its output compared with the block's
      lines. A line "..." stands for any number of lines; times, dates,
      durations and thread numbers are compared by their form only, and a
      run of blanks as one blank.
Prints one "ok" or "FAIL" line a block, and "N passed, N failed" at the end.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

MARK = re.compile(r"^<!-- (include|output|trace|log|build|file|readme): (.+?) -->$")


def marked_blocks(docs, kind):
    """(markdown file, argument, block lines) of each marked block."""
    for page in sorted(docs.glob("*.md")):
        lines = page.read_text(encoding="utf-8").split("\n")
        for i, line in enumerate(lines):
            match = MARK.match(line)
            if not match or match.group(1) != kind:
                continue
            if i + 1 >= len(lines) or not lines[i + 1].startswith("```"):
                yield page, match.group(2), None
                continue
            end = next((j for j in range(i + 2, len(lines)) if lines[j] == "```"), None)
            yield page, match.group(2), None if end is None else lines[i + 2:end]


def section(lines, start):
    """The lines from start up to the next heading, blank edges dropped."""
    end = next((j for j in range(start, len(lines)) if lines[j].startswith("#")), len(lines))
    part = lines[start:end]
    while part and not part[0].strip():
        part = part[1:]
    while part and not part[-1].strip():
        part = part[:-1]
    return part


def readme_section(docs, heading):
    lines = (docs.parent / "README.md").read_text(encoding="utf-8").split("\n")
    return section(lines, lines.index(heading) + 1) if heading in lines else None


def readme_marks(page):
    """(line index of each readme mark, its heading) of a page."""
    lines = page.read_text(encoding="utf-8").split("\n")
    for i, line in enumerate(lines):
        match = MARK.match(line)
        if match and match.group(1) == "readme":
            yield i, match.group(2)


def check_includes(docs):
    results = []
    for page in sorted(docs.glob("*.md")):
        lines = page.read_text(encoding="utf-8").split("\n")
        for i, heading in readme_marks(page):
            wanted = readme_section(docs, heading)
            label = f"{page.name}: README's {heading}"
            if wanted is None:
                results.append((False, f"{label}: no such heading in the README"))
            else:
                same = section(lines, i + 1) == wanted
                results.append((same, f"{label}: as in the README" if same else f"{label}: differs from the README"))
    shown = set()
    for page, name, block in marked_blocks(docs, "include"):
        source = docs / name
        shown.add(source.resolve())
        label = f"{page.name}: {name}"
        if block is None:
            results.append((False, f"{label}: no fenced block under the mark"))
        elif not source.is_file():
            results.append((False, f"{label}: no such file"))
        else:
            text = source.read_text(encoding="utf-8").rstrip("\n").split("\n")
            same = text == block
            results.append((same, f"{label}: the block is the file" if same
                            else f"{label}: the block differs from the file"))
    for example in sorted((docs / "examples").iterdir()):
        if example.resolve() not in shown:
            results.append((False, f"examples/{example.name}: shown in no page"))
    return results


VOLATILE = [
    (re.compile(r"\d{4}/\d{2}/\d{2} \d{2}:\d{2}:\d{2}"), "DATE"),
    (re.compile(r"\{tid: 0x[0-9A-F]+\}"), "{tid}"),
    (re.compile(r"\[\d+\]"), "[pid]"),
    (re.compile(r"\b\d+\.\d+ s\b"), "N s"),
    (re.compile(r"\(Dur: \d+ us\)"), "(Dur: N us)"),
    # Columns widen with the live address.
    (re.compile(r"  +"), " "),
]


def normal(line):
    for pattern, replacement in VOLATILE:
        line = pattern.sub(replacement, line)
    return line.rstrip()


def matches(expected, actual):
    """Whether the lines match, "..." in expected standing for any lines."""
    want = [None if line == "..." else normal(line) for line in expected]
    have = [normal(line) for line in actual]
    # reach[j]: the first i lines of want can match the first j of have.
    reach = [True] + [False] * len(have)
    for line in want:
        if line is None:
            for j in range(1, len(have) + 1):
                reach[j] = reach[j] or reach[j - 1]
        else:
            reach = [False] + [reach[j] and have[j] == line for j in range(len(have))]
    return reach[-1]


def check_outputs(docs, wine_run, bin_dir, work, substitutions):
    results = []
    for page, command, block in marked_blocks(docs, "output"):
        label = f"{page.name}: {command}"
        if block is None or not block or block[0] != "$ " + command:
            results.append((False, f"{label}: the block does not start with \"$ {command}\""))
            continue
        live = command
        for name, value in substitutions:
            live = live.replace(name, value)
        words = re.findall(r"'[^']*'|\"[^\"]*\"|\S+", live)
        words = [w[1:-1] if w[0] in "'\"" else w for w in words]
        program = bin_dir / (words[0] + ".exe")
        if not program.is_file():
            results.append((False, f"{label}: no program {program}"))
            continue
        run = subprocess.run([wine_run, str(program)] + words[1:], cwd=work, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        text = run.stdout.decode("utf-8", "replace").replace("\r\n", "\n")
        for name, value in substitutions:
            text = text.replace(value, name)
        actual = text.rstrip("\n").split("\n") if text.strip() else []
        if matches(block[1:], actual):
            results.append((True, f"{label}: output as shown"))
        else:
            results.append((False, f"{label}: output differs; it was:\n" + "\n".join(actual)))
    return results


def update_includes(docs):
    for page in sorted(docs.glob("*.md")):
        lines = page.read_text(encoding="utf-8").split("\n")
        for i, heading in reversed(list(readme_marks(page))):
            old = section(lines, i + 1)
            lines[i + 1:i + 1 + len(old)] = readme_section(docs, heading) or old
        out = []
        i = 0
        while i < len(lines):
            out.append(lines[i])
            match = MARK.match(lines[i])
            if match and match.group(1) == "include" and i + 1 < len(lines) and lines[i + 1].startswith("```"):
                end = next(j for j in range(i + 2, len(lines)) if lines[j] == "```")
                out.append(lines[i + 1])
                out.extend((docs / match.group(2)).read_text(encoding="utf-8").rstrip("\n").split("\n"))
                i = end
                continue
            i += 1
        page.write_text("\n".join(out), encoding="utf-8")
    return 0


def check_traces(docs, log):
    """Each trace block against the library's log file (UTF-16 little
    endian), each log block against a program's output (UTF-8)."""
    data = log.read_bytes()
    kind = "trace" if data[1:2] == b"\0" else "log"
    text = data.decode("utf-16-le" if kind == "trace" else "utf-8", "replace")
    lines = text.replace("\r\n", "\n").rstrip("\n").split("\n")
    results = []
    for page, name, block in marked_blocks(docs, kind):
        label = f"{page.name}: trace {name}"
        if name != log.name:
            continue
        ok = block is not None and matches(block, lines)
        results.append((ok, f"{label}: lines as in the log" if ok else f"{label}: not in the log"))
    return results


def check_builds(docs, root, build, wine_run):
    results = []
    for page, name, block in marked_blocks(docs, "build"):
        label = f"{page.name}: build {name}"
        if block is None or len(block) != 1:
            results.append((False, f"{label}: not one command line under the mark"))
            continue
        with tempfile.TemporaryDirectory() as folder:
            here = pathlib.Path(folder)
            shutil.copy(docs / name, here)
            shutil.copy(build / "bin" / "orvane64.dll", here)
            (here / "include").symlink_to(root / "include")
            (here / "build").symlink_to(build)
            made = subprocess.run(["bash", "-c", block[0]], cwd=here, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=300)
            program = re.search(r"-o (\S+)", block[0])
            if made.returncode != 0 or program is None:
                results.append((False, f"{label}: the command failed:\n" + made.stdout.decode(errors="replace")))
                continue
            ran = subprocess.run([wine_run, str(here / program.group(1))], cwd=here, stdin=subprocess.DEVNULL,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
            usage = ran.stdout.decode(errors="replace").replace("\r", "")
            ok = ran.returncode == 2 and usage.startswith("usage: " + pathlib.Path(name).stem + " ")
            results.append((ok, f"{label}: built, and the program starts beside the DLL" if ok
                            else f"{label}: the program made did not start (exit {ran.returncode}):\n{usage}"))
    return results


def extract_file(docs, name, out):
    for _, marked, block in marked_blocks(docs, "file"):
        if marked == name and block is not None:
            end = "\r\n" if name.endswith(".reg") else "\n"
            pathlib.Path(out).write_bytes((end.join(block) + end).encode("utf-8"))
            return 0
    print(f"FAIL no block marked file: {name}")
    return 1


def main(argv):
    docs = pathlib.Path(argv[2])
    if argv[1] == "file":
        return extract_file(docs, argv[3], argv[4])
    if argv[1] == "update":
        return update_includes(docs)
    if argv[1] == "includes":
        results = check_includes(docs)
    elif argv[1] == "builds":
        results = check_builds(docs, pathlib.Path(argv[3]), pathlib.Path(argv[4]), argv[5])
    elif argv[1] == "trace":
        results = check_traces(docs, pathlib.Path(argv[3]))
    else:
        pairs = [a.split("=", 1) for a in argv[6:]]
        results = check_outputs(docs, argv[3], pathlib.Path(argv[4]), argv[5], pairs)
    for ok, text in results:
        print(("ok   " if ok else "FAIL ") + text)
    failed = sum(1 for ok, _ in results if not ok)
    print(f"{len(results) - failed} passed, {failed} failed")
    return 1 if failed or not results else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
