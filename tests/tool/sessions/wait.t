  $ . "$SESSION"
  $ scan=QX_PLIX_VA_STATUS_CHANGED

`qxagent-wait` rejects a wrong command line:

  $ qxagent-wait -h | head -n 1
  usage: qxagent-wait [-t SECONDS] [-n COUNT] EVENT[,EVENT...] [COMMAND [ARGUMENT...]]
  $ qxagent-wait
  qxagent-wait: no event is named; -h explains
  [125]
  $ qxagent-wait -n 0 $scan
  qxagent-wait: -n: '0' is not a number of events
  [125]
  $ qxagent-wait -t soon $scan
  qxagent-wait: -t: 'soon' is not a number of seconds
  [125]
  $ qxagent-wait -t
  qxagent-wait: option '-t' needs a value
  [125]
  $ qxagent-wait -x
  qxagent-wait: unknown option '-x'; -h lists the options
  [125]

If the subscription fails, the command does not run:

  $ mkdir -p $root
  $ qxagent-wait $scan echo ran
  Daemon is down or you are running an older version of it
  qxagent-wait: the events cannot be subscribed to
  [125]
  $ broker '{"state": {"scan_ms": 1000000}}'
  $ qxagent-wait QX_PLIX_NOTHING echo ran
  Unknown event: QX_PLIX_NOTHING
  qxagent-wait: the events cannot be subscribed to
  [125]

`qxagent-wait` prints the event that the command causes. With `-n 2`, it waits for two events and prints both:

  $ qxagent-wait $scan qxagent-manage va_start
  {"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": {"status": "started", "scan": "network"}}
  $ qxagent-wait -t 30 -n 2 $scan sh -c 'qxagent-manage va_stop; qxagent-manage va_start'
  {"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": {"status": "stopped", "scan": "network"}}
  {"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": {"status": "started", "scan": "network"}}

The command has the caller's standard streams, and its output comes before the events:

  $ echo "emit va_status_changed {}" | qxagent-wait $scan sh -c 'cat >&9; echo sent; echo warned >&2'
  sent
  warned
  {"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": {}}

If the command fails, `qxagent-wait` ends with the status of the command:

  $ qxagent-wait $scan sh -c 'exit 7'
  [7]
  $ qxagent-wait $scan sh -c 'kill -s KILL $$'
  [137]
  $ qxagent-wait $scan ./nothing 2>/dev/null
  [127]

No process outlives a successful wait, not even the timer. Every process inherits the write end of the FIFO `alive`, so
the reader of the FIFO waits until all processes have ended:

  $ mkfifo alive
  $ gone() { timeout 30 cat alive || echo "a process is left"; }
  $ qxagent-wait -t 1000 $scan qxagent-manage va_stop >events 5>alive &
  $ gone
  $ wait $!

A time limit ends a wait for an event, a command that ignores SIGTERM, and a subscription without an answer:

  $ qxagent-wait -t 0.1 $scan 5>alive &
  $ gone
  $ wait $!
  [124]
  $ qxagent-wait -t 0.1 $scan sh -c 'trap "" TERM; sleep 1000 & sleep 1000' 5>alive &
  $ gone
  $ wait $!
  [124]
  $ stop $broker
  $ broker '{"state": {"scan_ms": 1000000}, "subscriptions": {"va_status_changed": [{"send": 0}]}}'
  $ qxagent-wait -t 0.1 $scan 5>alive &
  $ gone
  $ wait $!
  [124]

A signal ends `qxagent-wait`, the command and the command's children:

  $ stop $broker
  $ broker '{"state": {"scan_ms": 1000000}}'
  $ for signal in HUP USR1 TERM PIPE; do
  >     : >runs
  >     gone & reader=$!
  >     qxagent-wait $scan sh -c 'sleep 1000 & echo runs >runs; sleep 1000' 5>alive &
  >     await runs runs
  >     kill -s $signal $!
  >     wait $reader
  >     wait $! 2>/dev/null
  >     kill -l $?
  > done
  HUP
  USR1
  TERM
  PIPE

Besides the tool, `qxagent-wait` needs only a shell, setsid and sleep. Those of busybox suffice:

  $ mkdir applets
  $ ln -s "$(command -v qxagent-manage)" "$(command -v qxagent-wait)" applets
  $ for applet in sh setsid sleep; do ln -s "$(command -v busybox)" applets/$applet; done
  $ with_busybox() { PATH=$PWD/applets sh applets/qxagent-wait "$@"; }
  $ with_busybox -t 1000 $scan qxagent-manage va_start 5>alive &
  $ gone
  {"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": {"status": "started", "scan": "network"}}
  $ wait $!
  $ with_busybox -t 0.1 $scan sh -c 'trap "" TERM; sleep 1000 & sleep 1000' 5>alive &
  $ gone
  $ wait $!
  [124]

`qxagent-wait` misses no event that the command causes (QX_RACES sets the number of attempts):

  $ for run in $(seq 1 "${QX_RACES:-50}"); do
  >     [ $((run % 2)) -eq 1 ] && order=va_stop status=stopped || order=va_start status=started
  >     event=$(qxagent-wait -t 30 $scan qxagent-manage $order)
  >     case $event in *'"data": {"status": "'$status'",'*) ;; *) echo "run $run: '$event'" ;; esac
  > done
