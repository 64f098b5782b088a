#!/usr/bin/env bash
# Runs the fault matrix in a network namespace of its own, under a private
# Wine prefix whose server starts in there, with a small file system (1 MiB)
# mounted where the library keeps its data ("C:\ProgramData\ZQ" of the
# prefix), which the tests fill to the last byte for the disk-full rows. A
# veth joins the namespace to a second one; the test asks for it to go down
# and up by making the file "down" or "up" in a folder of the script's, and
# the script answers with "down.done" or "up.done". "wsdapi.dll" is made
# unloadable, so that searches run on the library's own server. The
# namespaces and the mount go on exit, the prefix stays for the next run.
# Usage: fault-matrix.sh PREFIX-FOLDER RELIABILITY-TESTS-EXE [ARGS...]
set -euo pipefail
prefix=$(realpath -m "$1")
exe=$(realpath "$2")
shift 2
fail() { echo "fault-matrix: $*" >&2; exit 1; }

[ "$(id -u)" -eq 0 ] || fail "needs root to make a network namespace and mount a file system (CI runs as root)"
command -v ip >/dev/null || fail "ip (iproute2) is missing: run scripts/bootstrap"

ns=orvrel-$$
other=orvrel-b-$$
veth=ovrl$$
small=$prefix/drive_c/ProgramData/ZQ
control=$(mktemp -d /tmp/orvane-fault-control.XXXXXX)
switcher=
cleanup() {
  [ -n "$switcher" ] && kill "$switcher" 2>/dev/null || true
  WINEPREFIX=$prefix timeout 20 wineserver -k 2>/dev/null || true
  if mountpoint -q "$small"; then umount "$small" || umount -l "$small" || true; fi
  ip netns del "$ns" 2>/dev/null || true
  ip netns del "$other" 2>/dev/null || true
  rm -rf "$control"
}
trap cleanup EXIT

ip netns add "$ns" || fail "cannot make a network namespace"
ip netns add "$other" || fail "cannot make a network namespace"
ip -n "$ns" link set lo up || fail "cannot bring the namespace's loopback up"
ip link add "$veth" netns "$ns" type veth peer name "${veth}b" netns "$other" || fail "cannot make a veth pair"
# IPv4 alone: one discovery thread, on 10.78.0.1.
ip netns exec "$ns" sysctl -qw "net.ipv6.conf.$veth.disable_ipv6=1"
ip -n "$ns" link set "$veth" multicast on up
ip -n "$ns" addr add 10.78.0.1/24 dev "$veth"
ip -n "$ns" route add 239.0.0.0/8 dev "$veth"
ip -n "$other" link set "${veth}b" up
ip -n "$other" addr add 10.78.0.2/24 dev "${veth}b"

# The adapter's switch, for as long as the tests run.
(
  while :; do
    for state in down up; do
      if [ -e "$control/$state" ]; then
        rm -f "$control/$state"
        ip -n "$ns" link set "$veth" "$state" && touch "$control/$state.done"
      fi
    done
    sleep 0.05
  done
) &
switcher=$!

export WINEPREFIX=$prefix WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d;wsdapi=d"
# No server of this prefix may run outside the namespace.
timeout 20 wineserver -k 2>/dev/null || true
if [ ! -f "$prefix/system.reg" ]; then
  mkdir -p "$prefix"
  ip netns exec "$ns" timeout 300 wineboot -i >/dev/null 2>&1 || true
  timeout 60 wineserver -w || true
fi
[ -f "$prefix/system.reg" ] || fail "cannot make the Wine prefix $prefix"

if mountpoint -q "$small"; then umount "$small" || fail "a file system left on $small cannot be unmounted"; fi
rm -rf "$small"
mkdir -p "$small"
mount -t tmpfs -o size=1m,mode=0755 orvane-full "$small" || fail "cannot mount a small file system on $small"

# Wine's service processes start with the first program; a silent one
# keeps them off the caller's pipes.
ip netns exec "$ns" wine cmd /c exit </dev/null >/dev/null 2>&1 || true
ip netns exec "$ns" env ORVANE_FULL_FOLDER='C:\ProgramData\ZQ' ORVANE_ADAPTER_CONTROL="Z:${control//\//\\}" \
  ORVANE_ADAPTER_ADDRESS=10.78.0.1 wine "$exe" "$@"
