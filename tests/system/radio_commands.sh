#!/bin/bash
# The radio over the bus, against the image's simulated network (a coordinator and 26 nodes) and a
# few networks of the test's own: the zigbee_state group of query_state, and the subcommands of
# do_command: listings, set_setting outcomes, discovery, neighbour tables, radio commands, firmware
# updates and the factory tool.
. "$(dirname "$0")/lib.sh"

device_up

gateway=00:13:a2:00:41:5b:00:01
router=00:13:a2:00:41:5b:10:01 # kind 3, 25 neighbours
meter=00:13:a2:00:41:5b:10:0b  # kind 2
node() { printf '00:13:a2:00:41:5b:10:%02x' "$1"; }

state() { rci_reply "<rci_request><query_state>$1</query_state></rci_request>"; }
state_reply() { printf '<rci_reply version="1.1"><query_state>%s</query_state></rci_reply>' "$1"; }
zigbee() { rci_reply "<rci_request><do_command target=\"zigbee\">$1</do_command></rci_request>"; }
wrap() { printf '<rci_reply version="1.1"><do_command target="zigbee">%s</do_command></rci_reply>' "$1"; }
check_reply() { check_equal "$1" "$(wrap "$2")" "$(zigbee "$3")"; }
error() { printf '<error id="%s"><desc>%s</desc><hint>%s</hint></error>' "$1" "$2" "$3"; }
forget_calls() { dev_exec sh -c ': >/var/run/sim/calls.log'; }
count() { grep -o -- "$1" <<<"$2" | wc -l; }
# Replaces the network description while the daemon runs.
describe() { dev_exec sh -c 'cat >/etc/vexa/sim/pelk.new && mv /etc/vexa/sim/pelk.new /etc/vexa/sim/pelk.xml'; }

check_listings() {
    check_equal "the gateway radio's settings: one line for each field its kind has" 22 \
        "$(count '^    <' "$(zigbee '<query_setting/>')")"
    check_contains "a remote node's state" $'<rssi>52</rssi>\n    <supply_voltage>3164</supply_voltage>\n  </radio>\n</query_state>' \
        "$(zigbee "<query_state addr=\"$meter\"/>")"
    check_reply "an unknown subcommand, an unknown group" "$(error 1 'Unknown subcommand' bogus)<set_setting>$(error 2 'Settings group unknown' serial)</set_setting>" \
        '<bogus/><set_setting><serial/></set_setting>'
    # This radio runs no second network: only "0" names a network; every other text is refused
    # and echoed as it was written.
    check_reply "network_index 0" '<set_setting></set_setting>' '<set_setting network_index="0"/>'
    local index
    for index in 1 2 -1 abc 00; do
        check_reply "network_index $index" "<set_setting network_index=\"$index\">$(error 5 'Invalid parameter' network_index)</set_setting>" \
            "<set_setting network_index=\"$index\"/>"
    done
}

# check_set WHAT ADDR-ATTRIBUTE FIELDS ANSWER: set_setting of radio FIELDS answers ANSWER.
check_set() { check_reply "$1" "<set_setting$2><radio>$4</radio></set_setting>" "<set_setting$2><radio>$3</radio></set_setting>"; }

check_set_setting() {
    local power='<radio_command id="PL"/>'
    forget_calls
    check_set "a field no row has" '' '<power_level>2</power_level><nosuch>1</nosuch>' "$(error 12 'Field specified does not exist' nosuch)"
    check_set "a value beyond the row's limits" '' '<initial_pan_id>0x10000</initial_pan_id>' "$(error 13 'Field value specified is invalid' initial_pan_id)"
    check_set "a field the node's radio does not know" " addr=\"$meter\"" '<max_hops>3</max_hops>' "$(error 14 'Not supported on device' max_hops)"
    check_set "a node the radio cannot reach" " addr=\"$(node 99)\"" '<power_level>3</power_level>' "$(error 11 'Error saving to device' power_level)"
    check_equal "no commit after a failed write" 0 "$(calls | grep -c ' WR ')"
    check_reply "the value written before the failure is queued, not applied" \
        '<radio_command id="PL" format="integer">4</radio_command>' "$power"
    check_set "an empty group only commits" '' '' ''
    check_reply "which applies what was queued" \
        '<radio_command id="PL" format="integer">2</radio_command>' "$power"
}

