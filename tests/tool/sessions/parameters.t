Parameters on standard input have a limit of 1 MiB. The tool sends nothing if they are longer.

  $ . "$SESSION"
  $ broker
  $ { printf a=; head -c 1M /dev/zero | tr '\0' x; } | qxagent-manage register --params -
  standard input: more than 1 MiB of parameters
  [1]
  $ { printf a=; head -c 1000000 /dev/zero | tr '\0' x; } | qxagent-manage register --params -
  $ requests >sent; wc -c <sent
  1000069

The tool reports a closed standard input.

  $ qxagent-manage register_to_cloud --params=- <&-
  standard input: Bad file descriptor
  [1]
  $ requests
