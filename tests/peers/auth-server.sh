# Sourced by a test script: lighttpd on a free loopback port (8000..8080)
# with the pages /digest/index.html (Digest, realm "orvane"),
# /basic/index.html (Basic) and the redirects /moved/digest and /moved/basic
# into them. The only user is admin with the password orvane. Sets auth_url
# and auth_port; the server is stopped, and its folder removed, when the
# sourcing script exits.
auth_work=$(mktemp -d)
auth_pid=
auth_server_stop() {
  if [ -n "$auth_pid" ]; then
    kill "$auth_pid" 2>/dev/null || true
    wait "$auth_pid" 2>/dev/null || true
    auth_pid=
  fi
  rm -rf "$auth_work"
}
trap auth_server_stop EXIT

# A free port on 127.0.0.1 within 8000..8080, where an address makes HTTP
# requests, tried in random order.
auth_free_port() {
  python3 -c '
import random, socket
for port in random.sample(range(8000, 8081), 81):
    s = socket.socket()
    try:
        s.bind(("127.0.0.1", port))
    except OSError:
        continue
    finally:
        s.close()
    print(port)
    break
'
}

auth_server_start() {
  local here conf
  here=$(dirname "${BASH_SOURCE[0]}")
  mkdir -p "$auth_work/www/digest" "$auth_work/www/basic"
  printf 'digest page\n' >"$auth_work/www/digest/index.html"
  printf 'basic page\n' >"$auth_work/www/basic/index.html"
  printf 'admin:orvane:%s\n' "$(printf 'admin:orvane:orvane' | md5sum | cut -d' ' -f1)" >"$auth_work/htdigest"
  # Another process may take the port between the probe and the bind: try again.
  for _ in 1 2 3 4 5; do
    auth_port=$(auth_free_port)
    conf="$auth_work/lighttpd.conf"
    sed -e "s|@PORT@|$auth_port|g" -e "s|@WORK@|$auth_work|g" "$here/lighttpd-auth.conf.in" >"$conf"
    timeout 120 lighttpd -D -f "$conf" >"$auth_work/stdout.log" 2>&1 &
    auth_pid=$!
    for _ in $(seq 50); do
      if curl -s -o /dev/null --max-time 1 "http://127.0.0.1:$auth_port/"; then
        auth_url="http://127.0.0.1:$auth_port"
        return 0
      fi
      kill -0 "$auth_pid" 2>/dev/null || break
      sleep 0.1
    done
    kill "$auth_pid" 2>/dev/null || true
    wait "$auth_pid" 2>/dev/null || true
    auth_pid=
  done
  echo "lighttpd did not start"
  cat "$auth_work/stdout.log" "$auth_work/error.log" 2>/dev/null
  return 1
}
