  $ . "$SESSION"

The broker disconnects a subscriber with 32 MiB of unread events. When all subscribers together have 128 MiB of unread
events, the broker disconnects the one with the most.

  $ for case in "1 40" "6 30"; do
  >     broker
  >     python3 - $case <<'.'
  > from client import *
  > count, events = map(int, sys.argv[1:])
  > clients = [Client() for _ in range(count)]
  > for client in clients:
  >     client.subscribe('va_status_changed')
  > with open(9, 'w') as console:
  >     for _ in range(events):
  >         print('emit va_status_changed', 'x' * (MIB - 4), file=console)
  > ask('enable_services')
  > print(sum(len(client.read(events * MIB)) < events * MIB for client in clients), 'closed')
  > .
  >     stop $broker
  > done
  1 closed
  2 closed
