# orvane devices end to end from namespace A against orvane-devsim.exe
# simulators in B; sourced by wsd-netns.sh after devsim-e2e.sh, while
# simulators 1 to 3 run. Each case checks the exit code, the exact lines
# printed, and where it says so the record file or the library's log.

# devices OUT ARGS...: orvane devices in A, as discover does.
devices() {
  local out=$1 rc=0
  shift
  ip netns exec "$a" env WINEPREFIX="$prefixes/a" WINEDLLOVERRIDES="$WINEDLLOVERRIDES;wsdapi=d" \
    timeout 90 wine "${orvane_cmd[@]}" devices "$@" >"$out.raw" 2>"$out.err" || rc=$?
  tr -d '\r' <"$out.raw" >"$out"
  return $rc
}
# orvane log in A, for orvane.exe alone, into C:\orvane-devices.log.
devices_log_file=$prefixes/a/drive_c/orvane-devices.log
devices_log() {
  ip netns exec "$a" env WINEPREFIX="$prefixes/a" timeout 60 wine "$orvane" log "$@" --process orvane.exe \
    >/dev/null 2>&1
}
devices_log_text() { iconv -f UTF-16LE -t UTF-8 "$devices_log_file" 2>/dev/null | tr -d '\r' || true; }
# The record folder of orvane.exe in A: the data folder is named after the
# folder above the one of the program.
records=$prefixes/a/drive_c/ProgramData/ZQ/$(basename "$(dirname "$(dirname "$orvane")")")/NetworkDevices

# devices_record N ADDRESS INSTALLED ONLINE [CONFIG-NAME CONFIG-ADDRESS]:
# simulator N as orvane devices --json prints it; the functions follow
# from its services, each on the device's address unless given.
devices_record() {
  local n=$1 address=$2 functions
  case $(($1 % 3)) in
    0) functions=", \"printName\": \"\", \"printAddress\": \"$address\"" ;;
    1) functions=", \"printName\": \"\", \"printAddress\": \"$address\", \"scanName\": \"\", \"scanAddress\": \"$address\", \"faxName\": \"\", \"faxAddress\": \"$address\"" ;;
    *) functions=", \"configName\": \"${5:-}\", \"configAddress\": \"${6:-$address}\"" ;;
  esac
  printf '{"connection": "network", "serialNumber": "SIM-%04d", "modelName": "Orvane Sim %d", "ipAddress": "%s", "hostName": "devsim-%d", "guid": "urn:uuid:%s", "installed": %d, "online": %d%s}\n' \
    "$n" "$n" "$address" "$n" "$(devsim_uuid "$n")" "$3" "$4" "$functions"
}
# The record file of simulator N at ADDRESS as the install writes it.
devices_record_file() {
  printf '[DeviceInfo]\nSerialNumber=SIM-%04d\nModelName=Orvane Sim %d\nGUID=urn:uuid:%s\nMAC=02:00:5E:10:00:%02X\nHostName=devsim-%d\nIPAddress=%s\nNetworkType=Ethernet\nOffSubNet=false\nMulticastEnabled=true\nDefaultToSearchByIP=true\n[ConfigInfo]\nPortNumber=8080\n' \
    "$1" "$1" "$(devsim_uuid "$1")" "$1" "$1" "$2"
}
devices_case() {  # NAME RESULT(0 ok) DETAILS...
  local name=$1 result=$2
  shift 2
  if [ "$result" -eq 0 ]; then echo "devices $name: ok"; else
    echo "devices $name: FAILED"; cat "$@"
    failures=$((failures + 1))
  fi
}

# The moved device. Simulator 5 (configuration only, IPv4 alone so that its
# address is one) is installed from a directed search of 10.77.0.15: its
# record is written. It stops, its address goes, and it starts again on
# 10.77.0.25. --open finds it by a search by its identifier (on the subnet,
# multicast allowed) at the new address, and the record follows.
devsim_run 5 15 ipv4
rc=0
devices "$out" --install SIM-0005 --address 10.77.0.15 --json || rc=$?
devices_record 5 10.77.0.15 1 1 "Orvane Sim 5" 10.77.0.15:8080 >"$expected"
devices_record_file 5 10.77.0.15 >"$expected.record"
ok=1
[ "$rc" -eq 0 ] && diff -u "$expected" "$out" && [ ! -s "$out.err" ] \
  && diff -u "$expected.record" <(tr -d '\r' <"$records/SIM-0005.ini") || ok=0
devices_case install-by-address $((1 - ok)) "$out" "$out.err" "$prefixes/devsim-5.log"

