"""Runs a listener, callers and writers through restarts of the broker, of the services and of the router."""

import re

from machine import require

# Runs for {seconds} seconds and prints how many calls ended with each status.
CHAOS = """
end=$(($(cut -d. -f1 /proc/uptime) + {seconds})) round=0
lives() {{ [ "$(cut -d. -f1 /proc/uptime)" -lt "$end" ]; }}
call() {{ QX_TIMEOUT=5 QXLOG_LEVEL=debug qxagent-manage "$@" >/dev/null 2>&1; echo $? >>/tmp/statuses; }}
while lives; do call is_enabled; call get_devices; done &
while lives; do call set_quillet_location staging; call set_quillet_location production; done &
while lives; do
    round=$((round + 1))
    echo 'burst 50 va_status_changed {{"n": %n}}' >/run/orders
    case $((round % 5)) in
        0) echo drop ;;
        1) echo 'restart 200' ;;
        2) echo 'emit va_status_changed no JSON' ;;
        3) echo 'raw va_status_changed ffffff7f' ;;
    esac >/run/orders
    [ $((round % 20)) != 19 ] || /etc/init.d/qxbrokerd-sim restart
    usleep 500000
done
wait
sort /tmp/statuses | uniq -c"""

LOOK = """
for try in 1 2 3 4 5; do
    listener=$(sed -n 2p /var/run/qx-events.pid)
    [ -z "$listener" ] || [ ! -d "/proc/$listener/fd" ] || break
    sleep 1
done
usleep 2500000
echo $(sed -n 's/^VmRSS:[^0-9]*\\([0-9]*\\).*/\\1/p' /proc/$listener/status) $(ls /proc/$listener/fd | wc -l) \\
    $(cat /opt/norvane/var/log/* | wc -c) $(ls /opt/norvane/etc | wc -l) $listener"""


def look(machine):
    """Returns the listener's memory in KiB, its number of descriptors, the bytes of the logs, the number of files in
    /opt/norvane/etc and the listener's process id."""
    return [int(word) for word in machine.check(LOOK).split()]


def live(machine, seconds, boots=3):
    machine.format_disk()
    calls = {}
    first = None
    for _ in range(boots):
        machine.boot()
        for part in (1, 2):
            counts = machine.check(CHAOS.format(seconds=seconds // (2 * boots)), seconds + 300)
            for count, status in re.findall(r"(\d+) (\d+)", counts):
                calls[status] = calls.get(status, 0) + int(count)
            machine.check("rm /tmp/statuses")
            now = look(machine)
            first = first or now
            require(now[0] <= first[0] * 1.25 + 256, f"the listener has grown from {first[0]} to {now[0]} KiB")
            require(now[1] == first[1], f"the listener had {first[1]} descriptors and has {now[1]}")
            require(now[2] <= 1024 * 1024, f"the logs have {now[2]} bytes")
            require(now[3] == first[3], f"the folder of the settings had {first[3]} files and has {now[3]}")
        machine.check("/etc/init.d/qx-events stop && /etc/init.d/qxbrokerd-sim stop; sync")
        machine.cut()
    require(set(calls) <= {"0", "1", "255"}, f"calls by status: {calls}")
    return (f"{seconds} s of chaos and {boots} boots: calls by status {calls}; listener {first[0]} KiB and {first[1]} "
            f"descriptors at first, {now[0]} KiB and {now[1]} at last; logs {now[2] // 1024} KiB")
