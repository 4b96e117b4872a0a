  $ . "$SESSION"

A mistake in a scenario ends the broker before it creates a file. One line names the place and the reason.

  $ start_with() {
  >     printf '%s' "$1" >scenario.json
  >     qxbrokerd-sim --install-dir $root --scenario scenario.json
  > }
  $ start_with '{'
  qxbrokerd-sim: scenario.json:1:1: string or '}' expected near end of file
  [1]
  $ start_with '[]'
  qxbrokerd-sim: scenario.json: an object is needed, not an array
  [1]
  $ start_with '{"command": {}}'
  qxbrokerd-sim: scenario.json: command: unknown member
  [1]
  $ start_with '{"commands": {"jump": []}}'
  qxbrokerd-sim: scenario.json: commands.jump: unknown command
  [1]
  $ start_with '{"commands": {"va_stop": [{}, {"delay_ms": -1}]}}'
  qxbrokerd-sim: scenario.json: commands.va_stop[1].delay_ms: an integer from 0 to 86400000 is needed
  [1]
  $ start_with '{"commands": {"va_stop": [{}, {"then": "stay"}]}}'
  qxbrokerd-sim: scenario.json: commands.va_stop[1].then: 'stay' is none of keep, close, restart, exit
  [1]
  $ start_with '{"commands": {"va_stop": [{}, {"raw_hex": "0"}]}}'
  qxbrokerd-sim: scenario.json: commands.va_stop[1].raw_hex: pairs of hexadecimal digits are needed
  [1]
  $ start_with '{"commands": {"va_stop": [{}, {"raw": "x", "length": 1}]}}'
  qxbrokerd-sim: scenario.json: commands.va_stop[1].length: raw bytes have no length prefix
  [1]
  $ start_with '{"commands": {"va_stop": [{}, {"raw": "x", "raw_hex": "00"}]}}'
  qxbrokerd-sim: scenario.json: commands.va_stop[1].raw_hex: another member gives the content already
  [1]
  $ start_with '{"commands": {"va_stop": [{}, {"raw": "x", "status": 1}]}}'
  qxbrokerd-sim: scenario.json: commands.va_stop[1].status: another member gives the content already
  [1]
  $ start_with '{"commands": {"va_stop": [{}, {"data": 1, "data_size": 2}]}}'
  qxbrokerd-sim: scenario.json: commands.va_stop[1].data_size: another member gives the content already
  [1]
  $ start_with '{"events": [{"after_ms": 1}]}'
  qxbrokerd-sim: scenario.json: events[0]: the member 'event' is needed
  [1]
  $ start_with '{"events": [{"event": "x"}]}'
  qxbrokerd-sim: scenario.json: events[0].event: unknown event 'x'
  [1]
  $ start_with '{"events": [{"event": "qxagent_started", "body": "", "data": 1}]}'
  qxbrokerd-sim: scenario.json: events[0].data: another member gives the content already
  [1]
  $ start_with '{"events": [{"event": "va_status_changed", "times": 0}]}'
  qxbrokerd-sim: scenario.json: events[0].every_ms: an event that repeats forever needs an interval above 0
  [1]
  $ start_with '{"lock": "no"}'
  qxbrokerd-sim: scenario.json: lock: a boolean is needed, not a string
  [1]
  $ start_with '{"state": {"router": {"nmae": "x"}}}'
  qxbrokerd-sim: scenario.json: state.router.nmae: the state has no such member
  [1]
  $ start_with '{"state": {"devices": [{"ip": "x"}]}}'
  qxbrokerd-sim: scenario.json: state.devices[0].ip: an array is needed, not a string
  [1]
  $ ls /opt
