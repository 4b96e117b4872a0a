#!/bin/sh
# Opens a shell with a running simulated broker, the programs on PATH and their completions. Standard input may also be
# a pipe or a file with commands. Private namespaces clean up after the shell, however it ends: a tmpfs on /opt holds
# the agent's install directory and the working directory, and all processes end with the first one.
# usage: shell.sh BUILD-FOLDER [FOLDER-OF-THE-PROGRAMS]
set -eu

if [ "${1:-}" != --inside ]; then
    exec unshare -Urmn --pid --fork --kill-child sh "$0" --inside "$@"
fi
share=$2/share
programs=${3:-$2/bin}

mount -t tmpfs -o mode=0755 tmpfs /opt
# Containers that hide parts of /proc refuse this mount; then ps shows process ids of the outer namespace.
mount -t proc proc /proc 2>/dev/null || true
mkdir -p /opt/norvane/etc /opt/tour
cd /opt/tour

# Each subscription to va_status_changed receives an event, so that `listen` has something to show.
cat >scenario.json <<'END'
{"events": [{"event": "va_status_changed", "when": "subscribe", "data": {"status": "started", "scan": "network"}}]}
END
mkfifo console ready
"$programs/qxbrokerd-sim" --install-dir /opt/norvane --scenario scenario.json <>console >ready &
# This descriptor stays open so that the simulator's output keeps a reader.
exec 3<ready
read -r _ <&3 || { echo "shell.sh: the simulated broker did not start" >&2; exit 1; }

# Only an interactive bash reads this file.
cat >bashrc <<END
unset HISTFILE
PS1='(qxagent) \w\\$ '
for file in "$share/bash-completion/completions/"*; do . "\$file"; done
echo "A simulated broker is running. Try: qxagent-manage is_enabled
Tab completes operations and options. Lines that you write to /opt/tour/console reach the simulator.
exit ends the shell and the broker and deletes /opt/tour."
END
export PATH="$programs:$PATH" MANPATH="$share/man:"
status=0
bash --rcfile bashrc || status=$?
exit "$status"
