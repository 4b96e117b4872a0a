  $ . "$SESSION"

The broker generates a burst only as fast as the subscriber reads it. An unread burst takes little memory and does not
delay other clients.

  $ broker
  $ python3 - $broker <<'.'
  > from client import *
  > before = resident_kib(sys.argv[1])
  > client = Client()
  > client.subscribe('va_status_changed')
  > text = '{"n": %s, "filler": "' + 'x' * 170 + '"}'
  > os.write(9, f'burst 100000 va_status_changed {text % "%n"}\n'.encode())
  > print(client.frame() == text % 1, ask('enable_services'))
  > assert os.environ['SANITIZED'] or resident_kib(sys.argv[1]) - before < 4096
  > print(all(client.frame() == text % n for n in range(2, 100001)))
  > .
  True {"status": 0}
  True
