#!/usr/bin/env bash
# Instructions per MiB by callgrind (repeatable to the instruction, unlike wall-clock figures on
# a shared machine), on both corpora: of command text inside AnalyseOneCommandEx, then of a
# script read through GetOneCommand and written through WriteCommand (16 MiB: the counts per
# MiB are those of the 64 MiB that the wall-clock benchmarks take, in a quarter of the time).
#   bench/callgrind.sh [BUILD_DIR] [parse|file|all]   prints each count and the costliest
#                                                    functions; keeps the profiles in /tmp
set -euo pipefail
build="${1:-build}"
what="${2:-all}"

# The costliest functions, by their own instructions.
top() {
    callgrind_annotate --threshold=80 "$1" 2>/dev/null | grep -E '^ *[0-9,]+ \( *[0-9.]+%\) ' |
        grep -v 'PROGRAM TOTALS' | sed -n 1,8p | cut -c1-150
}

# Instructions callgrind counted, from its log.
collected() { sed -n 's/.*Collected : *//p' <<<"$1" | tail -n 1; }

# A benchmark counter's value in the log, its k, M or G suffix expanded.
counter() {
    grep -o "$2=[0-9.kMG]*" <<<"$1" | head -n 1 | cut -d= -f2 | awk '{
        v = $0 + 0; s = substr($0, length($0))
        if (s == "k") v *= 1e3; else if (s == "M") v *= 1e6; else if (s == "G") v *= 1e9
        printf "%.6f", v }'
}

if [[ "$what" != file ]]; then
    for corpus in 0 1; do
        out="/tmp/qx_callgrind_parse_${corpus}_$$.out"
        log="$(valgrind --tool=callgrind --callgrind-out-file="$out" \
            --toggle-collect='NSQX_script::AnalyseOneCommandEx*' \
            "$build/bench/parser_bench" --benchmark_filter="BM_ParseReused/${corpus}\$" \
            --benchmark_min_time=0.000001 2>&1)"
        ir="$(collected "$log")"
        bytes="$(counter "$log" corpus_bytes)"
        iters="$(grep -E '^BM_ParseReused' <<<"$log" | awk '{print $6}')"
        awk -v ir="$ir" -v n="$bytes" -v it="$iters" -v c="$corpus" -v out="$out" 'BEGIN {
            printf "parse, corpus %s: %.1f M instructions per MiB (%s instructions, %s iteration(s), profile %s)\n",
                c, ir / (it * n / 1048576) / 1e6, ir, it, out }'
        top "$out"
    done
fi

if [[ "$what" != parse ]]; then
    # The scripts are generated outside the counted functions.
    for run in "read BM_ReadScript GetOneCommand read_MiB" "write BM_WriteScript WriteCommand written_MiB"; do
        read -r name bench fn counter <<<"$run"
        for corpus in 0 1; do
            out="/tmp/qx_callgrind_${name}_${corpus}_$$.out"
            log="$(QX_BENCH_SCRIPT_MIB=16 valgrind --tool=callgrind --callgrind-out-file="$out" \
                --toggle-collect="NSQX_script::TScriptFileImpl::${fn}*" \
                "$build/bench/script_file_bench" --benchmark_filter="${bench}/${corpus}/real_time\$" \
                --benchmark_min_time=0.000001 2>&1)"
            ir="$(collected "$log")"
            mib="$(counter "$log" "$counter")"
            awk -v ir="$ir" -v n="$mib" -v name="$name" -v c="$corpus" -v out="$out" 'BEGIN {
                printf "%s, corpus %s: %.1f M instructions per MiB (%s instructions over %.1f MiB, profile %s)\n",
                    name, c, ir / n / 1e6, ir, n, out }'
            top "$out"
        done
    done
fi
