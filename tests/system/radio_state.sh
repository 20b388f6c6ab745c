#!/bin/bash
# The zigbee_state group in the gateway: the gateway radio of the image's simulated network as
# query_state lists it, the cached form, a network description changed while the daemon runs, and
# a radio that cannot be read.
. "$(dirname "$0")/lib.sh"

device_up

state() { rci_reply "<rci_request><query_state>$1</query_state></rci_request>"; }
wrap() { printf '<rci_reply version="1.1"><query_state>%s</query_state></rci_reply>' "$1"; }
head=$'<zigbee_state>\n    <gateway_addr>00:13:a2:00:41:5b:00:01</gateway_addr>\n    <caps>0x16</caps>\n'

full=$(state '<zigbee_state/>')
check_contains "the gateway radio first" "$head    <pan_id>0x1a2f</pan_id>" "$full"
check_contains "a supply voltage in the module's unit shown in millivolts" \
    "<supply_voltage>1172</supply_voltage>" "$full"
check_equal "address, caps and one line for each of the 16 fields the radio has" 18 "$(grep -c '^    <[a-z_]*>[^<]*</' <<<"$full")"
check_equal "cached: the identity alone" "$(wrap "$head</zigbee_state>")" \
    "$(state '<zigbee_state cached="True"/>')"
check_equal "a second network the radio does not run" "$(wrap $'<zigbee_state network_index="1">\n><error id="5"><desc>Invalid parameter</desc><hint>network_index</hint></error></zigbee_state>')" \
    "$(state '<zigbee_state network_index="1"/>')"

dev_exec sed -i 's/caps="0x16"/caps="0x12"/' /etc/vexa/sim/pelk.xml
check_contains "the description is read again when it changes" "<caps>0x12</caps>" \
    "$(state '<zigbee_state cached="true"/>')"
dev_exec rm /etc/vexa/sim/pelk.xml
check_equal "no radio: no group" "$(wrap '')" "$(state '<zigbee_state/>')"
