#!/usr/bin/env bash
# The requests of ProbeWire, captured and read back by Python's XML parser.
# Usage: wire-xml.sh WINE-RUN DISCOVERY-TESTS-EXE
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
capture=$(mktemp -d)
trap 'rm -rf "$capture"' EXIT
ORVANE_WSD_CAPTURE="Z:${capture//\//\\}" "$1" "$2" --gtest_filter='ProbeWire.*' >"$capture/run.log" 2>&1 || {
  cat "$capture/run.log"; exit 1; }
python3 "$here/wire_xml.py" "$capture"