check_discover() {
    forget_calls
    local all
    all=$(zigbee '<discover/>')
    check_equal "a new discovery" "radio_get_node_list 0 2" "$(calls)"
    check_equal "lists every node" 26 "$(count '<device index=' "$all")"
    forget_calls
    local page
    page=$(zigbee '<discover start="11" size="10"/>')
    check_equal "a later page keeps the list" "" "$(calls)"
    check_equal "ten nodes" 10 "$(count '<device index=' "$page")"
    check_contains "node 11 first, as 1" "<device index=\"1\"><type>2</type><ext_addr>$(node 11)<" "$page"
    check_contains "one node by address, as 1" "<discover><device index=\"1\"><type>1</type><ext_addr>$router<" \
        "$(zigbee "<discover addr=\"$router\"/>")"
    dev_exec sed -i 's/caps="0x16"/caps="0x06"/' /etc/vexa/sim/pelk.xml
    check_equal "firmware status only with capability bit 4, read anew" 0 "$(count '<fw_status>' "$(zigbee '<discover/>')")"
    check_reply "clear empties the list" "<discover></discover>" '<discover option="clear"/>'
    local row attribute tag hint
    # ATTRIBUTE|the start tag it leaves|the hint of its refusal
    for row in 'start="abc"|<discover>|start' 'size="x"|<discover>|size' 'option="Current"|<discover>|option' \
        'addr="00:13"|<discover>|addr' 'network_index="1"|<discover network_index="1">|network_index'; do
        IFS='|' read -r attribute tag hint <<<"$row"
        check_reply "discover $attribute" "$tag$(error 5 'Invalid parameter' "$hint")</discover>" "<discover $attribute/>"
    done
}

check_lqi() {
    zigbee '<discover/>' >/dev/null
    local table
    table=$(zigbee "<get_lqi addr=\"$router\"/>")
    check_equal "each of the 25 neighbours once, across the pages of the table" 25 "$(count '<neighbor index=' "$table")"
    check_contains "indices from 1, codes decoded" "<device index=\"1\"><ext_addr>$router</ext_addr><neighbor index=\"1\"><ext_pan_id>0x0013a20000001a2f</ext_pan_id><ext_addr>$(node 2)</ext_addr><net_addr>0x100e</net_addr><relation>sibling</relation><rx_idle>on</rx_idle><type>router</type><permit_join>yes</permit_join><depth>1</depth><lqi>183</lqi></neighbor>" "$table"
    dev_exec sed -i 's|<param cmd="NI" text="Router Pump|<fail cmd="ZDO" code="-62"/>&|' /etc/vexa/sim/pelk.xml
    zigbee '<discover/>' >/dev/null
    local walk
    walk=$(zigbee '<get_lqi/>')
    check_equal "the walk ends at the node that failed" 2 "$(count '<device index=' "$walk")"
    check_contains "which shows the code as its status" "<device index=\"2\"><ext_addr>$(node 2)</ext_addr><status>-62</status></device></get_lqi>" "$walk"
}

# A kind 2 gateway radio without OP, on a gateway that runs a second network and keeps no neighbour
# tables. Its node identifier holds markup, a carriage return, a control character, non-ASCII text
# and a zero byte; the node's texts hold markup, a carriage return and non-ASCII text.
radio_command_network() {
    describe <<EOF
<pelk_network ext_pan_id="0x0102030405060708">
  <gateway address="$gateway" kind="2" caps="0x10" dual="1">
    <param cmd="ID" int="0x1a2f"/><param cmd="VR" int="0x012c"/><param cmd="NI" hex="0x61260d01c3a9003c"/>
    <param cmd="PL" int="1"/><param cmd="DX" hex="0x00"/><param cmd="K5" hex="0x0102030405"/>
  </gateway>
  <node address="$router" kind="3" node_id="n&amp;&#13;&#xE9;" fw_file="f&lt;&#13;&#xE9;.ebl"><param cmd="PL" int="1"/></node>
</pelk_network>
EOF
}

