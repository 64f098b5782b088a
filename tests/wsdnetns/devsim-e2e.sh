# orvane-devsim.exe as the devices in namespace B, found by orvane discover
# from A; sourced by wsd-netns.sh once its namespaces, prefixes and the
# discover function stand. Three simulators with their own addresses and
# identities, a fourth that comes and goes during searches. Each case
# checks the exit code and the exact lines of the simulators' records.
# Then the test binary runs again with A's adapter changed.
devsim_pids=()
devsim_cleanup() {
  for pid in "${devsim_pids[@]}"; do kill -INT "$pid" 2>/dev/null || true; done
}
trap 'devsim_cleanup; cleanup' EXIT

devsim_uuid() { printf '6f72766e-6465-4673-896d-%012x' "$1"; }
# The record of simulator N at ADDRESS as orvane discover --json prints it.
devsim_record() {  # EVENT N ADDRESS
  printf '{"event": "%s", "id": "urn:uuid:%s", "hardwareAddress": "02:00:5E:10:00:%02X", "hostName": "devsim-%d", "ipAddress": "%s", "manufacturer": "Orvane", "model": "Sim %d", "serialNumber": "SIM-%04d", "services": %d, "adapterType": %d}\n' \
    "$1" "$(devsim_uuid "$2")" "$2" "$2" "$3" "$2" "$2" "$(devsim_services_flags "$2")" "$(devsim_adapter_flag "$2")"
}
devsim_services() { case $(($1 % 3)) in 0) echo "Print9100 EWS" ;; 1) echo "Print9100 RestScan Fax" ;; *) echo "CIFS DSD" ;; esac; }
devsim_services_flags() { case $(($1 % 3)) in 0) echo 9 ;; 1) echo 35 ;; *) echo 20 ;; esac; }
devsim_adapter() { [ $(($1 % 2)) -eq 0 ] && echo WifiEmbedded || echo Ethernet; }
devsim_adapter_flag() { [ $(($1 % 2)) -eq 0 ] && echo 2 || echo 1; }

# devsim_run N [HOST [ipv4]]: simulator N on 10.77.0.HOST and fd77::HOST in
# B (HOST 10+N unless given; IPv4 alone with "ipv4"), with the family's
# default type and zqd:DevsimTest; waits until it is ready.
devsim_run() {
  local n=$1 host=${2:-$((10 + $1))} log=$prefixes/devsim-$1.log ipv6=()
  ip -n "$b" addr replace "10.77.0.$host/24" dev "$vb"
  if [ "${3:-}" != ipv4 ]; then
    ip -n "$b" addr replace "fd77::$host/64" dev "$vb" nodad
    ipv6=(--ipv6 "fd77::$host")
  fi
  # The log of an earlier run of simulator N goes first: its ready line
  # would otherwise count before the new run empties the file.
  rm -f "$log"
  (cd "$prefixes" && exec ip netns exec "$b" env WINEPREFIX="$prefixes/b" wine "$devsim" \
     --bind "10.77.0.$host" "${ipv6[@]}" --job-port 0 --http-port 0 --jobs "devsim-jobs-$n" \
     --seconds 170 --wsd --uuid "$(devsim_uuid "$n")" --types "zqd:zqDevice zqd:DevsimTest" \
     --hardware-address "$(printf '02:00:5E:10:00:%02X' "$n")" --host-name "devsim-$n" \
     --serial-number "$(printf 'SIM-%04d' "$n")" --device-id "MFG:Orvane;MDL:Sim $n;" \
     --services "$(devsim_services "$n")" --adapter-type "$(devsim_adapter "$n")" >"$log" 2>&1) &
  devsim_pids[n]=$!
  for _ in $(seq 200); do
    grep -q '^http port listening' "$log" 2>/dev/null && return 0
    kill -0 "${devsim_pids[n]}" 2>/dev/null || break
    sleep 0.1
  done
  fail "orvane-devsim $n did not start: $(cat "$log")"
}
# devsim_stop N: Ctrl-C, which makes it say Bye; waits for its exit code 0.
devsim_stop() {
  local rc=0
  kill -INT "${devsim_pids[$1]}"
  wait "${devsim_pids[$1]}" || rc=$?
  [ "$rc" -eq 0 ] || fail "orvane-devsim $1 ended with $rc: $(cat "$prefixes/devsim-$1.log")"
}
# devsim_wait_log N TEXT COUNT: until simulator N's log has COUNT lines
# beginning with TEXT (10 s at most).
devsim_wait_log() {
  for _ in $(seq 100); do
    [ "$(grep -c "^$2" "$prefixes/devsim-$1.log" || true)" -ge "$3" ] && return 0
    sleep 0.1
  done
  fail "orvane-devsim $1 did not log '$2' $3 time(s): $(cat "$prefixes/devsim-$1.log")"
}
# The lines of simulators' records in a discover output.
devsim_lines() { grep '"id": "urn:uuid:6f72766e-' "$1" || true; }

