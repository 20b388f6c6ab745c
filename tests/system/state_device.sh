#!/bin/bash
# The device's own state in the gateway: device_info and device_stats against what the gateway's
# setup and image hold, capabilities switched off and files and tools taken away while the daemon
# runs, system text with markup in it, setting the clock with set_state and its other outcomes,
# and query_descriptor.
. "$(dirname "$0")/lib.sh"

request() { printf '%s' "<rci_request>$1</rci_request>" | dev_exec rci - 2>/dev/null; }
wrap() { printf '<rci_reply version="1.1">%s</rci_reply>' "$1"; }
state() { request "<query_state>$1</query_state>"; }
# value XPATH REPLY: the text the expression selects in the reply, entities decoded.
value() { printf '%s' "$2" | dev_exec xmllint --xpath "string($1)" - 2>/dev/null; }
# The device id of the gateway's eth0 and wlan0: eight zero bytes, the MAC's first three bytes,
# ff ff, its last three.
eth0_id=00000000-00000000-020000ff-ff000001
wlan0_id=00000000-00000000-020000ff-ff000002
caps=/etc/vexa/sim/capabilities
temperature=/sys/devices/platform/mx28-hwmon.0/temp0_input

check_values() {
    local reply
    check_equal "device_info shows the gateway's interfaces, files and tools" "$(wrap "<query_state><device_info><deviceid>$eth0_id</deviceid><hostname>gateway</hostname><productid>VX-GW-410</productid><model>Vexa Gateway</model><firmware>vexa-gw 3.2.1.7 2024-04-18 release</firmware><firmwareversion>3.2.1.7</firmwareversion><pythonversion>2.7.3</pythonversion></device_info></query_state>")" \
        "$(state '<device_info/>')"
    reply=$(state '<device_stats/>')
    check_equal "totalmem" "$(dev_exec awk '$1 == "MemTotal:" { printf "%.0f", $2 * 1024 }' /proc/meminfo)" \
        "$(value //totalmem "$reply")"
    local drift=$(($(dev_exec date -d "$(value //xmldatetime "$reply")" +%s) - $(dev_exec date +%s)))
    check_equal "xmldatetime is the gateway's time" 1 $((drift * drift <= 25))
    check_equal "the rest of device_stats" "<firmwarestate>running</firmwarestate><cputemp>45</cputemp><servicehours>1234</servicehours></device_stats></query_state></rci_reply>" \
        "${reply#*</freemem>}"
}

check_faults() {
    local reply
    dev_exec cp $caps /tmp/caps
    dev_exec sed -i -e '/^pyas$/d' -e '/^svch$/d' -e '/^ethernet$/d' $caps
    reply=$(state '')
    if [[ $reply != *"<python_info>"* && $reply != *"<servicehours>"* ]]; then pass; else
        fail "a capability switched off takes its group or field along" "" "$reply"; fi
    check_equal "without ethernet the id comes from wlan0" "$wlan0_id" "$(value //deviceid "$reply")"
    check_equal "with neither ethernet nor wifi there is none" "$(wrap '<query_state><device_info><deviceid></deviceid></device_info></query_state>')" \
        "$(dev_exec sed -i '/^wifi$/d' $caps; state '<device_info><deviceid/></device_info>')"
    dev_exec cp /tmp/caps $caps
    dev_exec mv /etc/version /usr/sbin/boardenv /usr/bin/python /tmp/
    dev_exec rm $temperature /userfs/system/service_hours
    check_equal "missing files and tools: empty elements" "$(wrap '<query_state><device_info><productid></productid><firmware></firmware><pythonversion></pythonversion></device_info><device_stats><cputemp><error id="2"><desc>Descriptor not available</desc><hint>cputemp</hint></error></cputemp><servicehours>0</servicehours></device_stats></query_state>')" \
        "$(state '<device_info><productid/><firmware/><pythonversion/></device_info><device_stats><cputemp/><servicehours/></device_stats>')"
    check_equal "a full query with them missing parses and reaches the last group" 1 \
        "$(value 'count(//bluetooth_state)' "$(state '')")"
    check_equal "service hours that cannot be read are empty" "$(wrap '<query_state><device_stats><servicehours></servicehours></device_stats></query_state>')" \
        "$(dev_exec mkdir /userfs/system/service_hours; state '<device_stats><servicehours/></device_stats>')"
    dev_exec sh -c "mv /tmp/version /etc/; mv /tmp/boardenv /usr/sbin/; mv /tmp/python /usr/bin/; echo 45 >$temperature
        rmdir /userfs/system/service_hours"
}

