  $ . "$SESSION"

Hundreds of clients with incomplete requests do not delay another client. The broker answers the requests of a client in
order, even if they arrive byte by byte.

  $ broker
  $ python3 - <<'.'
  > from client import *
  > clients = [Client() for _ in range(300)]
  > for client in clients:
  >     client.sendall(b'{"type": "command", ')
  > for byte in b'"name": "get_services_status"}\n' + command('get_router_model'):
  >     clients[7].sendall(bytes([byte]))
  > clients[7].shutdown(socket.SHUT_WR)
  > print(clients[7].frame(), clients[7].frame(), clients[7].read(1))
  > .
  {"status": 0, "data": {"status": 1}} {"status": 0, "data": "NV-AX3000"} b''
  $ ask enable_services
  {"status": 0}
  $ stop $broker

Without a free descriptor, the broker closes each new connection at once until a client leaves.

  $ : >trace
  $ (ulimit -n 12; exec qxbrokerd-sim --install-dir $root --trace) >trace 2>&1 &
  $ await trace listening
  $ python3 - <<'.'
  > from client import *
  > clients = [Client() for _ in range(12)]
  > print([Client().read(1) for _ in range(3)])
  > .
  [b'', b'', b'']
  $ await trace '#1 closed'
  $ ask enable_services
  {"status": 0}
  $ stop $!

The broker keeps at most 1000 devices. A text in a request has at most 255 bytes.

  $ broker '{"state": {"devices": [{"device_id": "a"}]}}'
  $ python3 - <<'.'
  > from client import *
  > import json
  > def report(number, interface='lan', hostname=''):
  >     mac = f'02:00:00:00:{number // 100}:{number % 100:02}'
  >     return {'mac': mac, 'interface': interface, 'is_online': True, 'ip': '192.0.2.7', 'hostname': hostname}
  > client = Client()
  > client.subscribe('set_device_online_status_result')
  > print(ask('set_device_online_status', json.dumps([report(n) for n in range(1000, 2000)])))
  > print(client.frame()[-147:])
  > long = 'x' * 256
  > print(ask('set_device_online_status', json.dumps(report(1000, interface=long))))
  > print(ask('set_device_online_status', json.dumps(report(1000, hostname=long))))
  > print(ask('set_device_name', json.dumps({'device_id': 'a', 'name': long})))
  > .
  {"status": 0}
  "}, {"mac": "02:00:00:00:19:98", "is_online": true, "result": "ok"}, {"mac": "02:00:00:00:19:99", "is_online": true, "result": "too many devices"}]
  {"status": 1, "data": {"code": 1, "description": "'interface' must be a string of 1 to 255 bytes"}}
  {"status": 1, "data": {"code": 1, "description": "'hostname' must be a string of at most 255 bytes"}}
  {"status": 1, "data": {"code": 1, "description": "'name' must be a string of 1 to 255 bytes"}}
