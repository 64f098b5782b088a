#!/usr/bin/env bash
# The SDK from a host developer's side: made as `make sdk` makes it (an
# install into a staging folder, zipped), unpacked into a folder of its own,
# and checked file by file. A small host is then configured and built from
# that folder alone with find_package and the mingw toolchain, and run
# under Wine with the SDK's orvane64.dll against the SDK's
# orvane-devsim.exe on loopback: a job by IP address, compared byte for
# byte with what the simulator stored, one bulk function called from C, and
# the version resources of the DLL and of the tools. Last, a C program is
# linked through an import library in Visual C++'s format made from the
# SDK's module definition.
# Arguments: the source folder, the build folder and the project's version.
set -euo pipefail
source_dir=$(realpath "$1")
build_dir=$(realpath "$2")
version=$3
wine_run=$build_dir/wine-run
here=$(dirname "$(realpath "$0")")
. "$here/../tools/devsim.sh"
. "$here/../peers/check.sh"
work=$(mktemp -d)
trap 'devsim_cleanup; rm -rf "$work"' EXIT

# The zip, made from the build and unpacked; the staging folder goes, so
# that only the unpacked copy is there to be found.
cmake -DBUILD_DIR="$build_dir" -DVERSION="$version" -DOUTPUT_DIR="$work/staging" \
  -P "$source_dir/cmake/Sdk.cmake" >"$work/sdk.log" 2>&1 || { echo "FAIL making the SDK:"; cat "$work/sdk.log"; exit 1; }
mkdir "$work/unpacked"
(cd "$work/unpacked" && cmake -E tar xf "$work/staging/orvane64-sdk-$version.zip")
rm -rf "$work/staging"
sdk=$work/unpacked/orvane64-sdk-$version
[ -d "$sdk" ] || { echo "FAIL the zip holds no folder orvane64-sdk-$version"; exit 1; }

# Exactly these files: nothing missing, and no test program, stand-in or
# driver among them. The targets file of the build's configuration is
# named after it.
expected='bin/orvane-devsim.exe
bin/orvane.exe
bin/orvane64.dll
include/orvane64.h
include/orvane64_bulk.h
lib/cmake/orvane64/orvane64Config.cmake
lib/cmake/orvane64/orvane64ConfigVersion.cmake
lib/cmake/orvane64/orvane64Targets-CONFIG.cmake
lib/cmake/orvane64/orvane64Targets.cmake
lib/orvane64.def
lib/orvane64.lib
share/doc/orvane64/README.md'
actual=$(cd "$sdk" && find . -type f | sed 's|^\./||; s|orvane64Targets-[a-z]*\.cmake$|orvane64Targets-CONFIG.cmake|' | LC_ALL=C sort)
check files-missing "" "$(LC_ALL=C comm -23 <(echo "$expected") <(echo "$actual"))"
check files-unexpected "" "$(LC_ALL=C comm -13 <(echo "$expected") <(echo "$actual"))"
same() { cmp -s "$sdk/$1" "$source_dir/$2" && echo yes || echo "no: $1 differs from $2"; }
check header-cpp yes "$(same include/orvane64.h include/orvane64.h)"
check header-c yes "$(same include/orvane64_bulk.h include/orvane64_bulk.h)"
check module-definition yes "$(same lib/orvane64.def api/orvane64.def)"
check readme yes "$(same share/doc/orvane64/README.md README.md)"
check package-names-no-tree "" "$(grep -rlF -e "$source_dir" -e "$build_dir" "$sdk/lib/cmake" || true)"
# The module definition, from which an MSVC user makes an import library,
# names every function of the C header, and the DLL exports each by that
# plain name.
header_names=$(sed -n 's/^ORVANE_BULK_API .*WINAPI \([A-Za-z]*\)(.*/\1/p' "$sdk/include/orvane64_bulk.h" | LC_ALL=C sort)
check header-functions 18 "$(echo "$header_names" | wc -l)"
check def-names "$header_names" "$(sed -n 's/^ *\([A-Za-z]*\)$/\1/p' "$sdk/lib/orvane64.def" | grep -vx EXPORTS | LC_ALL=C sort)"
check dll-plain-exports "$header_names" "$(x86_64-w64-mingw32-objdump -p "$sdk/bin/orvane64.dll" |
  sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^\s*\[ *[0-9]*\] \([A-Za-z]*\)$/\1/p' | LC_ALL=C sort)"
[ $fail -eq 0 ] || exit 1

