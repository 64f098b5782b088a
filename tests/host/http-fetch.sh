#!/usr/bin/env bash
# Pages of Python's http.server fetched by Linux curl and by HttpFetch.exe, a
# host on the public header and the import library (fetch-compare.sh):
# status, Content-Type, Content-Length, Server, Last-Modified and body must
# agree byte for byte. Bodies come with a length, in chunks framed with
# extensions and chunk lines at many places, and ended by the closed
# connection, which an HTTP/1.1 server such as lighttpd doesn't do
# (lighttpd-fetch.sh).
# Arguments: the wine-run script, HttpFetch.exe, the peer script.
set -euo pipefail
wine_run=$(realpath "$1")
fetch=$(realpath "$2")
peer=$(realpath "$3")
. "$(dirname "$0")/fetch-compare.sh"
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
fetch_make_site "$site"

timeout 170 python3 "$peer" --directory "$site" --seconds 150 >"$work/server.out" 2>"$work/server.err" &
pid=$!
port=
for _ in $(seq 100); do
  port=$(sed -n 's/^port \([0-9]*\)$/\1/p' "$work/server.out")
  [ -n "$port" ] && break
  sleep 0.1
done
[ -n "$port" ] || { echo "the web server did not start"; cat "$work/server.err"; exit 1; }

for path in /hello.txt /page.html /data.bin /empty.txt /big.txt \
            /chunked/page.html /chunked/data.bin /chunked/big.txt \
            /close/hello.txt /close/data.bin /missing.txt; do
  fetch_compare "$port" "$path" Content-Type Content-Length Server Last-Modified
done
exit $fail
