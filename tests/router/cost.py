"""Measures what a request costs the tool and the floor (a minimal program that makes the same request), and how many
events per second the tool prints."""

from statistics import median

# launch writes two lines to descriptor 3: the process id, then start, end, processor time, peak memory and status.
REQUESTS = """
/etc/init.d/qx-events stop; /etc/init.d/qxbrokerd-sim stop
cd /usr/lib/router
mkfifo /tmp/bursts
./fast_broker /opt/norvane <>/tmp/bursts >/tmp/broker &
until grep -q ready /tmp/broker; do usleep 50000; done
for run in $(seq {runs}); do
    ./launch ./floor_request 3>>/tmp/floor >/tmp/floor.out
    ./launch /usr/sbin/qxagent-manage get_version_info 3>>/tmp/tool >/tmp/tool.out
done
cmp /tmp/floor.out /tmp/tool.out && grep -h ' ' /tmp/floor /tmp/tool"""

EVENTS = """
mkfifo /tmp/ready
QX_READY_FD=9 qxagent-manage listen --events QX_PLIX_VA_STATUS_CHANGED 9>/tmp/ready 2>/dev/null |
    head -n {events} | wc -l >/tmp/last &
read -r _ </tmp/ready
begin=$(cut -d' ' -f1 /proc/uptime)
echo 'burst {events} 200' >/tmp/bursts
wait $!
echo $begin $(cut -d' ' -f1 /proc/uptime) $(cat /tmp/last)"""


def measure_requests(machine, runs):
    """Returns the medians of wall time (us), processor time (us) and peak memory (KiB), for the floor and the tool."""
    machine.format_disk()
    machine.boot()
    lines = [[int(word) for word in line.split()]
             for line in machine.check(REQUESTS.format(runs=runs), 600).splitlines() if line[0].isdigit()]
    assert len(lines) == 2 * runs and all(line[4] == 0 for line in lines), \
        f"a run failed or was not recorded: {lines}"
    return [(median((end - start) / 1000 for start, end, *_ in part), median(line[2] for line in part),
             median(line[3] for line in part)) for part in (lines[:runs], lines[runs:])]


def measure(machine, counting_machine, runs=50, events=20000):
    floor, tool = measure_requests(machine, runs)
    begin, end, last = machine.check(EVENTS.format(events=events), 300).split()
    assert int(last) == events, f"{last} of {events} events were printed"
    machine.cut()
    # The clock of counting_machine advances by 1 ns per instruction, so its wall time counts instructions.
    counted_floor, counted_tool = measure_requests(counting_machine, runs // 5)
    counting_machine.cut()
    rows = [("one request, wall time", floor[0], tool[0], " us"),
            ("one request, processor time", floor[1], tool[1], " us"),
            ("one request, peak memory", floor[2], tool[2], " KiB"),
            ("one request, instructions, with kernel and broker", counted_floor[0] * 1000, counted_tool[0] * 1000, "")]
    rate = events / (float(end) - float(begin))
    lines = [f"| {name} | {below:.0f}{unit} | {above:.0f}{unit} | {above / below:.2f} |"
             for name, below, above, unit in rows]
    return "\n".join(lines + [f"| events per second, {events} events of 200 B | | {rate:.0f} | |"])
