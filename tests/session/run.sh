#!/bin/sh
# run.sh SESSION PROGRAMS: repeats the commands of a session and compares what they print. Ends with
# 80 when the session skips itself by `exit 80`.
# cram leaves the differences beside the session, so the session is copied first.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp "$1" "$folder"
PATH=$2:$PATH
SESSION=$(dirname "$0")/prelude.sh
export PATH SESSION
# shellcheck disable=SC2016 # cram expands nothing
cram3 --shell=/bin/sh "$folder/$(basename "$1")" >"$folder/result" 2>&1 || status=$?
cat "$folder/result"
! grep -q ' 1 skipped' "$folder/result" || exit 80
exit "${status:-0}"
