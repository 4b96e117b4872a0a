#!/bin/sh
# Builds the tool again in another folder and compares the tools of both builds byte for byte. Serves the static
# builds for routers; packaging.t compares ordinary builds.
# usage: reproducible.sh SOURCES BUILD
set -eu

sources=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export SOURCE_DATE_EPOCH=1700000000

mkdir -p "$work/copy/build"
tar -C "$sources" --exclude=./build --exclude=./.git -ch . | tar -C "$work/copy" -x
sed -n 's/.*(commit \(.*\)).*/\1/p' "$build/tools/qxagent-manage/version.cpp" >"$work/copy/cmake/commit.txt"
[ ! -e "$sources/build/cross" ] || ln -s "$sources/build/cross" "$work/copy/build"
sed -nE 's/^(QX_MODE|QX_PROCESSOR|CMAKE_(BUILD_TYPE|C_COMPILER|CXX_COMPILER)):/-D&/p' "$build/CMakeCache.txt" |
    xargs -d '\n' cmake -G Ninja -S "$work/copy" -B "$work/build" -DQX_PARTS=
ninja -C "$work/build" qxagent-manage
cmp "$build/bin/qxagent-manage" "$work/build/bin/qxagent-manage"
