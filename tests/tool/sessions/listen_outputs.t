`listen` ends if it cannot write to its standard output.

  $ . "$SESSION"
  $ broker '{"events": [{"event": "device_discovery", "when": "subscribe", "times": 600, "every_ms": 0,
  >     "data": ["'"$(printf %0200d 0)"'"]}]}'
  $ listen="qxagent-manage listen --events=QX_PLIX_DEVICE_DISCOVERY"

`listen` reports the reason.

  $ $listen >/dev/full
  standard output: No space left on device
  [1]
  $ $listen >&-
  standard output: Bad file descriptor
  [1]

On a full disk, the output consists of whole lines.

  $ mkdir /opt/small
  $ mount -t tmpfs -o size=64k tmpfs /opt/small
  $ shown() { tail -c 1 /opt/small/out | od -An -c; sort -u /opt/small/out | cut -c -70; rm /opt/small/out; }
  $ $listen >/opt/small/out
  standard output: No space left on device
  [1]
  $ shown
    \n
  {"event_name": "QX_PLIX_DEVICE_DISCOVERY", "data": ["00000000000000000
  $ $listen >>/opt/small/out
  standard output: No space left on device
  [1]
  $ shown
    \n
  {"event_name": "QX_PLIX_DEVICE_DISCOVERY", "data": ["00000000000000000

`listen` ends without a message when the reader of its output exits, whether or not events arrive.

  $ $listen | head -n 1
  {"event_name": "QX_PLIX_DEVICE_DISCOVERY", "data": ["00000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"]}
  $ stop $broker; broker
  $ mkfifo output
  $ cat output >/dev/null & reader=$!
  $ $listen >output & listen=$!
  $ await trace answer
  $ kill $reader
  $ wait $listen
  [1]
