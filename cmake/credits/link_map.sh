#!/bin/sh
# link_map.sh MAP COMMAND... -o PROGRAM...: links a program with the compiler of the musl builds and writes its link
# map. The compiler does not pass on the linker's option for a map, but it can print the linker's command line. This
# script repeats that command line with the option. The map does not name the origin of code that was optimised at link
# time, so the script appends the list of files that the linker reads.
set -eu
map=$1
shift
folder=${1%/*}
if ! ZIG_VERBOSE_LINK=1 "$@" >"$map.log" 2>&1; then
    grep -v '^ld\.lld ' "$map.log" >&2
    exit 1
fi
# shellcheck disable=SC2046 # splits into words; the compiler prints paths unquoted, so none may contain a blank
"$folder/../zig" ld.lld $(sed -n 's/^ld\.lld //p' "$map.log" | tail -n 1) \
    -o "$map.out" --Map="$map" --trace >"$map.log.read"
cat "$map.log.read" >>"$map"
grep -vE '^(ld\.lld|ar) ' "$map.log" >&2 || true
rm "$map.out" "$map.log" "$map.log.read"
