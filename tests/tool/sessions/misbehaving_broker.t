Whatever the broker answers, every operation ends with exit status 0, 1 or 255 and prints JSON or nothing.

  $ . "$SESSION"
  $ operations >operations
  $ grep -v '^#' "$(dirname "$SESSION")/misbehaviour.txt" >ways
  $ step=3; [ -z "$SANITIZED$EMULATED" ] || step=24
  $ step=${QX_FAULT_STEP:-$step} number=0
  $ complain() { echo "$scenario: $operation: status $status"; head -c 1000 out; }

After a bad answer, an operation fails and prints nothing. There are two exceptions: `get_router_info` leaves out the
fields that the broker does not return, and `get_devices` prints the broker's reason.

  $ is_bad() {
  >     case $operation in
  >     get_router_info*) ;;
  >     get_devices*) [ $status != 0 ] ;;
  >     *) [ $status != 0 ] && [ ! -s out ] ;;
  >     esac
  > }
  $ is_sound() {
  >     case $status in 0 | 1 | 255) [ ! -s out ] || jq empty out ;; *) false ;; esac
  > }
  $ try() {
  >     scenario=$2 number=$((number + 1))
  >     broker "$scenario"
  >     sed -n "$((number % step + 1))~${step}p" operations >tried
  >     while read -r operation <&3; do
  >         timeout 30 qxagent-manage $operation >out 2>err; status=$?
  >         is_sound && { [ $1 = somehow ] || is_bad; } || complain
  >     done 3<tried
  >     stop $broker
  > }
  $ set -f
  $ while read -r ends rule <&4; do
  >     try "$ends" "{\"commands\": {\"*\": [${rule%\}}, \"times\": 0}]}}"
  > done 4<ways
  $ try somehow '{"connections": [{"accept": "close", "times": 0}]}'
  $ try somehow '{"connections": [{}, {"accept": "close"}, {}, {"accept": "close"}]}'
  $ try badly '{"version": "1.2"}'
  $ try badly '{"version": ""}'
  $ try badly '{"lock": false}'
  $ echo $number scenarios
  43 scenarios
