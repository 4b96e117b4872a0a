Other users can neither read nor write the files that the tool leaves on the router. The umask and the modes of existing
files do not matter.

  $ . "$SESSION"
  $ broker
  $ umask 0; mkdir -p $root/etc $root/var/log
  $ files="$settings $settings.lock $settings.tmp $log $log.1"
  $ modes() { stat -c '%a %n' $files 2>/dev/null; rm -f $files; }
  $ chmod 777 $root/etc
  $ qxagent-manage set_quillet_location staging
  $ modes
  600 /opt/norvane/etc/settings.json
  600 /opt/norvane/etc/settings.json.lock
  640 /opt/norvane/var/log/qxagent-manage.log
  $ touch $files; chmod 666 $files; echo '{}' >$settings
  $ qxagent-manage set_quillet_location staging
  $ grep -o 'Others can write to.*' $log
  Others can write to the settings directory '/opt/norvane/etc'
  $ modes
  600 /opt/norvane/etc/settings.json
  600 /opt/norvane/etc/settings.json.lock
  640 /opt/norvane/var/log/qxagent-manage.log
  640 /opt/norvane/var/log/qxagent-manage.log.1

Reading the settings does not change their mode.

  $ echo '{}' >$settings
  $ qxagent-manage is_enabled
  {"services_status": true}
  $ stat -c %a $settings
  666

The tool changes the update location without a request to the broker. If the settings cannot be written, the old
location stays.

  $ requests >before
  $ qxagent-manage set_quillet_location staging
  $ cat $settings
  {"/quillet/update_location": "staging"}
  $ rm $settings.lock; mkdir $settings.lock
  $ qxagent-manage set_quillet_location production
  [255]
  $ cat $settings; requests
  {"/quillet/update_location": "staging"}
