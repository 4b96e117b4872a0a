While the broker is down, any user can listen on its socket. The tool sends nothing to an untrusted user's process.

  $ . "$SESSION"
  $ touch stranger; chown 1234 stranger || skip "only root can create another user's files"
  $ mkdir -p $root/var/run; printf 1.3 >$root/var/run/qxbrokerd.version
  $ chmod 666 $root/var/run/qxbrokerd.version
  $ impostor() {
  >     start setpriv --reuid 1234 --inh-caps +dac_override --ambient-caps +dac_override \
  >         qxbrokerd-sim --install-dir $root --trace >trace
  > }
  $ impostor
  $ await trace listening
  $ qxagent-manage register_to_cloud --params token=t,redeem=r
  [1]
  $ log
  WARN  [services.cpp][log_warning()]: untrusted broker: process * listens on the broker's socket with the user id 1234, which is neither root, nor this program's user, nor the agent's (glob)
  $ grep request trace
  [1]
