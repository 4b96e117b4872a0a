  $ . "$SESSION"

The broker remembers whether the services and the router protection are enabled.

  $ broker
  $ ask disable_services
  {"status": 0}
  $ ask get_services_status
  {"status": 0, "data": {"status": 0}}
  $ ask enable_services
  {"status": 0}
  $ ask get_services_status
  {"status": 0, "data": {"status": 1}}
  $ ask disable_routerprotection
  {"status": 0}
  $ ask get_routerprotection_status
  {"status": 0, "data": {"status": 0}}
  $ ask enable_routerprotection
  {"status": 0}
  $ ask get_routerprotection_status
  {"status": 0, "data": {"status": 1}}

The broker returns the router's fields as clients set them, and refuses invalid values.

  $ ask set_router_name '"new name"'
  {"status": 0}
  $ ask get_router_name
  {"status": 0, "data": "new name"}
  $ ask set_router_name '5'
  {"status": 1, "data": {"code": 1, "description": "name must be a non-empty string"}}
  $ ask set_router_model '"new model"'
  {"status": 0}
  $ ask get_router_model
  {"status": 0, "data": "new model"}
  $ ask set_router_serial_number '"S"'
  {"status": 0}
  $ ask get_router_serial_number
  {"status": 0, "data": "S"}
  $ ask set_router_firmware_version '"V"'
  {"status": 0}
  $ ask get_router_firmware_version
  {"status": 0, "data": "V"}
  $ ask set_router_feature_set_level '"L"'
  {"status": 0}
  $ ask get_router_feature_set_level
  {"status": 0, "data": "L"}
  $ ask set_router_interfaces '[{"name": "br-wan", "type": "wan"}]'
  {"status": 0}
  $ ask set_router_interfaces '[{"name": "lan", "type": ""}]'
  {"status": 1, "data": {"code": 1, "description": "an interface needs a name and a type: {\"name\": \"lan\", \"type\": \"\"}"}}
  $ ask get_router_interfaces
  {"status": 0, "data": [{"name": "br-wan", "type": "wan"}]}
  $ ask set_va_cloud_trigger 'false'
  {"status": 0}
  $ ask set_va_cloud_trigger '1'
  {"status": 1, "data": {"code": 1, "description": "a boolean is needed"}}
  $ ask get_va_cloud_trigger
  {"status": 0, "data": false}

The broker lists, renames and blocks devices. Without ids, or with an empty list, it lists all devices.

  $ stop $broker
  $ broker '{"state": {"devices": [{"device_id": "a", "mac": "02:00:00:00:00:0a"}, {"device_id": "b", "name": "B"}]}}'
  $ ask set_device_name '{"device_id": "a", "name": "A"}'
  {"status": 0}
  $ ask set_device_traffic_blocked '{"device_id": "a", "traffic_blocked": true}'
  {"status": 0}
  $ ask get_devices '["a", "nobody"]'
  {"status": 0, "data": [{"device_id": "a", "mac": "02:00:00:00:00:0a", "name": "A", "interface": "", "ip": [], "hostname": "", "online": false, "traffic_blocked": 1}]}
  $ ask get_devices '[]' | jq -c '[.data[].device_id]'
  ["a","b"]
  $ ask get_devices | jq -c '[.data[].device_id]'
  ["a","b"]
  $ ask get_devices '{}'
  {"status": 1, "data": {"code": 2, "description": "an array of device ids is needed"}}
  $ ask set_device_name '{"device_id": "x", "name": "A"}'
  {"status": 1, "data": {"code": 1, "description": "no device has this device_id"}}
  $ ask set_device_traffic_blocked '{"device_id": "a", "traffic_blocked": 2}'
  {"status": 1, "data": {"code": 1, "description": "'traffic_blocked' must be 0 or 1"}}

A request changes all the features that it names, or none.

  $ stop $broker
  $ broker '{"state": {"features": {"a": "enabled", "b": "disabled"}}}'
  $ ask set_feature '{"a": "disabled"}'
  {"status": 0, "data": {"a": "disabled"}}
  $ ask set_feature '{"b": "enabled", "a": "on"}'
  {"status": 1, "data": {"code": 1, "description": "the status of 'a' must be enabled or disabled"}}
  $ ask set_feature '{"b": "enabled", "none": "enabled"}'
  {"status": 1, "data": {"code": 1, "description": "unknown feature 'none'"}}
  $ ask get_feature '["b", "a"]'
  {"status": 0, "data": {"b": "disabled", "a": "disabled"}}
  $ ask get_feature '["x"]'
  {"status": 1, "data": {"code": 1, "description": "unknown feature 'x'"}}
