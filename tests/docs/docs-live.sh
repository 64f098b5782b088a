#!/usr/bin/env bash
# The documentation's examples and tool outputs against the virtual printers:
# orvane-devsim.exe, discoverable, on a loopback address of this run, with
# its raw port at 9100 and its web site at 8080 (and at 80, where it also
# answers the directed discovery Probe; root only, as CI runs), and a print
# queue on a standard TCP/IP port that points at it. The pages show the
# printer at 127.77.0.10 and the queue's port as DOCS_IP; each marked
# block's command runs here with the live names, and its output must be the
# block's. The virtual USB printer (orvane-devsim --usb) plays beside it.
# Every job the printers stored must be the file sent.
# Arguments: the build folder, the docs folder.
set -euo pipefail
build=$(realpath "$1")
docs=$(realpath "$2")
wine_run=$build/wine-run
bin=$build/bin
here=$(dirname "$(realpath "$0")")
. "$here/../tools/devsim.sh"
. "$here/../peers/check.sh"
work=$devsim_work
port_name=DOCS_IP_$$
queue="Orvane Docs Printer"

reg_key='HKCU\Software\ZQ\QV\Logging\first-job.exe'
usb_pid=
log=
cleanup() {
  [ -z "$log" ] || rm -f "$log"
  [ -z "$usb_pid" ] || kill -KILL "$usb_pid" 2>/dev/null || true
  "$wine_run" reg delete "$reg_key" /f </dev/null >/dev/null 2>&1 || true
  "$wine_run" "$bin/orvane.exe" log off --process orvane.exe </dev/null >/dev/null 2>&1 || true
  "$wine_run" "$bin/orvane-queue.exe" remove "$queue" "$port_name" </dev/null >/dev/null 2>&1 || true
  devsim_cleanup
}
trap cleanup EXIT

# The tool page's command line starts it, on a loopback address of this
# run, so that the fixed ports are free.
python3 "$here/check_docs.py" file "$docs" start-devsim.sh "$work/start-devsim.sh" || exit 1
start_line=$(cat "$work/start-devsim.sh")
case $start_line in
  "wine orvane-devsim.exe --bind 127.77.0.10 "*) ;;
  *) echo "FAIL the tool page starts the printer otherwise: $start_line"; exit 1 ;;
esac
eval "start_words=(${start_line#wine orvane-devsim.exe })"
for attempt in $(seq 10); do
  address=127.77.$((1 + RANDOM % 250)).$((11 + RANDOM % 240))
  # A shorter idle time ends each job sooner.
  (cd "$work" && exec "$wine_run" "$bin/orvane-devsim.exe" "${start_words[@]//127.77.0.10/$address}" --idle 300 \
     >devsim.log 2>&1) &
  devsim_pid=$!
  for _ in $(seq 100); do
    grep -q '^http port listening' "$work/devsim.log" 2>/dev/null && break 2
    kill -0 "$devsim_pid" 2>/dev/null || break
    sleep 0.1
  done
  devsim_stop
done
grep -q '^http port listening' "$work/devsim.log" || { echo "FAIL orvane-devsim did not start:"; devsim_log; exit 1; }

# The virtual USB printer, played from a folder of its own.
mkdir "$work/usb"
(cd "$work/usb" && exec "$wine_run" "$bin/orvane-devsim.exe" --usb --jobs usb-jobs --seconds 120 \
   >usb-devsim.log 2>&1) &
usb_pid=$!
for _ in $(seq 100); do
  grep -q '^jobs go to' "$work/usb/usb-devsim.log" 2>/dev/null && break
  sleep 0.1
done
grep -q '^jobs go to' "$work/usb/usb-devsim.log" || { echo "FAIL orvane-devsim --usb did not start:"; cat "$work/usb/usb-devsim.log"; exit 1; }

"$wine_run" "$bin/orvane-queue.exe" add "$queue" "$port_name" "$address" 9100 </dev/null >/dev/null
# The log file that the logging page's session writes, new for this run.
log=$("$wine_run" winepath -u 'C:\orvane-docs.log' </dev/null 2>/dev/null | tr -d '\r')
[ -n "$log" ] || { echo "FAIL no Unix name for C:\orvane-docs.log"; exit 1; }
rm -f "$log"
head -c 65536 /dev/urandom >"$work/job.prn"