refused() { printf '<radio_command id="%s">%s</radio_command>' "$1" "$(error 5 'Invalid parameter' "$2")"; }

# check_exchange REQUEST ANSWER CALL: the subcommand REQUEST answers ANSWER and makes exactly the
# library call CALL (none when empty).
check_exchange() {
    forget_calls
    check_reply "$1" "$2" "$1"
    check_equal "$1: the library's call" "$3" "$(calls)"
}

check_radio_command() {
    local row request answer sent
    # REQUEST|ANSWER|the library's call (none for a request refused before it)
    for row in \
        '<radio_command id="NI" format="string"/>|<radio_command id="NI" format="string">a&amp;&#13;&#xE9;</radio_command>|radio_param_command - 0 NI - -1 2' \
        '<radio_command id="VR" format="integer"/>|<radio_command id="VR" format="integer">300</radio_command>|radio_param_command - 0 VR - -1 2' \
        '<radio_command id="K5"/>|<radio_command id="K5" format="binary">0x0102030405</radio_command>|radio_param_command - 0 K5 - -1 2' \
        '<radio_command id="PL" option="queue">  7  </radio_command>|<radio_command id="PL" format="integer"></radio_command>|radio_param_command - 0 PL 00000007 -1 0' \
        "<radio_command id=\"DX\" format=\"address\"> $router </radio_command>|<radio_command id=\"DX\" format=\"address\"></radio_command>|radio_param_command - 0 DX 0013a200415b1001 -1 2" \
        '<radio_command id="DX" format="binary" timeout="500">0x0a0b</radio_command>|<radio_command id="DX" format="binary"></radio_command>|radio_param_command - 0 DX 0a0b 500 2' \
        '<radio_command id="VR" network_index="1abc"/>|<radio_command id="VR" network_index="1abc" format="integer">300</radio_command>|radio_param_command - 1 VR - -1 2' \
        "<radio_command/>|<radio_command>$(error 4 'Missing parameter' id)</radio_command>|" \
        "<radio_command id=\"VR\" format=\"hex\"/>|$(refused VR format)|" \
        "<radio_command id=\"VR\" option=\"later\"/>|$(refused VR option)|" \
        "<radio_command id=\"VR\" timeout=\"soon\"/>|$(refused VR timeout)|" \
        "<radio_command id=\"DX\" format=\"binary\">0x0a0</radio_command>|$(refused DX parameter)|"; do
        IFS='|' read -r request answer sent <<<"$row"
        check_exchange "$request" "$answer" "$sent"
    done
}

# The radio's own texts (string values, node identifiers, update file names) as libxml2's entity
# encoding writes them for the request: up to a zero byte, control characters dropped, a carriage
# return and non-ASCII text as references.
check_radio_texts() {
    check_reply "a string value in the listing" $'<query_setting>\n  <radio>\n    <node_id>a&amp;&#13;&#xE9;</node_id>\n    <pan_id>0x1a2f</pan_id>\n    <power_level>1</power_level>\n  </radio>\n</query_setting>' \
        '<query_setting/>'
    check_reply "a module without OP shows its ID as pan_id" $'<query_state>\n  <radio>\n    <pan_id>0x1a2f</pan_id>\n    <firmware_version>0x12c</firmware_version>\n  </radio>\n</query_state>' \
        '<query_state/>'
    check_reply "a node's record" "<discover><device index=\"1\"><type>0</type><ext_addr>$router</ext_addr><net_addr>0x0</net_addr><parent_addr>0x0</parent_addr><profile_id>0x0</profile_id><mfg_id>0x0</mfg_id><device_type>0x0</device_type><node_id>n&amp;&#13;&#xE9;</node_id><contact_time>0</contact_time><fw_status><hw_version>0x0</hw_version><fw_version>0x0</fw_version><status>Unknown</status><file>f&lt;&#13;&#xE9;.ebl</file><updater></updater><error_code>0</error_code><error_text></error_text><tries>0</tries></fw_status></device></discover>" \
        '<discover/>'
    check_reply "no neighbour tables on this gateway" "<get_lqi>$(error 14 'Not supported on device' get_lqi)</get_lqi>" '<get_lqi/>'
}

