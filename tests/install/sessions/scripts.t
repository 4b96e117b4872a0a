  $ . "$SESSION"

The set-up script of scripting.md changes only settings that differ from its values. A second run changes nothing.

  $ sed -n '/^#!/,/^```/ { /^```/!p }' "$SOURCES/docs/scripting.md" >set-up
  $ broker '{"state": {"features": {"web_filter": "disabled"}, "services": {"status": 0}}}'
  $ sh set-up
  $ requests >first
  $ jq -r .name first | grep -v get_
  set_router_name
  set_router_model
  set_feature
  enable_services
  $ sh set-up
  $ requests >second
  $ jq -r .name second | grep -v get_
  [1]
