  $ . "$SESSION"

Frozen files hold the interface on which scripts rely. A difference is a mistake, unless it belongs to a new version of
the interface: then edit the frozen file first.

  $ frozen=$SOURCES/tests/frozen
  $ qxagent-manage help 2>help.err | diff "$frozen/usage.txt" -

Each line of exit_statuses.txt holds three exit statuses of a command line: with a broker that answers, with one that
refuses, and without a broker. A signal ends `listen` after its first event.

  $ status() {
  >     : >out
  >     if [ "$1" != listen ]; then sh -c "qxagent-manage $1" >out 2>&1 </dev/null; return; fi
  >     start qxagent-manage listen >out 2>&1
  >     [ "$2" = none ] || await out QX_PLIX_DEVICE_DISCOVERY
  >     [ "$2" = none ] || kill $!
  >     wait $!
  > }
  $ statuses() {
  >     cut -f 4 "$frozen/exit_statuses.txt" | while IFS= read -r words; do status "$words" "$1"; echo $?; done >"$1"
  > }
  $ broker '{"events": [{"event": "device_discovery", "when": "subscribe", "data": {}}]}'
  $ statuses answers
  $ stop $broker
  $ broker '{"events": [{"event": "device_discovery", "when": "subscribe", "data": {}}],
  >     "commands": {"*": [{"status": 1, "times": 0}]}}'
  $ statuses refuses
  $ stop $broker
  $ statuses none
  $ cut -f 4 "$frozen/exit_statuses.txt" | paste answers refuses none - | diff "$frozen/exit_statuses.txt" -

exit_statuses.txt lists every operation.

  $ sed -nE 's/^  ([a-z_]+)( .*)?$/\1/p' "$frozen/usage.txt" | sort >operations
  $ cut -f 4 "$frozen/exit_statuses.txt" | cut -d ' ' -f 1 | sort -u | comm -13 - operations