# The system's texts with markup, control characters, non-ASCII text and bytes that are not UTF-8
# in them (the hostname tool admits no markup in a name; the kernel does).
check_system_text() {
    dev_exec sh -c 'printf "%s" "gw<1>&\"" >/proc/sys/kernel/hostname
        printf "product_id=<b>\r\001caf\303\251&x\377\376\n" >/var/run/sim/out/boardenv
        printf "Python 2.7<rc>\r&\n" >/var/run/sim/out/python
        sed -i "/^name=/d" /etc/vexa/sim/capabilities
        printf "name=Vexa <GW> caf\303\251\n" >>/etc/vexa/sim/capabilities
        sed -i -e "s/^PRODUCT_VERSION=.*/PRODUCT_VERSION=\"1<2>\&3\"/" -e "s/^PRODUCT_BUILDSTRING=.*/PRODUCT_BUILDSTRING=\"/" /etc/version
        printf "12\001\377<\n" >/userfs/system/service_hours'
    # From the first byte that is not UTF-8 on, the library copies bytes as they stand: those that
    # are not UTF-8 become "?".
    check_equal "entity-encoded for the request: model, product id, Python version; a lone quote is an empty value" \
        "$(wrap '<query_state><device_info><model>Vexa &lt;GW&gt; caf&#xE9;</model><productid>&lt;b&gt;&#13;caf&#xE9;&amp;x&#255;?</productid><firmware></firmware><pythonversion>2.7&lt;rc&gt;&#13;&amp;</pythonversion></device_info></query_state>')" \
        "$(state '<device_info><model/><productid/><firmware/><pythonversion/></device_info>')"
    check_equal "beyond the minimum: the host name, firmware version and service hours escaped" \
        "$(wrap '<query_state><device_info><hostname>gw&lt;1&gt;&amp;"</hostname><firmwareversion>1&lt;2&gt;&amp;3</firmwareversion></device_info><device_stats><servicehours>12??&lt;</servicehours></device_stats></query_state>')" \
        "$(state '<device_info><hostname/><firmwareversion/></device_info><device_stats><servicehours/></device_stats>')"
    dev_exec sh -c 'hostname gateway; rm /var/run/sim/out/boardenv /var/run/sim/out/python'
}

set_request() { request "<set_state>$1</set_state>"; }
set_error() { wrap "<set_state><error id=\"$1\"><desc>$2</desc><hint>set_state</hint></error></set_state>"; }
set_clock() { set_request "<device_stats><xmldatetime>$1</xmldatetime></device_stats>"; }

# The date texts of xmldatetime: VALUE|ERROR (none when the clock is set, else its id and text)|
# what shows it: the date tool's command line, or the daemon's log line.
clock_rows=(
    '2024-05-01T10:20:30+0000||/bin/date -u -s 2024-05-01 10:20:30'
    '2024-05-01T10:20:31-0000||/bin/date -u -s 2024-05-01 10:20:31'
    '2024-05-01T10:20:32||/bin/date -s 2024-05-01 10:20:32'
    '2024-05-01T10:20:33Z||/bin/date -s 2024-05-01 10:20:33Z'
    '2024-05-01T10:20:34+0200|3 Unknown error|err vexacsd[*]: Invalid set_time: 2024-05-01 10:20:34+0200'
    '2024-05-01T10:20:35-0100|3 Unknown error|err vexacsd[*]: Invalid set_time: 2024-05-01 10:20:35-0100'
    '2024-05-01 10:20:36+0000|3 Unknown error|err vexacsd[*]: Invalid set_timeT: 2024-05-01 10:20:36+0000'
    # Only the first 31 characters count: the offset after them is not seen, and the parent would
    # refuse so long a text.
    "2024-05-01T10:20:37$(printf '%12s')+0200||err vexacsd[*]: Letter 'd' not sent, the parent would refuse it: Invalid date set length 32, ignored."
    '|1 Value missing|err vexacsd[*]: set_state no value'
)

