`listen` survives restarts of the broker. After each restart, it soon renews all subscriptions. It leaks no descriptor.

  $ . "$SESSION"
  $ for event in device_discovery subscription_changed cloud_registration_status devices_list_updated \
  >         qxagent_started va_status_changed set_device_online_status_result; do
  >     printf '%s{"event": "%s", "when": "subscribe", "data": ["hello"]}' "$comma" $event; comma=,
  > done >greetings
  $ broker "{\"events\": [$(cat greetings)]}"
  $ start qxagent-manage listen >out; tool=$!
  $ await out hello 7
  $ descriptors() { ls /proc/$tool/fd | xargs; }
  $ before=$(descriptors) begin=$(date +%s)
  $ for restart in $(seq 15); do
  >     echo restart 0 >&9
  >     await out hello $((7 * (restart + 1)))
  > done
  $ [ $(($(date +%s) - begin)) -le 22 ]
  $ [ "$(descriptors)" = "$before" ]
  $ stop $tool
  $ grep -c . out
  112
