The tool says so when its output is lost. A `listen` does in `listen_outputs.t`.

  $ . "$SESSION"
  $ broker
  $ qxagent-manage get_version_info >/dev/full
  standard output: write error
  [1]
  $ qxagent-manage get_version_info >&-
  standard output: write error
  [1]
  $ qxagent-manage get_version_info <&- >&- 2>&-
  [1]

Nothing else takes the number of a closed descriptor, and with it the output, even without /dev/null.

  $ without_devices() { unshare -m sh -c "mount -t tmpfs tmpfs /dev; exec qxagent-manage get_version_info $1"; }
  $ without_devices '>&-'
  standard output: write error
  [1]
  $ without_devices '<&- >&- 2>&-'
  [1]
  $ log

Large results arrive whole.

  $ stop $broker; printf '["%05000000d"]\n' 0 >large
  $ broker "{\"commands\": {\"get_version_info\": [{\"data\": $(cat large)}]}}"
  $ qxagent-manage get_version_info | cmp - large
