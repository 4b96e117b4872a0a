  $ . "$SESSION"
  $ broker
  $ mkfifo ready

When all subscriptions are in place, `listen` writes one line feed to the descriptor QX_READY_FD and closes the
descriptor.

  $ QX_READY_FD=7 qxagent-manage listen >events 7>ready &
  $ listener=$!
  $ cat ready | od -An -c
    \n
  $ requests | jq -c .name
  "device_discovery"
  "subscription_changed"
  "cloud_registration_status"
  "devices_list_updated"
  "qxagent_started"
  "va_status_changed"
  "set_device_online_status_result"
  $ stop $listener

The service manager receives READY=1 after the start and STOPPING=1 at the end.

  $ cat >manager.py <<'END'
  > import socket, sys
  > manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
  > manager.bind(sys.argv[1].replace("@", "\0"))
  > print("bound", flush=True)
  > for _ in range(2):
  >     print(manager.recv(100).decode(), flush=True)
  > END
  $ manage() {
  >     : >heard
  >     /usr/bin/python3 manager.py "$1" >heard &
  >     manager=$!
  >     await heard bound
  >     NOTIFY_SOCKET=$1 qxagent-manage listen >events &
  >     listener=$!
  >     await heard READY=1
  >     stop $listener
  >     wait $manager
  >     cat heard
  > }
  $ manage @manager
  bound
  READY=1
  STOPPING=1
  $ manage "$PWD/manager"
  bound
  READY=1
  STOPPING=1

Neither a full pipe nor a missing service manager stops `listen`.

  $ exec 8<>ready
  $ yes 2>&- | head -c 65536 >&8
  $ QX_READY_FD=8 NOTIFY_SOCKET=@nobody qxagent-manage listen >events &
  $ listener=$!
  $ all_subscribed() { [ "$(grep -c 'answer' trace)" -ge 28 ]; }
  $ eventually all_subscribed
  $ stop $listener

If QX_READY_FD is a closed descriptor or a standard stream, `listen` fails before it sends anything.

  $ shown=$(wc -l <trace)
  $ for value in '' 6 1 x -1; do QX_READY_FD=$value qxagent-manage listen; done
  QX_READY_FD: '' is not an open descriptor above 2
  QX_READY_FD: '6' is not an open descriptor above 2
  QX_READY_FD: '1' is not an open descriptor above 2
  QX_READY_FD: 'x' is not an open descriptor above 2
  QX_READY_FD: '-1' is not an open descriptor above 2
  [1]
  $ requests

`listen` logs the loss of the broker once and the broker's return once.

  $ exec 8>&-
  $ QX_READY_FD=7 qxagent-manage listen >events 7>ready &
  $ listener=$!
  $ cat ready
  
  $ echo 'restart 0' >&9
  $ await $log 'the broker is back'
  $ stop $listener
  $ log
  WARN  [services.cpp][log_connection()]: lost the broker; its events are missed until it is back
  WARN  \[services.cpp\]\[log_connection\(\)\]: the broker is back; the events of \d+\.\d{3} seconds were missed (re)
