#!/usr/bin/env bash
# The authentication server of auth-server.sh checked by Linux curl: the
# right password gets 200, a wrong one 401, and the redirects point into the
# realms.
set -euo pipefail
. "$(dirname "$0")/auth-server.sh"
auth_server_start

. "$(dirname "$0")/check.sh"
code() { curl -s --max-time 5 -o /dev/null -w '%{http_code}' "$@"; }

check digest-none 401 "$(code "$auth_url/digest/index.html")"
check digest-challenge 'WWW-Authenticate: Digest realm="orvane"' \
  "$(curl -s --max-time 5 -D - -o /dev/null "$auth_url/digest/index.html" | grep -o '^WWW-Authenticate: Digest realm="orvane"')"
check digest 200 "$(code --digest -u admin:orvane "$auth_url/digest/index.html")"
check digest-page 'digest page' "$(curl -s --max-time 5 --digest -u admin:orvane "$auth_url/digest/index.html")"
check digest-wrong 401 "$(code --digest -u admin:wrong "$auth_url/digest/index.html")"
check basic-none 401 "$(code "$auth_url/basic/index.html")"
check basic 200 "$(code --basic -u admin:orvane "$auth_url/basic/index.html")"
check basic-wrong 401 "$(code --basic -u admin:wrong "$auth_url/basic/index.html")"
check redirect-basic-target "302 $auth_url/basic/index.html" \
  "$(curl -s --max-time 5 -o /dev/null -w '%{http_code} %{redirect_url}' "$auth_url/moved/basic")"
check redirect "302 $auth_url/digest/index.html" \
  "$(curl -s --max-time 5 -o /dev/null -w '%{http_code} %{redirect_url}' "$auth_url/moved/digest")"
check redirect-followed $'digest page\n200' \
  "$(curl -s --max-time 5 -L --digest -u admin:orvane -w '%{http_code}' "$auth_url/moved/digest")"
check redirect-basic $'basic page\n200' \
  "$(curl -s --max-time 5 -L --basic -u admin:orvane -w '%{http_code}' "$auth_url/moved/basic")"
exit $fail
