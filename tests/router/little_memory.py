"""Floods a listener whose output nobody reads, on a router with 64 MiB of memory."""

import re

from machine import require

EVENTS = 150000


def flood(machine):
    machine.format_disk()
    machine.boot()
    machine.check(f"""
mkfifo /tmp/ready /tmp/go
/etc/init.d/qx-events stop
QX_READY_FD=9 qxagent-manage listen --events QX_PLIX_VA_STATUS_CHANGED 9>/tmp/ready 2>/dev/null |
    {{ read -r _ </tmp/go; head -n {EVENTS} | wc -l; }} >/tmp/count &
read -r _ </tmp/ready
echo 'burst {EVENTS} va_status_changed {{"n": %n, "text": "{"x" * 150}"}}' >/run/orders""")
    # Once the listener's memory no longer grows, the backlog has reached its limit.
    status = machine.check("""
listener=$(pidof qxagent-manage) before=0
until [ "$before" -gt 2500 ] && [ "$now" -le "$before" ]; do
    before=${now:-0}
    sleep 2
    now=$(sed -n 's/^VmRSS:[^0-9]*\\([0-9]*\\).*/\\1/p' /proc/$listener/status)
done
cat /proc/$listener/status""", 300)
    peak = int(re.search(r"VmHWM:\s*(\d+)", status).group(1))
    printed = machine.check("echo >/tmp/go; until [ -s /tmp/count ]; do usleep 200000; done; cat /tmp/count", 300)
    killed = machine.run("dmesg | grep -iE 'out of memory|oom'")[0]
    memory = int(re.search(r"MemTotal:\s*(\d+)", machine.check("cat /proc/meminfo")).group(1))
    require(not killed, f"the kernel was out of memory: {killed}")
    require(int(printed) == EVENTS, f"{printed} of {EVENTS} events were printed")
    machine.cut()
    return f"{EVENTS} events waited for a reader; the listener took {peak} KiB of {memory} KiB and printed all events"