for n in 1 2 3; do devsim_run "$n"; done

# By address, IPv4 and IPv6: the directed Probe on port 80 of that address.
{ devsim_record add 2 10.77.0.12; echo '{"event": "complete"}'; } >"$expected"
check devsim-by-address-ipv4 0 "$expected" --address 10.77.0.12 --json
{ devsim_record add 3 fd77::13; echo '{"event": "complete"}'; } >"$expected"
check devsim-by-address-ipv6 0 "$expected" --address fd77::13 --json

# By identifier: a Resolve that only simulator 1 answers, on any address.
rc=0
discover "$out" --id "urn:uuid:$(devsim_uuid 1)" --json || rc=$?
{ devsim_record add 1 10.77.0.11; devsim_record add 1 fd77::11; } >"$expected"
if [ "$rc" -eq 0 ] && [ "$(tail -n 1 "$out")" = '{"event": "complete"}' ] && [ "$(wc -l <"$out")" -ge 2 ] \
   && ! head -n -1 "$out" | grep -vxF -f "$expected"; then
  echo "discover devsim-by-id: ok"
else
  echo "discover devsim-by-id: FAILED (exit $rc):"; cat "$out" "$out.err"
  failures=$((failures + 1))
fi

# By type: the three simulators, each exactly once over IPv4 and at least
# once over IPv6, with their own values; the responder's devices answer
# too (every zqd: type), the simulators' lines are checked.
rc=0
discover "$out" --type "zqd:DevsimTest" --json || rc=$?
devsim_lines "$out" >"$out.devsim"
{ for n in 1 2 3; do devsim_record add "$n" "10.77.0.$((10 + n))"; done; } >"$expected"
v6_ok=1
for n in 1 2 3; do
  devsim_record add "$n" "fd77::$((10 + n))" >"$expected.v6"
  grep -qxF -f "$expected.v6" "$out.devsim" || v6_ok=0
done
{ for n in 1 2 3; do devsim_record add "$n" "fd77::$((10 + n))"; done; } >"$expected.v6"
if [ "$rc" -eq 0 ] && [ "$(grep -c '"ipAddress": "10\.' "$out.devsim")" -eq 3 ] \
   && diff <(grep '"ipAddress": "10\.' "$out.devsim" | sort) <(sort "$expected") >/dev/null \
   && [ "$v6_ok" -eq 1 ] && ! grep -v '"ipAddress": "10\.' "$out.devsim" | grep -vxF -f "$expected.v6" \
   && [ "$(tail -n 1 "$out")" = '{"event": "complete"}' ]; then
  echo "discover devsim-by-type: ok"
else
  echo "discover devsim-by-type: FAILED (exit $rc):"; cat "$out" "$out.err"
  failures=$((failures + 1))
fi

# A Hello during a search: simulator 4 starts once the search has sent its
# Probe (simulator 1 logs it), and is added by its Hello alone, since no
# device has the type searched for (zqd:SilentTest, which the responder
# does not answer either).
probes=$(grep -c '^wsd Probe from ' "$prefixes/devsim-1.log" || true)
rc=0
discover "$out" --type zqd:SilentTest --json &
discover_pid=$!
devsim_wait_log 1 "wsd Probe from " $((probes + 1))
devsim_run 4
wait "$discover_pid" || rc=$?
{ devsim_record add 4 10.77.0.14; echo '{"event": "complete"}'; } >"$expected"
if [ "$rc" -eq 0 ] && diff -u "$expected" <(grep -v '"id": "urn:uuid:5a0f0000-\|"id": "urn:uuid:2c9e4d7a-' "$out"); then
  echo "discover devsim-hello-during-search: ok"
else
  echo "discover devsim-hello-during-search: FAILED (exit $rc):"; cat "$out" "$out.err"
  failures=$((failures + 1))
fi

# Only a Bye: simulator 4 stops (Ctrl-C) during a search nobody answers;
# its Bye removes it, and the search fails with DISCOVERY_E_NOT_FOUND.
probes=$(grep -c '^wsd Probe from ' "$prefixes/devsim-4.log" || true)
rc=0
discover "$out" --type zqd:SilentTest --json &
discover_pid=$!
devsim_wait_log 4 "wsd Probe from " $((probes + 1))
devsim_stop 4
wait "$discover_pid" || rc=$?
{
  devsim_record remove 4 10.77.0.14
  echo '{"event": "failed", "status": 11, "name": "DISCOVERY_E_NOT_FOUND"}'
} >"$expected"
if [ "$rc" -eq 1 ] && diff -u "$expected" "$out" \
   && sed 's/\r$//' "$prefixes/devsim-4.log" | grep -cx 'wsd Bye sent to 239.255.255.250:3702 on 10.77.0.14' >/dev/null; then
  echo "discover devsim-bye-only: ok"
else
  echo "discover devsim-bye-only: FAILED (exit $rc):"; cat "$out" "$out.err" "$prefixes/devsim-4.log"
  failures=$((failures + 1))
fi

