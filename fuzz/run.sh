#!/bin/sh
# usage: run.sh BUILD SECONDS
# Runs the fuzz targets one after the other, SECONDS each. BUILD is a build directory of the mode `fuzz`. Keeps new
# inputs in BUILD/fuzz/corpus and failing inputs in BUILD/fuzz/found. Exits with status 1 if a target fails.
set -eu

here=$(dirname "$(realpath "$0")")
build=$(realpath "$1")
seconds=$2
work=$build/fuzz
mkdir -p "$work/found"
# last WORD: prints the number that follows the last WORD in the log, or 0 if there is none.
last() { grep -o "$1 [0-9]*" "$log" | tail -1 | grep -o '[0-9]*$' || echo 0; }

bad=0
for seeds in "$here"/corpus/*; do
    target=${seeds##*/}
    log=$work/$target.log
    mkdir -p "$work/corpus/$target"
    result="nothing found"
    "$build/bin/fuzz_$target" -max_total_time="$seconds" -timeout=60 -print_final_stats=1 -dict="$work/dictionary" \
        -artifact_prefix="$work/found/$target-" "$work/corpus/$target" "$seeds" >"$log" 2>&1 ||
        { result="FOUND SOMETHING, see $log"; bad=1; }
    printf '%-14s%10s executions, %s of %s edges: %s\n' "$target" "$(last 'executed_units:')" \
        "$(last 'cov:')" "$(grep -o '([0-9]* inline' "$log" | grep -o '[0-9]*' || echo 0)" "$result"
done
exit $bad
