# Sourced first by every session: the agent around the commands and how to wait.

root=/opt/norvane
settings=$root/etc/settings.json
log=$root/var/log/qxagent-manage.log

# await FILE TEXT: waits until a line of FILE, to which a program writes, contains TEXT.
await() {
    timeout 30 tail -n +1 -f "$1" | grep -qm 1 -e "$2" || echo "$1 never contained: $2"
}

# broker [SCENARIO]: starts the simulated broker, whose console is descriptor 9, and waits until it
# listens. SCENARIO is JSON text.
broker() {
    printf '%s' "${1:-{\}}" >scenario.json
    [ -p console ] || mkfifo console
    : >trace
    qxbrokerd-sim --install-dir "$root" --scenario scenario.json --trace <>console >trace 2>&1 &
    broker=$!
    exec 9<>console
    await trace listening
    shown=0
}

# stop PID: ends a background program and waits for its end.
stop() {
    kill "$1" && wait "$1"
}

# requests: prints the requests that the broker has received since the last call, as JSON.
requests() {
    sed -n "$((shown + 1)),\$s/^#[0-9]* request //p" trace
    shown=$(wc -l <trace)
}

# log: prints the log from the level on, without line numbers, and empties it.
log() {
    [ ! -e "$log" ] || sed -E 's/^.{32}//; s/(\.cpp):[0-9]+\]/\1]/' "$log"
    rm -f "$log"
}

# shellcheck disable=SC2046 # a list of words
trap 'kill $(jobs -p) 2>/dev/null' EXIT
