#!/bin/bash
# The endpoint's operations over the real bus besides requests and names (which bus_churn,
# python_client and bus_registry drive): silent and unknown operations, and the local
# configuration read and write.
. "$(dirname "$0")/lib.sh"

device_up

# rci --op OP with PAYLOAD on stdin: "result N", a line break, then the reply payload.
op() {
    local number=$1 payload=$2
    printf '%s' "$payload" | dev_exec rci --op "$number" --timeout 5 -
}

check_status "op 1 gets no reply" 1 dev_exec rci --op 1 --timeout 1
check_equal "op 7 is ignored" "result -1" "$(op 7 payload)"
check_log "err vexacsd[*]: ignored op=7"

position=$'<static_position>\n    <enable>on</enable>\n    <latitude>44.977753</latitude>\n    <longitude>-93.265015</longitude>\n    <altitude>0</altitude>\n  </static_position>'
check_equal "read a group" "<config>$position</config>" "$(dev_exec rci --read 2 /config/static_position)"
check_equal "write-only hidden" "<config></config>" "$(dev_exec rci --read 2 /config/wireless/psk)"
check_equal "empty selection" "result -1" "$(op 6 $'\x02/config/no_such_group')"
check_log "err vexacsd[*]: vexacsd_config_read_xmltree failed, ret -1"
check_equal "bad selector" "result -1" "$(op 6 $'\x03/config')"
check_equal "no selector at all" "result -1" "$(op 6 '')"

check_equal "write refuses text that does not parse" "result -1" "$(op 5 '<set_setting><static_position>')"
change='<set_setting><static_position><latitude>45.5</latitude></static_position></set_setting>'
check_equal "write a setting" "result 0"$'\n''<set_setting><static_position/></set_setting>' "$(op 5 "$change")"
check_equal "the current value changed" "<config><latitude>45.5</latitude></config>" \
    "$(dev_exec rci --read 2 /config/static_position/latitude)"
check_equal "selector 4 still reads the factory value" "<config><latitude>0.000000</latitude></config>" \
    "$(dev_exec rci --read 4 /config/static_position/latitude)"
