#!/usr/bin/env bash
# How `qxscript check -r` scales with workers: generates a directory of scripts (50 of 8 MB of
# the harsh corpus by default) and times -j 1 against -j 2, with the peak memory of each.
#   bench/check_scaling.sh [BUILD_DIR=build] [FILES=50] [MEGABYTES=8]
# The corpus is kept in BUILD_DIR/check-corpus and made again only when its size changes.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
files="${2:-50}"
mb="${3:-8}"
tool="$build/tools/qxscript"
maker="$build/bench/make_corpus"
corpus="$build/check-corpus"
[ -x "$tool" ] && [ -x "$maker" ] || cmake --build "$build" --target qxscript make_corpus

if [ "$(cat "$corpus/.made" 2>/dev/null)" != "$files x $mb" ]; then
    rm -rf "$corpus"
    "$maker" "$corpus" "$files" "$mb"
    echo "$files x $mb" > "$corpus/.made"
fi
total_mb=$(du -sm "$corpus" | cut -f1)
echo "corpus: $files scripts of $mb MB ($total_mb MB), $(nproc) cores"

# One run: seconds and peak resident kilobytes; the output must say every file parsed.
measure() {
    local jobs="$1" log
    log="$(mktemp)"
    /usr/bin/time -v "$tool" check -r -j "$jobs" "$corpus" > "$log.out" 2> "$log"
    grep -q "^total: $files files, .* commands$" "$log.out" ||
        { echo "unexpected output of -j $jobs:" >&2; tail -3 "$log.out" >&2; exit 1; }
    local wall rss cpu
    wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' "$log")
    rss=$(awk -F': ' '/Maximum resident set size/ {print $2}' "$log")
    cpu=$(awk -F': ' '/(User|System) time/ {s += $2} END {print s}' "$log")
    rm -f "$log" "$log.out"
    # m:ss.cc or h:mm:ss to seconds
    awk -v t="$wall" -v r="$rss" -v c="$cpu" 'BEGIN { n = split(t, p, ":"); s = 0;
        for (i = 1; i <= n; ++i) s = s * 60 + p[i]; printf "%.2f %d %.2f\n", s, r, c }'
}

echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
read -r t1 m1 c1 < <(measure 1)
read -r t2 m2 c2 < <(measure 2)
echo "load average after:  $(cut -d' ' -f1-3 /proc/loadavg)"
# CPU seconds tell what the workers cost beyond the work itself; on a busy machine the wall
# clock cannot show the speed-up.
awk -v t1="$t1" -v t2="$t2" -v m1="$m1" -v m2="$m2" -v c1="$c1" -v c2="$c2" -v mb="$total_mb" \
    'BEGIN {
    printf "-j 1: %6.2f s  %6.1f MB/s  CPU %6.2f s  peak RSS %6.1f MB\n", t1, mb / t1, c1, m1 / 1024
    printf "-j 2: %6.2f s  %6.1f MB/s  CPU %6.2f s  peak RSS %6.1f MB\n", t2, mb / t2, c2, m2 / 1024
    printf "speed-up of -j 2: %.2fx\n", t1 / t2 }'
