  $ . "$SESSION"

A request has at most 1 MiB. The broker disconnects a client that sends one byte more.

  $ broker
  $ python3 - <<'.'
  > from client import *
  > client = Client()
  > client.sendall(b' ' * MIB)
  > print(ask('enable_services'), client.has_input())
  > client.sendall(b' ')
  > print(client.read(1))
  > .
  {"status": 0} False
  b''

The unfinished requests of all clients together take at most 32 MiB: of 50 clients with 1 MiB each, the broker
disconnects 18. It frees the memory when the other clients have finished their requests.

  $ python3 - $broker <<'.'
  > from client import *
  > clients = [Client() for _ in range(50)]
  > for client in clients:
  >     client.sendall(b' ' * MIB)
  > left = set(clients)
  > while len(left) > 32:
  >     left -= set(select.select(left, [], [], 30)[0])
  > print(ask('enable_services'), sum(client.has_input() for client in clients))
  > for client in left:
  >     client.ask(b'\n')
  > assert os.environ['SANITIZED'] or resident_kib(sys.argv[1]) < 16384
  > .
  {"status": 0} 18

While a client does not read its answers, the broker postpones the client's next requests. It serves other clients and
loses no answer.

  $ stop $broker
  $ broker "{\"commands\": {\"va_stop\": [{\"raw\": \"$(printf '%0500000d')\", \"times\": 0}]}}"
  $ python3 - <<'.'
  > from client import *
  > client = Client()
  > client.sendall(command('va_stop') * 50 + command('get_router_name'))
  > client.shutdown(socket.SHUT_WR)
  > print(ask('enable_services'), 'get_router_name' in open('trace').read())
  > print(client.read(50 * 500000) == b'0' * 50 * 500000, client.frame(), client.read(1))
  > .
  {"status": 0} False
  True {"status": 0, "data": "Home Router"} b''
