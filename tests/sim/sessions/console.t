  $ . "$SESSION"

Orders on standard input send one event, many events or raw bytes. Each order accepts both names of an event, as in the
first two orders below. `emit` sends any text, even if it is not JSON. `burst` replaces %n with the event's number.

  $ broker
  $ client subscribe va_status_changed
  {"status": 0}
  $ echo 'emit va_status_changed {"a":  %n}' >&9
  $ client event
  {"a":  %n}
  $ echo 'emit QX_PLIX_VA_STATUS_CHANGED not JSON ' >&9
  $ client event
  not JSON
  $ echo 'burst 2 va_status_changed %n-%n' >&9
  $ client event
  1-1
  $ client event
  2-2
  $ echo 'raw va_status_changed 01 0000 00 78' >&9
  $ client event
  x

The trace shows every step, with unprintable bytes as escapes. Only an event's subscribers receive the event.

  $ echo 'emit device_discovery {}' >&9
  $ await trace 'device_discovery to 0'
  $ client send "$(printf '\033')"
  {"status": 1, "data": {"code": 2, "description": "the request is not JSON: *"}} (glob)
  $ await trace '#2 closed'
  $ cat trace
  listening for clients of /opt/norvane
  #1 connected
  #1 request {"type": "subscribe", "name": "va_status_changed"}
  #1 answer {"status": 0}
  event va_status_changed to 1: {"a":  %n}
  event va_status_changed to 1: not JSON
  event va_status_changed to 1: 1-1
  event va_status_changed to 1: 2-2
  event va_status_changed to 1: 5 raw bytes
  event device_discovery to 0: {}
  #2 connected
  #2 request \x1b
  #2 answer {"status": 1, *} (glob)
  #2 closed

The broker reports an invalid order on standard error and ignores an empty line.

  $ echo >&9
  $ cat >&9 <<'.'
  > emit nothing {}
  > emit QX_PLIX_va_status_changed {}
  > emit va_status_changed
  > burst many va_status_changed x
  > raw va_status_changed 0
  > restart soon
  > restart 0 1
  > drop va_status_changed
  > jump
  > .
  $ await trace jump
  $ grep qxbrokerd-sim: trace
  qxbrokerd-sim: unknown event 'nothing'
  qxbrokerd-sim: unknown event 'QX_PLIX_va_status_changed'
  qxbrokerd-sim: emit needs a text to send
  qxbrokerd-sim: burst needs a count
  qxbrokerd-sim: raw needs pairs of hexadecimal digits
  qxbrokerd-sim: restart takes a number of milliseconds and nothing more
  qxbrokerd-sim: restart takes a number of milliseconds and nothing more
  qxbrokerd-sim: drop takes nothing more
  qxbrokerd-sim: unknown order 'jump'; --help lists them

The orders `drop` and `restart` close every connection. After a restart, the version file is locked again.

  $ python3 - <<'.'
  > from client import *
  > for order in b'drop\n', b'restart 0\n':
  >     client = Client()
  >     client.subscribe('va_status_changed')
  >     os.write(9, order)
  >     print(client.read(1))
  > .
  b''
  b''
  $ await trace 'listening again (restart 1)'
  $ qxagent-manage is_enabled
  {"services_status": true}
