#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test.
#   scripts/test.sh                      the normal build, all tests
#   scripts/test.sh address,undefined    all tests again under those sanitizers
#   scripts/test.sh thread               the concurrency tests and the tool's worker runs under ThreadSanitizer
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

sanitize="${1:-}"
jobs="$(nproc 2>/dev/null || echo 2)"
if [ -z "$sanitize" ]; then
    dir=build
    cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
    cmake --build "$dir" -j "$jobs"
    ctest --test-dir "$dir" --output-on-failure -j "$jobs"
else
    dir="build-${sanitize//,/-}"
    cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQX_SANITIZE="$sanitize" \
          -DQX_BUILD_BENCHMARKS=OFF
    cmake --build "$dir" -j "$jobs"
    filter=()
    [ "$sanitize" = thread ] && filter=(-R 'Concurren|Batch')
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
        ctest --test-dir "$dir" --output-on-failure -j "$jobs" "${filter[@]}"
fi
