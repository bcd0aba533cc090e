#!/usr/bin/env bash
# Takes every figure of bench/README.md in one run: parsing, reading, writing and the baselines
# on both corpora, one and two threads, and the callgrind instruction counts. Wall-clock figures
# mean something only on a quiet machine: the script prints the load first.
#   bench/run.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
cmake --build "$build" -j2 --target parser_bench script_file_bench enum_bench >/dev/null
echo "load: $(cut -d' ' -f1-3 /proc/loadavg), $(nproc) cores"
common=(--benchmark_min_time=2 --benchmark_repetitions=3 --benchmark_report_aggregates_only=true)
"$build/bench/parser_bench" "${common[@]}"
"$build/bench/script_file_bench" "${common[@]}"
"$build/bench/enum_bench" --benchmark_min_time=1
bench/callgrind.sh "$build"
