# Sourced by a test script: check NAME EXPECTED ACTUAL prints "ok" or a
# FAIL with both values, and a failure sets fail=1, the script's exit code.
fail=0
check() {
  if [ "$2" != "$3" ]; then
    printf 'FAIL %s\n  expected: %q\n  actual:   %q\n' "$1" "$2" "$3"
    fail=1
  else
    echo "ok   $1"
  fi
}
