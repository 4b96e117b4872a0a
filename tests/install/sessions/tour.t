  $ . "$SESSION"

In the shell of `./dev shell`, the commands of the README's tour print the text below them. For a command that fails,
this text is its standard error. cram runs the tour as a separate session in that shell and prints any difference.

  $ sed -E '/^## A tour/,/^## Installing/!d
  >     s/^    \$ (.*)/  $ { \1; } >out 2>err; [ -s err ] || cat out; cat err/
  >     s/^    ([^ $])/  \1/' "$SOURCES/README.md" >tour.t
  $ grep -c '^  \$' tour.t
  22
  $ echo "cram3 --shell=/bin/sh '$PWD/tour.t'" | sh "$SOURCES/tools/shell.sh" "$BUILD" "${PATH%%:*}"
  .
  # Ran 1 tests, 0 skipped, 0 failed.

The recipes of scripting.md print the text of the block after them and end with status 0.

  $ broker '{"state": {"scan_ms": 200}, "events": [{"event": "device_discovery", "when": "subscribe",
  >     "data": {"mac": "02:11:22:33:44:09"}}]}'
  $ python3 - "$SOURCES/docs/scripting.md" <<'.'
  > import re, subprocess, sys
  > blocks = re.findall(r'^```(\w+)\n(.*?)^```$', open(sys.argv[1]).read(), re.M | re.S)
  > for (language, script), (_, output) in zip(blocks, blocks[1:]):
  >     if language == 'sh' and not script.startswith('#!'):
  >         printed = subprocess.run(['sh', '-c', script], check=True, stdout=subprocess.PIPE, text=True).stdout
  >         print('as shown' if printed == output else script + printed)
  > .
  as shown
  as shown
  as shown
  as shown
  as shown
  as shown
  as shown
  as shown
  as shown
  as shown
  as shown
