#!/usr/bin/env bash
# orvane http against lighttpd (tests/peers/auth-server.sh), an independent
# web server, side by side with Linux curl: status, the headers -i shows,
# body, and exit codes with and without --fail, for a plain page, a missing
# page, the Digest and Basic realms with the right and a wrong password, and
# the redirects into them.
# Arguments: the wine-run script and orvane.exe.
set -euo pipefail
wine_run=$(realpath "$1")
orvane=$(realpath "$2")
. "$(dirname "$0")/../peers/auth-server.sh"
. "$(dirname "$0")/../peers/check.sh"
trap "exit 143" TERM INT HUP
auth_server_start
printf 'plain page\n' >"$lighttpd_work/www/plain.html"
work=$lighttpd_work

# The headers of the last response in a dump (a redirect or a 401 comes
# first), among those -i shows; Date and Connection differ between two
# requests, and so does a Digest nonce.
shown_headers() {
  tr -d '\r' | awk '/^HTTP\// { n = 0; next } /^$/ { next } { block[n++] = $0 } END { for (i = 0; i < n; i++) print block[i] }' \
    | grep -Ei '^(Content-Type|Content-Length|Transfer-Encoding|Location|WWW-Authenticate|Server|Last-Modified|Cache-Control):' \
    | sed -E 's/nonce="[^"]*"/nonce="-"/' | sort || true
}

# compare NAME URI [USER PASSWORD]: curl follows redirects and answers
# either challenge (--anyauth), as orvane http does.
compare() {
  local name=$1 uri=$2 curl_auth=() orvane_auth=() code status curl_fail orvane_fail
  if [ $# -eq 4 ]; then
    curl_auth=(--anyauth -u "$3:$4")
    orvane_auth=(--user "$3" --password "$4")
  fi
  code=$(curl -s -L "${curl_auth[@]}" --max-time 10 -D "$work/curl.head" -o "$work/curl.body" -w '%{http_code}' \
    "$auth_url$uri")
  status=0
  timeout 60 "$wine_run" "$orvane" http -i 127.0.0.1:"$auth_port" "$uri" "${orvane_auth[@]}" >"$work/orvane.out" || status=$?
  check "$name-exit" 0 "$status"
  check "$name-status" "HTTP $code" "$(head -n 1 "$work/orvane.out" | tr -d '\r')"
  check "$name-headers" "$(shown_headers <"$work/curl.head")" \
    "$(sed '/^\r$/q' "$work/orvane.out" | sed 1d | shown_headers)"
  if [ "$code" -le 200 ] || [ "$code" = 401 ]; then
    check "$name-body" "$(od -c "$work/curl.body")" "$(sed '1,/^\r$/d' "$work/orvane.out" | od -c)"
  else
    # The library reads no body for a status above 200 other than 401.
    check "$name-no-body" "" "$(sed '1,/^\r$/d' "$work/orvane.out")"
  fi
  curl_fail=0
  curl -s -f -L "${curl_auth[@]}" --max-time 10 -o /dev/null "$auth_url$uri" || curl_fail=$?
  orvane_fail=0
  timeout 60 "$wine_run" "$orvane" http --fail 127.0.0.1:"$auth_port" "$uri" "${orvane_auth[@]}" >/dev/null || orvane_fail=$?
  # curl -f ends with 22 on an error status, orvane http --fail with 1.
  check "$name-fail-exit" "$curl_fail" "$([ "$orvane_fail" = 1 ] && echo 22 || echo "$orvane_fail")"
}

compare plain /plain.html
compare missing /missing.html
compare digest /digest/index.html admin orvane
compare digest-wrong /digest/index.html admin wrong
compare digest-none /digest/index.html
compare basic /basic/index.html admin orvane
compare basic-wrong /basic/index.html admin wrong
compare redirect-digest /moved/digest admin orvane
compare redirect-basic /moved/basic admin orvane
compare redirect-wrong /moved/digest admin wrong
# What each side got, so that a lost page cannot pass as equal on both.
check plain-page "plain page" "$(curl -s "$auth_url/plain.html")"
check digest-page "digest page" "$(timeout 60 "$wine_run" "$orvane" http 127.0.0.1:"$auth_port" /moved/digest --user admin --password orvane)"
check missing-exit-codes "22 1" "$(curl -sf -o /dev/null "$auth_url/missing.html" || echo -n "$? "; \
  timeout 60 "$wine_run" "$orvane" http --fail 127.0.0.1:"$auth_port" /missing.html || echo $?)"
exit $fail
