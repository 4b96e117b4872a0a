  $ . "$SESSION"
  $ frozen=$(dirname "$SESSION")/../frozen

The session runs the command lines that tests/frozen/exit_statuses.txt lists, except `help` and the one without
arguments. Each line below shows a number of runs, their exit status and their text on standard error, where OPERATION
stands for the operation's name.

  $ calls() { sed '/^#/d' "$frozen/exit_statuses.txt" | cut -f4 | grep -v '^help\|^$'; }
  $ call() { qxagent-manage "$@" >/dev/null 2>err </dev/null; echo "$? $(sed "s/: $1: /: OPERATION: /" err | tr '\n' ' ')"; }
  $ each() { while read -r words; do call $words; done | sort | uniq -c; }
  $ asking() { calls | grep -v '^set_quillet\|^set_registration_cloud\|^listen\|NONSENSE\|nonsense\|params a$\|^feature$'; }

Without an agent, every operation reports that none is installed.

  $ calls | QX_ERRORS=text each
        1 1 (unknown operation) there is no operation 'nonsense' 
        1 1 (unknown option) listen has no option '--nonsense' 
       37 1 qxagent-manage: OPERATION: no agent is installed: there is no directory /opt/norvane 
  $ QX_ERRORS=json qxagent-manage enable
  {"operation": "enable", "status": 1, "stage": "not_running", "code": null, "description": null, "message": "no agent is installed: there is no directory /opt/norvane"}
  [1]
  $ rm -rf $root

The tool reports a refusal with the broker's reason and code. If the operation prints an error text of its own, that
text comes first. If the text already gives the broker's reason, the tool omits the report.

  $ broker '{"commands": {"*": [{"status": 1, "data": {"code": 7, "description": "not today"}, "times": 0}]}}'
  $ asking | QX_ERRORS=text each
        1 0 qxagent-manage: OPERATION: warning: the router information lacks name, model, serial_number, firmware_version, feature_set_level, interfaces, use_va_cloud_trigger: refused by the broker: not today (code 7) 
        1 1 Failed getting the features list qxagent-manage: OPERATION: refused by the broker: not today (code 7) 
        1 1 Failed getting the features qxagent-manage: OPERATION: refused by the broker: not today (code 7) 
        1 1 Failed setting the features qxagent-manage: OPERATION: refused by the broker: not today (code 7) 
        1 1 error:   code:        1   message:     invalid params   description: {"code": 7, "description": "not today"} 
        1 1 error:   code:        3   message:     internal error   description: failed to get the value qxagent-manage: OPERATION: refused by the broker: not today (code 7) 
        1 1 error:   code:        7   message:        description: not today 
        1 1 error_code=-1 error_message=internal error qxagent-manage: OPERATION: refused by the broker: not today (code 7) 
        1 1 failed to register to cloud qxagent-manage: OPERATION: refused by the broker: not today (code 7) 
       22 255 qxagent-manage: OPERATION: refused by the broker: not today (code 7) 
  $ QX_ERRORS=json qxagent-manage enable
  {"operation": "enable", "status": 255, "stage": "refused", "code": 7, "description": "not today", "message": "refused by the broker: not today (code 7)"}
  [255]
  $ QX_ERRORS=json qxagent-manage register --params a=b 2>&1 | tail -n 1
  {"operation": "register", "status": 1, "stage": "refused", "code": 7, "description": "not today", "message": "refused by the broker: not today (code 7)"}

The log has the reason at level info, but not at the default level warn.

  $ log
  WARN  [services.cpp][log_warning()]: the router information lacks name, model, serial_number, firmware_version, feature_set_level, interfaces, use_va_cloud_trigger: refused by the broker: not today (code 7)
  $ QXLOG_LEVEL=info qxagent-manage enable
  [255]
  $ log
  INFO  [operation.cpp][log_reason()]: enable: refused by the broker: not today (code 7)

