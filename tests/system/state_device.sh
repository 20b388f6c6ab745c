#!/bin/bash
# The device's own state in the gateway: device_info and device_stats against what the gateway's
# system shows, capabilities switched off and files and tools taken away while the daemon runs,
# system text with markup in it, setting the clock with set_state, and query_descriptor.
. "$(dirname "$0")/lib.sh"

request() { printf '%s' "<rci_request>$1</rci_request>" | dev_exec rci - 2>/dev/null; }
wrap() { printf '<rci_reply version="1.1">%s</rci_reply>' "$1"; }
# value XPATH REPLY: the text the expression selects in the reply, entities decoded.
value() { printf '%s' "$2" | dev_exec xmllint --xpath "string($1)" - 2>/dev/null; }
parses() { printf '%s' "$1" | dev_exec xmllint --noout - 2>/dev/null; }
check_parses() { if parses "$2"; then pass; else fail "$1: the reply parses" "well formed" "$2"; fi; }
# A value of a key in a file of the gateway, as lookup_key should read it.
file_key() { dev_exec sed -n "s/^$2=\"\\{0,1\\}\\([^\"]*\\)\"\\{0,1\\}\$/\\1/p" "$1" | head -n 1; }
# The device id that a MAC address gives: eight zero bytes, three bytes, ff ff, three bytes.
device_id() {
    local a b c d e f
    IFS=: read -r a b c d e f <<<"$1"
    printf '00000000-00000000-%s%s%sff-ff%s%s%s' "$a" "$b" "$c" "$d" "$e" "$f"
}
capabilities=/etc/vexa/sim/capabilities
drop_capability() { dev_exec sed -i "/^$1\\(=.*\\)\\{0,1\\}\$/d" "$capabilities"; }

check_device_info() {
    local expected python
    python=$(dev_exec sh -c 'python -V 2>&1')
    expected="<deviceid>$(device_id "$(dev_exec cat /sys/class/net/eth0/address)")</deviceid>"
    expected+="<hostname>$(dev_exec hostname)</hostname>"
    expected+="<productid>$(file_key /usr/lib/vexa-sim/out/boardenv product_id)</productid>"
    expected+="<model>$(file_key "$capabilities" name)</model>"
    expected+="<firmware>$(file_key /etc/version PRODUCT_BUILDSTRING)</firmware>"
    expected+="<firmwareversion>$(file_key /etc/version PRODUCT_VERSION)</firmwareversion>"
    expected+="<pythonversion>${python#Python }</pythonversion>"
    check_equal "device_info shows the gateway" \
        "$(wrap "<query_state><device_info>$expected</device_info></query_state>")" \
        "$(request '<query_state><device_info/></query_state>')"
    check_log "notice vexacsd[*]: Generated deviceId: $(device_id "$(dev_exec cat /sys/class/net/eth0/address)")"
}

# within WHAT A B LIMIT: |A - B| <= LIMIT (decimals allowed).
within() {
    if awk -v a="$2" -v b="$3" -v l="$4" 'BEGIN { d = a - b; exit !(a != "" && d <= l && -d <= l) }'; then
        pass
    else
        fail "$1" "within $4 of $3" "$2"
    fi
}

