#!/usr/bin/env bash
# The discovery row of `make bench`: 50 family devices in network namespace
# B (one responder, tests/peers/wsd_responder.py, serving 50 identities),
# a search by type from namespace A with `orvane discover` (the library's
# own server, "wsdapi.dll" unloadable) under a Wine prefix whose server
# starts in A, and a raw Python multicast Probe from A as the baseline.
# Needs root for the namespaces, which go on exit; no multicast leaves them.
# Usage: discovery.sh BUILD OUT-FILE (result lines for bench/report.py)
set -euo pipefail
build=$(realpath "$1")
out=$2
source_dir=$(cd "$(dirname "$0")/.." && pwd)
prefix=$build/bench/wineprefix-netns
fail() { echo "bench discovery: $*" >&2; exit 1; }
[ "$(id -u)" -eq 0 ] || fail "needs root to make network namespaces"

a=orvbench-a-$$
b=orvbench-b-$$
va=obda$$
vb=obdb$$
responder_pid=
cleanup() {
  [ -z "$responder_pid" ] || kill "$responder_pid" 2>/dev/null || true
  WINEPREFIX=$prefix timeout 20 wineserver -k 2>/dev/null || true
  ip netns del "$a" 2>/dev/null || true
  ip netns del "$b" 2>/dev/null || true
}
trap cleanup EXIT

ip netns add "$a" && ip netns add "$b" || fail "cannot make a network namespace"
ip link add "$va" netns "$a" type veth peer name "$vb" netns "$b" || fail "cannot make a veth pair"
for side in "$a:$va:1" "$b:$vb:2"; do
  IFS=: read -r ns dev n <<<"$side"
  ip -n "$ns" link set lo up
  ip netns exec "$ns" sysctl -qw "net.ipv6.conf.$dev.accept_dad=0" "net.ipv6.conf.$dev.dad_transmits=0"
  ip -n "$ns" link set "$dev" multicast on up
  ip -n "$ns" addr add "10.78.0.$n/24" dev "$dev"
  ip -n "$ns" addr add "fd78::$n/64" dev "$dev" nodad
  ip -n "$ns" route add 239.0.0.0/8 dev "$dev"
done
for _ in $(seq 50); do
  [ -z "$(ip -n "$a" -6 addr show tentative)$(ip -n "$b" -6 addr show tentative)" ] && break
  sleep 0.1
done

export WINEARCH=win64 WINEDEBUG=-all
WINEPREFIX=$prefix timeout 20 wineserver -k 2>/dev/null || true
if [ ! -f "$prefix/system.reg" ]; then
  ip netns exec "$a" env WINEPREFIX="$prefix" timeout 300 wineboot -i >/dev/null 2>&1 || true
  WINEPREFIX=$prefix timeout 60 wineserver -w || true
fi
[ -f "$prefix/system.reg" ] || fail "cannot make the Wine prefix $prefix"

ip netns exec "$b" timeout 120 python3 "$source_dir/tests/peers/wsd_responder.py" --interface "$vb" \
  --ipv4 10.78.0.2 --ipv6 fd78::2 --count 50 --seconds 110 >"$build/bench/responder.log" 2>&1 &
responder_pid=$!
for _ in $(seq 100); do
  grep -q '^ready' "$build/bench/responder.log" 2>/dev/null && break
  sleep 0.1
done
grep -q '^ready' "$build/bench/responder.log" || fail "the responder did not start"

# A first Wine start in A, untimed: the search's figures leave it out.
ip netns exec "$a" env WINEPREFIX="$prefix" timeout 60 wine cmd /c exit >/dev/null 2>&1 </dev/null || true
ip netns exec "$a" env WINEPREFIX="$prefix" WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d;wsdapi=d" \
  timeout 60 python3 "$source_dir/bench/discovery_probe.py" search -- wine "$build/bin/orvane.exe" discover --json \
  >"$out"
ip netns exec "$a" timeout 30 python3 "$source_dir/bench/discovery_probe.py" raw --ipv4 10.78.0.1 \
  --interface "$va" --seconds 12 >>"$out"
cat "$out"
