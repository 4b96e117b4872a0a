  $ . "$SESSION"
  $ pages=$BUILD/share/man

mandoc finds no mistake in the pages.

  $ mandoc -Tlint -Wwarning $pages/man*/* "$SOURCES/docs/man/qxbrokerd-sim.8"

The examples of qxagent-manage(8) work as printed. Those with `listen` run until they have subscribed.

  $ broker
  $ sed -n 's/^\.Dl //p' $pages/man8/qxagent-manage.8 >examples
  $ grep -vw listen examples | while read -r example; do
  >     sh -c "$example" >out 2>&1 </dev/null || { echo "$example"; cat out; }
  > done
  $ listeners=0
  $ while read -r example; do
  >     start sh -c "exec $example" >out
  >     listeners=$((listeners + 1))
  >     await trace '"name": "va_status_changed"' $listeners
  >     stop $! || echo "$example"
  > done <<.
  > $(grep -w listen examples)
  > .

The page has an example of each operation.

  $ qxagent-manage help 2>help.err | sed -nE 's/^  ([a-z_]+)( .*)?$/\1/p' >operations
  $ wc -l <operations
  33
  $ while read -r operation; do
  >     grep -qE "qxagent-manage $operation( |$)" examples || echo "$operation"
  > done <operations
