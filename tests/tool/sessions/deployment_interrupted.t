A switch of the cloud deployment runs programs that stop and start the cloud connector. This session interrupts the
switch while one of these programs runs.

  $ . "$SESSION"
  $ [ -z "$EMULATED" ] || skip "signals reach the emulator before the tool"
  $ broker
  $ connector
  $ switch_to() { start qxagent-manage set_registration_cloud --cloud="$1"; tool=$!; }
  $ protected() { echo '{"/agent/protection_enabled": "1"}' >$settings; }
  $ pause_at() { mkfifo "./$1"; switch_to staging; read -r _ <"./$1"; }
  $ go_on() { echo >"./$1"; wait $tool; }

The tool blocks signals until the switch is complete. If several signals are pending, the one with the lowest number
ends the tool.

  $ several="30 29 27 26 24 22 21 20 16 15 14 13 12 10 3 2 1 $(seq -s ' ' 35 64)"
  $ for signals in 2 15 3 14 6 5 "$several"; do
  >     for step in stop -stop start -start; do
  >         protected; pause_at $step
  >         for signal in $signals; do kill -$signal $tool; done
  >         go_on $step 2>/dev/null; echo "ended by $(kill -l $?)"
  >         ran; cat $settings
  >     done
  > done | sort | uniq -c
        4 ended by ABRT
        4 ended by ALRM
        4 ended by HUP
        4 ended by INT
        4 ended by QUIT
        4 ended by TERM
        4 ended by TRAP
       28 stop protection=0 -stop protection=0 start protection=0 -start protection=0
       28 {"/agent/protection_enabled": "1", "/cirrel/entrypoints/default": "stage"}

The connector starts again even if the settings can no longer be written. Here, a directory replaces their lock file.

  $ block() { rm $settings.lock; mkdir $settings.lock; }
  $ protected; pause_at -stop; block; go_on -stop
  [1]
  $ ran; log; cat $settings; rmdir $settings.lock; rm $settings.switching
  stop protection=0 -stop protection=0 start protection=0 -start protection=0
  ERROR [deployment.cpp][run_set_registration_cloud()]: Could not set default entrypoint to 'stage'
  ERROR [deployment.cpp][operator()()]: Could not enable back the agent
  {"/agent/protection_enabled": "0"}
  $ protected; pause_at -start; block; go_on -start
  $ ran; log; cat $settings; rmdir $settings.lock; rm $settings.switching
  stop protection=0 -stop protection=0 start protection=0 -start protection=0
  ERROR [deployment.cpp][operator()()]: Could not enable back the agent
  {"/agent/protection_enabled": "0", "/cirrel/entrypoints/default": "stage"}

If a signal arrives while the switch waits for a lock, the tool ends at once and changes nothing.

  $ hold() {
  >     mkfifo held
  >     flock -F "$settings.$1" sh -c 'echo >held; read -r _ <held' & holder=$!
  >     read -r _ <held
  > }
  $ release() { echo >held; wait $holder; rm held; }
  $ waits() { grep -q -- "-> FLOCK .* $tool " /proc/locks; }
  $ protected
  $ for lock in lock switch; do
  >     for signal in INT TERM; do
  >         hold $lock; switch_to staging; eventually waits
  >         kill -s $signal $tool; wait $tool; echo $?; release
  >     done
  > done 2>/dev/null
  130
  143
  130
  143
  $ ran; cat $settings
  {"/agent/protection_enabled": "1"}

The switch reads the settings after it has waited for a lock, so it sees changes made during the wait.

  $ written() {
  >     protected; hold "$1"; switch_to staging; eventually waits
  >     echo "$2" >$settings; release; wait $tool
  > }
  $ written lock '{"/agent/protection_enabled": "0"}'
  $ ran; cat $settings
  stop protection=0 -stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "0", "/cirrel/entrypoints/default": "stage"}
  $ written switch '{"/agent/protection_enabled": "0"}'
  $ ran; cat $settings
  stop protection=0 -stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "0", "/cirrel/entrypoints/default": "stage"}
  $ written switch '{"/cirrel/entrypoints/default": "stage"}'
  $ ran

A second switch waits until the first has ended.

  $ protected; pause_at stop; first=$tool
  $ switch_to development; eventually waits
  $ echo >stop; wait $first; wait $tool
  $ ran; cat $settings
  stop protection=0 -stop protection=0 start protection=0 -start protection=0 stop protection=0 -stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "1", "/cirrel/entrypoints/default": "dev"}
