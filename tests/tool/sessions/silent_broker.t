Without QX_TIMEOUT, the tool waits for a silent broker without a time limit, and uses at most two threads. A signal, for
example from Ctrl-C, ends the tool at once.

  $ . "$SESSION"
  $ operations >operations
  $ step=3; [ -z "$SANITIZED$EMULATED" ] || step=24
  $ step=${QX_FAULT_STEP:-$step}
  $ tried() { sed -n "$(($1 % step + 1))~${step}p" operations >tried; }
  $ set -f
  $ try() {
  >     signal=$1 rule=$2 asked=0
  >     broker "{\"commands\": {\"*\": [$rule]}}"
  >     while read -r operation <&3; do
  >         start qxagent-manage $operation >out 2>&1; tool=$! asked=$((asked + 1))
  >         await trace request $asked
  >         [ "$(ls /proc/$tool/task | wc -l)" -le 2 ] || [ -n "$SANITIZED$EMULATED" ] || echo threads
  >         begin=$(date +%s)
  >         kill -$signal $tool; wait $tool; status=$?
  >         [ $status = $((128 + signal)) ] && [ $(($(date +%s) - begin)) -le 10 ] && [ ! -s out ] ||
  >             echo "$rule: $operation: status $status $(cat out)"
  >         await trace closed $((2 * asked))
  >     done 3<tried
  >     stop $broker
  > } 2>/dev/null
  $ tried 0; try 2 '{"send": 0, "times": 0}'
  $ tried 1; try 15 '{"send": 2, "times": 0}'
  $ tried 2; try 1 '{"send": 9, "times": 0}'
  $ tried 3; try 2 '{"length": 60000000, "times": 0}'

A script can set a time limit with timeout(1).

  $ broker '{"connections": [{"accept": "silent", "times": 0}]}'
  $ tried 1
  $ while read -r operation <&3; do
  >     timeout 0.1 qxagent-manage $operation; echo $?
  > done 3<tried | sort -u
  124

With QX_TIMEOUT, the tool fails after that time.

  $ QX_TIMEOUT=0.5 timeout 20 qxagent-manage enable
  [255]
  $ QX_TIMEOUT=0.5 timeout 20 qxagent-manage feature --list
  Failed getting the features list
  [1]
