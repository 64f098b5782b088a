#!/usr/bin/env bash
# Runs orvane_fuzz in a network namespace of its own, under a private Wine
# prefix whose server starts in there. Wine binds a UDP socket that asks
# for a loopback address to 0.0.0.0 of the loopback device, so the
# WS-Discovery targets' sockets on port 3702 would take (and block) the
# datagrams of any other discovery test on this machine; in here they see
# only their own. The namespace goes on exit, the prefix stays for the next
# run.
# Usage: fuzz-netns.sh PREFIX-FOLDER ORVANE-FUZZ-EXE [ARGS...]
set -euo pipefail
prefix=$(realpath -m "$1")
exe=$(realpath "$2")
shift 2
fail() { echo "fuzz-netns: $*" >&2; exit 1; }

[ "$(id -u)" -eq 0 ] || fail "needs root to make a network namespace (CI runs as root)"
command -v ip >/dev/null || fail "ip (iproute2) is missing: run scripts/bootstrap"

ns=orvfuzz-$$
cleanup() {
  WINEPREFIX=$prefix timeout 20 wineserver -k 2>/dev/null || true
  ip netns del "$ns" 2>/dev/null || true
}
trap cleanup EXIT

ip netns add "$ns" || fail "cannot make a network namespace"
ip -n "$ns" link set lo up || fail "cannot bring the namespace's loopback up"

export WINEPREFIX=$prefix WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
# No server of this prefix may run outside the namespace.
timeout 20 wineserver -k 2>/dev/null || true
if [ ! -f "$prefix/system.reg" ]; then
  mkdir -p "$prefix"
  ip netns exec "$ns" timeout 300 wineboot -i >/dev/null 2>&1 || true
  timeout 60 wineserver -w || true
fi
[ -f "$prefix/system.reg" ] || fail "cannot make the Wine prefix $prefix"
# Wine's service processes start with the first program; a silent one
# keeps them off the caller's pipes.
ip netns exec "$ns" wine cmd /c exit </dev/null >/dev/null 2>&1 || true
ip netns exec "$ns" wine "$exe" "$@"
