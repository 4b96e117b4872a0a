  $ . "$SESSION"

Programs are position-independent and resolve all symbols at the start. They have no executable stack, no writable code
and no library search path of their own.

  $ for program in qxagent-manage qxbrokerd-sim; do
  >     readelf -hldW "$BUILD/bin/$program" |
  >         grep -oE 'Type: +DYN|NOW|PIE|GNU_RELRO|GNU_STACK|RWE|RPATH|RUNPATH|TEXTREL' | sort -u
  > done
  GNU_RELRO
  GNU_STACK
  NOW
  PIE
  Type:                              DYN
  GNU_RELRO
  GNU_STACK
  NOW
  PIE
  Type:                              DYN

The same holds for the shared library.

  $ [ -n "$FOR_ROUTERS" ] || readelf -ldW "$BUILD/libqx_plix.so.1" |
  >     grep -oE 'NOW|GNU_RELRO|RWE|RPATH|RUNPATH|TEXTREL' | sort -u >library
  $ [ -n "$FOR_ROUTERS" ] || printf 'GNU_RELRO\nNOW\n' | diff - library

On x86_64, functions begin with endbr64, which marks the permitted targets of indirect calls.

  $ [ -n "$FOR_ROUTERS" ] || [ "$(uname -m)" != x86_64 ] ||
  >     objdump -d "$BUILD/client/libqx_plix.a" | grep -A 1 '<qx_plix_init>:' | grep -qw endbr64

Relocations are read-only in a running program.

  $ cat >relocations.py <<'.'
  > import re, subprocess, sys
  > program, pid = sys.argv[1:]
  > headers = subprocess.run(['readelf', '-lW', program], stdout=subprocess.PIPE, text=True).stdout
  > relro = re.search(r'GNU_RELRO +\S+ (\S+) \S+ \S+ (\S+)', headers)
  > offset, size = (int(number, 16) for number in relro.groups())
  > maps = [line.split() for line in open(f'/proc/{pid}/maps') if line.endswith(f' {program}\n')]
  > maps = [[int(end, 16) for end in line[0].split('-')] + [line[1]] for line in maps]
  > start = maps[0][0] + offset
  > print([rights for begin, end, rights in maps if begin <= start < end and (start + size) // 4096 * 4096 <= end])
  > .
  $ broker '{"events": [{"event": "device_discovery", "when": "subscribe"}]}'
  $ : >out
  $ qxagent-manage listen >out &
  $ await out QX_PLIX_DEVICE_DISCOVERY
  $ python3 relocations.py "$(realpath "$BUILD/bin/qxagent-manage")" $!
  ['r--p']
  $ python3 relocations.py "$(realpath "$BUILD/bin/qxbrokerd-sim")" $broker
  ['r--p']
