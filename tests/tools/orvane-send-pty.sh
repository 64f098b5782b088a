#!/usr/bin/env bash
# orvane send to orvane-devsim.exe with its output on a pseudo-terminal (util-
# linux script): Wine gives the program a console there, so the progress bar
# is drawn in place with bytes, percent and rate. With the output on a pipe
# the same command writes only its closing line.
# Arguments: the wine-run script, orvane.exe and orvane-devsim.exe.
set -euo pipefail
wine_run=$(realpath "$1")
orvane=$(realpath "$2")
devsim=$(realpath "$3")
. "$(dirname "$0")/devsim.sh"
. "$(dirname "$0")/../peers/check.sh"
devsim_start "$wine_run" "$devsim" --seconds 120
device=127.0.0.1:$devsim_job_port
size=$((3 * 1024 * 1024))
head -c "$size" /dev/urandom >"$devsim_work/job.prn"

# Wine's console renders the screen to the terminal with escape sequences:
# a cursor step right stands for as many blanks, the rest is dropped.
on_pty() {
  script -qfec "$(printf '%q ' "$@")" /dev/null \
    | perl -pe 's/\e\[(\d*)C/" " x ($1 || 1)/ge; s/\e\[[0-9;?]*[A-Za-z]//g'
}
status=0
on_pty "$wine_run" "$orvane" send "$device" "$devsim_work/job.prn" >"$devsim_work/pty.txt" || status=$?
check pty-exit 0 "$status"
# Each drawing begins with a carriage return; the output's line ends are \r\n.
frames=$(tr -d '\n' <"$devsim_work/pty.txt" | tr '\r' '\n' | grep -v '^$')
bar='\[[#-]{30}\] +[0-9]{1,3}%  [0-9]+ / '$size' bytes  ([0-9]+\.[0-9]|-) MB/s'
check pty-every-frame-is-a-bar 0 "$(grep -Evc "^$bar\$|^sent " <<<"$frames" || true)"
check pty-frames-before-the-end yes "$( (grep -Eq '^\[#*-+\] +[0-9]{1,2}%  [0-9]+ / ' <<<"$frames") && echo yes || echo no)"
check pty-last-frame 1 "$(grep -Ec "^\[#{30}\] 100%  $size / $size bytes  ([0-9]+\.[0-9]|-) MB/s\$" \
  <<<"$(grep '^\[' <<<"$frames" | tail -n 1)")"
check pty-closing-line 1 "$(grep -Ec "^sent $size bytes to $device in [0-9]+\.[0-9]{2} s\$" <<<"$frames")"
devsim_wait_for "job 1 stored $size bytes"
check pty-job-stored yes "$(cmp -s "$devsim_work/job.prn" "$devsim_work/devsim-jobs/job-0001.prn" && echo yes || echo no)"

# On a pipe: the closing line alone, with the \r\n of a text-mode line end.
piped=$("$wine_run" "$orvane" send "$device" "$devsim_work/job.prn")
check pipe-closing-line-only yes \
  "$([[ $piped =~ ^sent\ $size\ bytes\ to\ $device\ in\ [0-9]+\.[0-9]{2}\ s$'\r'$ ]] && echo yes || echo "$piped")"
exit $fail
