#!/bin/sh
# Demonstrates the tool with a simulated broker. Runs in private namespaces, so that the machine's /opt and sockets are
# not touched. Fails if a step does not end with the expected status.
# usage: demo.sh FOLDER-OF-THE-PROGRAMS
set -eu

if [ "${1:-}" != --inside ]; then
    exec unshare -Urmn sh "$0" --inside "$@"
fi
programs=$2
install_dir=/opt/norvane

mount -t tmpfs tmpfs /opt
mkdir -p "$install_dir/etc/init.d" "$install_dir/bin"
work=$(mktemp -d)
simulator=
listener=
cleanup() {
    for process in $listener $simulator; do
        kill "$process" 2>/dev/null || true
    done
    wait
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

heading() { printf '\n\033[1m%s\033[0m\n' "$1"; }
[ -t 1 ] || heading() { printf '\n%s\n' "$1"; }

# start_broker [OPTION]...: starts the broker and waits until it listens.
start_broker() {
    mkfifo "$work/ready"
    "$programs/qxbrokerd-sim" --install-dir "$install_dir" "$@" >"$work/ready" &
    simulator=$!
    exec 3<"$work/ready"
    read -r line <&3 || { echo "the simulated broker did not start" >&2; exit 1; }
    printf '%s\n' "$line"
    rm "$work/ready"
}

stop_broker() {
    kill "$simulator"
    wait "$simulator" || true
    simulator=
    exec 3<&-
}

# call WORD...: runs the tool and sets `status` to its exit status.
call() {
    status=0
    "$programs/qxagent-manage" "$@" || status=$?
}

# report EXPECTED: prints the status and fails if it is not EXPECTED.
report() {
    printf '[status %s]\n' "$status"
    [ "$status" -eq "$1" ] || { echo "expected status $1" >&2; exit 1; }
}

# show WORD...: prints a command line, runs it and prints the exit status, which must be 0.
show() {
    printf '\n$ qxagent-manage %s\n' "$*"
    call "$@"
    report 0
}

# show_refused WORD...: the same for a command line whose status must be 1.
show_refused() {
    printf '\n$ qxagent-manage %s\n' "$*"
    call "$@"
    report 1
}

# wait_for FILE COUNT TEXT: waits until COUNT lines of FILE contain TEXT.
wait_for() {
    tries=200
    until [ "$(grep -c -- "$3" "$1")" -ge "$2" ]; do
        tries=$((tries - 1))
        [ "$tries" -gt 0 ] || { echo "$1 never contained '$3'" >&2; exit 1; }
        sleep 0.05
    done
}

heading "A simulated broker for $install_dir"
start_broker

heading "Plain requests"
show get_version_info
show get_router_info
show is_enabled
show disable
show is_enabled
show enable
show va_start
show va_status
show get_subscription_status
show va_get_exclusions
show get_status_report
show set_quillet_location staging

heading "Requests with data"
show set_router_info --model R7 --interfaces br-wan:wan,br-lan1:lan
show get_router_info
show va_set_schedule --at 03:30 --every_num 1 --every_unit week --on_day monday
show va_set_exclusions --addresses 'AA:BB:CC:[0-3]D:EE:FF'
show va_get_exclusions
show register --params name=cellar,place=home

heading "A feature, set and read back"
show feature --list
feature=$("$programs/qxagent-manage" feature --list | jq -r '.[0]')
show feature --set "$feature=disabled"
show feature --get "$feature"

heading "A device comes online during listen, and the broker restarts"
stop_broker
# The broker answers each of the two subscriptions in the scenario below with an event. `listen` subscribes to
# set_device_online_status_result last, so the event of this type shows that all subscriptions are made. After the
# restart, the script waits for the subscription to va_status_changed, which the next operation needs.
cat >"$work/hello" <<'TEXT'
{"events": [
    {"event": "set_device_online_status_result", "when": "subscribe", "data": {"hello": "subscriber"}},
    {"event": "va_status_changed", "when": "subscribe", "data": {"hello": "subscriber"}}]}
TEXT
start_broker --scenario "$work/hello"
printf '\n$ qxagent-manage listen &\n'
"$programs/qxagent-manage" listen >"$work/events" &
listener=$!
wait_for "$work/events" 1 'RESULT.*hello'
show set_device_online_status --mac 02:00:00:00:00:01 --interface br-lan1 --is_online true --ip 192.0.2.7 --hostname lamp
wait_for "$work/events" 1 'RESULT.*02:00:00:00:00:01'
stop_broker
printf '\n(the broker has stopped)\n'
start_broker --scenario "$work/hello"
wait_for "$work/events" 2 'VA_STATUS.*hello'
show va_start
wait_for "$work/events" 1 'VA_STATUS.*started'
printf '\n$ kill -TERM %%listen\n'
kill "$listener"
status=0
wait "$listener" || status=$?
listener=
cat "$work/events"
report 0

heading "A deployment switch, and the programs that it runs"
cat >"$install_dir/etc/init.d/qplix-qxcloudd" <<TEXT
#!/bin/sh
echo "service script \$1, protection \$(jq -r '.["/agent/protection_enabled"]' $install_dir/etc/settings.json)" >>$work/ran
TEXT
cat >"$install_dir/bin/qxcloudd" <<TEXT
#!/bin/sh
echo "daemon \$1" >>$work/ran
TEXT
chmod +x "$install_dir/etc/init.d/qplix-qxcloudd" "$install_dir/bin/qxcloudd"
printf '{"/agent/protection_enabled": "1"}' >"$install_dir/etc/settings.json"
show set_registration_cloud --cloud staging
cat "$work/ran" "$install_dir/etc/settings.json"
echo

heading "Failures"
show_refused va_set_schedule --at 25:99 --every_num 1 --every_unit day
printf '\n$ qxagent-manage set_router_info --modle R7 >usage\n'
call set_router_info --modle R7 >"$work/usage"
report 1
stop_broker
show_refused is_enabled
