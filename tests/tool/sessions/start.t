  $ . "$SESSION"

Without an install directory there is no broker to ask, and no word about it.

  $ qxagent-manage is_enabled
  [1]

A broker that is not running:

  $ mkdir -p $root/var/run
  $ qxagent-manage is_enabled
  Daemon is down or you are running an older version of it
  [1]
  $ printf 1.3 >$root/var/run/qxbrokerd.version
  $ qxagent-manage is_enabled
  Daemon is down or you need to try again later
  [1]

A broker of another version:

  $ broker '{"version": "1.2"}'
  $ qxagent-manage is_enabled
  Wrong Protocol Version: Daemon=(1.2) vs Client=(1.3)
  [1]
  $ stop $broker

  $ broker
  $ qxagent-manage is_enabled
  {"services_status": true}
  $ requests
  {"type": "command", "name": "get_services_status", "data": null}
  $ log
