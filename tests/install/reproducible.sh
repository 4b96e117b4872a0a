#!/bin/sh
# Builds the product once more, in another folder, and compares the packages of both builds byte for byte.
# usage: reproducible.sh SOURCES BUILD
set -eu

sources=$1
build=$2
work=$(mktemp -d)
finish() {
    status=$?
    [ "$status" -eq 0 ] || cat "$work/log"
    rm -rf "$work"
    exit "$status"
}
trap finish EXIT
export SOURCE_DATE_EPOCH=1700000000

cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

{
    mkdir "$work/copy"
    tar -C "$sources" --exclude=./build --exclude=./.git -ch . | tar -C "$work/copy" -x
    cmake -G Ninja -S "$work/copy" -B "$work/build" -DQX_TESTS=OFF -DCMAKE_BUILD_TYPE="$(cached CMAKE_BUILD_TYPE)" \
        -DCMAKE_C_COMPILER="$(cached CMAKE_C_COMPILER)" -DCMAKE_CXX_COMPILER="$(cached CMAKE_CXX_COMPILER)"
    ninja -C "$work/build"
    cpack --config "$build/CPackConfig.cmake" -B "$work/first"
    cpack --config "$work/build/CPackConfig.cmake" -B "$work/second"
    for package in qxagent-manage libqx-plix-dev qxbrokerd-sim; do
        cmp "$work"/first/${package}_*.deb "$work"/second/${package}_*.deb
    done
} >"$work/log" 2>&1
