#!/bin/bash
# The device's own state in the gateway: device_info and device_stats against what the gateway's
# setup and image hold, capabilities switched off and files and tools taken away while the daemon
# runs, system text with markup in it, setting the clock with set_state, and query_descriptor.
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
    dev_exec cp /tmp/caps $caps
    dev_exec mv /etc/version /usr/sbin/boardenv /usr/bin/python /tmp/
    dev_exec rm $temperature /userfs/system/service_hours
    check_equal "missing files and tools: empty elements" "$(wrap '<query_state><device_info><productid></productid><firmware></firmware><pythonversion></pythonversion></device_info><device_stats><cputemp><error id="2"><desc>Descriptor not available</desc><hint>cputemp</hint></error></cputemp><servicehours>0</servicehours></device_stats></query_state>')" \
        "$(state '<device_info><productid/><firmware/><pythonversion/></device_info><device_stats><cputemp/><servicehours/></device_stats>')"
    check_equal "a full query with them missing parses and reaches the last group" 1 \
        "$(value 'count(//python_info)' "$(state '')")"
    dev_exec sh -c "mv /tmp/version /etc/; mv /tmp/boardenv /usr/sbin/; mv /tmp/python /usr/bin/; echo 45 >$temperature"
}

# The hostname tool admits no markup in a name; the kernel does.
check_markup() {
    dev_exec sh -c 'printf "%s" "gw<1>&\"" >/proc/sys/kernel/hostname
        echo "product_id=<b>&amp;x" >/var/run/sim/out/boardenv
        echo "Python 2.7<rc>&" >/var/run/sim/out/python
        sed -i "s/^PRODUCT_VERSION=.*/PRODUCT_VERSION=\"1<2>\&3\"/" /etc/version
        printf "12\001\377<\n" >/userfs/system/service_hours'
    local reply
    reply=$(state '<device_info><hostname/><productid/><firmwareversion/><pythonversion/></device_info><device_stats><servicehours/></device_stats>')
    # The reply parses, and each value reads back as the system wrote it.
    check_equal "markup from the system" 'gw<1>&"|<b>&amp;x|1<2>&3|2.7<rc>&|12??<' \
        "$(value 'concat(//hostname, "|", //productid, "|", //firmwareversion, "|", //pythonversion, "|", //servicehours)' "$reply")"
    dev_exec sh -c 'hostname gateway; rm /var/run/sim/out/boardenv /var/run/sim/out/python'
}

set_clock() { request "<set_state><device_stats><xmldatetime>$1</xmldatetime></device_stats></set_state>"; }
set_error() { wrap "<set_state><error id=\"$1\"><desc>$2</desc><hint>set_state</hint></error></set_state>"; }

check_set_state() {
    check_equal "set the clock in UTC" "$(wrap '<set_state><device_stats/></set_state>')" "$(set_clock 2024-05-01T10:20:30+0000)"
    check_call "/bin/date -u -s 2024-05-01 10:20:30"
    check_equal "an offset other than zero" "$(set_error 3 "Unknown error")" "$(set_clock 2024-05-01T10:20:30+0200)"
    check_equal "uptime" "$(set_error 4 "Not settable")" "$(request '<set_state><device_stats><uptime>5</uptime></device_stats></set_state>')"
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
    check_equal "markup and a long value in the name: an error in a reply that parses" 1 \
        "$(value 'count(//query_descriptor/error)' "$(request "<query_descriptor><do_command target=\"&lt;&amp;$(printf '%0300d' 0)\"/></query_descriptor>")")"
}

device_up
check_values
check_faults
check_markup
check_set_state
check_descriptors