devsim_stop 5
cp "$prefixes/devsim-5.log" "$prefixes/devsim-5-before-the-move.log"
ip -n "$b" addr del 10.77.0.15/24 dev "$vb"
devsim_run 5 25 ipv4
rc=0
devices "$out" --open SIM-0005 --json || rc=$?
devices_record 5 10.77.0.25 1 1 "Orvane Sim 5" 10.77.0.25:8080 >"$expected"
devices_record_file 5 10.77.0.25 >"$expected.record"
ok=1
[ "$rc" -eq 0 ] && diff -u "$expected" "$out" \
  && diff -u "$expected.record" <(tr -d '\r' <"$records/SIM-0005.ini") \
  && sed 's/\r$//' "$prefixes/devsim-5.log" | grep -c '^wsd Resolve from 10\.77\.0\.1:[0-9]*: ResolveMatches sent$' >/dev/null \
  || ok=0
devices_case moved-device-found-by-identifier-and-record-follows $((1 - ok)) "$out" "$out.err" \
  "$records/SIM-0005.ini" "$prefixes/devsim-5.log"

rc=0
devices "$out" --uninstall SIM-0005 || rc=$?
ok=1
[ "$rc" -eq 0 ] && [ "$(cat "$out")" = "uninstalled SIM-0005" ] && [ ! -e "$records/SIM-0005.ini" ] || ok=0
devices_case uninstall $((1 - ok)) "$out" "$out.err"
devsim_stop 5

# Install by a search of the whole network: simulator 2 (configuration
# only) answers on IPv4 and IPv6, and the first answer is installed. An
# identity that nothing answers for is not found.
rc=0
devices "$out" --install SIM-0002 --json || rc=$?
ok=1
[ "$rc" -eq 0 ] && [ -e "$records/SIM-0002.ini" ] \
  && { [ "$(cat "$out")" = "$(devices_record 2 10.77.0.12 1 1 "Orvane Sim 2" 10.77.0.12:8080)" ] \
       || [ "$(cat "$out")" = "$(devices_record 2 fd77::12 1 1 "Orvane Sim 2" "[fd77::12]:8080")" ]; } || ok=0
rc=0
devices "$out.uninstall" --uninstall SIM-0002 || rc=$?
[ "$rc" -eq 0 ] && [ ! -e "$records/SIM-0002.ini" ] || ok=0
rc=0
devices "$out.unknown" --install SIM-9999 || rc=$?
[ "$rc" -eq 1 ] && [ "$(cat "$out.unknown.err" | tr -d '\r')" = "orvane devices: cannot find SIM-9999: 0x83E8FAFD (DM_E_NOT_FOUND)" ] \
  || ok=0
devices_case install-by-search $((1 - ok)) "$out" "$out.err" "$out.uninstall.err" "$out.unknown.err"

# A search of the whole network (--find, no type): simulators 1 to 3 answer
# on IPv4 and IPv6, each listed once, the second answer logged as a
# duplicate; simulator 6 answers and then says Bye (stopped once the search
# has taken it in, as the log shows): it stays in the list, offline.
devsim_run 6 16 ipv4
rm -f "$devices_log_file"
devices_log on --file 'C:\orvane-devices.log'
rc=0
devices "$out" --find --json &
devices_pid=$!
for _ in $(seq 150); do
  devices_log_text | grep -c 'Serial number: SIM-0006$' >/dev/null && break
  sleep 0.1
done
devsim_stop 6
wait "$devices_pid" || rc=$?
devices_log off
ok=1
for n in 1 2 3; do
  line=$(grep "\"serialNumber\": \"SIM-000$n\"" "$out" || true)
  [ "$(printf '%s' "$line" | grep -c .)" -eq 1 ] || ok=0
  [ "$line" = "$(devices_record "$n" "10.77.0.$((10 + n))" 0 1)" ] \
    || [ "$line" = "$(devices_record "$n" "fd77::$((10 + n))" 0 1)" ] || ok=0
done
[ "$rc" -eq 0 ] && [ "$ok" -eq 1 ] \
  && [ "$(devices_log_text | grep -c '(I0) *Ignoring a duplicate network device$')" -ge 3 ] || ok=0
devices_case find-lists-each-device-once $((1 - ok)) "$out" "$out.err"
ok=1
[ "$(grep '"serialNumber": "SIM-0006"' "$out")" = "$(devices_record 6 10.77.0.16 0 0)" ] \
  && sed 's/\r$//' "$prefixes/devsim-6.log" | grep -cx 'wsd Bye sent to 239.255.255.250:3702 on 10.77.0.16' >/dev/null || ok=0
devices_case find-bye-leaves-the-device-offline-in-the-list $((1 - ok)) "$out" "$prefixes/devsim-6.log"
