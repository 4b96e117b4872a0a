#!/bin/sh
# Tests the build with a router's own SDK: runs the commands of docs/integrating.md with Debian's compiler for AArch64
# and without network, then runs the tool that they build. `./dev cross` calls this script after build.sh, which fetches
# jansson's source.
set -eu

cd "$(dirname "$0")/../.."
rm -rf build/sdk
export JANSSON="$PWD/build/cross/jansson-source"
log=$PWD/build/cross/log
: >"$log"
fail() { cat "$log"; echo "sdk: $*" >&2; exit 1; }
# shellcheck disable=SC2016 # backquotes of the document
sed -n '/^## Building with a router/,/^## /{ /^```sh$/,/^```$/{ /^```/!p; } }' docs/integrating.md >build/cross/sdk-commands
[ -s build/cross/sdk-commands ] || fail "docs/integrating.md has no commands"
unshare -rn sh -eux build/cross/sdk-commands >"$log" 2>&1 || fail "the commands of docs/integrating.md failed"
qemu-aarch64-static -L /usr/aarch64-linux-gnu build/sdk/build/bin/qxagent-manage help 2>"$log" |
    cmp - tests/frozen/usage.txt || fail "the tool does not print its usage"
[ -s build/sdk/build/client/libqx_plix.a ] || fail "the library was not built"
echo "build/sdk: Debian's compiler for AArch64 built the library and the tool, and the tool runs"
