When the tool receives SIGTERM, it kills a hanging program of the cloud connector after 10 s, and not earlier.

  $ . "$SESSION"
  $ [ -z "$EMULATED" ] || skip "signals reach the emulator before the tool"
  $ [ -z "$SANITIZED" ] || skip "strace and the leak checker exclude each other"
  $ broker
  $ connector
  $ echo '{"/agent/protection_enabled": "1"}' >$settings
  $ mkfifo stop
  $ start strace -D -qq -e trace=rt_sigtimedwait -o waits qxagent-manage set_registration_cloud --cloud=staging
  $ tool=$!
  $ read -r _ <stop
  $ begin=$(date +%s)
  $ kill $tool; wait $tool 2>/dev/null
  [143]
  $ ran; cat $settings
  stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "1"}

The tool checks every 100 ms whether the program has ended, or less often on a busy machine.

  $ [ $(($(date +%s) - begin)) -ge 9 ] || echo "killed after $(($(date +%s) - begin)) s"
  $ waits=$(wc -l <waits); [ "$waits" -le 105 ] || echo "the program still ran after $waits waits of 100 ms"
