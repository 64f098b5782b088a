#!/usr/bin/env bash
# Pages of lighttpd (tests/peers/lighttpd.sh), an independent HTTP/1.1
# server, fetched by Linux curl and by HttpFetch.exe, a host on the public
# header and the import library (fetch-compare.sh): status, Content-Type,
# Content-Length, Server, Last-Modified, ETag, Accept-Ranges,
# Transfer-Encoding and body must agree byte for byte. Static files of 0
# bytes, a few bytes, over 4096 bytes and over 300 KiB, a missing one, and
# the same files written by a CGI script in parts, which lighttpd sends in
# chunks.
# Arguments: the wine-run script and HttpFetch.exe.
set -euo pipefail
wine_run=$(realpath "$1")
fetch=$(realpath "$2")
here=$(dirname "$0")
. "$here/../peers/lighttpd.sh"
. "$here/fetch-compare.sh"
trap "exit 143" TERM INT HUP
work=$lighttpd_work

fetch_make_site "$work/www"
cp "$here/../peers/lighttpd-stream.cgi" "$work/www/stream.cgi"
lighttpd_start "$here/../peers/lighttpd-site.conf.in"

headers=(Content-Type Content-Length Server Last-Modified ETag Accept-Ranges Transfer-Encoding)
# Each header the library tells; a header absent from both answers would
# compare equal without saying anything.
has() {  # path, header...
  local path=$1 header
  shift
  for header in "$@"; do
    check "$path has $header" yes "$([ -n "$(value "$work/fetch.out" "$header")" ] && echo yes || echo no)"
  done
}
for path in /empty.txt /hello.txt /page.html /data.bin /big.txt; do
  fetch_compare "$lighttpd_port" "$path" "${headers[@]}"
  has "$path" Content-Type Content-Length Server Last-Modified ETag Accept-Ranges
done
fetch_compare "$lighttpd_port" /missing.txt "${headers[@]}"
has /missing.txt Content-Type Content-Length Server
for name in hello.txt page.html data.bin big.txt; do
  fetch_compare "$lighttpd_port" "/stream.cgi?$name" "${headers[@]}"
  has "/stream.cgi?$name" Content-Type Server Transfer-Encoding
  # The comparison above holds for chunks only if they came.
  check "/stream.cgi?$name in chunks" chunked "$(value "$work/curl.head.lf" Transfer-Encoding)"
done
exit $fail