# The host, copied out with the toolchain file, so that its build sees
# neither the source tree nor the build tree.
cp -r "$here/host" "$work/host"
cp "$source_dir/cmake/mingw-w64-x86_64.cmake" "$work/toolchain.cmake"
cmake -S "$work/host" -B "$work/host-build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$work/toolchain.cmake" \
  -DCMAKE_PREFIX_PATH="$sdk" -DCMAKE_BUILD_TYPE=Release >"$work/host.log" 2>&1 &&
  cmake --build "$work/host-build" >>"$work/host.log" 2>&1 ||
  { echo "FAIL the host did not configure and build from the SDK:"; cat "$work/host.log"; exit 1; }
check host-package-dir "$sdk/lib/cmake/orvane64" \
  "$(sed -n 's/^orvane64_DIR:PATH=//p' "$work/host-build/CMakeCache.txt")"
check host-links-sdk-lib yes "$(grep -qF "$sdk/lib/orvane64.lib" "$work/host-build/build.ninja" && echo yes || echo no)"
check host-no-tree-paths "" "$(grep -lF -e "$source_dir" -e "$build_dir" "$work/host-build/build.ninja" || true)"

# The job: 64 KiB holding every byte value, to the simulator's job port.
python3 -c 'import random, sys; r = random.Random(32); sys.stdout.buffer.write(bytes(range(256)) + bytes(r.randrange(256) for _ in range(65280)))' >"$work/job.prn"
devsim_start "$wine_run" "$sdk/bin/orvane-devsim.exe" --seconds 120
windows() { echo "Z:${1//\//\\}"; }
# Wine's PATH takes the SDK's bin folder, as a Windows user's would: the
# host's own folder holds no DLL.
WINEPATH=$(windows "$sdk/bin") "$wine_run" "$work/host-build/sdk-host.exe" 127.0.0.1 "$devsim_job_port" \
  "$(windows "$work/job.prn")" "$(windows "$sdk/bin/orvane.exe")" "$(windows "$sdk/bin/orvane-devsim.exe")" \
  >"$work/host.out" 2>&1 && status=0 || status=$?
out() { sed -n "s/^$1: //p" "$work/host.out" | tr -d '\r'; }
check host-exit 0 "$status"
check package-version "$version" "$(out 'package version')"
check loaded-dll "$(windows "$sdk/bin/orvane64.dll")" "$(out loaded)"
check job "status 0, 65536 of 65536 bytes written to 127.0.0.1:$devsim_job_port" "$(out job)"
check bulk "ReadBulk without a channel: 0, size 8" "$(out bulk)"
check version-dll "$version.0 $version.0 orvane64 orvane64.dll" "$(out 'version orvane64.dll')"
check version-orvane "$version.0 $version.0 orvane64 orvane.exe" "$(out 'version orvane.exe')"
check version-devsim "$version.0 $version.0 orvane64 orvane-devsim.exe" "$(out 'version orvane-devsim.exe')"
devsim_wait_for "job 1 stored 65536 bytes" || fail=1
check job-bytes yes "$(cmp -s "$work/job.prn" "$devsim_work/devsim-jobs/job-0001.prn" && echo yes || echo no)"

# The route of a Visual C++ user: an import library of short import
# members, as lib /def: makes it, from the SDK's module definition; a C
# program linked through it calls the DLL by the functions' plain names.
llvm-dlltool -m i386:x86-64 -d "$sdk/lib/orvane64.def" -D orvane64.dll -l "$work/orvane64-msvc.lib"
check msvc-lib-short-members 18 "$(python3 - "$work/orvane64-msvc.lib" <<'PY'
import sys
data = open(sys.argv[1], 'rb').read()
at, short = 8, 0
while at < len(data):
    size = int(data[at + 48:at + 58])
    short += data[at + 60:at + 64] == b'\0\0\xff\xff'
    at += 60 + size + (size & 1)
print(short)
PY
)"
x86_64-w64-mingw32-gcc-posix -Wall -I"$sdk/include" "$here/BulkByDefinition.c" "$work/orvane64-msvc.lib" \
  -o "$work/by-definition.exe" >"$work/by-definition.log" 2>&1 ||
  { echo "FAIL linking through the import library made from the module definition:"; cat "$work/by-definition.log"; exit 1; }
check by-definition-imports 1 "$(x86_64-w64-mingw32-objdump -p "$work/by-definition.exe" | grep -c 'DLL Name: orvane64.dll')"
check by-definition "by definition: ReadBulk 0, size 3, GetTimeout 0" \
  "$(WINEPATH=$(windows "$sdk/bin") "$wine_run" "$work/by-definition.exe" 2>&1 | tr -d '\r')"
[ $fail -eq 0 ] || { echo "the host printed:"; cat "$work/host.out"; }
exit $fail
