A switch of the cloud deployment turns protection off, restarts the connector and turns protection on again. It deletes
the registration keys and keeps all other keys.

  $ . "$SESSION"
  $ broker
  $ connector
  $ switch_to() { qxagent-manage set_registration_cloud --cloud "$1"; }
  $ cat >$settings <<'END'
  > {"/agent/protection_enabled": "1", "/agent/default_settings/next_query_ts": "5",
  >  "/cirrel/registration/router_id": "r", "/cirrel/registration/token": "t", "/other": "o",
  >  "/cirrel/registration/timestamp": "9", "/cirrel/entrypoints/default": "prod"}
  > END
  $ switch_to staging
  $ ran; cat $settings; log
  stop protection=0 -stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "stage"}

A switch to the current deployment does nothing.

  $ switch_to staging
  $ ran

Protection that was off before the switch stays off.

  $ echo '{}' >$settings
  $ switch_to development
  $ ran; cat $settings
  stop -stop start -start
  {"/cirrel/entrypoints/default": "dev"}

If the caller ignores SIGCHLD, the tool still reads each program's exit status. Without the status, it would run the
program again.

  $ env --ignore-signal=CHLD qxagent-manage set_registration_cloud --cloud=staging
  $ ran
  stop -stop start -start

Each program runs in its own session, so Ctrl-C at the terminal cannot interrupt it.

  $ printf '#!/bin/sh\ncut -d" " -f6 /proc/$$/stat >>%s/sessions\n' "$PWD" >$root/bin/qxcloudd
  $ switch_to production
  $ ran; grep -vcx "$(cut -d' ' -f6 /proc/$$/stat)" sessions
  stop start
  2

The switch continues if a program fails or cannot be run.

  $ echo '{"/agent/protection_enabled": "1"}' >$settings
  $ printf '#!/bin/sh\nexit 3\n' >$root/bin/qxcloudd; rm $root/etc/init.d/qplix-qxcloudd
  $ switch_to staging
  $ log; cat $settings
  WARN  [deployment.cpp][report()]: '/opt/norvane/etc/init.d/qplix-qxcloudd stop' could not be run: No such file or directory
  WARN  [deployment.cpp][report()]: '/opt/norvane/bin/qxcloudd -stop' ended with status 3
  WARN  [deployment.cpp][report()]: '/opt/norvane/etc/init.d/qplix-qxcloudd start' could not be run: No such file or directory
  WARN  [deployment.cpp][report()]: '/opt/norvane/bin/qxcloudd -start' ended with status 3
  {"/agent/protection_enabled": "1", "/cirrel/entrypoints/default": "stage"}
  $ chmod 600 $root/bin/qxcloudd
  $ switch_to production
  $ log; cat $settings
  WARN  [deployment.cpp][report()]: '/opt/norvane/etc/init.d/qplix-qxcloudd stop' could not be run: No such file or directory
  WARN  [deployment.cpp][report()]: '/opt/norvane/bin/qxcloudd -stop' could not be run: Permission denied
  WARN  [deployment.cpp][report()]: '/opt/norvane/etc/init.d/qplix-qxcloudd start' could not be run: No such file or directory
  WARN  [deployment.cpp][report()]: '/opt/norvane/bin/qxcloudd -start' could not be run: Permission denied
  {"/agent/protection_enabled": "1", "/cirrel/entrypoints/default": "prod"}

The switch does not begin if the settings cannot be written.

  $ connector; rm $settings.lock; mkdir $settings.lock
  $ switch_to staging
  [1]
  $ ran; log; cat $settings
  WARN  [deployment.cpp][reserve_space()]: Could not reserve space to enable the agent again: /opt/norvane/etc/settings.json.lock: cannot be locked: Is a directory
  ERROR [deployment.cpp][run_set_registration_cloud()]: Could not disable the agent
  {"/agent/protection_enabled": "1", "/cirrel/entrypoints/default": "prod"}

The switch turns protection on again even if a program has filled the disk.

  $ mount -t tmpfs -o size=32k,mode=755 tmpfs $root/etc; mkdir $root/etc/init.d
  $ printf '#!/bin/sh\ncat /dev/zero >%s/$1 2>/dev/null\n' $root/etc >$root/etc/init.d/qplix-qxcloudd
  $ chmod 700 $root/etc/init.d/qplix-qxcloudd
  $ echo '{"/agent/protection_enabled": "1"}' >$settings
  $ switch_to staging
  [1]
  $ ran; log; cat $settings
  -stop protection=0 -start protection=0
  WARN  [deployment.cpp][report()]: '/opt/norvane/etc/init.d/qplix-qxcloudd stop' ended with status 1
  ERROR [deployment.cpp][run_set_registration_cloud()]: Could not set default entrypoint to 'stage'
  WARN  [deployment.cpp][report()]: '/opt/norvane/etc/init.d/qplix-qxcloudd start' ended with status 1
  {"/agent/protection_enabled": "1"}
