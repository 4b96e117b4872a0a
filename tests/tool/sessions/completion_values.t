  $ . "$SESSION"

The session is skipped in a build that is not installed, because such a build has no completions.

  $ share=$(dirname "$(command -v qxagent-manage)")/../share
  $ [ -e "$share/zsh" ] || exit 80
  $ export share HOME="$PWD"

These functions complete a line in each shell:

  $ cat >bash.sh <<'END'
  > . "$share/bash-completion/completions/${1%% *}"
  > compopt() { :; }
  > _command_offset() { COMPREPLY=("command at $1"); }
  > COMP_LINE=$1 COMP_POINT=${#1}
  > read -ra COMP_WORDS <<<"$(printf '%s' "$1" | sed 's/[=:]/ & /g')"
  > [[ $1 != *[\ =:] ]] || COMP_WORDS+=('')
  > COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  > "_$(echo "${1%% *}" | tr - _)"
  > printf '%s\n' "${COMPREPLY[@]}"
  > END
  $ cat >fish.fish <<'END'
  > for file in $share/fish/vendor_completions.d/*
  >     source $file
  > end
  > complete -C $argv[1] | string replace -r '\t.*' ''
  > END
  $ cat >.zshrc <<'END'
  > PS1='ready> '
  > fpath=($share/zsh/site-functions $fpath)
  > autoload -U compinit
  > compinit -u -D
  > unsetopt zle_bracketed_paste
  > unset zle_bracketed_paste
  > qxagent-manage qxagent-wait qxbrokerd-sim() { printf '<%s>' "$@"; echo . }
  > END
  $ cat >zsh.zsh <<'END'
  > zmodload zsh/zpty
  > zpty shell "TERM=dumb ZDOTDIR=$HOME zsh -d -i"
  > zpty -r shell text '*ready> '
  > zpty -w -n shell $1$'\t\n'
  > zpty -r shell text $'*\n<*>.'
  > print -r -- ${text##*$'\n'}
  > END
  $ in_bash() { bash bash.sh "$1" | paste -sd ' '; }
  $ in_fish() { fish --no-config fish.fish "$1" | paste -sd ' '; }
  $ in_zsh() { timeout 60 zsh -f zsh.zsh "$1"; }
  $ everywhere() { in_bash "$1"; in_fish "$1"; in_zsh "$1"; }

A busy machine may need more than the 0.3 s that completion waits for the broker, so `timeout` grants 30 s here:

  $ mkdir patient
  $ printf '#!/bin/sh\nshift\nexec %s 30 "$@"\n' "$(command -v timeout)" >patient/timeout
  $ chmod 755 patient/timeout
  $ PATH=$PWD/patient:$PATH

Shells complete values, most of which come from the broker. Bash replaces only the text after "=" or ":". Completion
omits ids that contain shell syntax:

  $ broker '{"state": {"devices": [{"device_id": "kitchen", "mac": "02:00:00:00:00:01"},
  >   {"device_id": "cellar", "mac": "02:00:00:00:00:02"}, {"device_id": "$(touch owned)", "mac": "02:00:00:00:00:03"}]}}'
  $ in_bash "qxagent-manage get_devices --ids "
  kitchen cellar
  $ everywhere "qxagent-manage get_devices --ids=kitchen,"
  kitchen,cellar
  --ids=kitchen,cellar
  <get_devices><--ids=kitchen,cellar>.
  $ everywhere "qxagent-manage set_device_info --device_id k"
  kitchen
  kitchen
  <set_device_info><--device_id><kitchen>.
  $ everywhere "qxagent-manage feature --get web_filter,par"
  web_filter,parental_control
  web_filter,parental_control
  <feature><--get><web_filter,parental_control>.
  $ everywhere "qxagent-manage feature --set=web_filter=e"
  enabled
  --set=web_filter=enabled
  <feature><--set=web_filter=enabled>.
  $ everywhere "qxagent-manage set_device_online_status --interface br-l"
  br-lan1
  br-lan1
  <set_device_online_status><--interface><br-lan1>.
  $ everywhere "qxagent-manage set_router_info --interfaces br-wan:w"
  wan
  br-wan:wan
  <set_router_info><--interfaces><br-wan:wan>.
  $ ls owned 2>/dev/null
  [2]

Shells also complete fixed values, options and operations. They omit an option that is already on the line. Options may
precede the operation:

  $ everywhere "qxagent-manage va_set_schedule --on_day mo"
  monday
  monday
  <va_set_schedule><--on_day><monday>.
  $ in_bash "qxagent-manage feature --list --"
  --set --get
  $ in_fish "qxagent-manage feature --list --"
  --get --set
  $ everywhere "qxagent-manage --list f"
  feature
  feature
  <--list><feature>.
  $ in_bash "qxagent-manage --name X set_"
  set_router_info set_device_info
  $ everywhere "qxagent-manage --name=X set_r"
  set_router_info
  set_router_info
  <--name=X><set_router_info>.
  $ everywhere "qxagent-manage --clo"
  --cloud
  --cloud
  <--cloud>.

Shells complete the other programs:

  $ everywhere "qxagent-wait -t 5 QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_Q"
  QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED
  QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED
  <-t><5><QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED>.
  $ everywhere "qxagent-wait -t 5 QX_PLIX_QXAGENT_STARTED qxagent-manage get_devices --ids k"
  command at 4
  kitchen
  <-t><5><QX_PLIX_QXAGENT_STARTED><qxagent-manage><get_devices><--ids><kitchen>.
  $ mkdir folder
  $ everywhere "qxbrokerd-sim --trace --install-dir fo"
  folder
  folder/
  <--trace><--install-dir><folder>.
  $ everywhere "qxbrokerd-sim --scenario scen"
  scenario.json
  scenario.json
  <--scenario><scenario.json>.
  $ in_bash "qxbrokerd-sim --trace --"
  --install-dir --scenario --help --version

Without a broker, or with a silent one, completion offers no values and prints no messages:

  $ stop $broker
  $ everywhere "qxagent-manage get_devices --ids k" 2>&1
  
  
  <get_devices><--ids><k>.
  $ PATH=${PATH#*:}
  $ broker '{"connections": [{"accept": "serve"}, {"accept": "silent", "times": 0}]}'
  $ everywhere "qxagent-manage set_device_online_status --interface b" 2>&1
  
  
  <set_device_online_status><--interface><b>.
