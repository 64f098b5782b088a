# Sourced by a test script: pages fetched by Linux curl and by HttpFetch.exe,
# a host on the public header and the import library, must agree. Needs
# wine_run, fetch and work; fail becomes 1 at the first difference.
. "$(dirname "${BASH_SOURCE[0]}")/../peers/check.sh"
# The value of a header (any case of its name) in a header file, or nothing.
value() { sed -n "/^$2: /I{s///;p;q}" "$1"; }

# fetch_make_site FOLDER: the pages both servers serve. Empty, a few bytes,
# a page of text, every byte value and a pseudo-random run (over 64 KiB),
# and over 300 KiB of lines.
fetch_make_site() {
  mkdir -p "$1"
  printf 'Hello from the loopback server\n' >"$1/hello.txt"
  printf '<html><body><p>%s</p></body></html>\n' "A page of text, served as it is." >"$1/page.html"
  : >"$1/empty.txt"
  python3 - "$1" <<'PY'
import random, sys
r = random.Random(7)
open(sys.argv[1] + "/data.bin", "wb").write(bytes(range(256)) * 4 + bytes(r.randrange(256) for _ in range(70000)))
open(sys.argv[1] + "/big.txt", "w", newline="").write("".join("line %06d of a long page\r\n" % i for i in range(12000)))
PY
}

# fetch_compare PORT PATH HEADER...: the status; each header named, with
# the same value or absent from both answers, except Content-Length, which
# is compared only when curl got one (the library tells the length it read
# for a body without one); the length available; and for status 200 the
# body byte for byte. Above 200 the library doesn't read the answer's body:
# it tells the length, and gives no content.
fetch_compare() {
  local port=$1 path=$2 header status length
  shift 2
  rm -f "$work/curl.head" "$work/curl.body" "$work/fetch.body"
  curl -s --max-time 10 -D "$work/curl.head" -o "$work/curl.body" "http://127.0.0.1:$port$path" || true
  touch "$work/curl.head" "$work/curl.body"
  tr -d '\r' <"$work/curl.head" >"$work/curl.head.lf"
  (cd "$work" && timeout 60 "$wine_run" "$fetch" 127.0.0.1 "$port" "$path" fetch.body "$@") \
    | tr -d '\r' >"$work/fetch.out" || true

  status=$(head -n 1 "$work/curl.head.lf" | cut -d ' ' -f 2)
  check "$path status" "status $status" "$(head -n 1 "$work/fetch.out")"
  length=$(value "$work/curl.head.lf" Content-Length)
  for header in "$@"; do
    if [ "$header" != Content-Length ] || [ -n "$length" ]; then
      check "$path $header" "$(value "$work/curl.head.lf" "$header")" "$(value "$work/fetch.out" "$header")"
    fi
  done
  if [ "$status" = 200 ]; then
    check "$path available" "available $(stat -c %s "$work/curl.body")" "$(sed -n 2p "$work/fetch.out")"
    if cmp -s "$work/curl.body" "$work/fetch.body"; then
      echo "ok   $path body"
    else
      echo "FAIL $path body differs"
      fail=1
    fi
  else
    check "$path available" "available $length" "$(sed -n 2p "$work/fetch.out")"
    check "$path no body" 0 "$(stat -c %s "$work/fetch.body" 2>/dev/null || echo missing)"
  fi
}
