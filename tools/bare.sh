#!/bin/sh
# Runs ./dev commands, by default demo and test, on a clone of the checked-out commit in a minimal Debian 12 to which
# only ca-certificates is added. This catches packages that a command uses but does not install. The system is in a
# folder below build/, which is deleted at the end, even after a failure or a signal. Needs root.
# usage: bare.sh [COMMAND]...
set -eu

project=$(cd "$(dirname "$0")/.." && pwd)

# make_root FOLDER: installs Debian with the package sources and proxies of this machine's apt. The system is temporary,
# so dpkg does not flush its files to the disk.
make_root() {
    apt-config dump --format '%f "%v";%n' Acquire >"$1/apt.conf"
    folder=$1
    set --
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
        [ ! -s "$list" ] || set -- "$@" "$list"
    done
    mmdebstrap --quiet --mode=root --variant=minbase --include=ca-certificates --aptopt="$folder/apt.conf" \
        --dpkgopt=force-unsafe-io bookworm "$folder/root" "$@" </dev/null
    cp /etc/hosts "$folder/root/etc"
    git clone -q --depth 1 "file://$project" "$folder/root/root/project"
}

# enter ROOT: makes ROOT the root of this mount namespace. Uses pivot_root, because after a chroot the kernel refuses to
# create the user namespaces in which the tests run.
enter() {
    mount --bind "$1" "$1"
    cd "$1"
    mount --rbind /dev dev
    mount --rbind /sys sys
    mount -t proc proc proc
    pivot_root . mnt
    umount -l /mnt
}

if [ "${1:-}" = --inside ]; then
    make_root "$2"
    enter "$2/root"
    shift 2
    for command; do
        printf '== ./dev %s in a bare Debian 12\n' "$command"
        env -i -C /root/project HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin TERM="${TERM:-dumb}" \
            ${http_proxy:+http_proxy="$http_proxy"} ${https_proxy:+https_proxy="$https_proxy"} ./dev "$command"
    done
    exit
fi

[ $# -gt 0 ] || set -- demo test
mkdir -p "$project/build"
folder=$(mktemp -d "$project/build/bare.XXXXXX")
inside=
# Kills the first process of the PID namespace, which ends all others, and waits for unshare. Then no process uses the
# folder.
# shellcheck disable=SC2317 # the trap calls it
clean_up() {
    if [ -n "$inside" ]; then
        # shellcheck disable=SC2046 # at most one number
        kill -KILL $(cat "/proc/$inside/task/$inside/children") 2>/dev/null || kill -KILL "$inside" 2>/dev/null || true
        wait "$inside" || true
    fi
    rm -rf "$folder"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' HUP TERM
unshare --mount --pid --fork --kill-child --mount-proc sh "$0" --inside "$folder" "$@" &
inside=$!
status=0
wait "$inside" || status=$?
inside=
exit "$status"
