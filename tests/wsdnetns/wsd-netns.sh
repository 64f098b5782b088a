#!/usr/bin/env bash
# WS-Discovery between two network namespaces joined by a veth pair: the
# library's side runs under a private Wine prefix whose server starts in
# namespace A; Debian's wsdd (and Wine's own publisher) answer from
# namespace B. No multicast leaves the namespaces made here; both go on exit.
# A family device's responder (several identities) answers from B as well.
# Then `orvane discover` runs there against the responder, and against
# orvane-devsim.exe simulators in B, and `orvane devices` against those.
# Usage: wsd-netns.sh WSD-NETNS-TESTS-EXE WSD-PUBLISHER-EXE PREFIX-FOLDER RESPONDER-PY ORVANE-EXE DEVSIM-EXE
# (ORVANE_NETNS_FILTER in the environment narrows the first run of the test binary.)
set -euo pipefail
exe=$(realpath "$1")
publisher=$(realpath "$2")
prefixes=$(realpath -m "$3")
responder=$(realpath "$4")
orvane=$(realpath "$5")
devsim=$(realpath "$6")
mkdir -p "$prefixes"
fail() { echo "wsd-netns: $*" >&2; exit 1; }

[ "$(id -u)" -eq 0 ] || fail "needs root to make network namespaces (CI runs as root)"
command -v ip >/dev/null || fail "ip (iproute2) is missing: run scripts/bootstrap"
command -v wsdd >/dev/null || fail "wsdd is missing: run scripts/bootstrap"

a=orvwsd-a-$$
b=orvwsd-b-$$
va=ovwa$$
vb=ovwb$$
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for prefix in "$prefixes/a" "$prefixes/b"; do
    WINEPREFIX=$prefix timeout 20 wineserver -k 2>/dev/null || true
  done
  ip netns del "$a" 2>/dev/null || true
  ip netns del "$b" 2>/dev/null || true
}
trap cleanup EXIT

ip netns add "$a" || fail "cannot make a network namespace"
ip netns add "$b" || fail "cannot make a network namespace"
ip link add "$va" netns "$a" type veth peer name "$vb" netns "$b" || fail "cannot make a veth pair"
for side in "$a:$va:1" "$b:$vb:2"; do
  IFS=: read -r ns dev n <<<"$side"
  ip -n "$ns" link set lo up
  # No duplicate address detection: the link-local addresses are usable at once.
  ip netns exec "$ns" sysctl -qw "net.ipv6.conf.$dev.accept_dad=0" "net.ipv6.conf.$dev.dad_transmits=0"
  ip -n "$ns" link set "$dev" multicast on up
  ip -n "$ns" addr add "10.77.0.$n/24" dev "$dev"
  ip -n "$ns" addr add "fd77::$n/64" dev "$dev" nodad
  ip -n "$ns" route add 239.0.0.0/8 dev "$dev"
done
for _ in $(seq 50); do
  [ -z "$(ip -n "$a" -6 addr show tentative)$(ip -n "$b" -6 addr show tentative)" ] && break
  sleep 0.1
done
index=$(ip -n "$a" -o link show "$va" | cut -d: -f1)

# The peers in B: wsdd on its interface, bounded by the test's time.
wsdd_uuid=7b4f2c1e-5a6d-4e8f-9a0b-1c2d3e4f5a6b
ip netns exec "$b" timeout 120 wsdd -i "$vb" -U "$wsdd_uuid" -n orvane-peer -s >"$prefixes/wsdd.log" 2>&1 &
pids+=($!)

# A private prefix for each side: no server of it may run outside its
# namespace, so any left over is stopped and the first start is in there.
export WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
for side in "$a:a" "$b:b"; do
  IFS=: read -r ns name <<<"$side"
  WINEPREFIX=$prefixes/$name timeout 20 wineserver -k 2>/dev/null || true
  if [ ! -f "$prefixes/$name/system.reg" ]; then
    ip netns exec "$ns" env WINEPREFIX="$prefixes/$name" timeout 300 wineboot -i >/dev/null 2>&1 || true
    WINEPREFIX=$prefixes/$name timeout 60 wineserver -w || true
  fi
  [ -f "$prefixes/$name/system.reg" ] || fail "cannot make the Wine prefix $prefixes/$name"
done

# Wine's publisher in B, announcing a family device.
publisher_uuid=2c9e4d7a-8b1f-4c3e-a5d6-0f1e2d3c4b5a
ip netns exec "$b" env WINEPREFIX="$prefixes/b" \
  timeout 120 wine "$publisher" http://schemas.zq.com "$publisher_uuid" 100 >"$prefixes/publisher.log" 2>&1 &
