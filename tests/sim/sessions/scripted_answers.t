  $ . "$SESSION"

The broker sends a command's scripted answers in order and does not carry out the command. After the last scripted
answer, the command works normally.

  $ broker '{"commands": {
  >     "get_router_name": [
  >         {"status": 7, "data": {"code": 3, "description": "broken"}, "times": 2},
  >         {"data": "fixed"},
  >         {"status": "text"},
  >         {"body": "no JSON"},
  >         {"body": ""}],
  >     "set_router_name": [{"status": 0}],
  >     "*": [{"status": 9}]}}'
  $ ask get_router_name
  {"status": 7, "data": {"code": 3, "description": "broken"}}
  $ ask get_router_name
  {"status": 7, "data": {"code": 3, "description": "broken"}}
  $ ask get_router_name
  {"status": 0, "data": "fixed"}
  $ ask get_router_name
  {"status": "text"}
  $ ask get_router_name
  no JSON
  $ echo "($(ask get_router_name))"
  ()
  $ ask set_router_name '"unheard"'
  {"status": 0}
  $ ask get_version_info
  {"status": 9}
  $ ask get_router_name
  {"status": 0, "data": "Home Router"}

A rule can change an answer's length prefix, truncate the answer, replace its bytes, or send it in pieces.

  $ stop $broker
  $ broker '{"commands": {"enable_services": [
  >     {"length": -5, "then": "close"},
  >     {"length": 2147483647, "then": "close"},
  >     {"send": 0, "then": "close"},
  >     {"send": 2, "then": "close"},
  >     {"send": 9, "then": "close"},
  >     {"raw": "garbage", "then": "close"},
  >     {"raw_hex": "02000000 7b7d", "then": "close"},
  >     {"chunk": 1, "pause_ms": 0, "then": "close"}]}}'
  $ python3 - <<'.'
  > from client import *
  > for _ in range(8):
  >     print(answer('enable_services', 99))
  > .
  b'\xfb\xff\xff\xff{"status": 0}'
  b'\xff\xff\xff\x7f{"status": 0}'
  b''
  b'\r\x00'
  b'\r\x00\x00\x00{"sta'
  b'garbage'
  b'\x02\x00\x00\x00{}'
  b'\r\x00\x00\x00{"status": 0}'

An answer can be huge.

  $ stop $broker
  $ broker '{"commands": {"enable_services": [{"data_size": 5000000, "then": "close"}]}}'
  $ python3 - <<'.'
  > from client import *
  > print(answer('enable_services', 6000000)[4:] == b'{"status": 0, "data": "' + b'x' * 5000000 + b'"}')
  > .
  True

After an incomplete answer, the connection stays open and silent. The broker serves other clients.

  $ stop $broker
  $ broker '{"commands": {"enable_services": [{"send": 6}]}}'
  $ python3 - <<'.'
  > from client import *
  > client = Client()
  > client.sendall(command('enable_services'))
  > print(client.read(6), ask('disable_services'), client.has_input())
  > .
  b'\r\x00\x00\x00{"' {"status": 0} False

A delayed answer delays no other client, and arrives even if the client has shut down its sending side.

  $ stop $broker
  $ broker '{"commands": {"enable_services": [{"delay_ms": 86400000}], "enable_routerprotection": [{"delay_ms": 150}]}}'
  $ python3 - <<'.'
  > from client import *
  > import time
  > delayed = Client()
  > delayed.sendall(command('enable_services'))
  > print(ask('disable_services'), delayed.has_input())
  > start = time.monotonic()
  > client = Client()
  > client.sendall(command('enable_routerprotection'))
  > client.shutdown(socket.SHUT_WR)
  > print(client.frame(), client.read(1), time.monotonic() - start >= 0.15)
  > .
  {"status": 0} False
  {"status": 0} b'' True

The broker never reads from a silent connection, but closes the connection when the client leaves.

  $ stop $broker
  $ broker '{"connections": [{"accept": "silent"}]}'
  $ python3 -c 'from client import *; Client().sendall(command("enable_services"))'
  $ await trace '#1 closed'
  $ grep '#1' trace
  #1 connected
  #1 closed

The broker can restart before an answer. It can also exit in the middle of an answer and leave its version file behind.

  $ stop $broker
  $ broker '{"commands": {"enable_services": [{"send": 0, "then": "restart", "down_ms": 0}, {"send": 4, "then": "exit"}]}}'
  $ python3 -c 'from client import *; print(answer("enable_services", 1))'
  b''
  $ await trace 'listening again (restart 1)'
  $ python3 -c 'from client import *; print(answer("enable_services", 9))'
  b'\r\x00\x00\x00'
  $ wait $broker
  [3]
  $ cat $root/var/run/qxbrokerd.version; echo
  1.3
