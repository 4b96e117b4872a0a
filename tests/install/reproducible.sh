#!/bin/sh
# Builds the product once more, in another folder, and compares the packages of both builds byte for byte.
# usage: reproducible.sh SOURCES BUILD
set -eu

sources=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export SOURCE_DATE_EPOCH=1700000000

cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

mkdir "$work/copy"
for part in CMakeLists.txt README.md client cmake docs tools utils; do
    cp -R "$sources/$part" "$work/copy"
done
cmake -G Ninja -S "$work/copy" -B "$work/build" -DQX_TESTS=OFF -DCMAKE_BUILD_TYPE="$(cached CMAKE_BUILD_TYPE)" \
    -DCMAKE_C_COMPILER="$(cached CMAKE_C_COMPILER)" -DCMAKE_CXX_COMPILER="$(cached CMAKE_CXX_COMPILER)" >"$work/log"
ninja -C "$work/build" >>"$work/log" || { cat "$work/log"; exit 1; }

cpack --config "$build/CPackConfig.cmake" -B "$work/first" >>"$work/log"
cpack --config "$work/build/CPackConfig.cmake" -B "$work/second" >>"$work/log"
status=0
for package in "$work"/first/*.deb; do
    cmp "$package" "$work/second/${package##*/}" || status=1
done
[ -e "$package" ] || { echo "there is no package"; exit 1; }
exit $status
