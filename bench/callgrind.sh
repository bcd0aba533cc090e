#!/usr/bin/env bash
# Instructions per MiB of command text inside AnalyseOneCommandEx, on both corpora, by
# callgrind (repeatable to the instruction, unlike wall-clock figures on a shared machine).
#   bench/callgrind.sh [BUILD_DIR]     prints each corpus's count and its costliest functions;
#                                      keeps the profiles in /tmp
set -euo pipefail
build="${1:-build}"
for corpus in 0 1; do
    out="/tmp/qx_callgrind_parse_${corpus}_$$.out"
    log="$(valgrind --tool=callgrind --callgrind-out-file="$out" \
        --toggle-collect='NSQX_script::AnalyseOneCommandEx*' \
        "$build/bench/parser_bench" --benchmark_filter="BM_ParseReused/${corpus}\$" \
        --benchmark_min_time=0.000001 2>&1)"
    ir="$(sed -n 's/.*Collected : *//p' <<<"$log" | tail -n 1)"
    bytes="$(grep -o 'corpus_bytes=[0-9.kMG]*' <<<"$log" | head -n 1 | cut -d= -f2)"
    iters="$(grep -E '^BM_ParseReused' <<<"$log" | awk '{print $6}')"
    python3 -c "
import sys
b='$bytes'; m={'k':1e3,'M':1e6,'G':1e9}
n=float(b[:-1])*m[b[-1]] if b[-1] in m else float(b)
print('corpus $corpus: %.1f M instructions per MiB (%s instructions, %s iteration(s), profile $out)' % ($ir/($iters*n/1048576)/1e6, '$ir', '$iters'))"
    # The costliest functions, by their own instructions.
    callgrind_annotate --threshold=80 "$out" 2>/dev/null | grep -E '^ *[0-9,]+ \( *[0-9.]+%\) ' |
        grep -v 'PROGRAM TOTALS' | sed -n 1,8p | cut -c1-150
done
