#!/bin/sh
# Compares the tool with programs that make nothing but the system calls, then times its parts. Runs inside private
# namespaces, as `./dev bench` starts it, so that the machine's own /opt and sockets stay out of it. The tables land in
# BUILD/bench. Without static tools, their columns are left out.
# usage: run.sh BUILD [STATIC-TOOL [AARCH64-TOOL]]
set -eu

build=$1
shift
results=$build/bench
install_dir=/opt/norvane

# An agent that is installed and has been running, and a router's few users.
mount -t tmpfs tmpfs /opt
mkdir -p "$install_dir/etc" "$install_dir/var/log"
echo root:x:0:0:root:/root:/bin/sh >/opt/passwd
mount --bind /opt/passwd /etc/passwd

unset QXLOG_LEVEL
"$results/measure" "$results" "$install_dir" "$build/bin/qxagent-manage" "$@"
"$results/micro" --benchmark_out="$results/micro.json" --benchmark_out_format=json
