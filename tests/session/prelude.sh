# Sourced first by every session: functions that set up the agent and wait for conditions.

root=/opt/norvane
settings=$root/etc/settings.json
log=$root/var/log/qxagent-manage.log
umask 022
export PYTHONPATH="${SESSION%/*}" PYTHONDONTWRITEBYTECODE=1

# await FILE TEXT [COUNT]: waits until COUNT lines (default 1) of FILE, to which a program writes, contain TEXT.
await() {
    [ "$(timeout 30 tail -n +1 -f "$1" | grep -cm "${3:-1}" -e "$2")" = "${3:-1}" ] ||
        echo "$1 never contained: $2"
}

# eventually COMMAND...: repeats a command until it succeeds.
eventually() {
    deadline=$(($(date +%s) + 30))
    until "$@" 2>/dev/null; do
        [ "$(date +%s)" -le "$deadline" ] || { echo "never: $*"; return 1; }
    done
}

# start COMMAND...: starts a program in the background, with its process id in $!. Unlike `COMMAND &`, the
# program does not ignore SIGINT, and redirections are in place when `start` returns.
start() {
    env --default-signal "$@" &
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

# log: prints each line of the log from its level on, without line numbers, and removes the log.
log() {
    [ ! -e "$log" ] || sed -E 's/^.{32}//; s/(\.cpp):[0-9]+\]/\1]/' "$log"
    rm -f "$log"
}

# connector: installs the two programs of the connector. Each appends its argument and the state of protection to the
# file `ran`. If there is a FIFO with the name of the argument, the program waits there once.
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

# ran: prints what the connector's programs noted since the last call.
ran() {
    xargs -r <ran
    : >ran
}

# client ORDER: gives an order to client.py, which stays connected, and prints what the broker sends.
client() {
    if [ ! -p orders ]; then
        mkfifo orders answers
        /usr/bin/python3 "${SESSION%/*}/client.py" <orders >answers &
        exec 8>orders 7<answers
    fi
    printf '%s\n' "$*" >&8
    IFS= read -r answer <&7 && printf '%s\n' "$answer"
}

# ask NAME [DATA]: prints the broker's answer to a command, whose data is JSON text.
ask() {
    client ask "$@"
}

# skip REASON: skips a session that this build cannot run.
skip() {
    echo "$*" >"$SKIPPED"
    exit 80
}

# Kills every program that a session has left running. The list is in a file, because $(jobs) would list the jobs of a
# subshell.
end_jobs() {
    jobs -p >jobs
    # shellcheck disable=SC2046 # a list of words
    kill -KILL $(cat jobs)
    wait
} 2>/dev/null
trap end_jobs EXIT
