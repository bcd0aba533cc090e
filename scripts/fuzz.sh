#!/usr/bin/env bash
# Builds every fuzz target with clang under AddressSanitizer and UndefinedBehaviorSanitizer
# into build-fuzz-ci and runs each one for SECONDS (default 30) on a temporary copy of its
# corpus, with its dictionary when it has one. Exits non-zero when any target finds a crash,
# a leak, a timeout or a broken property, naming the target and the reproducer.
#
# usage: scripts/fuzz.sh [SECONDS]
set -u
cd "$(dirname "$0")/.."

seconds="${1:-30}"
case "$seconds" in
    '' | *[!0-9]*)
        echo "usage: scripts/fuzz.sh [SECONDS]" >&2
        exit 2
        ;;
esac

build=build-fuzz-ci
jobs="${QX_FUZZ_JOBS:-2}"

work="$(mktemp -d "${TMPDIR:-/tmp}/qx-fuzz.XXXXXX")" || exit 1

CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DQX_BUILD_FUZZERS=ON \
    -DQX_BUILD_TESTS=OFF -DQX_BUILD_BENCHMARKS=OFF -DQX_BUILD_TOOLS=OFF \
    -DQX_SANITIZE=address,undefined >"$work/configure.log" 2>&1 || {
    cat "$work/configure.log" >&2
    echo "fuzz: configuring $build failed" >&2
    rm -rf "$work"
    exit 1
}
cmake --build "$build" -j"$jobs" || {
    echo "fuzz: building $build failed" >&2
    rm -rf "$work"
    exit 1
}

shopt -s nullglob
targets=("$build"/fuzz/*_fuzz)
if [ "${#targets[@]}" -eq 0 ]; then
    echo "fuzz: no fuzz targets were built in $build/fuzz" >&2
    rm -rf "$work"
    exit 1
fi

failed=()

for bin in "${targets[@]}"; do
    target="$(basename "$bin")"
    name="${target%_fuzz}"
    dir="$work/$name"
    mkdir -p "$dir/corpus" "$dir/artifacts"
    if [ -d "fuzz/corpus/$name" ]; then
        cp -R "fuzz/corpus/$name/." "$dir/corpus/"
    fi
    args=("$dir/corpus" "-max_total_time=$seconds" "-timeout=60" "-rss_limit_mb=2048"
        "-close_fd_mask=1" "-artifact_prefix=$dir/artifacts/" "-print_final_stats=1")
    case "$name" in
        parse | parse_diff | roundtrip) dict=fuzz/parse.dict ;;
        *) dict="fuzz/$name.dict" ;;
    esac
    if [ -f "$dict" ]; then args+=("-dict=$dict"); fi

    # The library traces nothing and reads no host configuration unless told to; the targets
    # leave the library's standard output to -close_fd_mask.
    env -u QX_TRACE_LEVEL -u QX_PLATFORM_CONFIG \
        ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}" \
        UBSAN_OPTIONS="${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}" \
        "$bin" "${args[@]}" </dev/null >"$dir/log" 2>&1
    status=$?

    artifacts=("$dir"/artifacts/*)
    runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/log" | tail -n 1)"
    if [ "$status" -ne 0 ] || [ "${#artifacts[@]}" -ne 0 ]; then
        failed+=("$target")
        echo "fuzz: $target FAILED (exit status $status)" >&2
        grep -E "ERROR: |runtime error|SUMMARY|deadly signal|Test unit written" "$dir/log" \
            | head -n 20 >&2
        for artifact in "${artifacts[@]}"; do echo "fuzz: reproducer $artifact" >&2; done
        echo "fuzz: full log $dir/log" >&2
    else
        echo "fuzz: $target ok, ${runs:-?} runs in ${seconds}s"
    fi
done

if [ "${#failed[@]}" -ne 0 ]; then
    echo "fuzz: ${#failed[@]} target(s) failed: ${failed[*]}; logs and reproducers kept in $work" >&2
    exit 1
fi
rm -rf "$work"
exit 0
