A switch of the cloud deployment runs the service script and the daemon of the cloud connector with the rights of the
tool, usually root's. The switch refuses a program that another user could have replaced.

  $ . "$SESSION"
  $ broker
  $ init=$root/etc/init.d script=$root/etc/init.d/qplix-qxcloudd daemon=$root/bin/qxcloudd
  $ try() {
  > rm -rf $root/etc $root/bin $root/shared /opt/outside; chmod 755 $root
  >     connector
  >     "$@"
  >     qxagent-manage set_registration_cloud --cloud staging; status=$?
  >     log; ran; return $status
  > }

The switch refuses a program if others can write to the program or to a directory on its path.

  $ for place in $root $root/etc $init $script $root/bin $daemon; do try chmod o+w $place; done
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane' can be written by others
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc' can be written by others
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc/init.d' can be written by others
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc/init.d/qplix-qxcloudd' can be written by others
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/bin/qxcloudd': '/opt/norvane/bin' can be written by others
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/bin/qxcloudd': '/opt/norvane/bin/qxcloudd' can be written by others
  [1]

The switch checks the path even if the script is missing.

  $ without_script() { rm $script; chmod o+w $init; }
  $ try without_script
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc/init.d' can be written by others
  [1]

A directory that its group can write to causes a warning.

  $ try chmod g+w $root/etc
  WARN  [deployment.cpp][can_be_run()]: '/opt/norvane/etc' can be written by its group
  stop -stop start -start

The switch follows a link that leads to a directory inside the install directory.

  $ linked() { mkdir -p "$(dirname "$1")"; mv $init "$1"; ln -s "$2" $init; }
  $ try linked $root/shared/init.d ../shared/init.d
  stop -stop start -start

It follows a link that leads out of the install directory.

  $ try linked /opt/outside/init.d /opt/outside/init.d
  stop -stop start -start

It refuses a link if others can write to a directory on the path of the link's target.

  $ linked_badly() { linked "$1" "$2"; chmod o+w "$(dirname "$1")"; }
  $ try linked_badly $root/shared/init.d ../shared/init.d
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/shared' can be written by others
  [1]
  $ try linked_badly /opt/outside/init.d /opt/outside/init.d
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/outside' can be written by others
  [1]
  $ linked_upwards() { linked /opt/outside/init.d ../../outside/init.d; chmod o+w /opt; }
  $ try linked_upwards
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt' can be written by others
  [1]
  $ chmod o-w /opt

It refuses links that form a loop.

  $ try linked $root/shared/init.d init.d
  ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc/init.d/qplix-qxcloudd' has too many links
  [1]
