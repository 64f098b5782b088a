# orvane discover end to end, sourced by wsd-netns.sh once the responder
# in namespace B serves its three devices: each case checks the exit code
# and the exact lines printed.
out=$prefixes/discover.out
failures=0
check() {  # NAME EXPECTED-EXIT EXPECTED-FILE ARGS...
  local name=$1 want=$2 expected=$3 rc=0
  shift 3
  discover "$out" "$@" || rc=$?
  if [ "$rc" -ne "$want" ] || ! diff -u "$expected" "$out"; then
    echo "discover $name: FAILED (exit $rc, expected $want); stderr: $(cat "$out.err")"
    failures=$((failures + 1))
  else
    echo "discover $name: ok"
  fi
}
device() {  # N ADDRESS
  printf '{"event": "add", "id": "urn:uuid:5a0f0000-0000-4000-8000-%012x", "hardwareAddress": "00:11:22:33:44:%02x", "hostName": "orvane-dev-%d", "ipAddress": "%s", "manufacturer": "ACME", "model": "Laser %d", "serialNumber": "SN%04d", "services": 35, "adapterType": 1}\n' "$1" "$1" "$1" "$2" "$1" "$1"
}
expected=$prefixes/discover.expected

{ device 1 10.77.0.2; echo '{"event": "complete"}'; } >"$expected"
check by-address-ipv4 0 "$expected" --address 10.77.0.2 --json

{ device 1 fd77::2; echo '{"event": "complete"}'; } >"$expected"
check by-address-ipv6 0 "$expected" --address fd77::2 --json

# By identifier: the first find ends the search, but a thread on another
# address may have found the device too before it stopped; every line is
# the device on one of its addresses, and the last says complete.
rc=0
discover "$out" --id urn:uuid:5a0f0000-0000-4000-8000-000000000003 --json || rc=$?
{ device 3 10.77.0.2; device 3 fd77::2; } >"$expected"
if [ "$rc" -eq 0 ] && [ "$(tail -n 1 "$out")" = '{"event": "complete"}' ] && [ "$(wc -l <"$out")" -ge 2 ] \
   && ! head -n -1 "$out" | grep -vxF -f "$expected"; then
  echo "discover by-id: ok"
else
  echo "discover by-id: FAILED (exit $rc):"; cat "$out" "$out.err"
  failures=$((failures + 1))
fi

# Only a Bye, repeated, answers this Probe: one remove for each family
# that hears it (IPv4 only: Wine's IPv6 sockets bound to a unicast address
# do not receive the group), then "not found" at the end of the 12 seconds.
{
  device 1 10.77.0.2 | sed 's/"event": "add"/"event": "remove"/'
  echo '{"event": "failed", "status": 11, "name": "DISCOVERY_E_NOT_FOUND"}'
} >"$expected"
check bye-only 1 "$expected" --type zqd:ByeTest --json

: >"$expected"
check two-searches 2 "$expected" --id x --address 10.77.0.2

# By type with the default list: every device once on IPv4 and at least
# once over IPv6, then the table, beside Wine's publisher, which answers a
# Probe with a Hello. The order of arrival varies.
rc=0
discover "$out" || rc=$?
adds=$(grep -c '^add    urn:uuid:5a0f0000-' "$out" || true)
v4=$(grep -c '^add .*  10\.77\.0\.2  ' "$out" || true)
table=$(grep -c '^urn:uuid:5a0f0000-0000-4000-8000-00000000000[123] .* ACME Laser [123] .*Print9100, RestScan, Fax *wired$' "$out" || true)
if [ "$rc" -eq 0 ] && [ "$v4" -eq 3 ] && [ "$adds" -ge 6 ] && [ "$table" -eq "$adds" ] \
   && grep -q "^search complete: $(grep -c '^add ' "$out") device(s)$" "$out"; then
  echo "discover by-type: ok"
else
  echo "discover by-type: FAILED (exit $rc, $adds adds, $v4 on IPv4, $table table rows):"
  cat "$out" "$out.err"
  failures=$((failures + 1))
fi
