#!/bin/sh
# Compares the tool with programs that make only the necessary system calls, then times its parts. `./dev bench` starts
# this script in private namespaces, so that the machine's /opt and sockets are not touched. Writes the tables to
# BUILD/bench. Omits the columns of static tools that are not given.
# usage: run.sh BUILD [STATIC-TOOL [AARCH64-TOOL]]
set -eu

build=$1
shift
results=$build/bench
install_dir=/opt/norvane

# Set up an agent that has run before, and the few users of a router.
mount -t tmpfs tmpfs /opt
mkdir -p "$install_dir/etc" "$install_dir/var/log"
echo root:x:0:0:root:/root:/bin/sh >/opt/passwd
mount --bind /opt/passwd /etc/passwd

unset QXLOG_LEVEL
"$results/measure" "$results" "$install_dir" "$build/bin/qxagent-manage" "$@"
"$results/micro" --benchmark_out="$results/micro.json" --benchmark_out_format=json
