  $ . "$SESSION"

Under each scenario that simulator.md lists, the command beside the scenario ends with the listed status and prints the
listed text. Without a listed text, it prints nothing on standard error.

  $ python3 - "$SOURCES/docs/simulator.md" >table <<'.'
  > import re, sys
  > for row in re.findall(r'^\| \[(.*)', open(sys.argv[1]).read(), re.M):
  >     cells = [cell.strip(' `').replace('\\|', '|') for cell in re.split(r'(?<!\\)\|', row)]
  >     print(cells[0].split(']')[0], *cells[2:5], sep='\t')
  > .
  $ is_as_shown() {
  >     status=0
  >     sh -c "$1" >out 2>err </dev/null || status=$?
  >     [ $status = "$2" ] || return
  >     if [ -n "$3" ]; then cat out err | grep -qF -e "$3"; else ! [ -s err ]; fi
  > }
  $ while IFS="$(printf '\t')" read -r name command expected text; do
  >     broker "$(cat "$SOURCES/docs/scenarios/$name.json")"
  >     is_as_shown "$command" "$expected" "$text" || { echo "$name: $status"; cat out err; }
  >     kill $broker; wait $broker
  > done <table 2>kills

simulator.md lists every scenario.

  $ cut -f 1 table | sed 's/$/.json/' | sort >listed
  $ ls "$SOURCES/docs/scenarios" | sort | diff listed -
