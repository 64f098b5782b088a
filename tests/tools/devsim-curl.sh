#!/usr/bin/env bash
# orvane-devsim.exe's web server checked by Linux curl, an independent client.
# Arguments: the wine-run script and the simulator's path.
set -euo pipefail
wine_run=$(realpath "$1")
devsim=$(realpath "$2")
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

(cd "$work" && exec "$wine_run" "$devsim" --job-port 0 --http-port 0 --seconds 30 >log.txt 2>&1) &
pid=$!
port=
for _ in $(seq 100); do
  port=$(sed -n 's/^http port listening on 127\.0\.0\.1:\([0-9]*\)\r\{0,1\}$/\1/p' "$work/log.txt")
  [ -n "$port" ] && break
  sleep 0.1
done
[ -n "$port" ] || { echo "the simulator did not start"; cat "$work/log.txt"; exit 1; }
url=http://127.0.0.1:$port

fail=0
check() {  # name, expected, actual
  if [ "$2" != "$3" ]; then
    printf 'FAIL %s\n  expected: %q\n  actual:   %q\n' "$1" "$2" "$3"
    fail=1
  else
    echo "ok   $1"
  fi
}
fetch() { curl -s --max-time 5 "$@"; }

check status "200 142" "$(fetch -o /dev/null -w '%{http_code} %{size_download}' "$url/status")"
check chunked $'<html><body>\n<p>This page comes in chunks.</p>\n</body></html>' "$(fetch "$url/chunked")"
check basic-none 401 "$(fetch -o /dev/null -w '%{http_code}' "$url/basic")"
check basic "<html><body><p>Basic authentication accepted.</p></body></html>" "$(fetch -u admin:orvane "$url/basic")"
check digest "<html><body><p>Digest authentication accepted.</p></body></html>" \
  "$(fetch --digest -u admin:orvane "$url/digest")"
check digest-wrong 401 "$(fetch --digest -u admin:wrong -o /dev/null -w '%{http_code}' "$url/digest")"
check redirect "302 $url/status" "$(fetch -o /dev/null -w '%{http_code} %{redirect_url}' "$url/redirect")"
check redirect-followed "200 1" "$(fetch -L -o /dev/null -w '%{http_code} %{num_redirects}' "$url/redirect")"
check keep-alive "200 200 1" "$(fetch -o /dev/null -o /dev/null -w '%{http_code} ' "$url/status" "$url/jobs" | tr -d '\n'; \
  fetch -v -o /dev/null -o /dev/null "$url/status" "$url/status" 2>&1 | grep -c 'Re-using existing connection')"
exit $fail
