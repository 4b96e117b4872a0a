When the tool receives SIGTERM, it kills a hanging program of the cloud connector after 10 s, and not earlier.

  $ . "$SESSION"
  $ [ -z "$EMULATED" ] || skip "signals reach the emulator before the tool"
  $ [ -z "$SANITIZED" ] || skip "strace and the leak checker exclude each other"
  $ broker
  $ connector
  $ echo '{"/agent/protection_enabled": "1"}' >$settings
  $ mkfifo stop
  $ start strace -D -qq -e trace=rt_sigtimedwait,kill -o waits qxagent-manage set_registration_cloud --cloud=staging
  $ tool=$!
  $ read -r _ <stop
  $ begin=$(date +%s); kill $tool; before=$(wc -l <waits)
  $ wait $tool 2>/dev/null
  [143]
  $ [ $(($(date +%s) - begin)) -ge 9 ] || echo "killed after $(($(date +%s) - begin)) s"
  $ ran; cat $settings
  stop protection=0 start protection=0 -start protection=0
  {"/agent/protection_enabled": "1"}

The tool waits in steps of 100 ms. On a busy machine, a step takes longer, so there are fewer of them.

  $ steps=$(($(sed '/^kill/q' waits | wc -l) - before))
  $ [ "$steps" -le 105 ] || echo "the program still ran after $steps steps"
