#!/bin/sh
# run.sh BUILD SECONDS [TARGET]...: runs the fuzz targets of a build with QX_FUZZ, one after the other, SECONDS each.
# What they learn stays in BUILD/fuzz/corpus, what they find in BUILD/fuzz/found. Ends with 1 when something was found.
set -eu

here=$(dirname "$(realpath "$0")")
build=$(realpath "$1")
seconds=$2
shift 2
[ $# -gt 0 ] || set -- $(cd "$here/corpus" && ls)

work=$build/fuzz
found=$work/found
mkdir -p "$found"
# The last value that a line of the log has after a word.
last() { grep -o "$1 [0-9]*" "$log" | tail -1 | grep -o '[0-9]*$' || echo 0; }

bad=0
for target; do
    corpus=$work/corpus/$target
    log=$work/$target.log
    mkdir -p "$corpus"
    result="nothing found"
    if ! "$build/bin/fuzz_$target" -max_total_time="$seconds" -timeout=60 -print_final_stats=1 \
        -dict="$here/dictionary" -artifact_prefix="$found/$target-" "$corpus" "$here/corpus/$target" >"$log" 2>&1; then
        result="FOUND SOMETHING, see $log"
        bad=1
    fi
    printf '%-14s%10s executions, %s of %s edges: %s\n' "$target" "$(last 'executed_units:')" \
        "$(last 'cov:')" "$(grep -o '([0-9]* inline' "$log" | grep -o '[0-9]*' || echo 0)" "$result"
done
exit $bad
