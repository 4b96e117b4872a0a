A termination signal ends `listen` with status 0 even if its output is a terminal or socket that accepts no more bytes.
Here, the terminal accepts none because script(1) copies its output to a FIFO that nobody reads.

  $ . "$SESSION"
  $ broker '{"events": [{"event": "device_discovery", "when": "subscribe", "times": 600, "every_ms": 0,
  >     "data": ["'$(printf %01000d 0)'"]}]}'
  $ writes() { grep -q '^[0-9]* 0x1 ' /proc/$tool/syscall; }
  $ mkfifo stuck; exec 8<>stuck
  $ on_terminal() {
  >     script -qc "stty $1; sh -c 'echo \$\$ >pid; exec qxagent-manage listen' & wait \$!; echo \$? >status" \
  >         /dev/null >stuck &
  >     await trace answer "$2"; tool=$(cat pid)
  >     eventually writes; kill $tool
  >     eventually test -s status; cat status; rm status; kill -KILL $!
  > }
  $ on_terminal raw 7
  0
  $ on_terminal sane 14
  0
  $ cat >output.py <<'END'
  > import os, socket, sys
  > output, reader = socket.socketpair()
  > os.dup2(output.fileno(), 1)
  > os.set_inheritable(reader.fileno(), True)
  > os.execvp(sys.argv[1], sys.argv[1:])
  > END
  $ /usr/bin/python3 output.py qxagent-manage listen & tool=$!
  $ await trace answer 21
  $ eventually writes; kill $tool; wait $tool
