  $ . "$SESSION"
  $ [ -z "$EMULATED" ] || skip "strace would show the system calls of the emulator"
  $ systemd-analyze --version >version || skip "systemd-analyze is not installed"
  $ cmake --install "$BUILD" --prefix "$PWD/prefix" >installed
  $ unit=$PWD/prefix/share/doc/qxagent-manage/examples/qx-events.service

systemd accepts the installed unit and rates its exposure at 1.3 of 10 or less; 0 is the best.

  $ mount --bind prefix/sbin /usr/sbin
  $ systemd-analyze verify --man=no "$unit"
  $ systemd-analyze security --offline=true --threshold=13 "$unit" >rating || cat rating

With only the unit's capabilities and writable directories, a listener subscribes, survives a restart of the broker,
writes its log and ends.

  $ mkdir -p $root/var/log
  $ capabilities=$(sed -n 's/^CapabilityBoundingSet=CAP_//p' "$unit")
  $ writable=$(sed -n 's/^ReadWritePaths=-//p' "$unit")
  $ cat >confined <<.
  > mount --bind $writable $writable
  > mount -o remount,bind,ro /opt
  > NOTIFY_SOCKET=@nobody exec setpriv --bounding-set=-all,+$capabilities --inh-caps=-all --no-new-privs \
  >     /usr/sbin/qxagent-manage listen --events QX_PLIX_VA_STATUS_CHANGED
  > .
  $ broker
  $ : >events
  $ start strace -f -qq -o calls unshare -m sh confined >events
  $ await trace '"subscribe"'
  $ echo 'restart 0' >&9
  $ await trace '"subscribe"' 2
  $ echo 'emit va_status_changed {}' >&9
  $ await events STATUS_CHANGED
  $ listener=$(sed -n '$s/ .*//p' calls)
  $ kill $listener && wait $!
  $ log
  WARN  [services.cpp][log_connection()]: lost the broker; its events are missed until it is back
  WARN  \[services.cpp\]\[log_connection\(\)\]: the broker is back; the events of .* (re)

The unit's filter allows every system call of the listener.

  $ python3 - "$unit" <<'.'
  > import re, subprocess, sys
  > listed = subprocess.run(['systemd-analyze', 'syscall-filter'], check=True, capture_output=True, text=True).stdout
  > sets = {name: re.findall(r'^    ([@\w-]+)$', members, re.M)
  >         for name, members in re.findall(r'^(@[\w-]+)\n((?:    .*\n)*)', listed, re.M)}
  > def calls(name):
  >     return set().union(*map(calls, sets[name])) if name in sets else {name}
  > allowed = set()
  > for line in re.findall('^SystemCallFilter=(.*)', open(sys.argv[1]).read(), re.M):
  >     named = set().union(*map(calls, line.lstrip('~').split()))
  >     allowed = allowed - named if line[0] == '~' else allowed | named
  > made = open('calls').read().partition('execve("/usr/sbin/qxagent-manage"')[2]
  > made = set(re.findall(r'^\d+ +(\w+)\(', made, re.M))
  > print(len(made) > 20, *made - allowed)
  > .
  True
