#!/bin/sh
# packages.sh OUTPUT PREREQUISITE...: makes and tests the project's Debian packages for amd64 and arm64. Uses two
# throw-away Debian 12 systems and installs nothing on this machine:
#   builder   unpacks a source archive of the checked-out commit, builds the packages with Debian's compilers, and runs
#             lintian and, for this machine's processor, the archive's tests; contains each PREREQUISITE, a Debian
#             package that building or testing needs
#   user      installs, uses and purges the packages of each processor
# Needs root. Exits with 75 if Debian's packages cannot be downloaded.
set -eu

project=$(cd "$(dirname "$0")/.." && pwd)
processors="amd64 arm64"
compiling="cmake ninja-build dpkg-dev libfmt-dev lintian g++ libjansson-dev g++-aarch64-linux-gnu libjansson-dev:arm64
    libstdc++6:arm64 qemu-user-static"

# make_root FOLDER PACKAGE...: creates a Debian root for amd64 and arm64 programs with the packages installed.
make_root() {
    folder=$1
    shift
    # shellcheck disable=SC2086 # a list of words
    mmdebstrap --quiet --mode=root --variant=minbase --architectures=amd64,arm64 --aptopt="$work/apt.conf" \
        --skip=cleanup/apt/lists --dpkgopt=force-unsafe-io --include="$(echo ca-certificates "$@" | tr -s ' \n' ,)" bookworm "$folder" \
        $sources </dev/null || { echo "packages: skipped: cannot download Debian's packages" >&2; exit 75; }
    cp /etc/hosts "$folder/etc"
    mount -t proc proc "$folder/proc"
    mount --rbind /dev "$folder/dev"
    mount --rbind /sys "$folder/sys"
}

# inside ROOT COMMAND: runs a shell command in a root. Uses pivot_root, because in a chroot the kernel refuses to create
# the user namespaces that the tests need.
inside() {
    # shellcheck disable=SC2016 # the inner shell expands
    env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        ${http_proxy:+http_proxy="$http_proxy"} ${https_proxy:+https_proxy="$https_proxy"} \
        unshare --mount sh -euc 'mount --rbind "$0" "$0"; cd "$0"; pivot_root . mnt; umount -l /mnt; exec sh -euc "$1"' "$@"
}

# test_archive: builds the source archive with its tests and runs them.
test_archive() {
    printf '== tests of the source archive\n'
    inside "$work/builder" "cd /source
        cmake -G Ninja -S . -B build/tests -DQX_PARTS=tests >/dev/null
        ninja -C build/tests >log 2>&1 || { cat log; exit 1; }
        ctest --test-dir build/tests --parallel $(nproc) --output-on-failure >log 2>&1 || { cat log; exit 1; }
        grep 'tests passed' log"
}

# build ARCHITECTURE: builds the packages into /packages of the builder root.
build() {
    printf '== packages for %s\n' "$1"
    triplet=$(inside "$work/builder" "dpkg-architecture -qDEB_HOST_MULTIARCH -a$1 2>/dev/null")
    cross=
    [ "$1" = amd64 ] || cross="-DCMAKE_TOOLCHAIN_FILE=/toolchain.cmake"
    inside "$work/builder" "cd /source
        cmake -G Ninja -S . -B build/$1 -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR=lib/$triplet \
            -DBUILD_TESTING=OFF -DCMAKE_COMPILE_WARNING_AS_ERROR=ON $cross >/dev/null
        ninja -C build/$1 packages >log 2>&1 || { cat log; exit 1; }
        lintian --allow-root --fail-on error,warning build/$1/packages/*.deb
        cp build/$1/packages/* /packages"
}

# write_toolchain FILE: writes the toolchain file for arm64. The emulator of arm64 programs finds their C library in the
# same root, because the root is multiarch.
write_toolchain() {
    cat >"$1" <<'END'
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_STRIP aarch64-linux-gnu-strip CACHE STRING "")
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
END
}

# files ROOT: lists the paths that must be the same before installation and after purging.
files() {
    (cd "$1" && find bin etc lib sbin usr -xdev | grep -v -e '/dpkg/' -e ld.so.cache | sort)
}

# try ARCHITECTURE: installs the packages and their dependencies, uses each package, and purges them.
try() {
    printf '== installing, using and purging the packages for %s\n' "$1"
    emulator=
    [ "$1" = amd64 ] || emulator=qemu-aarch64-static
    mkdir "$work/user/packages"
    cp "$work/builder/packages"/*_"$1".deb "$work/builder/packages"/*_"$1".deb.sha256 "$work/user/packages"
    depends=$(inside "$work/user" "cd /packages; sha256sum --quiet --check *.sha256
        apt-get install -s -qq --no-install-recommends ./*.deb" | sed -n 's/^Inst \([^ ]*\) .*/\1/p' | grep -v -e '^qx' -e '^libqx')
    # shellcheck disable=SC2086,SC2116 # puts the names on one line
    inside "$work/user" "apt-get install -qq --no-install-recommends $(echo $depends)" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    files "$work/user" >"$work/before"
    inside "$work/user" "dpkg --install /packages/*.deb" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    cp "$project/tools/packages_use.sh" "$work/user/packages"
    inside "$work/user" "sh /packages/packages_use.sh $1 $emulator"
    inside "$work/user" "dpkg --purge qxagent-manage libqx-plix-dev:$1 libqx-plix1:$1 qxbrokerd-sim" >"$work/log" 2>&1 ||
        { cat "$work/log"; exit 1; }
    files "$work/user" | diff "$work/before" - || { echo "packages: purging left or removed the files above" >&2; exit 1; }
    rm -r "$work/user/packages"
}

if [ "${1:-}" = --inside ]; then
    work=$2
    output=$3
    shift 3
    apt-config dump --format '%f "%v";%n' Acquire >"$work/apt.conf"
    sources=
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
        [ ! -s "$list" ] || sources="$sources $list"
    done
    # shellcheck disable=SC2086 # a list of words
    make_root "$work/builder" $compiling "$@"
    mkdir "$work/builder/source" "$work/builder/packages"
    git -C "$project" archive HEAD | tar -x -C "$work/builder/source"
    write_toolchain "$work/builder/toolchain.cmake"
    for processor in $processors; do build "$processor"; done
    cp "$work/builder/packages"/* "$output"
    test_archive
    make_root "$work/user" gcc pkg-config libc6-dev gcc-aarch64-linux-gnu libc6-dev-arm64-cross qemu-user-static
    for processor in $processors; do try "$processor"; done
    exit
fi
output=$1
shift
mkdir -p "$output" "$project/build"
output=$(cd "$output" && pwd)
work=$(mktemp -d "$project/build/packages.XXXXXX")
trap 'rm -rf "$work"' EXIT
# The mounts disappear when the mount namespace ends.
unshare --mount sh "$0" --inside "$work" "$output" "$@"
ls "$output"
