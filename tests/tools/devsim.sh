# Sourced by a script: orvane-devsim.exe on loopback, run from a folder of
# its own ($devsim_work) that holds its log (devsim.log) and its jobs
# (devsim-jobs). The simulator is stopped with Ctrl-C, and its folder
# removed, when the sourcing script exits, also on a signal.
devsim_work=$(mktemp -d)
devsim_pid=
devsim_status=
devsim_cleanup() {
  devsim_stop
  rm -rf "$devsim_work"
}
trap devsim_cleanup EXIT
trap "exit 143" TERM INT HUP

# devsim_start WINE_RUN DEVSIM [OPTION...]: a job port within 8100..8999 and
# a web port within 8000..8080, where the library makes streams and HTTP
# requests; another is tried when a port is taken. Sets devsim_pid,
# devsim_job_port and devsim_http_port once the web port listens.
devsim_start() {
  local wine_run=$1 devsim=$2 attempt
  shift 2
  for attempt in $(seq 0 19); do
    devsim_job_port=$((8100 + (RANDOM + attempt * 37) % 900))
    devsim_http_port=$((8000 + (RANDOM + attempt * 13) % 81))
    (cd "$devsim_work" && exec "$wine_run" "$devsim" --job-port "$devsim_job_port" \
       --http-port "$devsim_http_port" "$@" >devsim.log 2>&1) &
    devsim_pid=$!
    for _ in $(seq 100); do
      grep -q '^http port listening' "$devsim_work/devsim.log" 2>/dev/null && return 0
      kill -0 "$devsim_pid" 2>/dev/null || break
      sleep 0.1
    done
    devsim_stop
  done
  echo "orvane-devsim did not start:"
  cat "$devsim_work/devsim.log"
  return 1
}

# devsim_stop: Ctrl-C (SIGINT, which Wine hands to the console control
# handler), then a kill if it still runs after 10 s. Sets devsim_status to
# its exit code.
devsim_stop() {
  [ -n "$devsim_pid" ] || return 0
  kill -INT "$devsim_pid" 2>/dev/null || true
  for _ in $(seq 100); do
    kill -0 "$devsim_pid" 2>/dev/null || break
    sleep 0.1
  done
  kill -KILL "$devsim_pid" 2>/dev/null || true
  devsim_status=0
  wait "$devsim_pid" 2>/dev/null || devsim_status=$?
  devsim_pid=
}

# devsim_wait_for TEXT: waits up to 10 s for a log line that begins with TEXT.
devsim_wait_for() {
  for _ in $(seq 100); do
    grep -q "^$1" "$devsim_work/devsim.log" && return 0
    sleep 0.1
  done
  echo "orvane-devsim did not log '$1'"
  return 1
}

# The simulator's log without the carriage returns of its line ends.
devsim_log() { sed 's/\r$//' "$devsim_work/devsim.log"; }
