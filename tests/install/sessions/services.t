  $ . "$SESSION"
  $ cmake --install "$BUILD" --prefix "$PWD/prefix" >installed
  $ examples=$PWD/prefix/share/doc

The init scripts need only busybox. Their settings name this build's programs.

  $ mkdir applets /etc/default
  $ busybox --install -s applets
  $ init() { env -i PATH="$PWD/applets" sh "$examples/$1.init" "$2"; }
  $ simulator() { init qxbrokerd-sim/examples/qxbrokerd-sim "$1"; }
  $ events() { init qxagent-manage/examples/qx-events "$1"; }
  $ mount -t tmpfs tmpfs /var
  $ mkdir /var/log /var/run
  $ trace=/var/log/qxbrokerd-sim.log written=/var/log/qx-events.jsonl pids=/var/run/qx-events.pid
  $ mkfifo console
  $ exec 9<>console
  $ cat >/etc/default/qxbrokerd-sim <<.
  > program=$(command -v qxbrokerd-sim) options=--trace input=$PWD/console
  > .
  $ cat >/etc/default/qx-events <<.
  > command='${EMULATED:+$EMULATED }$BUILD/bin/qxagent-manage listen --events QX_PLIX_VA_STATUS_CHANGED'
  > .

Before the start both services are stopped, and stopping them again succeeds.

  $ for service in simulator events; do $service status; echo $?; $service stop; echo $?; done
  qxbrokerd-sim: stopped
  3
  0
  qx-events: stopped
  3
  0

`start` returns when the service is ready: a request reaches the broker, and an event reaches the listener. A second
start changes nothing.

  $ for service in simulator events; do $service start && $service start && $service status; done
  qxbrokerd-sim: running
  qx-events: running
  $ qxagent-manage is_enabled
  {"services_status": true}
  $ emit() { echo "emit va_status_changed {\"n\": $1}" >&9; await $trace "event va_status_changed to 1: .*$1"; }
  $ emit 1
  $ await $written '"n": 1'
  $ stat -c %a $written $pids
  640
  644

The supervisor replaces a listener that was killed.

  $ gone() { ! kill -0 "$1" 2>&-; }
  $ slay() { kill -KILL "$1"; eventually gone "$1"; }
  $ slay "$(sed -n 2p $pids)"
  $ await $trace '"subscribe"' 2
  $ emit 2
  $ await $written '"n": 2'

A supervisor that was killed leaves its pid file and its listener. The next start replaces the listener. Concurrent
actions also leave exactly one listener.

  $ slay "$(sed -n 1p $pids)"
  $ events status
  qx-events: dead, and /var/run/qx-events.pid is left
  [1]
  $ emit 3
  $ events start && events status
  qx-events: running
  $ emit 4
  $ events start & events restart & events start & events restart; wait
  $ events status
  qx-events: running
  $ emit 5

After a power cut, the old pid file and lock may name an unrelated process or none. The scripts never end an unrelated
process.

  $ events stop; ls /var/run
  qxbrokerd-sim.pid
  $ sleep 1000 &
  $ printf '%s\n' $! $! >$pids
  $ events status
  qx-events: dead, and /var/run/qx-events.pid is left
  [1]
  $ ln -s 4194305 $pids.lock
  $ events start && events status
  qx-events: running
  $ kill $!
  $ emit 6

The listener survives a restart of the broker, and both services end completely.

  $ simulator restart
  $ subscribed_again() { grep -q '"subscribe"' $trace; }
  $ eventually subscribed_again
  $ emit 7
  $ slay "$(cat /var/run/qxbrokerd-sim.pid)"
  $ simulator status
  qxbrokerd-sim: dead, and /var/run/qxbrokerd-sim.pid is left
  [1]
  $ simulator start && simulator stop && events stop
  $ ls /var/run

Without a broker, the start of the listener fails after $start_seconds. The supervisor keeps trying and connects once a
broker runs.

  $ echo start_seconds=0 >>/etc/default/qx-events
  $ events start
  qx-events: no subscription within 0 s; the supervisor keeps trying
  [1]
  $ events status
  qx-events: running, but not subscribed
  $ simulator start
  $ await $trace answer
  $ emit 8
  $ events status
  qx-events: running
  $ events stop

A start that cannot succeed says why.

  $ echo 'options=--scenario=/none' >>/etc/default/qxbrokerd-sim
  $ simulator restart
  qxbrokerd-sim: *none* (glob)
  [1]
  $ echo 'program=/none' >>/etc/default/qxbrokerd-sim
  $ simulator start
  qxbrokerd-sim: /none is not installed
  [5]
  $ echo 'output=/none/events' >>/etc/default/qx-events
  $ events start
  qx-events: /none/events cannot be written
  [1]
  $ echo 'command=/none' >>/etc/default/qx-events
  $ events start
  qx-events: /none is not installed
  [5]
  $ events reload
  usage: */qx-events.init start|stop|restart|status (glob)
  [2]
  $ ls /var/run