pids+=($!)
for _ in $(seq 300); do
  grep -q '^ready' "$prefixes/publisher.log" 2>/dev/null && break
  sleep 0.1
done
grep -q '^ready' "$prefixes/publisher.log" || fail "Wine's publisher did not start: $(cat "$prefixes/publisher.log")"

# Three family devices on B's addresses, the directed Probe on port 80.
ip netns exec "$b" timeout 120 python3 "$responder" --interface "$vb" --ipv4 10.77.0.2 --ipv6 fd77::2 \
  --count 3 --seconds 115 >"$prefixes/responder.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do
  grep -q '^ready' "$prefixes/responder.log" 2>/dev/null && break
  sleep 0.1
done
grep -q '^ready' "$prefixes/responder.log" || fail "the responder did not start: $(cat "$prefixes/responder.log")"

# wsdd is up once it listens on the discovery port.
# (The listing is read whole before it is searched: no pipe ends early.)
wsdd_listens() { [[ "$(ip netns exec "$b" ss -uln 2>/dev/null)" == *':3702 '* ]]; }
for _ in $(seq 50); do
  wsdd_listens && break
  sleep 0.1
done
wsdd_listens || fail "wsdd did not start: $(cat "$prefixes/wsdd.log")"

# "wsdapi.dll" unloadable for the library's side: a system without the
# provider, where the library's own server runs. gtest_run STATE FILTER
# runs the test binary there; STATE says how the script set A's adapter.
gtest_run() {
  ip netns exec "$a" env WINEPREFIX="$prefixes/a" WINEDLLOVERRIDES="$WINEDLLOVERRIDES;wsdapi=d" \
    ORVANE_NETNS_DEVICE4=10.77.0.2 ORVANE_NETNS_DEVICE6=fd77::2 \
    ORVANE_NETNS_LOCAL4=10.77.0.1 ORVANE_NETNS_LOCAL6="fd77::1%$index" ORVANE_NETNS_WSDD_UUID="$wsdd_uuid" \
    ORVANE_NETNS_PUBLISHER_UUID="$publisher_uuid" ORVANE_NETNS_STATE="$1" \
    timeout 120 wine "$exe" --gtest_brief=0 --gtest_filter="$2"
}
gtest_run up "${ORVANE_NETNS_FILTER:--VethDown.*:Ipv4Only.*}"

# The searching commands run under cmd, which hands on their exit code as
# Windows gives it: started straight from this shell, a search that
# returned 1 reached the shell as 0 about once in ten runs (Wine's process
# status, not the program's exit code), never in 30 runs under a Windows
# parent.
orvane_cmd=(cmd /c "Z:${orvane//\//\\}")

# orvane discover, under the same prefix and overrides: DISCOVER OUT ARGS...
# writes standard output to OUT without carriage returns, standard error
# to OUT.err, and returns the tool's exit code.
discover() {
  local out=$1 rc=0
  shift
  ip netns exec "$a" env WINEPREFIX="$prefixes/a" WINEDLLOVERRIDES="$WINEDLLOVERRIDES;wsdapi=d" \
    timeout 60 wine "${orvane_cmd[@]}" discover "$@" >"$out.raw" 2>"$out.err" || rc=$?
  tr -d '\r' <"$out.raw" >"$out"
  return $rc
}
. "$(dirname "$0")/discover-e2e.sh"
. "$(dirname "$0")/devsim-e2e.sh"
. "$(dirname "$0")/devices-e2e.sh"
# Namespace A's adapter as Wine's real GetAdaptersAddresses shows it with
# IPv4 alone (IPv6 switched off on the veth, which takes its addresses),
# then down; the simulators 1 to 3 still answer from B.
ip netns exec "$a" sysctl -qw "net.ipv6.conf.$va.disable_ipv6=1"
if gtest_run ipv4-only 'Ipv4Only.*'; then echo "adapter ipv4-only: ok"; else
  echo "adapter ipv4-only: FAILED"; failures=$((failures + 1))
fi
ip -n "$a" link set "$va" down
if gtest_run veth-down 'VethDown.*'; then echo "adapter veth-down: ok"; else
  echo "adapter veth-down: FAILED"; failures=$((failures + 1))
fi
devsim_cleanup
[ "$failures" -eq 0 ] || fail "$failures orvane discover or devices case(s) failed"
