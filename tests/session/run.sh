#!/bin/sh
# run.sh SESSION PROGRAMS: repeats the commands of a session with the programs of the folder PROGRAMS and compares their
# output. Exits with 80 if the session skips itself. cram writes the differences into a file beside the session, so this
# script runs a copy of the session.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp "$1" "$folder"
# Prefer Debian's programs to others of the same names.
PATH=$2:/usr/bin:/bin:$PATH
SESSION=$(dirname "$0")/prelude.sh
SKIPPED=$folder/skipped
export PATH SESSION SKIPPED
cram3 --shell=/bin/sh "$folder/$(basename "$1")" >"$folder/result" 2>&1 || status=$?
cat "$folder/result"
[ ! -e "$SKIPPED" ] || echo "  skipped: ${1#*/tests/}: $(cat "$SKIPPED")"
! grep -q ' 1 skipped' "$folder/result" || exit 80
exit "${status:-0}"
