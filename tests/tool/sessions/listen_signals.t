  $ . "$SESSION"
  $ listen() { start qxagent-manage listen --events=QX_PLIX_DEVICE_DISCOVERY >out; tool=$!; }

In each of the following states, a termination signal (SIGINT, SIGQUIT or SIGTERM) makes `listen` exit with 0 and
without delay.

  $ ends_on() {
  >     begin=$(date +%s)
  >     kill -s "$1" $tool
  >     wait $tool || echo "status $?"
  >     [ $(($(date +%s) - begin)) -le 10 ] || echo too late
  > }

While `listen` waits for events:

  $ broker
  $ listen; await trace answer 1; ends_on INT
  $ listen; await trace answer 2; ends_on QUIT
  $ listen; await trace answer 3; ends_on TERM

In the middle of a frame:

  $ listen; await trace answer 4
  $ echo 'emit device_discovery [1]' >&9
  $ echo 'raw device_discovery 10000000 5b' >&9
  $ await out '\[1\]'; ends_on TERM

After the broker has exited:

  $ listen; await trace answer 5
  $ stop $broker; ends_on TERM

After a lost connection, while the broker does not answer the new subscription:

  $ broker '{"subscriptions": {"device_discovery": [{}, {"send": 0}]}}'
  $ listen; await trace answer 1
  $ echo drop >&9; await trace request 2; ends_on TERM

Before `listen` has subscribed, even if it was started with blocked signals:

  $ start_blocked() { start env --block-signal qxagent-manage listen; tool=$!; }
  $ stop $broker
  $ broker '{"subscriptions": {"device_discovery": [{"send": 0, "times": 0}]}}'
  $ start_blocked; await trace request 1; ends_on INT
  $ start_blocked; await trace request 2; ends_on QUIT
  $ start_blocked; await trace request 3; ends_on TERM

A termination signal ends `listen` even while the broker accepts no connection. Here, another connection fills the
backlog of the broker's socket.

  $ stop $broker
  $ mkdir -p $root/var/run; printf 1.3 >$root/var/run/qxbrokerd.version
  $ cat >full.py <<'END'
  > import fcntl, signal, socket
  > version = open("/opt/norvane/var/run/qxbrokerd.version", "r+")
  > fcntl.lockf(version, fcntl.LOCK_EX)
  > broker, client = socket.socket(socket.AF_UNIX), socket.socket(socket.AF_UNIX)
  > broker.bind("\0:qxbrokerd-1.3.skt")
  > broker.listen(0)
  > client.connect("\0:qxbrokerd-1.3.skt")
  > print("full", flush=True)
  > signal.pause()
  > END
  $ start /usr/bin/python3 full.py >full
  $ await full full
  $ start_blocked
  $ has_socket() { ls -l /proc/$tool/fd | grep -q socket; }
  $ eventually has_socket; ends_on TERM
