#!/usr/bin/env bash
# Runs the fault matrix in a network namespace of its own, under a private
# Wine prefix whose server starts in there, with a small file system (1 MiB)
# mounted where the library keeps its data ("C:\ProgramData\ZQ" of the
# prefix), which the tests fill to the last byte for the disk-full rows. The
# namespace and the mount go on exit, the prefix stays for the next run.
# Usage: fault-matrix.sh PREFIX-FOLDER RELIABILITY-TESTS-EXE [ARGS...]
set -euo pipefail
prefix=$(realpath -m "$1")
exe=$(realpath "$2")
shift 2
fail() { echo "fault-matrix: $*" >&2; exit 1; }

[ "$(id -u)" -eq 0 ] || fail "needs root to make a network namespace and mount a file system (CI runs as root)"
command -v ip >/dev/null || fail "ip (iproute2) is missing: run scripts/bootstrap"

ns=orvrel-$$
small=$prefix/drive_c/ProgramData/ZQ
cleanup() {
  WINEPREFIX=$prefix timeout 20 wineserver -k 2>/dev/null || true
  if mountpoint -q "$small"; then umount "$small" || umount -l "$small" || true; fi
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

if mountpoint -q "$small"; then umount "$small" || fail "a file system left on $small cannot be unmounted"; fi
rm -rf "$small"
mkdir -p "$small"
mount -t tmpfs -o size=1m,mode=0755 orvane-full "$small" || fail "cannot mount a small file system on $small"

# Wine's service processes start with the first program; a silent one
# keeps them off the caller's pipes.
ip netns exec "$ns" wine cmd /c exit </dev/null >/dev/null 2>&1 || true
ip netns exec "$ns" env ORVANE_FULL_FOLDER='C:\ProgramData\ZQ' wine "$exe" "$@"
