A switch of the cloud deployment runs no program that an untrusted user controls.

  $ . "$SESSION"
  $ touch stranger; chown 1234 stranger || skip "only root can create another user's files"
  $ broker
  $ init=$root/etc/init.d script=$root/etc/init.d/qplix-qxcloudd daemon=$root/bin/qxcloudd
  $ try() {
  >     rm -rf $root/etc $root/bin /opt/outside
  >     connector
  >     "$@"
  >     qxagent-manage set_registration_cloud --cloud staging; status=$?
  >     log; ran; return $status
  > }
  $ try chown 1234 $root/bin
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/bin/qxcloudd': '/opt/norvane/bin' belongs to user 1234
  [1]
  $ try chown 1234 $script
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc/init.d/qplix-qxcloudd' belongs to user 1234
  [1]
  $ linked() { mkdir /opt/outside; mv $init /opt/outside; ln -s /opt/outside/init.d $init; chown -h 1234 $init; }
  $ try linked
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc/init.d' belongs to user 1234
  [1]

The agent's user and the owner of the install directory are trusted.

  $ echo 'norvane-plix:x:1234:1234::/opt/norvane:/bin/false' >>/etc/passwd
  $ try chown 1234 $script
  stop -stop start -start
  $ sed -i '/norvane/d' /etc/passwd
  $ owned() { chown 1234 $root $script; }
  $ try owned
  stop -stop start -start
