  $ . "$SESSION"

The complete scripts of scripting.md work as printed.

  $ python3 - "$SOURCES/docs/scripting.md" <<'.'
  > import re, sys
  > for script in re.findall(r'^```sh\n(#!.*?)^```$', open(sys.argv[1]).read(), re.M | re.S):
  >     open('service' if 'qx-events' in script else 'set-up', 'w').write(script)
  > .

The service writes each event as a line. The first listener finds no broker, the second one is killed, and the third one
receives the event.

  $ mount -t tmpfs tmpfs /var
  $ mkdir /var/log /var/run
  $ sh service start
  $ broker
  $ await trace '"subscribe"' 7
  $ shell=$(cat /var/run/qx-events.pid)
  $ kill -KILL $(cat /proc/$shell/task/$shell/children)
  $ await trace '"subscribe"' 14
  $ echo 'emit qxagent_started {"hello": 1}' >&9
  $ await /var/log/qx-events.jsonl hello
  $ cat /var/log/qx-events.jsonl
  {"event_name": "QX_PLIX_QXAGENT_STARTED", "data": {"hello": 1}}

When the service stops, it closes every connection and leaves nothing behind.

  $ sh service stop
  $ await trace ' closed' 16
  $ ls /var/run
  $ stop $broker

The set-up script changes only the settings that differ, and nothing at the next boot.

  $ broker '{"state": {"features": {"web_filter": "disabled"}, "services": {"status": 0}}}'
  $ sh set-up
  $ requests >first
  $ jq -r .name first | grep -v get_
  set_router_name
  set_router_model
  set_feature
  enable_services
  $ sh set-up
  $ requests >second
  $ jq -r .name second | grep -v get_
  [1]
