If a connector program hangs, the tool kills it 10 s after a stop signal, and not earlier.

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

The tool looks at the program every 100 ms, on a busy machine less often.

  $ [ $(($(date +%s) - begin)) -ge 9 ] || echo "killed after $(($(date +%s) - begin)) s"
  $ waits=$(wc -l <waits); [ "$waits" -le 105 ] || echo "still ran after $waits looks"
