  $ . "$SESSION"

A scenario can send an event a given number of times to each new subscriber, or forever from the start of the broker.

  $ broker '{"events": [
  >     {"event": "device_discovery", "when": "subscribe", "data": {"n": "%n"}, "times": 3, "every_ms": 1},
  >     {"event": "QX_PLIX_VA_STATUS_CHANGED", "after_ms": 1, "every_ms": 1, "times": 0, "body": "tick"},
  >     {"event": "qxagent_started", "when": "subscribe", "data": 1, "length": 100, "then": "close"}]}'
  $ python3 - <<'.'
  > from client import *
  > for _ in range(2):
  >     client = Client()
  >     print(client.subscribe('device_discovery'), client.frame(), client.frame(), client.frame())
  >     print(client.subscribe('va_status_changed'), client.frame(), client.frame())
  >     broken = Client()
  >     print(broken.subscribe('qxagent_started'), broken.read(99))
  > .
  {"status": 0} {"n": "1"} {"n": "2"} {"n": "3"}
  {"status": 0} tick tick
  {"status": 0} b'd\x00\x00\x001'
  {"status": 0} {"n": "1"} {"n": "2"} {"n": "3"}
  {"status": 0} tick tick
  {"status": 0} b'd\x00\x00\x001'

Subscriptions fail as their rules specify, and then work again.

  $ stop $broker
  $ broker '{"subscriptions": {"device_discovery": [{"status": 1}, {"send": 3, "then": "close"}]}}'
  $ python3 - <<'.'
  > from client import *
  > client = Client()
  > print(client.subscribe('device_discovery'), client.subscribe('nothing'))
  > print(repr(Client().subscribe('device_discovery')))
  > print(Client().subscribe('device_discovery'))
  > .
  {"status": 1} {"status": 1, "data": {"code": 1, "description": "unknown event 'nothing'"}}
  ''
  {"status": 0}
