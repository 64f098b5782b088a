#!/usr/bin/env bash
# Pages of Python's http.server fetched by Linux curl and by HttpFetch.exe, a
# host on the public header and the import library: status, Content-Type,
# Content-Length and body must agree byte for byte. Bodies come with a
# length, in chunks, and ended by the closed connection.
# Arguments: the wine-run script, HttpFetch.exe, the peer script.
set -euo pipefail
wine_run=$(realpath "$1")
fetch=$(realpath "$2")
peer=$(realpath "$3")
work=$(mktemp -d)
pid=
cleanup() {
  if [ -n "$pid" ]; then
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap "exit 143" TERM INT HUP

site=$work/site
mkdir -p "$site"
printf 'Hello from the loopback server\n' >"$site/hello.txt"
printf '<html><body><p>%s</p></body></html>\n' "A page of text, served as it is." >"$site/page.html"
: >"$site/empty.txt"
python3 - "$site" <<'PY'
import random, sys
r = random.Random(7)
# Every byte value, zeros included, then bytes of a fixed pseudo-random run.
open(sys.argv[1] + "/data.bin", "wb").write(bytes(range(256)) * 4 + bytes(r.randrange(256) for _ in range(70000)))
open(sys.argv[1] + "/big.txt", "w", newline="").write("".join("line %06d of a long page\r\n" % i for i in range(12000)))
PY

timeout 170 python3 "$peer" --directory "$site" --seconds 150 >"$work/server.out" 2>"$work/server.err" &
pid=$!
port=
for _ in $(seq 100); do
  port=$(sed -n 's/^port \([0-9]*\)$/\1/p' "$work/server.out")
  [ -n "$port" ] && break
  sleep 0.1
done
[ -n "$port" ] || { echo "the web server did not start"; cat "$work/server.err"; exit 1; }

fail=0
check() {  # name, expected, actual
  if [ "$2" != "$3" ]; then
    printf 'FAIL %s\n  expected: %q\n  actual:   %q\n' "$1" "$2" "$3"
    fail=1
  else
    echo "ok   $1"
  fi
}
# The value of a header (any case of its name) in a header file, or nothing.
value() { sed -n "s/^$2: //Ip" "$1" | head -n 1; }

for path in /hello.txt /page.html /data.bin /empty.txt /big.txt \
            /chunked/page.html /chunked/data.bin /chunked/big.txt \
            /close/hello.txt /close/data.bin /missing.txt; do
  curl -s -i --max-time 10 "http://127.0.0.1:$port$path" >"$work/curl.raw"
  python3 - "$work/curl.raw" "$work/curl.head" "$work/curl.body" <<'PY'
import sys
data = open(sys.argv[1], "rb").read()
end = data.index(b"\r\n\r\n")
open(sys.argv[2], "wb").write(data[:end].replace(b"\r\n", b"\n") + b"\n")
open(sys.argv[3], "wb").write(data[end + 4:])
PY
  rm -f "$work/fetch.body"
  (cd "$work" && timeout 60 "$wine_run" "$fetch" 127.0.0.1 "$port" "$path" fetch.body Content-Type Content-Length) \
    | tr -d '\r' >"$work/fetch.out" || true

  status=$(head -n 1 "$work/curl.head" | cut -d ' ' -f 2)
  check "$path status" "status $status" "$(head -n 1 "$work/fetch.out")"
  check "$path Content-Type" "$(value "$work/curl.head" Content-Type)" "$(value "$work/fetch.out" Content-Type)"
  length=$(value "$work/curl.head" Content-Length)
  if [ -n "$length" ]; then
    check "$path Content-Length" "$length" "$(value "$work/fetch.out" Content-Length)"
  fi
  if [ "$status" = 200 ]; then
    check "$path available" "available $(stat -c %s "$work/curl.body")" "$(sed -n 2p "$work/fetch.out")"
    if cmp -s "$work/curl.body" "$work/fetch.body"; then
      echo "ok   $path body"
    else
      echo "FAIL $path body differs"
      fail=1
    fi
  else
    # Above 200 the answer's body is not read: the length is told, no content.
    check "$path available" "available $length" "$(sed -n 2p "$work/fetch.out")"
    check "$path no body" 0 "$(stat -c %s "$work/fetch.body" 2>/dev/null || echo missing)"
  fi
done
exit $fail
