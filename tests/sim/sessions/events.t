  $ . "$SESSION"

One connection can subscribe to every event.

  $ broker '{"state": {"devices": [], "scan_ms": 20, "services": {"status": 0}, "next_subscription": {"plan": "pro"}}}'
  $ client subscribe device_discovery
  {"status": 0}
  $ client subscribe subscription_changed
  {"status": 0}
  $ client subscribe cloud_registration_status
  {"status": 0}
  $ client subscribe devices_list_updated
  {"status": 0}
  $ client subscribe qxagent_started
  {"status": 0}
  $ client subscribe va_status_changed
  {"status": 0}
  $ client subscribe set_device_online_status_result
  {"status": 0}

A report of a new device causes three events, and an offline report of an unknown device one. A refused report causes
none.

  $ ask set_device_online_status '{"mac": "02:00:00:00:00:07", "interface": "lan", "is_online": true, "ip": "192.0.2.7"}'
  {"status": 0}
  $ client event
  {"device_id": "device-1", "mac": "02:00:00:00:00:07", "name": "", "interface": "lan", "ip": ["192.0.2.7"], "hostname": "", "online": true, "traffic_blocked": 0}
  $ client event
  {"device_ids": ["device-1"]}
  $ client event
  [{"mac": "02:00:00:00:00:07", "is_online": true, "result": "ok"}]
  $ ask set_device_online_status '[{"mac": "02:00:00:00:00:08", "interface": "lan", "is_online": false}]'
  {"status": 0}
  $ client event
  [{"mac": "02:00:00:00:00:08", "is_online": false, "result": "unknown device"}]
  $ ask set_device_online_status '{"mac": "02:00:00:00:00:07", "interface": "lan", "is_online": true, "ip": "192.0.2.300"}'
  {"status": 1, "data": {"code": 1, "description": "'ip' is not an IP address"}}
  $ ask set_device_online_status '{"mac": "02:00:00:00:00:07", "interface": "lan", "is_online": true, "ip": []}'
  {"status": 1, "data": {"code": 1, "description": "'ip' must be an address or an array of 1 to 32 when the device is online"}}
  $ ask set_device_online_status '{"mac": "02:00:00:00:00:07", "interface": "lan", "is_online": true, "x": 1}'
  {"status": 1, "data": {"code": 1, "description": "'ip' must be an address or an array of 1 to 32 when the device is online"}}

Events announce the start and the end of a scan.

  $ ask va_start
  {"status": 0}
  $ client event
  {"status": "started", "scan": "network"}
  $ client event
  {"status": "finished", "scan": "network"}
  $ ask va_stop
  {"status": 1, "data": {"code": 1, "description": "no scan is running"}}

The start of services, a changed subscription and a registration each cause an event.

  $ ask enable_services
  {"status": 0}
  $ client event
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  $ ask update_subscription_status
  {"status": 0, "data": {"status": "active", "plan": "pro", "expires": "2027-12-31"}}
  $ client event
  {"status": "active", "plan": "pro", "expires": "2027-12-31"}
  $ ask start_cloud_registration '{"token": "t", "token_type": "partner", "register_mac_address": "02:00:00:00:00:01", "redeem_code": "r"}'
  {"status": 0}
  $ client event
  {"status": "registered", "mac": "02:00:00:00:00:01"}

An update that does not change the subscription causes no event: the next event is the one from `emit`.

  $ ask update_subscription_status
  {"status": 0, "data": {"status": "active", "plan": "pro", "expires": "2027-12-31"}}
  $ ask get_subscription_status
  {"status": 0, "data": {"status": "active", "plan": "pro", "expires": "2027-12-31"}}
  $ echo 'emit va_status_changed "last"' >&9
  $ client event
  "last"