# "wsdapi.dll" unloadable, as on a system without the provider: the
# library's own WS-Discovery client answers `orvane discover`.
export ORVANE_DLL_OVERRIDES=wsdapi=d
# The documentation's address and port name stand for this run's.
python3 "$here/check_docs.py" outputs "$docs" "$wine_run" "$bin" "$work" \
  "127.77.0.10=$address" "DOCS_IP=$port_name" || fail=1

# The virtual printer's lines, under the documentation's address and with
# its folder, this run's, as Z:\tmp\work.
mkdir "$work/lines"
lines=$(sed 's/\r$//' "$work/devsim.log")
lines=${lines//"Z:${work//\//\\}"/'Z:\tmp\work'}
printf '%s\n' "${lines//"$address"/127.77.0.10}" >"$work/lines/devsim.log"
python3 "$here/check_docs.py" trace "$docs" "$work/lines/devsim.log" || fail=1

# The virtual USB printer's lines up to Ctrl-C, and its job.
kill -INT "$usb_pid"
wait "$usb_pid" || { echo "FAIL orvane-devsim --usb ended with exit code $?"; fail=1; }
usb_pid=
python3 "$here/check_docs.py" trace "$docs" "$work/usb/usb-devsim.log" || fail=1
check "usb-print.prn is job.prn" same "$(cmp -s "$work/job.prn" "$work/usb/usb-jobs/usb-print.prn" && echo same || echo differs)"

# The build command lines shown, typed as a host developer would.
python3 "$here/check_docs.py" builds "$docs" "$(realpath "$here/../..")" "$build" "$wine_run" || fail=1

# The traces shown are lines of the log that session wrote.
[ -f "$log" ] || { echo "FAIL the logging session wrote no log file $log"; fail=1; }
[ -f "$log" ] && { python3 "$here/check_docs.py" trace "$docs" "$log" || fail=1; }

# The logging page's registry file, imported with `reg import` as a reader
# would, then a run of the first example: its log below %TEMP% holds the
# lines shown.
temp_win=$("$wine_run" cmd /c echo %TEMP% </dev/null 2>/dev/null | tr -d '\r')
temp_unix=$("$wine_run" winepath -u "$temp_win" </dev/null 2>/dev/null | tr -d '\r')
[ -d "$temp_unix" ] || { echo "FAIL no %TEMP% folder in the Wine prefix"; exit 1; }
rm -f "$temp_unix/orvane.log"
python3 "$here/check_docs.py" file "$docs" logging.reg "$work/logging.reg"
(cd "$work" && "$wine_run" reg import logging.reg </dev/null >/dev/null 2>&1) || { echo "FAIL reg import logging.reg"; fail=1; }
check "first job with the log on" "sent 65536 bytes to $address" \
  "$(cd "$work" && "$wine_run" "$bin/first-job.exe" --ip "$address" job.prn </dev/null 2>&1 | tr -d '\r')"
"$wine_run" reg delete "$reg_key" /f </dev/null >/dev/null 2>&1
if [ -f "$temp_unix/orvane.log" ]; then
  python3 "$here/check_docs.py" trace "$docs" "$temp_unix/orvane.log" || fail=1
else
  echo "FAIL the imported settings wrote no $temp_unix/orvane.log"; fail=1
fi
rm -f "$temp_unix/orvane.log"

# Each job sent to the network printer was stored byte for byte: one for
# each "sent" line the pages show for it, and the logging run's.
sleep 0.5
sent=$(grep -h '^sent 65536 bytes to [^u]' "$docs"/*.md | wc -l)
check "jobs stored" $((sent + 1)) "$(ls "$work/devsim-jobs" | wc -l)"
for job in "$work"/devsim-jobs/*; do
  [ -e "$job" ] || continue
  check "$(basename "$job") is job.prn" same "$(cmp -s "$work/job.prn" "$job" && echo same || echo differs)"
done
exit $fail
