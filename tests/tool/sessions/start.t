  $ . "$SESSION"

The tool prints its usage without an agent and leaves no file behind.

  $ qxagent-manage help >usage
  (ok) no error
  $ head -n 1 usage
  usage: qxagent-manage OPERATION [OPTION]...
  $ qxagent-manage set_router_info --modle=x | cmp - usage
  (unknown option) set_router_info has no option '--modle'; did you mean '--model'?
  $ ls /opt

Without an install directory, an operation fails and prints nothing.

  $ qxagent-manage is_enabled
  [1]

The tool reports a broker that is not running.

  $ mkdir -p $root/var/run
  $ qxagent-manage is_enabled
  Daemon is down or you are running an older version of it
  [1]
  $ printf 1.3 >$root/var/run/qxbrokerd.version
  $ qxagent-manage is_enabled
  Daemon is down or you need to try again later
  [1]

The tool reports a broker of another version.

  $ broker '{"version": "1.2"}'
  $ qxagent-manage is_enabled
  Wrong Protocol Version: Daemon=(1.2) vs Client=(1.3)
  [1]
  $ stop $broker

A broker of the right version receives the request.

  $ broker
  $ qxagent-manage is_enabled
  {"services_status": true}
  $ requests
  {"type": "command", "name": "get_services_status", "data": null}
  $ log

If the log cannot be written, the tool fails and sends the broker nothing.

  $ rm -f $log; mkdir -p $log
  $ qxagent-manage is_enabled
  Cannot start qxlog
  [1]
  $ rmdir $log

If the settings are damaged, the tool fails, sends the broker nothing, and leaves the settings unchanged.

  $ mkdir $root/etc; echo '{"/a": 1}' >$settings
  $ qxagent-manage set_quillet_location staging
  Cannot read the settings: /opt/norvane/etc/settings.json: the value of "/a" is not a string
  [1]
  $ cat $settings; log
  {"/a": 1}
  ERROR [settings.cpp][report_failure()]: Cannot read the settings: /opt/norvane/etc/settings.json: the value of "/a" is not a string
  $ rm $settings
  $ requests

If QX_BROKER_UID is a user id, the tool trusts only a broker of this user. If it is "any", the tool trusts every broker.

  $ for user in any 0; do QX_BROKER_UID=$user qxagent-manage enable; done
  $ requests
  {"type": "command", "name": "enable_services", "data": null}
  {"type": "command", "name": "enable_services", "data": null}
  $ for user in '' root -1 1x ' 0' +0 4294967295 99999999999; do
  >     QX_BROKER_UID=$user qxagent-manage enable && echo enabled
  > done
  QX_BROKER_UID: '' is neither a user id nor "any"
  QX_BROKER_UID: 'root' is neither a user id nor "any"
  QX_BROKER_UID: '-1' is neither a user id nor "any"
  QX_BROKER_UID: '1x' is neither a user id nor "any"
  QX_BROKER_UID: ' 0' is neither a user id nor "any"
  QX_BROKER_UID: '+0' is neither a user id nor "any"
  QX_BROKER_UID: '4294967295' is neither a user id nor "any"
  QX_BROKER_UID: '99999999999' is neither a user id nor "any"
  [1]
  $ log
  $ QX_BROKER_UID=1234 qxagent-manage enable
  [1]
  $ log; requests
  WARN  [services.cpp][log_warning()]: untrusted broker: process * listens on the broker's socket with the user id 0, which is not 1234 (glob)
