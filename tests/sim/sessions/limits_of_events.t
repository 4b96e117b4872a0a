  $ . "$SESSION"

The broker closes a subscriber that leaves 32 MiB unread. When all subscribers together leave 128 MiB, it closes the one
with the most unread bytes.

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
