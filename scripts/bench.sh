#!/usr/bin/env bash
# Builds and runs every benchmark program, then prints the ratio table: for each benchmark
# BM_<Name>_Ours, its time divided by the time of each BM_<Name>_Peer... of the same run
# (below 1.0 the library is faster).
# Usage: scripts/bench.sh [filter-regex]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh bench
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DZTBASE_TESTS=OFF >/dev/null
cmake --build build-bench -j"$(nproc)"
out=build-bench/bench-results
mkdir -p "$out"
for prog in build-bench/bench/*_bench; do
  name=$(basename "$prog")
  "$prog" --benchmark_filter="${1:-.}" --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
    --benchmark_out="$out/$name.json" --benchmark_out_format=json
done
python3 scripts/bench_table.py "$out"/*.json
