#!/bin/sh
# Builds the product once more, in another folder, and compares the packages of both builds, or the tools for routers,
# byte for byte.
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

# configure VARIABLE...: configures the copy, with these variables as they are in the first build.
configure() {
    for variable; do
        set -- "$@" "-D$variable=$(sed -n "s/^$variable:[A-Z]*=//p" "$build/CMakeCache.txt")"
        shift
    done
    cmake -G Ninja -S "$work/copy" -B "$work/build" -DQX_TESTS=OFF "$@"
}

{
    mkdir "$work/copy"
    tar -C "$sources" --exclude=./build --exclude=./.git -ch . | tar -C "$work/copy" -x
    if grep -q '^CMAKE_TOOLCHAIN_FILE:' "$build/CMakeCache.txt"; then
        configure CMAKE_BUILD_TYPE CMAKE_TOOLCHAIN_FILE CMAKE_FIND_ROOT_PATH
        ninja -C "$work/build" qxagent-manage
        cmp "$build/bin/qxagent-manage" "$work/build/bin/qxagent-manage"
    else
        configure CMAKE_BUILD_TYPE CMAKE_C_COMPILER CMAKE_CXX_COMPILER
        ninja -C "$work/build" product
        cpack --config "$build/CPackConfig.cmake" -B "$work/first"
        cpack --config "$work/build/CPackConfig.cmake" -B "$work/second"
        for package in qxagent-manage libqx-plix-dev qxbrokerd-sim; do
            cmp "$work"/first/${package}_*.deb "$work"/second/${package}_*.deb
        done
    fi
} >"$work/log" 2>&1
