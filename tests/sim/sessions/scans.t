  $ . "$SESSION"

Exclusions are patterns of MAC addresses. A list with an invalid pattern changes nothing.

  $ broker
  $ ask va_set_exclusions '["AA:BB:CC:DD:EE:FF", "aa:[0-3|8]B:c[A-F|0]:00:00:0[1|b]"]'
  {"status": 0}
  $ ask va_set_exclusions '["AA:BB:CC:DD:EE"]'
  {"status": 1, "data": "\"AA:BB:CC:DD:EE\" is no MAC address pattern: groups of two digits must be separated by ':'"}
  $ ask va_set_exclusions '["AA:BB:CC:DD:EE:FF:00"]'
  {"status": 1, "data": "\"AA:BB:CC:DD:EE:FF:00\" is no MAC address pattern: there is more after the sixth group"}
  $ ask va_set_exclusions '["AA-BB-CC-DD-EE-FF"]'
  {"status": 1, "data": "\"AA-BB-CC-DD-EE-FF\" is no MAC address pattern: groups of two digits must be separated by ':'"}
  $ ask va_set_exclusions '["GA:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"GA:BB:CC:DD:EE:FF\" is no MAC address pattern: a hexadecimal digit is missing"}
  $ ask va_set_exclusions '["[0-5|3]A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[0-5|3]A:BB:CC:DD:EE:FF\" is no MAC address pattern: values between '[' and ']' overlap"}
  $ ask va_set_exclusions '["[a|A]A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[a|A]A:BB:CC:DD:EE:FF\" is no MAC address pattern: values between '[' and ']' overlap"}
  $ ask va_set_exclusions '["[5-3]A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[5-3]A:BB:CC:DD:EE:FF\" is no MAC address pattern: an interval must ascend within 0-9, A-F or a-f"}
  $ ask va_set_exclusions '["[8-b]A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[8-b]A:BB:CC:DD:EE:FF\" is no MAC address pattern: an interval must ascend within 0-9, A-F or a-f"}
  $ ask va_set_exclusions '["[A-f]A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[A-f]A:BB:CC:DD:EE:FF\" is no MAC address pattern: an interval must ascend within 0-9, A-F or a-f"}
  $ ask va_set_exclusions '["[]A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[]A:BB:CC:DD:EE:FF\" is no MAC address pattern: a '[' needs single digits or intervals, separated by '|'"}
  $ ask va_set_exclusions '["[1|]A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[1|]A:BB:CC:DD:EE:FF\" is no MAC address pattern: a '[' needs single digits or intervals, separated by '|'"}
  $ ask va_set_exclusions '["[1A:BB:CC:DD:EE:FF"]'
  {"status": 1, "data": "\"[1A:BB:CC:DD:EE:FF\" is no MAC address pattern: a ']' is missing"}
  $ ask va_get_exclusions
  {"status": 0, "data": ["AA:BB:CC:DD:EE:FF", "aa:[0-3|8]B:c[A-F|0]:00:00:0[1|b]"]}

A schedule has a time, an interval and, for weeks and months, a day. An invalid schedule changes nothing.

  $ ask va_set_schedule '{"at": "00:00", "every": {"num": 1, "unit": "day"}, "on": {"prefix": "", "day": ""}}'
  {"status": 0}
  $ ask va_set_schedule '{"at": "23:59", "every": {"num": 2, "unit": "week"}, "on": {"prefix": "", "day": 7}}'
  {"status": 0}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 1, "unit": "month"}, "on": {"prefix": "last", "day": "monday"}}'
  {"status": 0}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 1, "unit": "month"}, "on": {"prefix": "", "day": 31}}'
  {"status": 0}
  $ ask va_set_schedule '{"at": "24:00", "every": {"num": 1, "unit": "day"}, "on": {}}'
  {"status": 1, "data": {"error": "'at' must be HH:MM, from 00:00 to 23:59"}}
  $ ask va_set_schedule '{"at": "3:30", "every": {"num": 1, "unit": "day"}, "on": {}}'
  {"status": 1, "data": {"error": "'at' must be HH:MM, from 00:00 to 23:59"}}
  $ ask va_set_schedule '{"at": "03:60", "every": {"num": 1, "unit": "day"}, "on": {}}'
  {"status": 1, "data": {"error": "'at' must be HH:MM, from 00:00 to 23:59"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 0, "unit": "day"}, "on": {}}'
  {"status": 1, "data": {"error": "'every.num' must be an integer from 1 on"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 1, "unit": "year"}, "on": {}}'
  {"status": 1, "data": {"error": "'every.unit' must be day, week or month"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 1, "unit": "day"}, "on": {"day": 1}}'
  {"status": 1, "data": {"error": "'on.day' does not go with the unit day"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 2, "unit": "week"}, "on": {"day": 8}}'
  {"status": 1, "data": {"error": "'on.day' must be 1 to 7 or monday to sunday"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 2, "unit": "week"}, "on": {"prefix": "first", "day": "monday"}}'
  {"status": 1, "data": {"error": "'on.prefix' goes with the unit month only"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 1, "unit": "month"}, "on": {"day": 32}}'
  {"status": 1, "data": {"error": "'on.day' must be 1 to 31 or monday to sunday"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 1, "unit": "month"}, "on": {"prefix": "sixth", "day": "monday"}}'
  {"status": 1, "data": {"error": "'on.prefix' must be first, second, third, fourth, fifth or last"}}
  $ ask va_set_schedule '{"at": "03:30", "every": {"num": 1, "unit": "month"}, "on": {"prefix": "last", "day": 3}}'
  {"status": 1, "data": {"error": "'on.prefix' needs a day of the week in 'on.day'"}}
  $ ask get_status_report | jq -c .data.va.schedule
  {"at":"03:30","every":{"num":1,"unit":"month"},"on":{"prefix":"","day":31}}
