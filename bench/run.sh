#!/bin/sh
# Compares the tool with programs that make only the necessary system calls, then times single functions of the tool.
# Writes the results to BUILD/bench. `./dev bench` starts this script in private namespaces: the mounts below and the
# broker's socket do not affect the machine.
# usage: run.sh BUILD [STATIC-TOOL [AARCH64-TOOL]]
set -eu

build=$1
shift
results=$build/bench
install_dir=/opt/norvane

# Create the agent's directories, and a passwd file as short as a router's.
mount -t tmpfs tmpfs /opt
mkdir -p "$install_dir/etc" "$install_dir/var/log"
echo root:x:0:0:root:/root:/bin/sh >/opt/passwd
mount --bind /opt/passwd /etc/passwd

unset QXLOG_LEVEL
"$results/measure" "$results" "$install_dir" "$build/bin/qxagent-manage" "$@"
"$results/micro" --benchmark_out="$results/micro.json" --benchmark_out_format=json
