# Sourced first by every session: functions that set up the agent and wait for conditions.

root=/opt/norvane
settings=$root/etc/settings.json
log=$root/var/log/qxagent-manage.log
umask 022
export PYTHONPATH="${SESSION%/*}" PYTHONDONTWRITEBYTECODE=1

# await FILE TEXT [COUNT]: waits until COUNT lines (default 1) of FILE, to which a program writes, contain TEXT. Prints
# a message after 30 s.
await() {
    [ "$(timeout 30 tail -n +1 -f "$1" | grep -cm "${3:-1}" -e "$2")" = "${3:-1}" ] ||
        echo "$1 never contained: $2"
}

# eventually COMMAND...: repeats a command until it succeeds. Fails after 30 s.
eventually() {
    deadline=$(($(date +%s) + 30))
    until "$@" 2>/dev/null; do
        [ "$(date +%s)" -le "$deadline" ] || { echo "never: $*"; return 1; }
    done
}

# start COMMAND...: starts a program in the background and sets $! to its process id. Unlike with `COMMAND &`, the
# program does not ignore SIGINT, and redirections are in place when `start` returns.
start() {
    env --default-signal "$@" &
}

# broker [SCENARIO]: starts the simulated broker with its console on descriptor 9, and waits until it listens. SCENARIO
# is JSON text. Sets `broker` to the process id.
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

# stop PID: ends a background program and returns its exit status.
stop() {
    kill "$1" && wait "$1"
}

# requests: prints the requests that the broker has received since the last call, as JSON.
requests() {
    sed -n "$((shown + 1)),\$s/^#[0-9]* request //p" trace
    shown=$(wc -l <trace)
}

# log: prints the log without timestamps, process ids and source line numbers, and removes the log.
log() {
    [ ! -e "$log" ] || sed -E 's/^.{32}//; s/(\.cpp):[0-9]+\]/\1]/' "$log"
    rm -f "$log"
}

# connector: installs substitutes for the daemon and the service script of the agent's cloud connector. Each appends its
# argument and, if the settings hold it, the value of protection_enabled to the file `ran`. If a FIFO has the name of
# the argument, the program writes a line to the FIFO, waits for a line from it, and removes the FIFO.
connector() {
    mkdir -p "$root/bin" "$root/etc/init.d"
    cat >"$root/bin/qxcloudd" <<END
#!/bin/sh
cd "$PWD"
echo "\$1\$(sed -n 's/.*protection_enabled": "\(.\)".*/ protection=\1/p' "$settings" 2>&-)" >>ran
[ -p "./\$1" ] || exit 0
echo here >"./\$1"
read -r _ <"./\$1"
rm "./\$1"
END
    chmod 755 "$root/bin/qxcloudd"
    cp "$root/bin/qxcloudd" "$root/etc/init.d/qplix-qxcloudd"
    : >ran
}

# ran: prints what the connector's programs have written since the last call.
ran() {
    xargs -r <ran
    : >ran
}

# client ORDER: gives an order to client.py and prints the broker's answer. client.py keeps running between orders.
client() {
    if [ ! -p orders ]; then
        mkfifo orders answers
        /usr/bin/python3 "${SESSION%/*}/client.py" <orders >answers &
        exec 8>orders 7<answers
    fi
    printf '%s\n' "$*" >&8
    IFS= read -r answer <&7 && printf '%s\n' "$answer"
}

# ask NAME [DATA]: sends the broker a command with JSON data and prints the answer.
ask() {
    client ask "$@"
}

# skip REASON: skips a session that this build cannot run.
skip() {
    echo "$*" >"$SKIPPED"
    exit 80
}

# Kills every program that a session has left running. A file holds the list, because $(jobs) would list the jobs of a
# subshell.
end_jobs() {
    jobs -p >jobs
    # shellcheck disable=SC2046 # a list of words
    kill -KILL $(cat jobs)
    wait
} 2>/dev/null
trap end_jobs EXIT
