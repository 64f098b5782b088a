#!/usr/bin/env bash
# AuthFetch.exe, a host on the public header and the import library, against
# lighttpd (tests/peers/auth-server.sh), side by side with Linux curl: 200
# where curl gets 200, 401 with a wrong password or none, and the redirects
# followed into the realms.
# Arguments: the wine-run script and AuthFetch.exe.
set -euo pipefail
wine_run=$(realpath "$1")
fetch=$(realpath "$2")
. "$(dirname "$0")/../peers/auth-server.sh"
trap "exit 143" TERM INT HUP
auth_server_start

. "$(dirname "$0")/../peers/check.sh"
library() { timeout 60 "$wine_run" "$fetch" 127.0.0.1 "$auth_port" "$@" | tr -d '\r'; }
curl_code() { curl -s --max-time 5 -o /dev/null -w '%{http_code}' "$@"; }

check curl-digest 200 "$(curl_code --digest -u admin:orvane "$auth_url/digest/index.html")"
check library-digest $'status 200\ndigest page' "$(library /digest/index.html admin orvane)"
check curl-digest-wrong 401 "$(curl_code --digest -u admin:wrong "$auth_url/digest/index.html")"
check library-digest-wrong 'status 401' "$(library /digest/index.html admin wrong | sed -n 1p)"
check library-digest-none 'status 401' "$(library /digest/index.html | sed -n 1p)"
check curl-basic 200 "$(curl_code --basic -u admin:orvane "$auth_url/basic/index.html")"
check library-basic $'status 200\nbasic page' "$(library /basic/index.html admin orvane)"
check curl-basic-wrong 401 "$(curl_code --basic -u admin:wrong "$auth_url/basic/index.html")"
check library-basic-wrong 'status 401' "$(library /basic/index.html admin wrong | sed -n 1p)"
check library-redirect-digest $'status 200\ndigest page' "$(library /moved/digest admin orvane)"
check library-redirect-basic $'status 200\nbasic page' "$(library /moved/basic admin orvane)"
check library-redirect-wrong 'status 401' "$(library /moved/digest admin wrong | sed -n 1p)"
exit $fail
