#!/usr/bin/env bash
# The DLL must load on a Windows machine without our toolchain: it may import
# system DLLs only (no C++ runtime, no winpthreads), and it exports the
# creation function.
set -euo pipefail
dll="$1"
objdump=x86_64-w64-mingw32-objdump
allowed='^(ADVAPI32|CRYPT32|IPHLPAPI|KERNEL32|msvcrt|OLE32|OLEAUT32|PSAPI|RPCRT4|SETUPAPI|SHELL32|SHLWAPI|USER32|VERSION|WINSPOOL|WS2_32|WININET|CFGMGR32|WSDAPI)\.(dll|DLL|drv|DRV)$'
dump=$("$objdump" -p "$dll")
# The import table keeps each name as the import library wrote it.
shopt -s nocasematch
status=0
while read -r name; do
  if [[ ! "$name" =~ $allowed ]]; then
    echo "not a system DLL: $name"
    status=1
  fi
done < <(sed -n 's/^\s*DLL Name: //p' <<<"$dump")
for export in CreateAddressFromIPAddress CreateAddressFromPortName CreateAddressFromQueueName; do
  if ! grep -q "$export" <<<"$dump"; then
    echo "$export is not exported"
    status=1
  fi
done
[ $status -eq 0 ] && echo "imports: system DLLs only; exports the three creation functions"
exit $status
