"""Sets the router's clock forwards and backwards while calls and listeners wait. Each boot starts in 1970."""

import re

from machine import require

PRESENT = "2026-11-25 12:00:00"
PAST = "1970-01-01 00:10:00"
SILENT = '{"commands": {"get_services_status": [{"send": 0, "times": 0}]}}'

# Runs a command that takes some seconds and sets the clock while it runs. Prints the command's exit status and its
# duration in seconds of uptime, which does not jump.
JUMP = """
begin=$(cut -d. -f1 /proc/uptime)
{command} >/dev/null 2>&1 &
usleep 700000
date -s '{time}' >/dev/null
wait $!
echo $? $(($(cut -d. -f1 /proc/uptime) - begin))"""


def jump(machine, command, time, statuses, seconds):
    status, taken = machine.check(JUMP.format(command=command, time=time)).split()
    require(status in statuses.split() and seconds - 1 <= int(taken) <= seconds + 10,
            f"with the clock set to {time}, {command} ended with {status} after {taken} s")


def print_event(machine, number):
    """Sends an event until the listener of the service has printed it."""
    machine.check(f"""
until echo 'emit va_status_changed {{"n": {number}}}' >/run/orders; grep -q '"n": {number}' /var/log/qx-events.jsonl; do
    usleep 300000
done""")


def move_clock(machine):
    machine.format_disk()
    machine.boot()
    require(machine.check("date +%Y") == "1970\n", "the router does not boot in 1970")
    machine.check("QXLOG_LEVEL=debug qxagent-manage is_enabled")
    jumps = 0
    for time in (PRESENT, PAST):
        jump(machine, "qxagent-wait -t 4 QX_PLIX_SUBSCRIPTION_CHANGED", time, "124", 4)
        print_event(machine, jumps)
        # While no broker runs and the listener retries, set the clock back and forth.
        machine.check(f"/etc/init.d/qxbrokerd-sim stop; date -s '{PAST}'; usleep 500000; date -s '{time}'\n"
                      "/etc/init.d/qxbrokerd-sim start")
        print_event(machine, jumps + 100)
        machine.check("/etc/init.d/qx-events restart && QXLOG_LEVEL=debug qxagent-manage is_enabled")
        jumps += 3
    machine.check(f"echo '{SILENT}' >/tmp/silent.json\n"
                  "echo \"input=/run/orders options='--scenario /tmp/silent.json'\" >/etc/default/qxbrokerd-sim\n"
                  "/etc/init.d/qxbrokerd-sim restart")
    for time in (PRESENT, PAST):
        jump(machine, "QX_TIMEOUT=4 qxagent-manage is_enabled", time, "255", 4)
        jumps += 1
    years = machine.check("cut -c 1-4 /opt/norvane/var/log/qxagent-manage.log | uniq").split()
    require(years[:3] == ["1970", "2026", "1970"],
            f"the lines of the log are of the years {years}, which do not begin with 1970, 2026, 1970")
    machine.cut()
    return f"{jumps} jumps of the clock between 1970 and 2026 change no deadline, no retry and no event"