check_set_state() {
    local row value error shown
    for row in "${clock_rows[@]}"; do
        IFS='|' read -r value error shown <<<"$row"
        check_equal "set the clock to '$value'" "$(if [ -z "$error" ]; then wrap '<set_state><device_stats/></set_state>'; else set_error "${error%% *}" "${error#* }"; fi)" \
            "$(set_clock "$value")"
        if [[ $shown == /* ]]; then check_call "$shown"; else check_log "$shown"; fi
    done
    check_equal "success echoes every child but text, comments and instructions included" "$(wrap '<set_state><comment/><device_stats/><pi/></set_state>')" \
        "$(set_request '<!--x--><device_stats><xmldatetime>2024-05-01T10:20:38+0000</xmldatetime></device_stats><?pi x?>')"
    check_equal "uptime" "$(set_error 4 "Not settable")" "$(set_request '<device_stats><uptime>5</uptime></device_stats>')"
    check_equal "a field no row has" "$(set_error 2 "Unable to update state")" "$(set_request '<device_stats><nosuch>5</nosuch></device_stats>')"
    check_contains "a quote is refused by the schema, then reported" \
        '</hint></error><error id="3"><desc>Unknown error</desc><hint>set_state</hint></error></set_state>' \
        "$(set_clock "2024-05-01T1';/sbin/reboot;'")"
    dev_exec mv /usr/share/validation/set_state.rng /tmp/
    check_equal "missing schema: 6, then 3; and the next command runs" \
        "$(wrap '<set_state><error id="6"><desc>Set state validation file not found</desc><hint>set_state</hint></error><error id="3"><desc>Unknown error</desc><hint>set_state</hint></error></set_state><query_state><device_stats><firmwarestate>running</firmwarestate></device_stats></query_state>')" \
        "$(request '<set_state><device_stats><xmldatetime>2024-05-01T10:20:30+0000</xmldatetime></device_stats></set_state><query_state><device_stats><firmwarestate/></device_stats></query_state>')"
}

folder=/usr/share/descriptors
# streamed FILE: the reply that carries FILE unchanged, trailing line feeds included.
streamed() {
    local content
    content=$(dev_exec sh -c 'cat "$1"; printf x' - "$folder/$1")
    wrap "<query_descriptor>${content%x}</query_descriptor>"
}
not_available() {
    wrap "<query_descriptor><error id=\"2\"><desc>Descriptor not available</desc><hint>$folder/$1</hint></error></query_descriptor>"
}

check_descriptors() {
    dev_exec sh -c "printf '<u a=\"&amp;\"/>' >'$folder/query_descriptor-do_command@target#update.xml'
        printf '<s/>\n\n' >'$folder/query_descriptor-query_setting-serial-tcp_serial.xml'"
    local row shape
    for row in "|query_descriptor.xml" ' <!-- x --><do_command target="update" firmware="f"/><query_state/>|query_descriptor-do_command@target#update.xml' \
        '<query_setting>text<serial index="2"><baud/></serial><tcp_serial/></query_setting>|query_descriptor-query_setting-serial-tcp_serial.xml'; do
        shape=${row%%|*}
        check_equal "descriptor for '$shape'" "$(streamed "${row#*|}")" "$(request "<query_descriptor>$shape</query_descriptor>")"
    done
    check_equal "a missing descriptor" "$(not_available query_descriptor-query_state-nosuch.xml)" \
        "$(request '<query_descriptor><query_state><nosuch/></query_state></query_descriptor>')"
    check_equal "a path in a value reads nothing" "$(not_available 'query_descriptor-do_command@target#/../../../etc/version.xml')" \
        "$(request '<query_descriptor><do_command target="/../../../etc/version"/></query_descriptor>')"
    check_equal "beyond the minimum: markup and a long value in the name, escaped and cut in the hint" 1 \
        "$(value 'count(//query_descriptor/error)' "$(request "<query_descriptor><do_command target=\"&lt;&amp;$(printf '%0300d' 0)\"/></query_descriptor>")")"
}

device_up
check_values
check_faults
check_system_text
check_set_state
check_descriptors
