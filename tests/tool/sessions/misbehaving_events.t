Whatever the broker answers to a subscription, `listen` either continues or reports a failure.

  $ . "$SESSION"
  $ step=3; [ -z "$SANITIZED$EMULATED" ] || step=24
  $ step=${QX_FAULT_STEP:-$step}
  $ ways() { grep -v '^#' "$(dirname "$SESSION")/misbehaviour.txt" | sed -n "$1~${step}p" >ways; }
  $ listen() { start qxagent-manage listen "--events=$1" >out 2>err; tool=$!; }
  $ complain() { echo "$rule: status $?"; head -c 1000 out err; }
  $ ends_well() { stop $tool && jq empty out && [ ! -s err ]; }
  $ fails() {
  >     wait $tool; [ $? = 1 ] && [ ! -s out ] &&
  >         grep -qx 'Failed to subscribe to event: QX_PLIX_VA_STATUS_CHANGED' err
  > }
  $ ways 1
  $ while read -r ends rule <&3; do
  >     broker "{\"subscriptions\": {\"va_status_changed\": [${rule%\}}, \"times\": 0}]}}"
  >     listen QX_PLIX_VA_STATUS_CHANGED
  >     case $ends in
  >     somehow) await trace ' answer '; ends_well || complain ;;
  >     badly) fails || complain ;;
  >     esac
  >     stop $broker
  > done 3<ways

Whatever the broker sends in place of one event, earlier and later events arrive, if necessary on a new connection. The
session leaves out rules with a status, which has no meaning in an event.

  $ ways 3
  $ grep -v ' {"status"' ways >events
  $ while read -r ends rule <&3; do
  >     case $rule in '{"data'* | '{"body'* | '{"raw'*) data= ;; *) data=', "data": {}' ;; esac
  >     broker "{\"events\": [{\"event\": \"device_discovery\", \"data\": {}, \"times\": 0, \"every_ms\": 3},
  >         ${rule%\}}, \"event\": \"va_status_changed\", \"when\": \"subscribe\", \"after_ms\": 20 $data}]}"
  >     listen QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_DEVICE_DISCOVERY
  >     await out DEVICE_DISCOVERY 20
  >     ends_well || complain
  >     stop $broker
  > done 3<events
