The tool formats its output differently for a terminal than for a file or pipe.

  $ . "$SESSION"
  $ on_terminal() { TERM=xterm script -qec "$1" /dev/null </dev/null | tr -d '\r'; }
  $ unset NO_COLOR

Headings of the usage are bold on a terminal, unless the terminal is dumb or NO_COLOR is set.

  $ on_terminal 'qxagent-manage help' | grep ' listen'
    \x1b[1mlisten\x1b[0m                  start the tool in listen mode, waiting for events and (esc)
  $ TERM=xterm qxagent-manage help >plain
  (ok) no error
  $ grep "$(printf '\033')" plain
  [1]
  $ for variables in TERM= TERM=dumb '-u TERM' NO_COLOR=1; do
  >     on_terminal "env $variables qxagent-manage help 2>/dev/null" | cmp - plain
  > done

On a terminal, results are indented, and yes-or-no answers read `name: value`.

  $ broker '{"commands": {"get_version_info": [{"data": {"a": [1]}}], "va_status": [{"data": {"status": 1}}]}}'
  $ on_terminal 'qxagent-manage get_version_info'
  {
      "a": [
          1
      ]
  }
  $ on_terminal 'qxagent-manage va_status'
  VA_scan_running: true
  $ stop $broker

Control characters in texts from the broker or the command line could set a terminal's title, forge a line, erase the
display or change the writing direction. The tool escapes them on a terminal but not in a file.

  $ text='t\u001b]0;x\u0007\nerror:\u007f\u009b2J\u00e4\u202e'
  $ raw=$(jq -rn "\"$text\"")
  $ broker "{\"commands\": {
  >     \"start_registration\": [{\"times\": 2, \"status\": 1, \"data\": {\"code\": 1, \"description\": \"$text\"}}],
  >     \"va_set_schedule\": [{\"times\": 2, \"status\": 1, \"data\": {\"error\": \"$text\"}}],
  >     \"get_version_info\": [{\"times\": 0, \"data\": {\"$text\": \"$text\"}}]}}"
  $ both() { on_terminal "$1"; sh -c "$1" 2>&1; }
  $ both 'qxagent-manage register --params a=b'
  error:
    code:        1
    message:     invalid params
    description: t\\x1b]0;x\\x07\\x0aerror:\\x7f\\xc2\\x9b2J\xc3\xa4\\xe2\\x80\\xae (esc)
  error:
    code:        1
    message:     invalid params
    description: t\x1b]0;x\x07 (esc)
  error:\x7f\xc2\x9b2J\xc3\xa4\xe2\x80\xae (esc)
  [1]
  $ both 'qxagent-manage va_set_schedule --at 1 --every_num 1 --every_unit day'
  error_code=-1 error_message=t\\x1b]0;x\\x07\\x0aerror:\\x7f\\xc2\\x9b2J\xc3\xa4\\xe2\\x80\\xae (esc)
  error_code=-1 error_message=t\x1b]0;x\x07 (esc)
  error:\x7f\xc2\x9b2J\xc3\xa4\xe2\x80\xae (esc)
  [1]
  $ both "qxagent-manage listen --events '$raw'"
  Unknown event: t\\x1b]0;x\\x07\\x0aerror:\\x7f\\xc2\\x9b2J\xc3\xa4\\xe2\\x80\\xae (esc)
  Unknown event: t\x1b]0;x\x07 (esc)
  error:\x7f\xc2\x9b2J\xc3\xa4\xe2\x80\xae (esc)
  [1]
  $ both "qxagent-manage register_to_cloud --params '$raw=x'"
  Unknown key: t\\x1b]0;x\\x07\\x0aerror:\\x7f\\xc2\\x9b2J\xc3\xa4\\xe2\\x80\\xae (esc)
  failed to register to cloud
  qxagent-manage: register_to_cloud: refused by the broker: 'token' is missing (code 1)
  Unknown key: t\x1b]0;x\x07 (esc)
  error:\x7f\xc2\x9b2J\xc3\xa4\xe2\x80\xae (esc)
  failed to register to cloud
  [1]
  $ both 'qxagent-manage get_version_info'
  {
      "t\\u001B]0;x\\u0007\\nerror:\\u007F\\u009B2J\xc3\xa4\xe2\x80\xae": "t\\u001B]0;x\\u0007\\nerror:\\u007F\\u009B2J\xc3\xa4\xe2\x80\xae" (esc)
  }
  {"t\\u001B]0;x\\u0007\\nerror:\x7f\xc2\x9b2J\xc3\xa4\xe2\x80\xae": "t\\u001B]0;x\\u0007\\nerror:\x7f\xc2\x9b2J\xc3\xa4\xe2\x80\xae"} (esc)
  $ stop $broker; broker '{"version": "1.3\u001b]\n"}'
  $ on_terminal 'qxagent-manage enable'
  Wrong Protocol Version: Daemon=(1.3\x1b]\x0a) vs Client=(1.3)
  $ stop $broker

The tool prints every kind of JSON value.

  $ values='[{}, [], [[{"a": null}]], true, false, -9223372036854775808, -0, 1E22, 0.1,
  >     "\u0001\b\t\n\u000b\f\r\"\\\/\u001f\u007f\u0080", {"\n": "\u00e4"}]'
  $ broker "$(jq -n --arg values "$values" '{commands: {get_version_info: [{body: "{\"status\": 0, \"data\": \($values)}"}]}}')"
  $ qxagent-manage get_version_info
  [{}, [], [[{"a": null}]], true, false, -9223372036854775808, 0, 1e22, 0.10000000000000001, "\\u0001\\b\\t\\n\\u000B\\f\\r\\"\\\\/\\u001F\x7f\xc2\x80", {"\\n": "\xc3\xa4"}] (esc)
