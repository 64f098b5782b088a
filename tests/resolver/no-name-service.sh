#!/usr/bin/env bash
# Runs the resolver's NoNameService tests with a name service of their own:
# in a mount namespace, /etc/hosts holds localhost alone and
# /etc/resolv.conf names 127.0.0.1, where a stub name server (dns_stub.py)
# answers reverse look-ups of 10.0.0.1 with "no such name", of 10.0.0.2 with
# "no record" and of anything else with "try again". No query leaves the
# machine. Arguments: the wine-run script and the test program.
set -euo pipefail
wine_run=$1
tests=$2
peers=$(dirname "$(realpath "$0")")/../peers
work=$(mktemp -d)
stub=""
cleanup() {
  [ -n "$stub" ] && kill "$stub" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
printf '127.0.0.1 localhost\n' >"$work/hosts"
printf 'nameserver 127.0.0.1\noptions timeout:2 attempts:1\n' >"$work/resolv.conf"
if ! unshare -m true 2>"$work/unshare.err"; then
  echo "no-name-service: cannot make a mount namespace (needs root): $(cat "$work/unshare.err")"
  exit 1
fi
python3 "$peers/dns_stub.py" 120 >"$work/stub.out" 2>&1 &
stub=$!
for _ in $(seq 50); do
  grep -q ready "$work/stub.out" 2>/dev/null && break
  kill -0 "$stub" 2>/dev/null || break
  sleep 0.1
done
if ! grep -q ready "$work/stub.out"; then
  echo "no-name-service: the stub name server did not start on 127.0.0.1:53: $(cat "$work/stub.out")"
  exit 1
fi
unshare -m bash -c '
  mount --bind "$1/hosts" /etc/hosts &&
  mount --bind "$1/resolv.conf" /etc/resolv.conf &&
  exec "$2" "$3" --gtest_filter="NoNameService.*" --gtest_brief=0' _ "$work" "$wine_run" "$tests"
