#!/usr/bin/env bash
# The README's logging example, imported with `reg import` as a user would,
# then a run of example-host.exe, a host on the public header and the DLL:
# the log file must be UTF-16 little endian without a byte order mark,
# readable with iconv, and hold the header and the stream's lines of the
# "IOCommon" module only. Then the file name moves to the process key, as
# the README says, and every module of the process logs.
# Arguments: the wine-run script, example-host.exe.
set -euo pipefail
wine_run=$(realpath "$1")
host=$(realpath "$2")
work=$(mktemp -d)
process_key='HKCU\Software\ZQ\QV\Logging\example-host.exe'
logging_key='HKCU\Software\ZQ\QV\Logging'
wine_text() { "$wine_run" "$@" </dev/null 2>/dev/null | tr -d '\r'; }

# The log goes to a folder of its own below the Wine user's %TEMP%.
folder=orvane-host-log-$$
temp_win=$(wine_text cmd /c echo %TEMP%)
temp_unix=$(wine_text winepath -u "$temp_win")
[ -n "$temp_win" ] && [ -d "$temp_unix" ] || { echo "no %TEMP% folder in the Wine prefix"; exit 1; }
log=$temp_unix/$folder/orvane.log

cleanup() {
  "$wine_run" reg delete "$process_key" /f </dev/null >/dev/null 2>&1 || true
  # The logging key itself goes too, unless somebody else has values there.
  if [ -z "$(wine_text reg query "$logging_key" /s | grep . || true)" ]; then
    "$wine_run" reg delete "$logging_key" /f </dev/null >/dev/null 2>&1 || true
  fi
  rm -rf "$work" "${temp_unix:?}/$folder"
}
trap cleanup EXIT
trap "exit 143" TERM INT HUP
mkdir -p "$temp_unix/$folder"

. "$(dirname "$0")/../peers/check.sh"

# The README's example, the file name kept below %TEMP%.
cat >"$work/logging.reg" <<EOF
Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\\Software\\ZQ\\QV\\Logging\\example-host.exe]
"LogCategories"=dword:40000ff0
"LogInfoDetailLevel"=dword:00000003
"LogOptions"=dword:0f000400

[HKEY_CURRENT_USER\\Software\\ZQ\\QV\\Logging\\example-host.exe\\IOCommon]
"LogFileName"="%TEMP%\\\\$folder\\\\orvane.log"
EOF
readme_settings() {
  (cd "$work" && "$wine_run" reg import logging.reg </dev/null >/dev/null)
}
# The same, with the file name moved from the module key to the process key.
process_settings() {
  readme_settings
  "$wine_run" reg delete "$process_key\\IOCommon" /v LogFileName /f </dev/null >/dev/null 2>&1
  "$wine_run" reg add "$process_key" /v LogFileName /t REG_SZ /d "%TEMP%\\$folder\\orvane.log" /f \
    </dev/null >/dev/null 2>&1
}

# Makes the settings with function $1 and runs the host once. Test programs
# share the prefix's registry, and a log test elsewhere may remove the
# logging key meanwhile: the run is then made again, up to three times.
run_host() {
  local status attempt
  for attempt in 1 2 3; do
    "$1"
    rm -f "$log"
    status=0
    (cd "$work" && timeout 60 "$wine_run" "$host" </dev/null >"$work/host.out" 2>"$work/host.err") || status=$?
    wine_text reg query "$process_key" >/dev/null && break
    echo "note: another program removed the logging key during run $attempt"
  done
  check "host exit status" 0 "$status"
  check "host answer" "device answered: JOB RECEIVED 87 BYTES" "$(tr -d '\r' <"$work/host.out" | grep '^device answered')"
  check "host done" "done" "$(tr -d '\r' <"$work/host.out" | tail -n 1)"
  [ "$status" = 0 ] || cat "$work/host.out" "$work/host.err"
  [ -f "$log" ] || { echo "FAIL no log file $log"; exit 1; }
}

run_host readme_settings
check "imported file name" "LogFileName    REG_SZ    %TEMP%\\$folder\\orvane.log" \
  "$(wine_text reg query "$process_key\\IOCommon" /v LogFileName | sed -n 's/^ *\(LogFileName.*\)$/\1/p')"

