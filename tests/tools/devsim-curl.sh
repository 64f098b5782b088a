#!/usr/bin/env bash
# orvane-devsim.exe's web server checked by Linux curl, an independent client.
# Arguments: the wine-run script and the simulator's path.
set -euo pipefail
wine_run=$(realpath "$1")
devsim=$(realpath "$2")
. "$(dirname "$0")/devsim.sh"
. "$(dirname "$0")/../peers/check.sh"
devsim_start "$wine_run" "$devsim" --seconds 60
url=http://127.0.0.1:$devsim_http_port
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
check echo $'PUT /echo HTTP/1.1\r\nHost: 127.0.0.1:'$devsim_http_port$'\r\nUser-Agent: t\r\nAccept: */*\r\nX-Test: 1\r\nContent-Length: 5\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\nhello' \
  "$(fetch -A t -X PUT -H 'X-Test: 1' --data hello "$url/echo")"
check echo-logged 1 "$(devsim_log | grep -Ec '^http PUT /echo from 127\.0\.0\.1:[0-9]+: 200 \(5 bytes of body\)$')"
# The management objects: one object, the next one, past the last, and a set
# of the contact, read back; a read-only object refuses a set.
check mib-get $'1.3.6.1.2.1.1.1.0\nSTRING\nOrvane virtual printer' "$(fetch "$url/mib?get=1.3.6.1.2.1.1.1.0")"
check mib-next $'1.3.6.1.2.1.25.3.5.1.1.1\nINTEGER\n3' "$(fetch "$url/mib?next=1.3.6.1.2.1.1.5.0")"
check mib-end "404 end of MIB" "$(fetch -w '%{http_code} ' -o /dev/null "$url/mib?next=1.3.6.1.2.1.43.10.2.1.4.1.1"; \
  fetch "$url/mib?next=1.3.6.1.2.1.43.10.2.1.4.1.1")"
check mib-set $'1.3.6.1.2.1.1.4.0\nSTRING\nroom 1' "$(fetch --data-binary $'STRING\nroom 1' "$url/mib?set=1.3.6.1.2.1.1.4.0")"
check mib-read-back $'1.3.6.1.2.1.1.4.0\nSTRING\nroom 1' "$(fetch "$url/mib?get=1.3.6.1.2.1.1.4.0")"
check mib-read-only 403 "$(fetch -o /dev/null -w '%{http_code}' --data-binary $'STRING\nx' "$url/mib?set=1.3.6.1.2.1.1.1.0")"
exit $fail
