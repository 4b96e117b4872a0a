  $ . "$SESSION"
  $ version=$root/var/run/qxbrokerd.version

The broker keeps its version file locked while it runs. On SIGINT, SIGTERM, SIGHUP or SIGQUIT, it removes the file and
the directory that it created, and exits. EOF on standard input does not end the broker.

  $ mkdir -p $root/var
  $ for signal in INT TERM HUP QUIT; do
  >     : >trace
  >     start qxbrokerd-sim --install-dir $root </dev/null >trace
  >     await trace listening
  >     echo "$(cat $version) $(qxagent-manage is_enabled)"
  >     kill -$signal $!
  >     wait $!
  >     echo $signal $? $(ls $root/var)
  > done
  1.3 {"services_status": true}
  INT 0 log
  1.3 {"services_status": true}
  TERM 0 log
  1.3 {"services_status": true}
  HUP 0 log
  1.3 {"services_status": true}
  QUIT 0 log

A new broker takes over the version file of a dead one.

  $ broker
  $ { kill -KILL $broker; wait $broker; } 2>/dev/null
  [137]
  $ echo "something longer" >$version
  $ broker
  $ cat $version; echo
  1.3

A second broker fails and does not disturb the first. In another network namespace the socket's address is free, but the
first broker still holds the version file. The second broker fails even if its scenario leaves the file unlocked.

  $ qxbrokerd-sim --install-dir $root
  qxbrokerd-sim: another broker has the socket '@:qxbrokerd-1.3.skt' already
  [1]
  $ unshare -n qxbrokerd-sim --install-dir $root
  qxbrokerd-sim: another broker holds '/opt/norvane/var/run/qxbrokerd.version' already
  [1]
  $ echo '{"lock": false}' >unlocked.json
  $ unshare -n qxbrokerd-sim --install-dir $root --scenario unlocked.json
  qxbrokerd-sim: another broker holds '/opt/norvane/var/run/qxbrokerd.version' already
  [1]
  $ qxagent-manage is_enabled
  {"services_status": true}
  $ stop $broker

The broker refuses a version file that is not a regular file with one link, and leaves the file unchanged.

  $ echo precious >/opt/victim
  $ mkdir -p $root/var/run
  $ refused() { qxbrokerd-sim --install-dir $root; echo "$? $(cat /opt/victim)"; rm -r $version; }
  $ ln -s /opt/victim $version; refused
  qxbrokerd-sim: '/opt/norvane/var/run/qxbrokerd.version' is not a regular file with one link
  1 precious
  $ ln /opt/victim $version; refused
  qxbrokerd-sim: '/opt/norvane/var/run/qxbrokerd.version' is not a regular file with one link
  1 precious
  $ mkfifo $version; refused
  qxbrokerd-sim: '/opt/norvane/var/run/qxbrokerd.version' is not a regular file with one link
  1 precious
  $ mkdir $version; refused
  qxbrokerd-sim: '/opt/norvane/var/run/qxbrokerd.version' is not a regular file with one link
  1 precious

A scenario can change the text of the version file and leave the file unlocked. Another broker can then take the file
over, and the file stays when the first broker ends.

  $ broker '{"version": "1.2\n", "lock": false}'
  $ cat $version
  1.2
  $ : >other
  $ unshare -n qxbrokerd-sim --install-dir $root >other &
  $ await other listening
  $ stop $broker
  $ cat $version; echo
  1.3

The broker reports a mistake in its command line in one line.

  $ qxbrokerd-sim --help | head -n 1
  usage: qxbrokerd-sim --install-dir DIR [--scenario FILE] [--trace] [--help]
  $ qxbrokerd-sim
  qxbrokerd-sim: --install-dir DIR is needed; --help tells more
  [1]
  $ qxbrokerd-sim --install-dir
  qxbrokerd-sim: '--install-dir' needs a value
  [1]
  $ qxbrokerd-sim -install-dir /opt/x --trase
  qxbrokerd-sim: unknown option '--trase'; --help lists them
  [1]
  $ qxbrokerd-sim -install /opt/x -trase=1
  qxbrokerd-sim: unknown option '-trase=1'; --help lists them
  [1]
  $ for option in --trace --version; do qxbrokerd-sim $option=1; done
  qxbrokerd-sim: '--trace=1': the option takes no value
  qxbrokerd-sim: '--version=1': the option takes no value
  [1]
  $ qxbrokerd-sim --install-dir /opt/x more
  qxbrokerd-sim: surplus word 'more'
  [1]
  $ qxbrokerd-sim --install-dir /etc/passwd
  qxbrokerd-sim: cannot make the directory '/etc/passwd/var': Not a directory
  [1]
