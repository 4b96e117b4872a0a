#!/bin/sh
# Makes the images of the emulated router: the kernel, its initramfs and a read-only root file system.
# usage: images.sh FOLDER BUILD
#   FOLDER   receives kernel, initramfs, root.squashfs and system/, the unpacked Debian packages (downloaded only once)
#   BUILD    the static build with the router's archive and the simulator
# Exits with 75 if Debian's packages for arm64 cannot be downloaded.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
project=$(cd "$here/../.." && pwd)
mkdir -p "$1"
folder=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)

# The recipes of docs/scripting.md need jq and its libraries.
programs="busybox-static jq libjq1 libonig5 libc6"
# In the order of loading: a module follows the modules that it needs.
modules="virtio/virtio_mmio block/virtio_blk lib/crc16 crypto/crc32c_generic lib/libcrc32c fs/mbcache jbd2/jbd2
    ext4/ext4 squashfs/squashfs overlayfs/overlay"

skip() { printf 'router: skipped: %s\n' "$*" >&2; exit 75; }

# A failed run leaves no half-made folder.
trap 'rm -rf "$folder"/*.new' EXIT

# quietly COMMAND...: prints the command's output only if the command fails.
quietly() { "$@" >"$folder/log" 2>&1 || { cat "$folder/log" >&2; return 1; }; }

# configure_apt FOLDER: makes apt download packages for arm64 and keep its files in FOLDER. apt uses this machine's
# sources and proxies, but installs nothing on this machine.
configure_apt() {
    mkdir -p "$1/lists/partial" "$1/cache/archives/partial"
    : >"$1/status"
    cat >"$1/apt.conf" <<END
APT::Architecture "arm64";
APT::Architectures { "arm64"; };
APT::Sandbox::User "root";
Dir::State "$1";
Dir::State::status "$1/status";
Dir::Cache "$1/cache";
END
    export APT_CONFIG="$1/apt.conf"
}

# fetch FOLDER: downloads the kernel and the programs and unpacks them. FOLDER exists only if everything has succeeded.
fetch() {
    echo "fetching kernel and programs for arm64"
    new=$1.new
    rm -rf "$new"
    mkdir -p "$new/packages"
    configure_apt "$new/apt"
    quietly apt-get update || skip "cannot download the lists of Debian's packages for arm64"
    kernel=$(apt-cache depends linux-image-arm64 2>/dev/null | sed -n 's/^ *Depends: //p')
    # shellcheck disable=SC2086 # a list of words
    (cd "$new/packages" && quietly apt-get download ${kernel:-linux-image-arm64} $programs) ||
        skip "cannot download Debian's packages for arm64"
    for package in "$new"/packages/*.deb; do
        dpkg-deb -x "$package" "$new"
    done
    rm -rf "$new/apt" "$new/packages"
    mv "$new" "$1"
}

# The number before each module's name makes `*` list the modules in the order of loading.
make_initramfs() {
    work=$folder/initramfs.new
    rm -rf "$work"
    mkdir -p "$work/bin" "$work/modules"
    cp "$folder/system/bin/busybox" "$work/bin"
    cp "$here/guest/init" "$work"
    chmod 755 "$work/init"
    count=10
    for module in $modules; do
        cp "$(find "$folder/system/lib/modules" -path "*/$module.ko")" "$work/modules/$count-${module##*/}.ko"
        count=$((count + 1))
    done
    (cd "$work" && find . | cpio -o -H newc --quiet | gzip -1) >"$folder/initramfs"
    rm -rf "$work"
}

make_root() {
    work=$folder/root.new
    rm -rf "$work"
    mkdir -p "$work"
    tar -xzf "$build"/qxagent-manage-*-linux-musl.tar.gz -C "$work"
    (cd "$work" && mkdir -p bin dev etc/init.d lib opt/norvane/var/log overlay proc root run sbin sys tmp \
        usr/bin usr/lib var/log var/run)
    cp "$folder/system/bin/busybox" "$work/bin"
    ln -s busybox "$work/bin/sh"
    cp "$folder/system/usr/bin/jq" "$build/bin/qxbrokerd-sim" "$work/usr/bin"
    cp -r "$folder/system/lib/aarch64-linux-gnu" "$folder"/system/lib/ld-linux-aarch64.so.1 "$work/lib"
    cp -r "$folder"/system/usr/lib/aarch64-linux-gnu "$work/usr/lib"
    rm -rf "$work/usr/lib/aarch64-linux-gnu/gconv"
    for service in qxbrokerd-sim qx-events; do
        cp "$project/docs/services/$service.init" "$work/etc/init.d/$service"
    done
    cp -r "$here"/guest/root/. "$work"
    # cost.py runs these programs to measure the tool.
    for sources in floor_request.c launch.c "fast_broker.c event_text.c"; do
        # shellcheck disable=SC2086 # a list of words
        (cd "$project/bench" && quietly "$build/../compiler/bin/cc" -target aarch64-linux-musl -static -O2 -s \
            -I../base/include -o "$work/usr/lib/router/${sources%%.c*}" $sources)
    done
    chmod 755 "$work"/etc/init.d/* "$work"/opt/norvane/bin/* "$work"/opt/norvane/etc/init.d/* "$work"/usr/lib/router/*
    rm -f "$folder/root.squashfs"
    quietly mksquashfs "$work" "$folder/root.squashfs" -all-root -noappend -comp gzip
    rm -rf "$work"
}

if [ "$(cat "$folder/system/.programs" 2>/dev/null)" != "$programs" ]; then
    rm -rf "$folder/system"
    fetch "$folder/system"
    echo "$programs" >"$folder/system/.programs"
fi
cp "$folder"/system/boot/vmlinuz-* "$folder/kernel"
make_initramfs
make_root
