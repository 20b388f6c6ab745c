#!/bin/bash
# The endpoint's operations over the real bus: echo, silent and unknown operations, RCI requests
# that cannot be processed, and the local configuration read and write.
. "$(dirname "$0")/lib.sh"

device_up

# rci --op OP with PAYLOAD on stdin: "result N", a line break, then the reply payload.
op() {
    local number=$1 payload=$2
    printf '%s' "$payload" | dev_exec rci --op "$number" --timeout 5 -
}

check_echo() {
    local payload=""
    while [ ${#payload} -lt 300 ]; do payload+="0123456789abcdefghijklmnopqrstuvwxyz"; done
    payload=${payload:0:300}
    check_equal "echo of 300 bytes answers the first 256" "result 0"$'\n'"${payload:0:256}" "$(op 4 "$payload")"
    check_equal "a short echo is padded to 256 bytes" 265 "$(op 4 hi | wc -c)"
    check_equal "with zero bytes" "result 0"$'\n'"hi" "$(op 4 hi | tr -d '\0')"
}

check_silent_and_unknown() {
    check_status "op 1 gets no reply" 1 dev_exec rci --op 1 --timeout 1
    local number
    for number in 7 -1; do
        check_equal "op $number is ignored" "result -1" "$(op "$number" payload)"
        check_log "err vexacsd[*]: ignored op=$number"
    done
    check_equal "the endpoint still serves" "result 0"$'\n'"ok" "$(op 4 ok | tr -d '\0')"
}

check_rci_failures() {
    check_equal "not well-formed: -5, no text" "result -5" "$(op 0 '<rci_request><query_setting>')"
    check_equal "wrong root: -3" "result -3" "$(op 0 '<rci_reply><query_setting/></rci_reply>')"
    check_equal "no content: -2" "result -2" "$(op 0 '<rci_request/>')"
}

check_read() {
    local position expected
    position=$'<static_position>\n    <enable>on</enable>\n    <latitude>44.977753</latitude>\n    <longitude>-93.265015</longitude>\n    <altitude>0</altitude>\n  </static_position>'
    check_equal "read a group" "<config>$position</config>" "$(dev_exec rci --read 2 /config/static_position)"
    check_equal "a text node selection is no element" "<config></config>" \
        "$(dev_exec rci --read 2 '/config/static_position/enable/text()')"
    check_equal "read-only shown to local reads" "<config><serial_number>VX0000000001</serial_number></config>" \
        "$(dev_exec rci --read 2 /config/system/serial_number)"
    check_equal "write-only hidden" "<config></config>" "$(dev_exec rci --read 2 /config/wireless/psk)"
    expected="result -1"
    check_equal "empty selection" "$expected" "$(op 6 $'\x02/config/no_such_group')"
    check_log "err vexacsd[*]: vexacsd_config_read_xmltree failed, ret -1"
    check_equal "bad selector" "$expected" "$(op 6 $'\x03/config')"
    check_log "err vexacsd[*]: Invalid SAVE value 3"
    check_equal "no selector at all" "$expected" "$(op 6 '')"
}

check_write_then_defaults() {
    check_equal "write refuses text that does not parse" "result -1" "$(op 5 '<set_setting><static_position>')"
    check_equal "write refuses a set_setting without children" "result -1" "$(op 5 '<set_setting/>')"
    local change='<set_setting><static_position><latitude>45.5</latitude></static_position></set_setting>'
    check_equal "write a setting" "result 0"$'\n''<set_setting><static_position/></set_setting>' "$(op 5 "$change")"
    check_equal "the current value changed" "<config><latitude>45.5</latitude></config>" \
        "$(dev_exec rci --read 2 /config/static_position/latitude)"
    check_equal "selector 4 still reads the factory value" "<config><latitude>0.000000</latitude></config>" \
        "$(dev_exec rci --read 4 /config/static_position/latitude)"
}

check_echo
check_silent_and_unknown
check_rci_failures
check_read
check_write_then_defaults
