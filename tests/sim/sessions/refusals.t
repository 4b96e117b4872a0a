  $ . "$SESSION"

The refusal of a command has the members that the client library expects for that command.

  $ broker
  $ ask start_registration '{"router_id": ""}'
  {"status": 1, "data": {"code": 2, "description": "'router_id' must be a non-empty string"}}
  $ ask start_registration '{}'
  {"status": 1, "data": {"code": 2, "description": "a registration needs an object with members"}}
  $ ask start_registration '{"router_id": "manual"}'
  {"status": 1, "data": {"code": 1, "description": "'manual' is no router_id"}}
  $ ask start_registration '{"router_id": "r1"}'
  {"status": 0}
  $ ask remove_satellite '{"mac": "02:00:00:00:00:01"}'
  {"status": 1, "data": {"error": "no satellite has this MAC address", "code": 2}}
  $ ask remove_satellite '{"mac": "02:11:22:33:55:01"}'
  {"status": 0}
  $ ask start_cloud_registration '{"token": "", "register_mac_address": "m"}'
  {"status": 1, "data": {"code": 1, "description": "'token' is missing"}}
  $ ask get_version_info '5'
  {"status": 1, "data": {"code": 1, "description": "get_version_info takes no data"}}
  $ ask list_all_features
  {"status": 0, "data": ["anomaly_detection", "parental_control", "vulnerability_assessment", "web_filter"]}
  $ client send '{"type": "command", "name": "list_all_features"}'
  {"status": 0, "data": ["anomaly_detection", "parental_control", "vulnerability_assessment", "web_filter"]}
  $ ask no_such
  {"status": 1, "data": {"code": 1, "description": "unknown command 'no_such'"}}

The broker refuses malformed requests with code 2.

  $ client send ''
  {"status": 1, "data": {"code": 2, "description": "the request is not JSON: *"}} (glob)
  $ client send '[]'
  {"status": 1, "data": {"code": 2, "description": "the request is not an object"}}
  $ client send '{"type": "x", "name": "y"}'
  {"status": 1, "data": {"code": 2, "description": "'type' must be \"command\" or \"subscribe\""}}
  $ client send '{"type": "command"}'
  {"status": 1, "data": {"code": 2, "description": "'name' must be a non-empty string"}}
  $ client send "$(printf '\377{')"
  {"status": 1, "data": {"code": 2, "description": "the request is not JSON: *"}} (glob)
