#!/usr/bin/env bash
# orvane-devsim.exe stops cleanly on Ctrl-C: Wine hands SIGINT to the console
# control handler, whether it comes from kill (output on a file) or from ^C
# typed on a terminal (a pseudo-terminal made by util-linux script). The log
# ends with "stopping: Ctrl-C" and "stopped", and the exit code is 0.
# Arguments: the wine-run script and orvane-devsim.exe.
set -euo pipefail
wine_run=$(realpath "$1")
devsim=$(realpath "$2")
. "$(dirname "$0")/devsim.sh"
. "$(dirname "$0")/../peers/check.sh"

devsim_start "$wine_run" "$devsim" --seconds 60
devsim_stop
check signal-exit 0 "$devsim_status"
check signal-log $'stopping: Ctrl-C\nstopped' "$(devsim_log | tail -n 2)"

# ^C on a terminal: script's input comes from a fifo that this script holds
# open, and ^C goes in once the simulator listens.
mkfifo "$devsim_work/keys"
script -qfec "$(printf '%q ' "$wine_run" "$devsim" --job-port 0 --http-port 0 --seconds 60)" /dev/null \
  <"$devsim_work/keys" >"$devsim_work/pty.txt" &
terminal_pid=$!
exec 3>"$devsim_work/keys"
for _ in $(seq 100); do
  grep -q 'http port listening' "$devsim_work/pty.txt" && break
  sleep 0.1
done
printf '\003' >&3
status=0
wait "$terminal_pid" || status=$?
exec 3>&-
check terminal-exit 0 "$status"
# The console echoes ^C before the log line, and renders with escape sequences.
check terminal-log $'^Cstopping: Ctrl-C\nstopped' \
  "$(sed -e 's/\x1b\[[0-9;?]*[A-Za-z]//g' -e 's/\r//g' "$devsim_work/pty.txt" | tail -n 2)"
exit $fail
