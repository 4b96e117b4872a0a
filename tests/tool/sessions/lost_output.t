The tool reports that it cannot write its output. `listen_outputs.t` shows the same for `listen`.

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

If a standard stream is closed, no file that the tool opens receives the output instead, even if /dev/null is missing.

  $ without_devices() { unshare -m sh -c "mount -t tmpfs tmpfs /dev; exec qxagent-manage get_version_info $1"; }
  $ without_devices '>&-'
  standard output: write error
  [1]
  $ without_devices '<&- >&- 2>&-'
  [1]
  $ log

The tool prints large results completely.

  $ stop $broker; printf '["%05000000d"]\n' 0 >large
  $ broker "{\"commands\": {\"get_version_info\": [{\"data\": $(cat large)}]}}"
  $ qxagent-manage get_version_info | cmp - large
