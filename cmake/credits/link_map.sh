#!/bin/sh
# link_map.sh MAP COMMAND... -o PROGRAM...: links a program with the compiler of the musl builds. The compiler does not pass
# on the linker's option for a map, but it shows the linker's command line, which is repeated here with that option. Code that
# is optimised while linking has lost its origin in the map, so the files that the linker reads are appended.
set -eu
map=$1
shift
folder=${1%/*}
if ! ZIG_VERBOSE_LINK=1 "$@" >"$map.log" 2>&1; then
    grep -v '^ld\.lld ' "$map.log" >&2
    exit 1
fi
# shellcheck disable=SC2046 # words; no path of a build has blanks, which the compiler would not show
"$folder/../zig" ld.lld $(sed -n 's/^ld\.lld //p' "$map.log" | tail -n 1) \
    -o "$map.out" --Map="$map" --trace >"$map.log.read"
cat "$map.log.read" >>"$map"
grep -vE '^(ld\.lld|ar) ' "$map.log" >&2 || true
rm "$map.out" "$map.log" "$map.log.read"
