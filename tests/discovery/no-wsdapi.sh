#!/usr/bin/env bash
# Runs the discovery tests of a system without the WS-Discovery provider
# (WithoutWsdapi.*): the test program under wine-run's settings with
# wsdapi=d added to WINEDLLOVERRIDES, so that "wsdapi.dll" does not load.
# Wine's loader takes the overrides from the Unix environment the program
# starts with; a "set" inside a Windows program does not reach it.
# Arguments: the wine-run script and the test program.
set -euo pipefail
wine_run=$1
tests=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sed 's/^export WINEDLLOVERRIDES="\(.*\)"$/export WINEDLLOVERRIDES="\1;wsdapi=d"/' "$wine_run" >"$work/wine-run"
if ! grep -q '^export WINEDLLOVERRIDES=".*;wsdapi=d"$' "$work/wine-run"; then
  echo "no-wsdapi: $wine_run has no WINEDLLOVERRIDES line to add wsdapi=d to"
  exit 1
fi
bash "$work/wine-run" "$tests" --gtest_filter='WithoutWsdapi.*' --gtest_brief=0
