# Sourced by a test script: lighttpd (lighttpd.sh) on a free loopback port
# (8000..8080) with the pages /digest/index.html (Digest, realm "orvane"),
# /basic/index.html (Basic) and the redirects /moved/digest and /moved/basic
# into them. The only user is admin with the password orvane. Sets auth_url
# and auth_port; the server is stopped, and its folder removed, when the
# sourcing script exits.
. "$(dirname "${BASH_SOURCE[0]}")/lighttpd.sh"

auth_server_start() {
  local here
  here=$(dirname "${BASH_SOURCE[0]}")
  mkdir -p "$lighttpd_work/www/digest" "$lighttpd_work/www/basic"
  printf 'digest page\n' >"$lighttpd_work/www/digest/index.html"
  printf 'basic page\n' >"$lighttpd_work/www/basic/index.html"
  printf 'admin:orvane:%s\n' "$(printf 'admin:orvane:orvane' | md5sum | cut -d' ' -f1)" >"$lighttpd_work/htdigest"
  lighttpd_start "$here/lighttpd-auth.conf.in" || return 1
  auth_port=$lighttpd_port
  auth_url=$lighttpd_url
}