The tool adds no reason if QX_ERRORS is "none", or if it is unset and standard error is not a terminal.

  $ asking | each
        1 0 
        1 1 Failed getting the features 
        1 1 Failed getting the features list 
        1 1 Failed setting the features 
        1 1 error:   code:        1   message:     invalid params   description: {"code": 7, "description": "not today"} 
        1 1 error:   code:        3   message:     internal error   description: failed to get the value 
        1 1 error:   code:        7   message:        description: not today 
        1 1 error_code=-1 error_message=internal error 
        1 1 failed to register to cloud 
       22 255 
  $ QX_ERRORS=none qxagent-manage enable
  [255]
  $ stop $broker

The tool reports a broker that closes the connection.

  $ broker '{"commands": {"*": [{"send": 0, "then": "close", "times": 0}]}}'
  $ asking | QX_ERRORS=text each
        1 0 qxagent-manage: OPERATION: warning: the router information lacks name, model, serial_number, firmware_version, feature_set_level, interfaces, use_va_cloud_trigger: the broker closed the connection 
        1 1 Failed getting the features list qxagent-manage: OPERATION: the broker closed the connection 
        1 1 Failed getting the features qxagent-manage: OPERATION: the broker closed the connection 
        1 1 Failed setting the features qxagent-manage: OPERATION: the broker closed the connection 
        1 1 error:   code:        3   message:     internal error   description: failed to get the value qxagent-manage: OPERATION: the broker closed the connection 
        1 1 error:   code:        3   message:     internal error   description: failed to set the value qxagent-manage: OPERATION: the broker closed the connection 
        1 1 error:   code:        3   message:     internal error   description: no response from daemon qxagent-manage: OPERATION: the broker closed the connection 
        1 1 error_code=-1 error_message=internal error qxagent-manage: OPERATION: the broker closed the connection 
        1 1 failed to register to cloud qxagent-manage: OPERATION: the broker closed the connection 
       22 255 qxagent-manage: OPERATION: the broker closed the connection 
  $ stop $broker

