  $ . "$SESSION"
  $ completions=$BUILD/share

The session types into real shells. Instead of the tool, the shells run a function of the same name that prints its
arguments. The function splits arguments at each "=", because some shells complete an option with "=" and others with a
space.

  $ cat >.zshrc <<'.'
  > PS1='> '
  > qxagent-manage() { printf '<%s>' "${@//=/><}"; echo .; }
  > .
  $ { cat .zshrc; echo "bind 'set enable-bracketed-paste off'"; } >.bashrc
  $ echo ". '$completions/bash-completion/completions/qxagent-manage'" >>.bashrc
  $ echo "fpath=('$completions/zsh/site-functions' \$fpath); autoload -U compinit; compinit -u -D" >>.zshrc
  $ export TERM=dumb HOME="$PWD" ZDOTDIR="$PWD"

  $ cat >keys <<'.'
  > va_set_s\t
  > set_registration_cloud --cl\tdev\t
  > set_registration_cloud --cloud sta\t
  > va_set_schedule --at 03:30 --every_unit=w\t
  > va_set_schedule --at=03:30 --on_p\tfo\t
  > set_device_online_status --is_online f\t
  > set_quillet_location st\t
  > listen --events=QX_PLIX_VA_S\t
  > listen --events QX_PLIX_Q\t,QX_PLIX_DEVICE_D\t
  > feature --l\t
  > feature --cl\t
  > get_devices --ids va_s\t
  > .
  $ type_into() {
  >     : >screen
  >     script -qfec "$1" /dev/null <typed >screen &
  >     exec 6>typed
  >     count=0
  >     while read -r keys; do
  >         count=$((count + 1))
  >         printf 'qxagent-manage %b\n' "$keys" >&6
  >         await screen '^<.*>\.' $count
  >     done <keys
  >     echo exit >&6
  >     wait $!
  >     grep -o '^<.*>' screen
  > }
  $ mkfifo typed

Shells complete operations, options and fixed values, but neither options of other operations nor free values.

  $ type_into 'bash --noprofile --rcfile .bashrc'
  <va_set_schedule>
  <set_registration_cloud><--cloud><development>
  <set_registration_cloud><--cloud><staging>
  <va_set_schedule><--at><03:30><--every_unit><week>
  <va_set_schedule><--at><03:30><--on_prefix><fourth>
  <set_device_online_status><--is_online><false>
  <set_quillet_location><staging>
  <listen><--events><QX_PLIX_VA_STATUS_CHANGED>
  <listen><--events><QX_PLIX_QXAGENT_STARTED,QX_PLIX_DEVICE_DISCOVERY>
  <feature><--list>
  <feature><--cl>
  <get_devices><--ids><va_s>
  $ type_into 'zsh -d'
  <va_set_schedule>
  <set_registration_cloud><--cloud><development>
  <set_registration_cloud><--cloud><staging>
  <va_set_schedule><--at><03:30><--every_unit><week>
  <va_set_schedule><--at><03:30><--on_prefix><fourth>
  <set_device_online_status><--is_online><false>
  <set_quillet_location><staging>
  <listen><--events><QX_PLIX_VA_STATUS_CHANGED>
  <listen><--events><QX_PLIX_QXAGENT_STARTED,QX_PLIX_DEVICE_DISCOVERY>
  <feature><--list>
  <feature><--cl>
  <get_devices><--ids><va_s>

Fish offers the same words.

  $ offered() {
  >     fish --no-config -c "source '$completions/fish/vendor_completions.d/qxagent-manage.fish'
  >         complete -C 'qxagent-manage $1'" | cut -f 1
  > }
  $ offered va_set_
  va_set_exclusions
  va_set_schedule
  $ offered 'feature --'
  --get
  --list
  --set
  $ offered 'set_registration_cloud --cloud=s'
  --cloud=staging
  $ offered 'set_quillet_location '
  production
  staging
  $ offered 'listen --events QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_Q'
  QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED
  $ offered 'set_device_online_status --is_online f'
  false
  $ offered 'get_devices --ids '
