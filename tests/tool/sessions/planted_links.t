Other users who can write to the tool's directories can plant links there. The tool changes neither the content nor the
mode of the target of such a link.

  $ . "$SESSION"
  $ broker
  $ umask 0
  $ outside=/opt/outside
  $ try() {
  >     rm -rf $root/etc $root/var/log; mkdir -p $root/etc $root/var/log
  >     echo '{"outside": "1"}' >$outside; chmod 644 $outside
  >     [ "$2" != $log.1 ] || head -c 256K /dev/zero >$log  # the next log line rotates it
  >     ln $1 $outside "$2"; chmod 777 $root/etc
  >     qxagent-manage set_quillet_location staging 2>/dev/null
  >     echo "$? $(stat -c %a $outside) $(cat $outside) $(stat -c %F $settings 2>/dev/null)"
  > }
  $ for file in $settings $settings.lock $settings.tmp $log $log.1; do
  >     echo $file; try -s $file; try '' $file
  > done
  /opt/norvane/etc/settings.json
  1 644 {"outside": "1"} symbolic link
  0 644 {"outside": "1"} regular file
  /opt/norvane/etc/settings.json.lock
  255 644 {"outside": "1"} 
  0 644 {"outside": "1"} regular file
  /opt/norvane/etc/settings.json.tmp
  0 644 {"outside": "1"} regular file
  0 644 {"outside": "1"} regular file
  /opt/norvane/var/log/qxagent-manage.log
  1 644 {"outside": "1"} 
  0 644 {"outside": "1"} regular file
  /opt/norvane/var/log/qxagent-manage.log.1
  0 644 {"outside": "1"} regular file
  0 644 {"outside": "1"} regular file
