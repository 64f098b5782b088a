#!/usr/bin/env bash
# HTTPS to a device with a self-signed certificate, against real servers on
# loopback: `openssl s_server` on the fixed ports 443 and 7627, each serving
# complete HTTP responses from a folder, a listener that accepts TCP and
# never answers TLS, and a TLS server that answers with the request it got.
# Runs https_tests.exe under Wine with the ports in the environment, then a
# host on the public header and the DLL (HttpFetch.exe) beside curl.
# Arguments: the wine-run script, the test binary and HttpFetch.exe.
# Exit 77 (skipped) only when the fixed ports cannot be bound.
set -euo pipefail
wine_run=$(realpath "$1")
tests=$(realpath "$2")
fetch=$(realpath "$3")

# The ports are fixed: runs on this machine take turns. Children do not
# inherit the lock (the Wine server outlives the run).
exec 9>"${TMPDIR:-/tmp}/orvane-https-ports.lock"
if ! flock -w 300 9; then
  echo "https: another run held the ports for 5 minutes"
  exit 1
fi

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

# The device's certificate: self-signed, with a name that is not the address.
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=orvane-test-device" \
  -keyout "$work/key.pem" -out "$work/cert.pem" 2>/dev/null

# What the device answers, whole responses as s_server -HTTP sends them.
mkdir "$work/www"
response() {  # file, status line, content type, body
  printf '%s\r\nContent-Type: %s\r\nX-Device: orvane-https\r\nContent-Length: %d\r\n\r\n%s' \
    "$2" "$3" "${#4}" "$4" >"$work/www/$1"
}
response status "HTTP/1.1 200 OK" text/plain "hello from the device"
response 401 "HTTP/1.1 401 Unauthorized" text/plain "denied"
long=$(for i in $(seq 0 49); do printf '%04d:abcdefghijklmno\n' "$i"; done)
response long "HTTP/1.1 200 OK" text/plain "$long"$'\n'

listening() {  # port: something accepts connections on it
  python3 - "$1" <<'PY'
import socket, sys
s = socket.socket()
s.settimeout(1)
sys.exit(0 if s.connect_ex(("127.0.0.1", int(sys.argv[1]))) == 0 else 1)
PY
}

serve() {  # port
  (cd "$work/www" && exec openssl s_server -HTTP -accept "127.0.0.1:$1" \
     -cert "$work/cert.pem" -key "$work/key.pem" >"$work/s_server-$1.log" 2>&1 9>&-) &
  local pid=$!
  pids+=("$pid")
  for _ in $(seq 100); do
    if ! kill -0 "$pid" 2>/dev/null; then
      echo "https: SKIPPED, cannot serve on 127.0.0.1:$1:"
      cat "$work/s_server-$1.log"
      exit 77
    fi
    if listening "$1"; then
      sleep 0.3
      kill -0 "$pid" 2>/dev/null && return 0
    fi
    sleep 0.1
  done
  echo "https: s_server did not start on port $1"
  cat "$work/s_server-$1.log"
  exit 1
}
serve 443
serve 7627

# Accepts TCP, holds the connections, says nothing.
python3 - "$work/silent-port" 9>&- <<'PY' &
import socket, sys
s = socket.socket()
s.bind(("127.0.0.1", 0))
s.listen(16)
with open(sys.argv[1] + ".tmp", "w") as f:
    f.write(str(s.getsockname()[1]))
import os
os.rename(sys.argv[1] + ".tmp", sys.argv[1])
held = []
while True:
    held.append(s.accept()[0])
PY
pids+=($!)
for _ in $(seq 100); do
  [ -s "$work/silent-port" ] && break
  sleep 0.1
done
[ -s "$work/silent-port" ] || { echo "https: the silent listener did not start"; exit 1; }

# Answers each request with the request's own bytes as the body: what
# went on the wire.
python3 - "$work/echo-port" "$work/cert.pem" "$work/key.pem" 9>&- <<'PY' &
import os, socket, ssl, sys
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(sys.argv[2], sys.argv[3])
s = socket.socket()
s.bind(("127.0.0.1", 0))
s.listen(16)
with open(sys.argv[1] + ".tmp", "w") as f:
    f.write(str(s.getsockname()[1]))
os.rename(sys.argv[1] + ".tmp", sys.argv[1])
while True:
    c = s.accept()[0]
    c.settimeout(10)
    try:
        t = context.wrap_socket(c, server_side=True)
        request = b""
        while b"\r\n\r\n" not in request:
            data = t.recv(4096)
            if not data:
                raise EOFError("closed before the request ended")
            request += data
        head = request.split(b"\r\n\r\n", 1)[0]
        length = 0
        for line in head.split(b"\r\n")[1:]:
            name, _, value = line.partition(b":")
            if name.strip().lower() == b"content-length":
                length = int(value)
        while len(request) - len(head) - 4 < length:
            data = t.recv(4096)
            if not data:
                break
            request += data
        t.sendall(b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n"
                  b"Content-Length: %d\r\n\r\n" % len(request) + request)
        t.close()
    except Exception as e:  # the client refusing the certificate, for one
        print("echo:", e, flush=True)
        c.close()
PY
pids+=($!)
for _ in $(seq 100); do
  [ -s "$work/echo-port" ] && break
  sleep 0.1
done
[ -s "$work/echo-port" ] || { echo "https: the echo server did not start"; exit 1; }

export ORVANE_HTTPS_PORT=443 ORVANE_HTTPS_ALT_PORT=7627
ORVANE_SILENT_TLS_PORT=$(cat "$work/silent-port")
ORVANE_ECHO_TLS_PORT=$(cat "$work/echo-port")
export ORVANE_SILENT_TLS_PORT ORVANE_ECHO_TLS_PORT
status=0
timeout 300 "$wine_run" "$tests" --gtest_brief=0 9>&- || status=$?

# A host through the public classes: the page over HTTPS from the
# self-signed device equals what curl gets from it.
for port in 443 7627; do
  body="$work/fetched-$port"
  if ! out=$(timeout 60 "$wine_run" "$fetch" 127.0.0.1 "$port" /status "Z:${body//\//\\}" \
               Content-Type X-Device 9>&- | tr -d '\r'); then
    echo "FAIL host fetch on port $port: $out"
    status=1
    continue
  fi
  written='status %{http_code}\navailable %{size_download}\nContent-Type: %{content_type}\n'
  if ! expected=$(curl -sk --max-time 10 -D "$body.head" -o "$body.curl" -w "$written" \
                    "https://127.0.0.1:$port/status"); then
    echo "FAIL curl on port $port: $expected"
    status=1
    continue
  fi
  expected+=$'\n'"X-Device: $(tr -d '\r' <"$body.head" | sed -n 's/^X-Device: //p')"
  if [ "$out" != "$expected" ] || ! cmp -s "$body" "$body.curl"; then
    printf 'FAIL host fetch on port %s\n  curl:    %q\n  library: %q\n' "$port" "$expected" "$out"
    status=1
  else
    echo "ok   host fetch on port $port equals curl's: $(head -c 40 "$body")"
  fi
done

if [ $status -ne 0 ]; then
  for log in "$work"/s_server-*.log; do
    echo "== $log"
    tail -20 "$log"
  done
fi
exit $status
