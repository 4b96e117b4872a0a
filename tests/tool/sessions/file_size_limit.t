SIGXFSZ does not kill the tool when a write exceeds the file size limit. If the write was to standard output, the tool
reports the failure and exits.

  $ . "$SESSION"
  $ [ -z "$SANITIZED" ] || skip "the limit also stops the files that the thread sanitizer writes"
  $ broker '{"events": [{"event": "device_discovery", "when": "subscribe", "times": 600, "every_ms": 0,
  >     "data": ["'"$(printf %0200d 0)"'"]}]}'
  $ limited() { limit=$1; shift; sh -c "ulimit -f $limit; exec qxagent-manage $*"; }

When the log reaches the limit, the tool still reports a failure on standard error.

  $ mkdir $root/etc; echo '[]' >$settings
  $ limited 0 is_enabled
  Cannot read the settings: /opt/norvane/etc/settings.json: is not an object
  [1]
  $ log; rm $settings

When the output reaches the limit, it ends with a whole line.

  $ limited 0 get_version_info >out
  standard output: write error
  [1]
  $ wc -c <out
  0
  $ shown() { tail -c 1 out | od -An -c; sort -u out | cut -c -70; rm out; }
  $ limited 40 listen --events=QX_PLIX_DEVICE_DISCOVERY >out
  standard output: File too large
  [1]
  $ shown
    \n
  {"event_name": "QX_PLIX_DEVICE_DISCOVERY", "data": ["00000000000000000
  $ limited 40 listen --events=QX_PLIX_DEVICE_DISCOVERY >>out
  standard output: File too large
  [1]
  $ shown
    \n
  {"event_name": "QX_PLIX_DEVICE_DISCOVERY", "data": ["00000000000000000
