#!/bin/sh
# pack.sh BUILD OUTPUT: makes the Debian packages of a build, each with its checksum and its SBOM beside it. Each
# package contains one component of `cmake --install`. pack.cmake calls this script and sets SOURCE_DATE_EPOCH, the
# timestamp of all files.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
mkdir -p "$2"
output=$(cd "$2" && pwd)
fail() { printf 'pack.sh: %s\n' "$*" >&2; exit 1; }

# cached NAME: prints a variable of the build's cache.
cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

version=$(cached CMAKE_PROJECT_VERSION)
folder=$(cached CMAKE_INSTALL_LIBDIR)
strip=$(cached CMAKE_STRIP)
DEB_HOST_ARCH=$(dpkg-architecture -qDEB_HOST_ARCH -f -t"${folder#lib/}" 2>/dev/null) ||
    fail "$build: configure it with CMAKE_INSTALL_LIBDIR=lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
export DEB_HOST_ARCH LC_ALL=C.UTF-8 TZ=UTC

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/debian"
cp "$here/control" "$work/debian"
cd "$work"
cat >debian/changelog <<END
qxagent-manage ($version) unstable; urgency=medium

  * See CHANGELOG.md of the sources.

 -- $(sed -n 's/^Maintainer: //p' debian/control)  $(date -R -d "@$SOURCE_DATE_EPOCH")
END
# README.md says the same about the licence.
cat >debian/copyright <<END
The owner of this software has not chosen a licence for it yet.
Copyright: $(date -d "@$SOURCE_DATE_EPOCH" +%Y) the owner of this software

The file NOTICE in this folder credits the projects whose code is linked into this package.
END

# as_debian_has_it TREE PACKAGE: applies Debian's conventions to an installed tree. Compresses man pages, moves
# completions to where Debian's zsh finds them, and adds changelog and copyright.
as_debian_has_it() {
    find "$1/usr/share/man" -type f -exec gzip -n9 {} + 2>/dev/null || true
    [ ! -e "$1/usr/share/zsh" ] || mv "$1/usr/share/zsh/site-functions" "$1/usr/share/zsh/vendor-completions"
    mkdir -p "$1/usr/share/doc/$2"
    gzip -n9 <debian/changelog >"$1/usr/share/doc/$2/changelog.gz"
    cp debian/copyright "$1/usr/share/doc/$2"
}

# strip_files TREE: strips libraries and programs. Prints the programs and the shared libraries.
strip_files() {
    find "$1" -name '*.a' -exec "$strip" --strip-debug --enable-deterministic-archives {} \;
    find "$1" -type f \( -path '*/bin/*' -o -path '*/sbin/*' -o -name '*.so.*' \) | while read -r file; do
        ! "$strip" --strip-unneeded --remove-section=.comment --remove-section=.note "$file" 2>/dev/null || echo "$file"
    done
}

# pack COMPONENT PACKAGE: makes the package of a component.
pack() {
    tree=$work/$2
    file=$2_${version}_$DEB_HOST_ARCH.deb
    DESTDIR=$tree cmake --install "$build" --component "$1" --prefix /usr >log || { cat log; fail "cannot install the component $1"; }
    as_debian_has_it "$tree" "$2"
    strip_files "$tree" >files
    mkdir "$tree/DEBIAN"
    : >substvars
    [ ! -s files ] || xargs dpkg-shlibdeps -Tsubstvars <files
    # dpkg-shlibdeps reads DEBIAN/shlibs when another package contains programs that link the library.
    if [ "$2" = libqx-plix1 ]; then
        echo "libqx_plix 1 libqx-plix1 (>= $version)" >"$tree/DEBIAN/shlibs"
        echo activate-noawait ldconfig >"$tree/DEBIAN/triggers"
    fi
    dpkg-gencontrol -p"$2" -P"$tree" -Tsubstvars
    (cd "$tree" && find usr -type f | sort | xargs md5sum >DEBIAN/md5sums)
    chmod -R u=rwX,go=rX "$tree"
    find "$tree" -name '*.so.*' -type f -exec chmod a-x {} +
    find "$tree" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
    dpkg-deb --root-owner-group --threads-max=1 --build "$tree" "$output/$file" >log || { cat log; fail "cannot build $file"; }
    (cd "$output" && sha256sum "$file" >"$file.sha256")
    cmake -DFILE="$output/$file" -DPACKAGE="$2" -DVERSION="$version" -DLIST="$build/credits/$2/NOTICE.list" \
        -P "$here/../credits/sbom.cmake"
}

pack tool qxagent-manage
pack shared libqx-plix1
pack library libqx-plix-dev
pack simulator qxbrokerd-sim
