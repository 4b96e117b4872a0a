#!/bin/sh
# run.sh SESSION PROGRAMS: repeats the commands of a session and compares what they print.
# cram leaves the differences beside the session, so the session is copied first.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp "$1" "$folder"
PATH=$2:$PATH
SESSION=$(dirname "$0")/prelude.sh
export PATH SESSION
# shellcheck disable=SC2016 # cram expands nothing
cram3 --shell=/bin/sh "$folder/$(basename "$1")"
