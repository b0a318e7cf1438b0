#!/usr/bin/env bash
# Builds the fuzz targets with clang, AddressSanitizer and UBSan, and runs one target (or every target,
# "all") for SECONDS from its inputs in fuzz/corpus/TARGET, with the format's tokens from fuzz/dict/TARGET.dict
# when there is one. An input that makes a target fail is copied to fuzz/findings/TARGET/ and the script
# fails; once the fault is fixed, the input goes into fuzz/corpus/TARGET, which every test build replays.
# Usage: scripts/fuzz.sh TARGET|all [SECONDS]   (default 60 seconds)
set -euo pipefail
cd "$(dirname "$0")/.."
targets=${1:-all}
seconds=${2:-60}
if [ "$targets" = all ]; then
  targets=$(sed -n 's/^set(ZTBASE_FUZZ_TARGETS \(.*\))$/\1/p' fuzz/CMakeLists.txt)
fi
bash scripts/deps.sh fuzz
build=build-fuzz
CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_WERROR=ON \
  -DZTBASE_TESTS=OFF -DZTBASE_BENCH=OFF -DZTBASE_FUZZ=ON -DZTBASE_SANITIZE=address,undefined >/dev/null
cmake --build "$build" -j"$(nproc)"
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
for target in $targets; do
  work=$(mktemp -d)
  mkdir -p "$work/corpus" "$work/crashes"
  if [ -d "fuzz/corpus/$target" ]; then cp fuzz/corpus/"$target"/* "$work/corpus/" 2>/dev/null || true; fi
  dict=()
  if [ -f "fuzz/dict/$target.dict" ]; then dict=(-dict="fuzz/dict/$target.dict"); fi
  echo "fuzzing $target for $seconds s"
  if ! "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$work/crashes/" "${dict[@]}" "$work/corpus" >"$work/log" 2>&1; then
    tail -n 60 "$work/log"
    mkdir -p "fuzz/findings/$target"
    cp "$work"/crashes/* "fuzz/findings/$target/" 2>/dev/null || true
    echo "fuzz target $target failed; inputs in fuzz/findings/$target" >&2
    exit 1
  fi
  grep -E "^stat::(number_of_executed_units|new_units_added|peak_rss_mb)|cov: .* ft:" "$work/log" | tail -n 4
  rm -rf "$work"
done
