  $ . "$SESSION"
  $ broker

`listen` subscribes to all events in the order of their types. It prints each event that is an object or an array as one
line, and ignores other events.

  $ start qxagent-manage listen >out 2>err
  $ await trace answer 7
  $ requests
  {"type": "subscribe", "name": "device_discovery"}
  {"type": "subscribe", "name": "subscription_changed"}
  {"type": "subscribe", "name": "cloud_registration_status"}
  {"type": "subscribe", "name": "devices_list_updated"}
  {"type": "subscribe", "name": "qxagent_started"}
  {"type": "subscribe", "name": "va_status_changed"}
  {"type": "subscribe", "name": "set_device_online_status_result"}
  $ cat >&9 <<'END'
  > emit va_status_changed {"b":[1,"ü"],"a":null}
  > emit va_status_changed "no object"
  > emit va_status_changed no JSON
  > emit va_status_changed []
  > END
  $ await out '"data": \[\]'
  $ stop $!
  $ cat out err
  {"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": {"b": [1, "\xc3\xbc"], "a": null}} (esc)
  {"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": []}

`listen --events` subscribes once to each named event, in the order of their types.

  $ start qxagent-manage listen --events QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_DEVICE_DISCOVERY --events= \
  >     --events QX_PLIX_VA_STATUS_CHANGED
  $ await trace answer 9
  $ requests
  {"type": "subscribe", "name": "device_discovery"}
  {"type": "subscribe", "name": "va_status_changed"}
  $ stop $!

Names must match exactly. If a name is unknown, `listen` fails and subscribes to nothing.

  $ qxagent-manage listen --events=QX_PLIX_VA_STATUS_CHANGED,qx_plix_device_discovery
  Unknown event: qx_plix_device_discovery
  [1]

If QX_LISTEN_BACKLOG is not a number of MiB, `listen` fails and subscribes to nothing.

  $ for limit in '' x 1x ' 1' -1 0 1048577 18446744073709551617; do
  >     QX_LISTEN_BACKLOG=$limit qxagent-manage listen && echo accepted
  > done
  QX_LISTEN_BACKLOG: '' is not a number of MiB from 1 to 1048576
  QX_LISTEN_BACKLOG: 'x' is not a number of MiB from 1 to 1048576
  QX_LISTEN_BACKLOG: '1x' is not a number of MiB from 1 to 1048576
  QX_LISTEN_BACKLOG: ' 1' is not a number of MiB from 1 to 1048576
  QX_LISTEN_BACKLOG: '-1' is not a number of MiB from 1 to 1048576
  QX_LISTEN_BACKLOG: '0' is not a number of MiB from 1 to 1048576
  QX_LISTEN_BACKLOG: '1048577' is not a number of MiB from 1 to 1048576
  QX_LISTEN_BACKLOG: '18446744073709551617' is not a number of MiB from 1 to 1048576
  [1]
  $ requests

If the broker refuses a subscription, `listen` fails.

  $ stop $broker
  $ broker '{"subscriptions": {"subscription_changed": [{"status": 1}]}}'
  $ qxagent-manage listen
  Failed to subscribe to event: QX_PLIX_SUBSCRIPTION_CHANGED
  [1]
