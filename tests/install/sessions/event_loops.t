  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "the library is not installed on routers"
  $ for part in library shared; do cmake --install "$BUILD" --component $part --prefix "$PWD/prefix" >installed; done

integrating.md lists the files of the library.

  $ document=$SOURCES/docs/integrating.md
  $ sed -n '/component library/,/^## /s/^| `\([^`]*\)` |.*/\1/p' "$document" | LC_ALL=C sort >listed
  $ (cd prefix && xargs ls -d) <listed | LC_ALL=C sort | diff listed -

Each program of integrating.md builds against the installed library with the command printed above the program.

  $ python3 - "$document" <<'.'
  > import re, sys
  > for name, command, source in re.findall(r'^### (\w+)\n\n    (cc [^\n]*)\n\n```c\n(.*?)^```$', open(sys.argv[1]).read(), re.M | re.S):
  >     open(name + '.c', 'w').write(source)
  >     open('commands', 'a').write(command + '\n')
  > .
  $ export PKG_CONFIG_PATH="$PWD/prefix/lib/pkgconfig" LD_LIBRARY_PATH="$PWD/prefix/lib"
  $ cc() { gcc -Wall -Wextra -Wno-unused-parameter -Wpedantic -Werror "$@"; }
  $ . ./commands
  $ wc -l <commands
  3

Each program prints every event of a burst that takes many calls of qx_plix_read_events, and an event after a restart of
the broker. After SIGTERM the program closes its connection.

  $ for program in poll libevent libuv; do
  >     broker
  >     start ./$program >$program.out
  >     await trace answer
  >     echo 'burst 20000 va_status_changed {"n": "%n"}' >&9
  >     await $program.out '"20000"'
  >     echo 'restart 0' >&9
  >     await trace answer 2
  >     echo 'emit va_status_changed {"restarted": true}' >&9
  >     await $program.out restarted
  >     stop $!
  >     echo "$program: $?, $(wc -l <$program.out) events"
  >     await trace ' closed' 3
  >     stop $broker
  > done
  poll: 0, 20001 events
  libevent: 0, 20001 events
  libuv: 0, 20001 events
