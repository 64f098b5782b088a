# Sourced by a test script: lighttpd as an independent web server on a free
# loopback port within 8000..8080, where an address makes HTTP requests.
# lighttpd_work is the server's folder; lighttpd_start fills @PORT@ and
# @WORK@ into a configuration template and starts the server, setting
# lighttpd_port and lighttpd_url. The server is stopped, and its folder
# removed, when the sourcing script exits.
lighttpd_work=$(mktemp -d)
lighttpd_pid=
lighttpd_stop() {
  if [ -n "$lighttpd_pid" ]; then
    kill "$lighttpd_pid" 2>/dev/null || true
    wait "$lighttpd_pid" 2>/dev/null || true
    lighttpd_pid=
  fi
  rm -rf "$lighttpd_work"
}
trap lighttpd_stop EXIT

# A free port on 127.0.0.1 within 8000..8080, tried in random order.
lighttpd_free_port() {
  python3 -c '
import random, socket
for port in random.sample(range(8000, 8081), 81):
    s = socket.socket()
    try:
        s.bind(("127.0.0.1", port))
    except OSError:
        continue
    finally:
        s.close()
    print(port)
    break
'
}

# lighttpd_start TEMPLATE: runs the server for at most 300 seconds.
lighttpd_start() {
  local conf=$lighttpd_work/lighttpd.conf
  # Another process may take the port between the probe and the bind: try again.
  for _ in 1 2 3 4 5; do
    lighttpd_port=$(lighttpd_free_port)
    sed -e "s|@PORT@|$lighttpd_port|g" -e "s|@WORK@|$lighttpd_work|g" "$1" >"$conf"
    timeout 300 lighttpd -D -f "$conf" >"$lighttpd_work/stdout.log" 2>&1 &
    lighttpd_pid=$!
    for _ in $(seq 50); do
      if curl -s -o /dev/null --max-time 1 "http://127.0.0.1:$lighttpd_port/"; then
        lighttpd_url="http://127.0.0.1:$lighttpd_port"
        return 0
      fi
      kill -0 "$lighttpd_pid" 2>/dev/null || break
      sleep 0.1
    done
    kill "$lighttpd_pid" 2>/dev/null || true
    wait "$lighttpd_pid" 2>/dev/null || true
    lighttpd_pid=
  done
  echo "lighttpd did not start"
  cat "$lighttpd_work/stdout.log" "$lighttpd_work/error.log" 2>/dev/null
  return 1
}
