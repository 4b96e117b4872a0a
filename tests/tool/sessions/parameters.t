Parameters on standard input have a limit of 1 MiB, and nothing is sent of more.

  $ . "$SESSION"
  $ broker
  $ { printf a=; head -c 1M /dev/zero | tr '\0' x; } | qxagent-manage register --params -
  standard input: more than 1 MiB of parameters
  [1]
  $ { printf a=; head -c 1000000 /dev/zero | tr '\0' x; } | qxagent-manage register --params -
  $ requests >sent; wc -c <sent
  1000069

A closed standard input has none.

  $ qxagent-manage register_to_cloud --params=- <&-
  standard input: Bad file descriptor
  [1]
  $ requests
