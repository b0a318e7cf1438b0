#!/usr/bin/env bash
# Builds the fuzz targets with clang, AddressSanitizer and UBSan, and runs each for SECONDS (default 30)
# from its starting inputs in fuzz/corpus/. Usage: scripts/fuzz.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
build=build-fuzz
CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_WERROR=ON \
  -DZTBASE_TESTS=OFF -DZTBASE_BENCH=OFF -DZTBASE_FUZZ=ON -DZTBASE_SANITIZE=address,undefined
cmake --build "$build" -j"$(nproc)"
for target in container table; do
  work=$(mktemp -d)
  cp fuzz/corpus/$target/* "$work"/
  echo "fuzzing $target for $seconds s"
  if ! "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 "$work" \
    >"$work.log" 2>&1; then
    cat "$work.log"
    exit 1
  fi
  grep -E "^stat::(number_of_executed_units|new_units_added)" "$work.log" || tail -n 3 "$work.log"
  rm -rf "$work" "$work.log"
done
