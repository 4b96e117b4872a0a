A switch of the cloud deployment creates a mark, the file `settings.json.switching`, and removes it at the end. In this
session, SIGKILL interrupts the switch, as a power cut would. The next run finds the mark and repairs the switch.

  $ . "$SESSION"
  $ [ -z "$EMULATED" ] || skip "signals reach the emulator before the tool"
  $ broker
  $ connector
  $ mark=$settings.switching
  $ begin() {
  >     cat >$settings <<END
  > {"/agent/protection_enabled": "$1", "/cirrel/registration/token": "t", "/other": "o"}
  > END
  > }
  $ cut_at() {
  >     mkfifo "./$1"
  >     start qxagent-manage set_registration_cloud --cloud=staging; tool=$!
  >     read -r _ <"./$1"; kill -KILL $tool; wait $tool 2>/dev/null
  >     echo >"./$1"; eventually test ! -e "./$1"
  >     echo "cut at $1: $(ran)"; cat $mark $settings; log
  > }
  $ shown() { ran; cat $settings; log; [ ! -e $mark ] || echo still marked; }

The repair restores protection and starts the connector. If the settings already name the new entry point, the repair
completes the switch.

  $ for step in stop -stop start -start; do
  >     begin 1; cut_at $step
  >     qxagent-manage is_enabled; shown
  > done
  cut at stop: stop protection=0
  {"was_protected": true, "entrypoint": "stage"}
  {"/agent/protection_enabled": "0", "/cirrel/registration/token": "t", "/other": "o"}
  {"services_status": true}
  start protection=1 -start protection=1
  {"/agent/protection_enabled": "1", "/cirrel/registration/token": "t", "/other": "o"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector
  cut at -stop: stop protection=0 -stop protection=0
  {"was_protected": true, "entrypoint": "stage"}
  {"/agent/protection_enabled": "0", "/cirrel/registration/token": "t", "/other": "o"}
  {"services_status": true}
  start protection=1 -start protection=1
  {"/agent/protection_enabled": "1", "/cirrel/registration/token": "t", "/other": "o"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector
  cut at start: stop protection=0 -stop protection=0 start protection=0
  {"was_protected": true, "entrypoint": "stage"}
  {"/agent/protection_enabled": "0", "/other": "o", "/cirrel/entrypoints/default": "stage"}
  {"services_status": true}
  start protection=1 -start protection=1
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "stage"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector
  cut at -start: stop protection=0 -stop protection=0 start protection=0 -start protection=0
  {"was_protected": true, "entrypoint": "stage"}
  {"/agent/protection_enabled": "0", "/other": "o", "/cirrel/entrypoints/default": "stage"}
  {"services_status": true}
  start protection=1 -start protection=1
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "stage"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector
  $ qxagent-manage is_enabled; shown
  {"services_status": true}
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "stage"}

Protection that was off before the switch stays off.

  $ begin 0; cut_at stop
  cut at stop: stop protection=0
  {"was_protected": false, "entrypoint": "stage"}
  {"/agent/protection_enabled": "0", "/cirrel/registration/token": "t", "/other": "o"}
  $ qxagent-manage is_enabled; shown
  {"services_status": true}
  start protection=0 -start protection=0
  {"/agent/protection_enabled": "0", "/cirrel/registration/token": "t", "/other": "o"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector

A run during a switch repairs nothing.

  $ begin 1; mkfifo stop
  $ start qxagent-manage set_registration_cloud --cloud=staging
  $ read -r _ <stop
  $ qxagent-manage is_enabled; ran; cat $settings; log
  {"services_status": true}
  stop protection=0
  {"/agent/protection_enabled": "0", "/cirrel/registration/token": "t", "/other": "o"}
  $ echo >stop; wait $!; shown
  -stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "stage"}

The repair prints a warning.

  $ begin 1; cut_at -start >out
  $ QX_ERRORS=text qxagent-manage is_enabled
  qxagent-manage: is_enabled: warning: a deployment switch was interrupted; restoring protection and starting the connector
  {"services_status": true}
  $ shown >out

If a switch is killed while another one waits, the waiting switch first repairs the killed one.

  $ begin 1; mkfifo stop
  $ start qxagent-manage set_registration_cloud --cloud=staging; first=$!
  $ read -r _ <stop
  $ start qxagent-manage set_registration_cloud --cloud=development; second=$!
  $ eventually grep -q -- "-> FLOCK .* $second " /proc/locks; kill -STOP $second
  $ kill -KILL $first; wait $first 2>/dev/null; echo >stop; eventually test ! -e stop
  $ kill -CONT $second; wait $second; shown
  stop protection=0 start protection=1 -start protection=1 stop protection=0 -stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "dev"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector

If the mark is damaged, the repair turns protection on.

  $ begin 0; echo '{"was_prot' >$mark
  $ qxagent-manage is_enabled; shown
  {"services_status": true}
  start protection=1 -start protection=1
  {"/agent/protection_enabled": "1", "/cirrel/registration/token": "t", "/other": "o"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector

The mark stays until protection is on again.

  $ begin 1; cut_at -start >out
  $ rm $settings.lock; mkdir $settings.lock
  $ qxagent-manage is_enabled; shown
  {"services_status": true}
  start protection=0 -start protection=0
  {"/agent/protection_enabled": "0", "/other": "o", "/cirrel/entrypoints/default": "stage"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector
  WARN  [deployment.cpp][reserve_space()]: Could not reserve space to enable the agent again: /opt/norvane/etc/settings.json.lock: cannot be locked: Is a directory
  ERROR [deployment.cpp][operator()()]: Could not enable back the agent
  WARN  [deployment.cpp][operator()()]: Deleting '/agent/default_settings/next_query_ts' failed
  WARN  [deployment.cpp][operator()()]: Deleting '/cirrel/registration/router_id' failed
  WARN  [deployment.cpp][operator()()]: Deleting '/cirrel/registration/token' failed
  WARN  [deployment.cpp][operator()()]: Deleting '/cirrel/registration/timestamp' failed
  still marked
  $ rmdir $settings.lock
  $ qxagent-manage is_enabled; shown
  {"services_status": true}
  start protection=1 -start protection=1
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "stage"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector

If another user could have replaced the connector, the repair restores protection but does not run the connector.

  $ begin 1; cut_at -start >out; chmod o+w $root/bin
  $ qxagent-manage is_enabled; shown
  {"services_status": true}
  {"/agent/protection_enabled": "1", "/other": "o", "/cirrel/entrypoints/default": "stage"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/bin/qxcloudd': '/opt/norvane/bin' can be written by others
  $ chmod o-w $root/bin

The switch reserves space, so the repair succeeds on a full disk.

  $ mount -t tmpfs -o size=32k,mode=755 tmpfs $root/etc; connector
  $ begin 1; cut_at -stop >out
  $ cat /dev/zero >$root/etc/fill 2>&-
  [1]
  $ qxagent-manage is_enabled; shown
  {"services_status": true}
  start protection=1 -start protection=1
  {"/agent/protection_enabled": "1", "/cirrel/registration/token": "t", "/other": "o"}
  WARN  [deployment.cpp][repair_under_lock()]: a deployment switch was interrupted; restoring protection and starting the connector

If there is no space to reserve, the switch does not turn protection off.

  $ begin 1; cat /dev/zero >$root/etc/fill 2>&-
  [1]
  $ qxagent-manage set_registration_cloud --cloud=staging
  [1]
  $ shown
  {"/agent/protection_enabled": "1", "/cirrel/registration/token": "t", "/other": "o"}
  WARN  [deployment.cpp][reserve_space()]: Could not reserve space to enable the agent again: /opt/norvane/etc/settings.json.reserve: cannot be allocated: No space left on device
  ERROR [deployment.cpp][run_set_registration_cloud()]: Could not disable the agent
