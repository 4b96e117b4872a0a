The reader in this session opens the pipe but does not read before the session writes to the FIFO `go`.

  $ . "$SESSION"
  $ mkfifo pipe go
  $ reader() { { read -r _ <go; cat; } <pipe >out & reader=$!; }
  $ listen() { start qxagent-manage listen --events=QX_PLIX_DEVICES_LIST_UPDATED >pipe; tool=$!; }
  $ kib() { sed -n "s/^$1:[^0-9]*\([0-9]*\).*/\1/p" /proc/$tool/status; }
  $ is_above() { [ "$(kib VmRSS)" -gt "$1" ]; }
  $ is_below() { [ "$(kib VmRSS)" -lt "$1" ]; }
  $ writes() { grep -q '^[0-9]* 0x1 ' /proc/$tool/syscall; }
  $ broker

While nobody reads, a termination signal ends `listen`. The output then ends with a whole line if the line fits into the
pipe.

  $ for size in 10 100000; do
  >     n=$((n + 1)); reader; listen; await trace answer $n
  >     echo "burst $((8000000 / (size + 90))) devices_list_updated $(printf '["%0*d"]' $size 0)" >&9
  >     eventually writes; eventually is_above 4000
  >     kill $tool; wait $tool; echo $?
  >     echo >go; wait $reader
  >     tail -c 1 out | od -An -c
  > done
  0
    \n
  0
     0

`listen` keeps unread events in memory, by default up to 32 MiB, and loses none.

  $ events=100000
  $ [ -z "$SANITIZED$EMULATED" ] || events=10000
  $ expected() { seq $events | sed 's/.*/{"event_name": "QX_PLIX_DEVICES_LIST_UPDATED", "data": {"n": &, "filler": "'$filler'"}}/'; }
  $ filler=$(printf %0178d 0)
  $ burst() { echo "burst $events devices_list_updated {\"n\": %n, \"filler\": \"$filler\"}" >&9; }
  $ reader; listen; await trace answer 3; burst
  $ eventually is_above $((events * 200 / 1024))
  $ echo >go; await out "\"n\": $events,"
  $ [ -n "$SANITIZED$EMULATED" ] || eventually is_below 4000
  $ stop $tool; wait $reader
  $ expected | cmp - out

With a lower limit, `listen` stops reading, so the broker waits and no event is lost.

  $ export QX_LISTEN_BACKLOG=1
  $ reader; listen; await trace answer 4; burst
  $ eventually writes
  $ echo >go; await out "\"n\": $events,"
  $ [ -n "$SANITIZED$EMULATED" ] || [ "$(kib VmHWM)" -lt $((events * 200 / 1024 / 2)) ]
  $ stop $tool; wait $reader
  $ expected | cmp - out

On a machine with little memory, the limit is an eighth of the memory. Here, strace makes sysinfo(2) report 32 MiB.

  $ unset QX_LISTEN_BACKLOG
  $ small_machine="strace -D -f -o calls -e trace=sysinfo -e inject=sysinfo:poke_exit=@arg1=$(printf %064d 0)0000000200000000"
  $ [ -n "$SANITIZED$EMULATED" ] || {
  >     reader
  >     QX_ERRORS=text start $small_machine qxagent-manage listen --events=QX_PLIX_DEVICES_LIST_UPDATED >pipe 2>warnings; tool=$!
  >     await trace answer 5; burst; await warnings 'above 4096 KiB'
  >     echo >go; await out "\"n\": $events,"
  >     stop $tool; wait $reader; expected | cmp - out
  > }