check_device_stats() {
    local reply total cpu
    reply=$(request '<query_state><device_stats/></query_state>')
    total=$(dev_exec awk '$1 == "MemTotal:" { printf "%.0f", $2 * 1024 }' /proc/meminfo)
    check_equal "totalmem is MemTotal in bytes" "$total" "$(value //totalmem "$reply")"
    within "used and free add up to the total" \
        "$(($(value //usedmem "$reply") + $(value //freemem "$reply")))" "$total" $((total / 20))
    cpu=$(value //cpu "$reply")
    if [[ $cpu =~ ^[0-9]+$ ]] && [ "$cpu" -le 100 ]; then pass; else fail "cpu in percent" "0-100" "$cpu"; fi
    within "uptime" "$(value //uptime "$reply")" "$(dev_exec cut -d' ' -f1 /proc/uptime)" 5
    within "xmldatetime is the gateway's time" \
        "$(dev_exec date -d "$(value //xmldatetime "$reply")" +%s)" "$(dev_exec date +%s)" 5
    within "datetime is the gateway's time" \
        "$(dev_exec date -d "$(value //datetime "$reply")" +%s)" "$(dev_exec date +%s)" 5
    check_equal "the rest of device_stats" \
        "<firmwarestate>running</firmwarestate><cputemp>$(dev_exec cat /sys/devices/platform/mx28-hwmon.0/temp0_input)</cputemp><servicehours>$(dev_exec cat /userfs/system/service_hours)</servicehours></device_stats></query_state></rci_reply>" \
        "${reply#*</freemem>}"
    check_equal "fields in request order, twice when asked twice" \
        "$(wrap '<query_state><device_stats><firmwarestate>running</firmwarestate><firmwarestate>running</firmwarestate></device_stats><device_info><hostname>gateway</hostname></device_info></query_state>')" \
        "$(request '<query_state><device_stats><firmwarestate a="1"/><nosuch/><firmwarestate/></device_stats><device_info><hostname/></device_info></query_state>')"
}

check_capabilities_switched_off() {
    dev_exec cp "$capabilities" /tmp/capabilities
    check_contains "python_info with pyas" "<python_info>" "$(request '<query_state/>')"
    drop_capability pyas
    drop_capability svch
    local reply
    reply=$(request '<query_state/>')
    if [[ $reply != *"<python_info>"* && $reply != *"<servicehours>"* ]]; then pass; else
        fail "without pyas and svch: no python_info, no servicehours" "neither" "$reply"
    fi
    check_contains "device_stats without servicehours" "</cputemp></device_stats>" "$reply"
    check_equal "the reply still starts with device_info" '<rci_reply version="1.1"><query_state><device_info><deviceid>' \
        "${reply%%<deviceid>*}<deviceid>"
    drop_capability ethernet
    check_equal "without ethernet the id comes from wlan0" \
        "$(device_id "$(dev_exec cat /sys/class/net/wlan0/address)")" \
        "$(value //deviceid "$(request '<query_state><device_info><deviceid/></device_info></query_state>')")"
    drop_capability wifi
    drop_capability name
    check_equal "without ethernet, wifi and a name: empty elements" \
        "$(wrap '<query_state><device_info><deviceid></deviceid><model></model></device_info></query_state>')" \
        "$(request '<query_state><device_info><deviceid/><model/></device_info></query_state>')"
    check_log 'err vexacsd[*]: capability "name" not found'
    dev_exec cp /tmp/capabilities "$capabilities"
}

check_missing_files_and_tools() {
    dev_exec mv /etc/version /tmp/version
    dev_exec mv /usr/sbin/boardenv /usr/bin/python /tmp/
    dev_exec rm /sys/devices/platform/mx28-hwmon.0/temp0_input /userfs/system/service_hours
    check_equal "device_info: empty elements for what is missing" \
        "$(wrap '<query_state><device_info><productid></productid><firmware></firmware><firmwareversion></firmwareversion><pythonversion></pythonversion><hostname>gateway</hostname></device_info></query_state>')" \
        "$(request '<query_state><device_info><productid/><firmware/><firmwareversion/><pythonversion/><hostname/></device_info></query_state>')"
    check_log "err vexacsd[*]: open /etc/version errno=2"
    check_equal "device_stats: the error element inside cputemp, then 0 service hours" \
        "$(wrap '<query_state><device_stats><cputemp><error id="2"><desc>Descriptor not available</desc><hint>cputemp</hint></error></cputemp><servicehours>0</servicehours></device_stats></query_state>')" \
        "$(request '<query_state><device_stats><cputemp/><servicehours/></device_stats></query_state>')"
    check_log "err vexacsd[*]: Error 2 reading /sys/devices/platform/mx28-hwmon.0/temp0_input"
    local reply
    reply=$(request '<query_state/>')
    check_parses "full query with files and tools missing" "$reply"
    check_contains "and the rest of it is there" "</cputemp><servicehours>0</servicehours></device_stats>" "$reply"
    check_contains "up to the last group" "<python_info>" "$reply"
    dev_exec mv /tmp/version /etc/version
    dev_exec mv /tmp/boardenv /usr/sbin/boardenv
    dev_exec mv /tmp/python /usr/bin/python
    dev_exec sh -c 'echo 45 >/sys/devices/platform/mx28-hwmon.0/temp0_input'
}

check_markup_in_system_text() {
    local reply
    # The hostname tool admits no such name; the kernel does.
    dev_exec sh -c "printf '%s' 'gw<1>&\"' >/proc/sys/kernel/hostname"
    dev_exec sh -c 'echo "product_id=<b>&amp;x" >/var/run/sim/out/boardenv
        echo "Python 2.7<rc>&" >/var/run/sim/out/python
        sed -i "s/^PRODUCT_VERSION=.*/PRODUCT_VERSION=\"1<2>\&3\"/" /etc/version
        sed -i "s/^name=.*/name=A\&B <C>/" /etc/vexa/sim/capabilities
        printf "12\001\377<\n" >/userfs/system/service_hours'
    reply=$(request '<query_state><device_info/><device_stats><servicehours/></device_stats></query_state>')
    check_parses "markup from the system" "$reply"
    check_equal "host name" 'gw<1>&"' "$(value //hostname "$reply")"
    check_equal "tool output" "<b>&amp;x" "$(value //productid "$reply")"
    check_equal "python's output" "2.7<rc>&" "$(value //pythonversion "$reply")"
    check_equal "file content" "1<2>&3" "$(value //firmwareversion "$reply")"
    check_equal "capability value" "A&B <C>" "$(value //model "$reply")"
    check_equal "control and broken bytes become ?" "12??<" "$(value //servicehours "$reply")"
    dev_exec hostname gateway
    dev_exec rm /var/run/sim/out/boardenv /var/run/sim/out/python
}

set_clock() {
    request "<set_state><device_stats><xmldatetime>$1</xmldatetime></device_stats></set_state>"
}
set_state_error() { wrap "<set_state><error id=\"$1\"><desc>$2</desc><hint>set_state</hint></error></set_state>"; }

check_set_state() {
    local done_reply
    done_reply=$(wrap '<set_state><device_stats/></set_state>')
    check_equal "+0000" "$done_reply" "$(set_clock 2024-05-01T10:20:30+0000)"
    check_call "/bin/date -u -s 2024-05-01 10:20:30"
    check_call "/sbin/hwclock -u -w"
    check_equal "-0000" "$done_reply" "$(set_clock 2024-06-02T11:21:31-0000)"
    check_call "/bin/date -u -s 2024-06-02 11:21:31"
    check_equal "Z" "$done_reply" "$(set_clock 2024-07-03T12:22:32Z)"
    check_call "/bin/date -s 2024-07-03 12:22:32Z"
    check_equal "no zone: local time" "$done_reply" "$(set_clock 2024-08-04T13:23:33)"
    check_call "/bin/date -s 2024-08-04 13:23:33"
    check_equal "+0200" "$(set_state_error 3 "Unknown error")" "$(set_clock 2024-05-01T10:20:30+0200)"
    check_log "err vexacsd[*]: Invalid set_time: 2024-05-01 10:20:30+0200"
    check_equal "no T" "$(set_state_error 3 "Unknown error")" "$(set_clock '2024-05-01 10:20:30')"
    check_log "err vexacsd[*]: Invalid set_timeT: 2024-05-01 10:20:30"
    check_equal "empty" "$(set_state_error 1 "Value missing")" "$(set_clock '')"
    check_equal "uptime" "$(set_state_error 4 "Not settable")" \
        "$(request '<set_state><device_stats><uptime>5</uptime></device_stats></set_state>')"
    check_equal "a group without fields" "$(set_state_error 2 "Unable to update state")" \
        "$(request '<set_state><device_stats> </device_stats></set_state>')"
    check_log "err vexacsd[*]: Unable to update state"
    check_equal "set_state, then query_state in the same request" \
        "$(wrap '<set_state><device_stats/></set_state><query_state><device_stats><firmwarestate>running</firmwarestate></device_stats></query_state>')" \
        "$(request '<set_state><device_stats><xmldatetime>2024-05-01T10:20:30+0000</xmldatetime></device_stats></set_state><query_state><device_stats><firmwarestate/></device_stats></query_state>')"
    local reply
    reply=$(set_clock "2024-05-01T1';/sbin/reboot;'")
    check_contains "a quote is refused by the schema" '<error id="5">' "$reply"
    check_contains "and then reported" "<error id=\"3\"><desc>Unknown error</desc><hint>set_state</hint></error></set_state>" "$reply"
    check_log "err vexacsd[*]: RCI set_state validation failed on node <xmldatetime>: Element xmldatetime has extra content: text"
    if calls_have /sbin/reboot; then fail "nothing reboots" "no /sbin/reboot" "called"; else pass; fi
    dev_exec mv /usr/share/validation/set_state.rng /tmp/set_state.rng
    check_equal "missing schema: 6, then 3, and the next command runs" \
        "$(wrap '<set_state><error id="6"><desc>Set state validation file not found</desc><hint>set_state</hint></error><error id="3"><desc>Unknown error</desc><hint>set_state</hint></error></set_state><query_state><device_stats><firmwarestate>running</firmwarestate></device_stats></query_state>')" \
        "$(request '<set_state><device_stats><xmldatetime>2024-05-01T10:20:30+0000</xmldatetime></device_stats></set_state><query_state><device_stats><firmwarestate/></device_stats></query_state>')"
    check_log "err vexacsd[*]: RelaxNG schema file, set_state.rng, not present"
    dev_exec mv /tmp/set_state.rng /usr/share/validation/set_state.rng
}

descriptors=/usr/share/descriptors
# streamed FILE: the reply that carries FILE unchanged, trailing line feeds included.
streamed() {
    local content
    content=$(dev_exec sh -c 'cat "$1"; printf x' - "$descriptors/$1")
    wrap "<query_descriptor>${content%x}</query_descriptor>"
}
descriptor() { request "<query_descriptor>$1</query_descriptor>"; }

check_descriptors() {
    local shape file
    for shape in "|query_descriptor.xml" "<query_setting/>|query_descriptor-query_setting.xml" \
        "<set_setting/>|query_descriptor-set_setting.xml" \
        "<query_state/>|query_descriptor-query_state.xml" \
        "<set_state/>|query_descriptor-set_state.xml" \
        "<do_command/>|query_descriptor-do_command.xml"; do
        file=${shape#*|}
        check_equal "descriptor $file" "$(streamed "$file")" "$(descriptor "${shape%%|*}")"
        check_parses "descriptor $file" "$(descriptor "${shape%%|*}")"
    done
    dev_exec sh -c "printf '<u a=\"&amp;\"/>' >'$descriptors/query_descriptor-do_command@target#update.xml'
        printf '<s/>\n\n' >'$descriptors/query_descriptor-query_setting-serial-tcp_serial.xml'
        : >'$descriptors/query_descriptor-query_state-device_stats.xml'"
    check_equal "first attribute only, first element only, comments passed over" \
        "$(streamed 'query_descriptor-do_command@target#update.xml')" \
        "$(descriptor ' <!-- x --><do_command target="update" firmware="f"/><query_state/>')"
    check_equal "child elements one level deep, their attributes unused" \
        "$(streamed 'query_descriptor-query_setting-serial-tcp_serial.xml')" \
        "$(descriptor '<query_setting>text<serial index="2"><baud/></serial><tcp_serial/></query_setting>')"
    check_equal "an empty descriptor" "$(wrap '<query_descriptor></query_descriptor>')" \
        "$(descriptor '<query_state><device_stats/></query_state>')"
    check_equal "a missing descriptor names its full path" \
        "$(wrap "<query_descriptor><error id=\"2\"><desc>Descriptor not available</desc><hint>$descriptors/query_descriptor-query_state-nosuch.xml</hint></error></query_descriptor>")" \
        "$(descriptor '<query_state><nosuch/></query_state>')"
    check_log "err vexacsd[*]: Error 2 reading $descriptors/query_descriptor-query_state-nosuch.xml"
    check_equal "a value with a path reads nothing outside the folder" \
        "$(wrap "<query_descriptor><error id=\"2\"><desc>Descriptor not available</desc><hint>$descriptors/query_descriptor-do_command@target#/../../../../etc/version.xml</hint></error></query_descriptor>")" \
        "$(descriptor '<do_command target="/../../../../etc/version"/>')"
    check_parses "markup and a long value in the name" \
        "$(descriptor "<do_command target=\"&lt;&amp;$(printf '%0300d' 0)\"/>")"
}

device_up
check_device_info
check_device_stats
check_capabilities_switched_off
check_missing_files_and_tools
check_markup_in_system_text
check_set_state
check_descriptors
device_down