# UTF-16 little endian, no byte order mark, whole CR LF lines.
check "no byte order mark" "32 00" "$(head -c 2 "$log" | od -An -tx1 | xargs)"
check "even length" 0 $(($(stat -c %s "$log") % 2))
iconv -f UTF-16LE -t UTF-8 "$log" >"$work/log.txt" || { echo "FAIL iconv -f UTF-16LE"; exit 1; }
iconv -f UTF-8 -t UTF-16LE "$work/log.txt" | cmp -s - "$log" && echo "ok   UTF-16LE round trip" \
  || { echo "FAIL the file changes through UTF-8 and back"; fail=1; }
check "every line ends with CR LF" "$(wc -l <"$work/log.txt")" "$(grep -c $'\r$' "$work/log.txt")"
check "last line ended" "0d 00 0a 00" "$(tail -c 4 "$log" | od -An -tx1 | xargs)"
sed -i 's/\r$//' "$work/log.txt"

# Each line starts with date, time, process and thread (options 0x0f000000).
pid=$(sed -n 's/^.*(++)       Process ID: \[\([0-9]*\)\] $/\1/p' "$work/log.txt")
[ -n "$pid" ] || { echo "FAIL no Process ID line"; cat "$work/log.txt"; exit 1; }
prefix="^[0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} \\[$pid\\] \\{tid: 0x[0-9A-F]{4,}\\} "
check "prefix on every line" "$(wc -l <"$work/log.txt")" "$(grep -cE "$prefix" "$work/log.txt")"
sed -E "s|$prefix||" "$work/log.txt" >"$work/lines.txt"

# The header, then the stream's lines of "IOCommon" alone: no other module,
# no informational line above level 3 (the write's "(I4)" line is dropped).
host_win=$(wine_text winepath -w "$host")
check "header" "$(printf '%s\n' \
  "(++) Module File Name: $host_win ($(stat -c %s "$host") bytes)" \
  "(++)     Command Line: \"$host_win\"" \
  "(++)     File Version: <no version info>" \
  "(++)       Process ID: [$pid] ")" "$(sed -n 1,4p "$work/lines.txt")"
check "built on" 1 "$(sed -n 5p "$work/lines.txt" | grep -cE '^\(\+\+\)         Built on: [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}$')"
check "expanded file name" "(++)    Log File Name: <${temp_win,,}\\$folder\\orvane.log>" "$(sed -n 6p "$work/lines.txt")"
check "stream lines" "$(printf '%s\n' \
  "(->) CIOCommon::SetReadTimeout" \
  "(<-) CIOCommon::SetReadTimeout" \
  "(->) CIOCommon::Write" \
  "(<-) CIOCommon::Write" \
  "(->) CIOCommon::Read, ulBufferSize=255" \
  "(<-) CIOCommon::Read")" "$(sed -n '7,$p' "$work/lines.txt")"

# The file name moved to the process key: every module of the process logs,
# each public operation of the stream path with its entry and exit.
run_host process_settings
iconv -f UTF-16LE -t UTF-8 "$log" | sed -E 's/\r$//; s/^[^(]*//' >"$work/lines.txt"
expected=(
  "(->) Orvane::CreateAddressFromIPAddress" "(<-) Orvane::CreateAddressFromIPAddress"
  "(->) QVNetAddress::CreateStream" "(->) CIONetwork::Initialize, 127.0.0.1:" "(<-) QVNetAddress::CreateStream"
  "(->) CIOCommon::SetReadTimeout" "(<-) CIOCommon::SetReadTimeout"
  "(->) QVStream::Write" "(->) QVStream::Open" "(I0) WSAConnect succeeded" "(<-) QVStream::Open"
  "(->) CIOCommon::Write" "(<-) CIOCommon::Write" "(<-) QVStream::Write"
  "(->) QVStream::Read" "(->) CIOCommon::Read, ulBufferSize=255" "(<-) CIOCommon::Read" "(<-) QVStream::Read"
  "(->) QVStream::Close" "(I0) CIONetwork::Close: shutting down socket" "(<-) QVStream::Close"
  "(I0) Orvane::QVStream (" "(->) QVStream::~QVStream" "(<-) QVStream::~QVStream"
)
# Each expected text starts a line, in this order.
missing=$(printf '%s\n' "${expected[@]}" | awk '
  NR == FNR { want[n++] = $0; next }
  i < n && index($0, want[i]) == 1 { i++ }
  END { if (i < n) print want[i] }' - "$work/lines.txt")
if [ -n "$missing" ]; then
  echo "FAIL every module: missing, or out of order: $missing"
  fail=1
  cat "$work/lines.txt"
else
  echo "ok   every module: the stream path's entries and exits in order"
fi
exit $fail
