# Sourced by a script: a program run on a pseudo-terminal (util-linux
# script), where Wine gives it a console, so that it draws its progress bar,
# and what it painted turned back into lines.

# on_pty RAW COMMAND...: runs COMMAND on a pseudo-terminal and keeps its
# output in RAW; when our own output is a terminal it is seen as it comes.
# The exit code is the command's. The terminal is made wide: Wine's console
# breaks its lines at the terminal's width.
on_pty() {
  local raw=$1 command
  shift
  command="stty cols 1000 rows 50 2>/dev/null; exec $(printf '%q ' "$@")"
  if [ -t 1 ]; then
    script -qfec "$command" /dev/null | tee "$raw"
  else
    script -qfec "$command" /dev/null >"$raw"
  fi
}

# pty_lines RAW: what was painted, a line for each line written and for each
# drawing of a bar (a drawing begins with a carriage return). Wine's console
# paints with escape sequences: a cursor step right stands for as many
# blanks, the rest is dropped.
pty_lines() {
  perl -pe 's/\e\[(\d*)C/" " x ($1 || 1)/ge; s/\e\[[0-9;?]*[A-Za-z]//g' "$1" | tr -d '\n\000' | tr '\r' '\n' \
    | sed 's/ *$//' | grep -v '^$' || true
}

# pty_show_bar LINES: when our output is no terminal (where the bar was seen
# as drawn), the first three drawings of the bar in the file LINES and its
# last, each on a line. Fails unless the last drawing is a full bar.
pty_show_bar() {
  local drawings last
  drawings=$(grep -c '^\[' "$1" || true)
  last=$(grep '^\[' "$1" | tail -n 1)
  if [ ! -t 1 ]; then
    echo "(on a pseudo-terminal: the bar was drawn $drawings times; the first three and the last drawing)"
    grep '^\[' "$1" | sed -n '1,3p'
    echo "..."
    echo "$last"
  fi
  grep -Eq '^\[#{30}\] 100%  ([0-9]+) / \1 bytes  ([0-9]+\.[0-9]|-) MB/s$' <<<"$last" \
    || { echo "no full progress bar was drawn: '$last'" >&2; return 1; }
}