The tool reports a reply that is not JSON.

  $ broker '{"commands": {"*": [{"body": "no JSON", "times": 0}]}}'
  $ asking | QX_ERRORS=text each
        1 0 qxagent-manage: OPERATION: warning: the router information lacks name, model, serial_number, firmware_version, feature_set_level, interfaces, use_va_cloud_trigger: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 Failed getting the features list qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 Failed getting the features qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 Failed setting the features qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 error:   code:        3   message:     internal error   description: failed to get the value qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 error:   code:        3   message:     internal error   description: failed to set the value qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 error:   code:        3   message:     internal error   description: no response from daemon qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 error_code=-1 error_message=internal error qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
        1 1 failed to register to cloud qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
       22 255 qxagent-manage: OPERATION: the broker's reply cannot be understood: '[' or '{' expected near 'no' 
  $ stop $broker

The tool reports a reply whose length is out of range.

  $ broker '{"commands": {"*": [{"length": -1, "times": 0}]}}'
  $ QX_ERRORS=json qxagent-manage va_status
  {"operation": "va_status", "status": 255, "stage": "bad_reply", "code": null, "description": null, "message": "the broker's reply cannot be understood: its length is out of range"}
  [255]
  $ stop $broker

The tool reports a broker that stays silent until the deadline.

  $ broker '{"commands": {"*": [{"send": 0, "times": 0}]}}'
  $ export QX_TIMEOUT=1
  $ printf '%s\n' enable is_enabled get_version_info 'register --params a=b' 'feature --list' | QX_ERRORS=text each
        1 1 Failed getting the features list qxagent-manage: OPERATION: cannot receive the broker's reply: the time is up 
        1 1 error:   code:        3   message:     internal error   description: no response from daemon qxagent-manage: OPERATION: cannot receive the broker's reply: the time is up 
        3 255 qxagent-manage: OPERATION: cannot receive the broker's reply: the time is up 
  $ QX_ERRORS=json qxagent-manage va_start
  {"operation": "va_start", "status": 255, "stage": "timed_out", "code": null, "description": null, "message": "cannot receive the broker's reply: the time is up"}
  [255]
  $ stop $broker

The deadline covers the whole exchange. A broker that sends its reply byte by byte does not extend the deadline.

  $ broker '{"commands": {"*": [{"chunk": 1, "pause_ms": 200, "times": 0}]}}'
  $ QX_ERRORS=text qxagent-manage va_start
  qxagent-manage: va_start: cannot receive the broker's reply: the time is up
  [255]
  $ unset QX_TIMEOUT
  $ stop $broker

The tool sends nothing to the broker when it rejects a call itself.

  $ broker
  $ shown=$(wc -l <trace)
  $ export QX_ERRORS=text
  $ qxagent-manage register --params a=1,b
  qxagent-manage: register: parameter 2 is not KEY=VALUE
  [1]
  $ qxagent-manage register --params =1
  qxagent-manage: register: parameter 1 has no key
  [1]
  $ qxagent-manage register --params b=
  Empty value not allowed for 'b'
  [1]
  $ qxagent-manage register_to_cloud --params token
  qxagent-manage: register_to_cloud: parameter 1 is not KEY=VALUE
  [1]
  $ qxagent-manage register --params a=$(printf '\377')
  qxagent-manage: register: the value of '--params' is not UTF-8
  [1]
  $ qxagent-manage set_router_info --name $(printf '\377')
  qxagent-manage: set_router_info: the value of 'name' is not UTF-8
  [1]
  $ qxagent-manage set_router_info --interfaces wan
  qxagent-manage: set_router_info: 'wan' is not NAME:TYPE
  [1]
  $ qxagent-manage va_set_exclusions --addresses $(printf '\377')
  qxagent-manage: va_set_exclusions: the value of '--addresses' is not UTF-8
  [1]
  $ qxagent-manage feature
  qxagent-manage: feature: one of --set, --get and --list is needed
  [1]
  $ qxagent-manage feature --get $(printf '\377')
  qxagent-manage: feature: the value of '--get' is not UTF-8
  [1]
  $ qxagent-manage feature --set web_filter
  qxagent-manage: feature: 'web_filter' is not FEATURE=STATUS
  [1]
  $ qxagent-manage set_device_online_status --mac m --interface lan --is_online true
  qxagent-manage: set_device_online_status: the report of an online device needs "ip", a string or an array
  [255]
  $ QX_ERRORS=json qxagent-manage nonsense 2>&1 >/dev/null | tail -n 1
  {"operation": "", "status": 1, "stage": "argument", "code": null, "description": null, "message": "there is no operation 'nonsense'"}
  $ requests

An invalid environment variable ends the run before the tool sends anything.

  $ for value in '' x 1x -1 . 1000001; do QX_TIMEOUT=$value qxagent-manage enable; done
  QX_TIMEOUT: '' is not a number of seconds up to 1000000
  QX_TIMEOUT: 'x' is not a number of seconds up to 1000000
  QX_TIMEOUT: '1x' is not a number of seconds up to 1000000
  QX_TIMEOUT: '-1' is not a number of seconds up to 1000000
  QX_TIMEOUT: '.' is not a number of seconds up to 1000000
  QX_TIMEOUT: '1000001' is not a number of seconds up to 1000000
  [1]
  $ for value in '' x TEXT; do QX_ERRORS=$value qxagent-manage enable; done
  QX_ERRORS: '' is neither text nor json nor none
  QX_ERRORS: 'x' is neither text nor json nor none
  QX_ERRORS: 'TEXT' is neither text nor json nor none
  [1]
  $ requests

If something goes wrong in a run that exits with 0, the tool prints a warning.

  $ stop $broker
  $ broker '{"commands": {"get_router_name": [{"status": 1}], "get_version_info": [{"data": "no document"}]}}'
  $ qxagent-manage get_router_info | jq -c keys
  qxagent-manage: get_router_info: warning: the router information lacks name: refused by the broker
  ["feature_set_level","firmware_version","interfaces","model","serial_number","use_va_cloud_trigger"]
  $ qxagent-manage get_version_info
  qxagent-manage: get_version_info: warning: the broker's answer is neither an object nor an array and is not printed
  $ qxagent-manage get_devices --ids $(printf 'device-1,\377') | jq length
  qxagent-manage: get_devices: warning: elements of '--ids' that are not UTF-8 are left out
  1
  $ QX_ERRORS=json qxagent-manage set_registration_cloud --cloud staging
  {"operation": "set_registration_cloud", "status": 0, "stage": "warning", "code": null, "description": null, "message": "'/opt/norvane/etc/init.d/qplix-qxcloudd stop' could not be run: No such file or directory"}
  {"operation": "set_registration_cloud", "status": 0, "stage": "warning", "code": null, "description": null, "message": "'/opt/norvane/bin/qxcloudd -stop' could not be run: No such file or directory"}
  {"operation": "set_registration_cloud", "status": 0, "stage": "warning", "code": null, "description": null, "message": "'/opt/norvane/etc/init.d/qplix-qxcloudd start' could not be run: No such file or directory"}
  {"operation": "set_registration_cloud", "status": 0, "stage": "warning", "code": null, "description": null, "message": "'/opt/norvane/bin/qxcloudd -start' could not be run: No such file or directory"}

The tool names a log or a settings file that it cannot use.

  $ mkdir -p $root/etc $root/var/log
  $ echo '[]' >$settings
  $ qxagent-manage enable
  Cannot read the settings: /opt/norvane/etc/settings.json: is not an object
  [1]

A file of sysfs is shorter than its reported size. The tool reads such a settings file without an error, but refuses
the content, which is not JSON.

  $ mount --bind /sys/kernel/fscaps $settings
  $ qxagent-manage enable
  Cannot read the settings: /opt/norvane/etc/settings.json: is not JSON (line 1, column 1)
  [1]
  $ umount $settings

  $ rm -rf $settings $log
  $ mkdir $log
  $ qxagent-manage enable
  Cannot start qxlog
  qxagent-manage: enable: cannot open the log: /opt/norvane/var/log/qxagent-manage.log: Is a directory
  [1]
  $ rmdir $log
  $ rm -f $settings.lock && mkdir $settings.lock
  $ qxagent-manage set_quillet_location staging
  qxagent-manage: set_quillet_location: cannot write the settings: /opt/norvane/etc/settings.json.lock: cannot be locked: Is a directory
  [255]

If a program of the cloud connector fails, the tool names the program and continues to switch the deployment. If other
users can write to such a program, the tool refuses the switch.

  $ rmdir $settings.lock
  $ mkdir -p $root/etc/init.d $root/bin
  $ printf '#!/bin/sh\nexit 7\n' >$root/etc/init.d/qplix-qxcloudd
  $ printf '#!/bin/sh\n' >$root/bin/qxcloudd
  $ chmod +x $root/etc/init.d/qplix-qxcloudd $root/bin/qxcloudd
  $ qxagent-manage set_registration_cloud --cloud staging
  qxagent-manage: set_registration_cloud: warning: '/opt/norvane/etc/init.d/qplix-qxcloudd stop' ended with status 7
  qxagent-manage: set_registration_cloud: warning: '/opt/norvane/etc/init.d/qplix-qxcloudd start' ended with status 7
  $ chmod o+w $root/bin/qxcloudd
  $ qxagent-manage set_registration_cloud --cloud development
  qxagent-manage: set_registration_cloud: refused to run the cloud connector: '/opt/norvane/bin/qxcloudd' can be written by others
  [1]
