No message and no line of the log, at any level, contains a secret from damaged settings or wrong parameters.

  $ . "$SESSION"
  $ broker
  $ export QXLOG_LEVEL=debug
  $ s=correct-horse-battery bytes=$(printf '\377')
  $ umask 0; mkdir $root/etc
  $ for settings_text in "{\"/cirrel/registration/token\": \"$s\"}" "{\"/cirrel/registration/token\": \"$s\" \"$s\"}"; do
  >     for words in "register --params=router_id=$s,token=$s" "register --params=token=$s=$s" \
  >             "register --params=token=$s$bytes" "register_to_cloud --params=token=$s,mac=$s,redeem=$s" \
  >             "register_to_cloud --params=token=$s$bytes" "set_registration_cloud --cloud=staging" \
  >             "set_quillet_location staging"; do
  >         echo "$settings_text" >$settings
  >         qxagent-manage $words
  >     done
  > done >messages 2>&1
  [1]
  $ sort messages | uniq -c
        7 Cannot read the settings: /opt/norvane/etc/settings.json: is not JSON (line 1, column 78)
        2 failed to register to cloud
  $ log | sed -E 's, [0-9]+ us,,; s/[0-9.]+ \(commit .*/VERSION/' >log; sort log | uniq -c
        1 DEBUG [services.cpp][log_request()]: start_cloud_registration: 214 bytes sent, 100 received,, result -1
        1 DEBUG [services.cpp][log_request()]: start_registration: 132 bytes sent, 17 received,, result 0
       14 DEBUG [services.cpp][start()]: qxagent-manage VERSION
        1 ERROR [deployment.cpp][can_be_run()]: Will not run '/opt/norvane/etc/init.d/qplix-qxcloudd': '/opt/norvane/etc' can be written by others
        1 ERROR [registration.cpp][run_register()]: qx::json::object_set() failed
        7 ERROR [settings.cpp][report_failure()]: Cannot read the settings: /opt/norvane/etc/settings.json: is not JSON (line 1, column 78)
        3 INFO  [operation.cpp][log_reason()]: register: Cannot read the settings: /opt/norvane/etc/settings.json: is not JSON (line 1, column 78)
        1 INFO  [operation.cpp][log_reason()]: register: parameter 1 is not KEY=VALUE
        1 INFO  [operation.cpp][log_reason()]: register: the value of '--params' is not UTF-8
        2 INFO  [operation.cpp][log_reason()]: register_to_cloud: Cannot read the settings: /opt/norvane/etc/settings.json: is not JSON (line 1, column 78)
        1 INFO  [operation.cpp][log_reason()]: register_to_cloud: refused
        1 INFO  [operation.cpp][log_reason()]: register_to_cloud: the registration values are not UTF-8
        1 INFO  [operation.cpp][log_reason()]: set_quillet_location: Cannot read the settings: /opt/norvane/etc/settings.json: is not JSON (line 1, column 78)
        1 INFO  [operation.cpp][log_reason()]: set_registration_cloud: Cannot read the settings: /opt/norvane/etc/settings.json: is not JSON (line 1, column 78)
        1 INFO  [operation.cpp][log_reason()]: set_registration_cloud: refused to run the cloud connector: '/opt/norvane/etc' can be written by others
        1 WARN  [settings.cpp][warn_of_others()]: Others can write to the settings directory '/opt/norvane/etc'
  $ grep -c $s log messages
  log:0
  messages:0
  [1]

If the broker's reason quotes the token, the tool leaves the reason out of the log. With QX_ERRORS=text, standard error
still has the reason.

  $ stop $broker
  $ broker "{\"commands\": {\"start_cloud_registration\": [{\"status\": 1, \"data\": {\"description\": \"$s is unknown\"}}]}}"
  $ echo '{}' >$settings
  $ QX_ERRORS=text qxagent-manage register_to_cloud --params=token=$s,mac=m
  failed to register to cloud
  qxagent-manage: register_to_cloud: refused by the broker: correct-horse-battery is unknown
  [1]
  $ log | grep INFO
  INFO  [operation.cpp][log_reason()]: register_to_cloud: refused
