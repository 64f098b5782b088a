#!/usr/bin/env bash
# A host names the virtual USB printer by its print queue: orvane-devsim
# --usb plays the device at the paths of the tree usb-queue-demo.exe
# registers, the host sends a random job through the queue, reads the
# system description and fetches the status page across the configuration
# function, and waits for the interrupt the device raises there. The job
# must be stored byte for byte, the description and the page be the
# simulator's, and the interrupt the one it logs.
# Run by `make demo` and by ctest. Argument: the build folder.
set -euo pipefail
build=$(realpath "${1:-build}")
wine_run="$build/wine-run"
bin="$build/bin"
# The simulator is stopped with Ctrl-C, and its folder removed, on exit.
. "$(dirname "$(realpath "$0")")/../../tools/devsim.sh"
. "$(dirname "$(realpath "$0")")/../pty.sh"
work=$devsim_work

paths=$("$wine_run" "$bin/usb-queue-demo.exe" --paths | sed 's/\r$//')
print_path=$(sed -n 's/^print //p' <<<"$paths")
config_path=$(sed -n 's/^config //p' <<<"$paths")
if [ -z "$print_path" ] || [ -z "$config_path" ]; then
  echo "usb-queue-demo.exe gave no device paths: $paths"
  exit 1
fi

(cd "$work" && exec "$wine_run" "$bin/orvane-devsim.exe" --usb --path "$print_path" --config-path "$config_path" \
   --jobs usb-jobs --interrupt 7 --seconds 120 >devsim.log 2>&1) &
devsim_pid=$!
devsim_wait_for "jobs go to " || { devsim_log; exit 1; }
devsim_log

size=$((1024 * 1024 + RANDOM))
head -c "$size" /dev/urandom >"$work/usb-job.prn"
# On a pseudo-terminal, where the host draws the progress bar of its job;
# host.log holds its lines without the bar's drawings.
status=0
on_pty "$work/host.raw" "$wine_run" "$bin/usb-queue-demo.exe" "$work/usb-job.prn" || status=$?
pty_lines "$work/host.raw" >"$work/host.lines"
grep -v '^\[' "$work/host.lines" >"$work/host.log" || true
if [ ! -t 1 ]; then
  sed -n '/^\[/q;p' "$work/host.lines"
fi
[ "$status" = 0 ] || { echo "usb-queue-demo.exe ended with exit code $status"; devsim_log; exit 1; }
pty_show_bar "$work/host.lines"
if [ ! -t 1 ]; then
  sed -n '/^\[/,$p' "$work/host.lines" | grep -v '^\['
fi

devsim_wait_for "usb print function received $size bytes in all" || { devsim_log; exit 1; }
cmp -s "$work/usb-job.prn" "$work/usb-jobs/usb-print.prn" \
  || { echo "the job stored by the USB printer differs from the file sent"; exit 1; }
echo "the USB printer stored usb-print.prn: $size bytes, identical to the file sent by queue name"
grep -qx 'usb-queue-demo: GetValue over USB: 1.3.6.1.2.1.1.1.0 = "Orvane virtual printer"' "$work/host.log" \
  || { echo "the system description was not read over USB"; exit 1; }
devsim_wait_for "usb http GET /mib?get=1.3.6.1.2.1.1.1.0: 200" || { devsim_log; exit 1; }
grep -q '^usb-queue-demo: GET /status over USB through CreateHTTPRequest(80): HTTP 200, [0-9]* bytes, <h1>Orvane virtual printer</h1>$' \
  "$work/host.log" || { echo "the status page was not read over USB"; exit 1; }
devsim_wait_for "usb http GET /status: 200" || { devsim_log; exit 1; }
grep -q '^usb-queue-demo: WaitForNotification(30000): the device raised an interrupt after [0-9.]* s$' "$work/host.log" \
  || { echo "no interrupt was waited for"; exit 1; }
devsim_wait_for "usb interrupt 7 raised" || { devsim_log; exit 1; }

devsim_stop
devsim_log | tail -n 3
[ "$devsim_status" = 0 ] || { echo "the virtual USB printer ended with exit code $devsim_status"; exit 1; }