check_fw_update() {
    forget_calls
    check_reply "retries above 255" "<fw_update>$(error 5 'Invalid parameter' block_retry_max)</fw_update>" \
        '<fw_update file="f" block_retry_max="256"/>'
    check_equal "nothing scheduled" "" "$(calls)"
    local row attributes echo sent none=00:00:00:00:00:00:00:00
    # ATTRIBUTES|the recover echo|the update scheduled (without a target, the gateway's own radio's)
    for row in "target=\"$router\" recover=\"Never\" block_retry_max=\"abc\"| recover=\"never\"|$router 0 $none f 2 0" \
        "recover=\"TRUE\"| recover=\"true\"|$gateway 0 $none f 1 0" "recover=\"only\"| recover=\"only\"|$gateway 0 $none f 1 0" \
        "recover=\"yes\"||$gateway 0 $none f 0 0"; do
        IFS='|' read -r attributes echo sent <<<"$row"
        check_exchange "<fw_update file=\"f\" $attributes/>" "<fw_update$echo></fw_update>" "radio_schedule_update $sent"
    done
}

check_factory_default() {
    forget_calls
    dev_exec sh -c 'printf "radio busy\nno <answer>\n" >/var/run/sim/out/pelk'
    check_reply "each line the tool prints is an error; beyond the minimum, its hint escaped" "<set_factory_default addr=\"$router\">$(error 7 'Command error' $'radio busy\n')$(error 7 'Command error' $'no &lt;answer&gt;\n')</set_factory_default>" \
        "<set_factory_default addr=\"$router\"/>"
    check_equal "the tool got the address" "/usr/bin/pelk factory_default $router" "$(calls)"
    forget_calls
    check_reply "a text outside the address syntax" "<set_factory_default addr=\"\$(reboot)\">$(error 5 'Invalid parameter' addr)</set_factory_default>" \
        '<set_factory_default addr="$(reboot)"/>'
    check_equal "never reaches the tool" "" "$(calls)"
}

check_zigbee_state() {
    local head=$'<zigbee_state>\n    <gateway_addr>'$gateway$'</gateway_addr>\n    <caps>0x16</caps>\n' full
    full=$(state '<zigbee_state/>')
    check_contains "zigbee_state: the gateway radio first" "$head    <pan_id>0x1a2f</pan_id>" "$full"
    check_equal "address, caps and one line for each of the 16 fields the radio has" 18 "$(count '^    <[a-z_]*>[^<]*</' "$full")"
    check_equal "cached: the identity alone" "$(state_reply "$head</zigbee_state>")" \
        "$(state '<zigbee_state cached="True"/>')"
    check_equal "a second network the radio does not run: echoed, refused after the line end" \
        "$(state_reply $'<zigbee_state network_index="1">\n>'"$(error 5 'Invalid parameter' network_index)</zigbee_state>")" \
        "$(state '<zigbee_state network_index="1"/>')"
}

check_zigbee_state
check_listings
check_set_setting
check_discover
check_lqi
radio_command_network
check_radio_texts
check_radio_command
check_fw_update
check_factory_default
dev_exec rm /etc/vexa/sim/pelk.xml
check_equal "no radio: no zigbee_state group" "$(state_reply '')" "$(state '<zigbee_state/>')"
