#!/bin/bash
# What a client reads of the statistics groups: every block equals what the gateway's libraries,
# kernel counters, serial ports, chrony files and configuration show; a missing file, port or
# library leaves the rest of the reply intact, and every reply parses.
. "$(dirname "$0")/lib.sh"

device_up

query() { rci_reply "<rci_request version=\"1.1\"><query_state>$1</query_state></rci_request>"; }
wrap() { printf '<rci_reply version="1.1"><query_state>%s</query_state></rci_reply>' "$1"; }
sim_data() { dev_exec cat "/etc/vexa/sim/$1"; }
set_file() { printf '%s' "$2" | dev_exec sh -c "cat >'$1'"; }
check_parses() {
    if printf '%s' "$2" | xmllint --noout - 2>/dev/null; then pass; else fail "$1: parses" xml "$2"; fi
}

check_library_groups() {
    check_equal "cellular, link monitor and Bluetooth as their libraries give them" \
        "$(wrap "<mobile_stats>$(sim_data cellmgr.xml)</mobile_stats><tethra_info>$(sim_data tethra.xml)</tethra_info><bluetooth_state><address>$(sim_data bluetooth_address)</address></bluetooth_state>")" \
        "$(query '<mobile_stats/><tethra_info/><bluetooth_state/>')"
    set_file /etc/vexa/sim/cellmgr.xml '<modem><state>searching'
    set_file /etc/vexa/sim/bluetooth_address '00:07:80:c0:ff:ee'
    dev_exec rm /etc/vexa/sim/tethra.xml
    check_equal "read anew: a broken fragment as text, none at all as an empty group" \
        "$(wrap '<mobile_stats>&lt;modem&gt;&lt;state&gt;searching</mobile_stats><tethra_info></tethra_info><bluetooth_state><address>00:07:80:c0:ff:ee</address></bluetooth_state>')" \
        "$(query '<mobile_stats/><tethra_info/><bluetooth_state/>')"
}

check_gps() {
    check_contains "the image's configured position" $'\n<gps_stats name="static">\n<state>Enabled With Fix</state>\n<description>Statically Configured Parameters</description>\n<latitude>44.977753</latitude>\n<longitude>-93.265015</longitude>\n' \
        "$(query '<gps_stats/>')"
    printf '%s' '<set_setting><static_position><enable>off</enable></static_position></set_setting>' |
        dev_exec rci --write - >/dev/null
    check_equal "a disabled position is left out" "$(wrap '')" "$(query '<gps_stats/>')"
}

check_serial_ports() {
    check_equal "ports without counters; the second port's TCP port has a peer in netstat" \
        "$(wrap $'<serial_stats index="1">\n</serial_stats>\n<serial_stats index="2">\n<status>connected</status>\n<ip>10.0.0.5</ip>\n</serial_stats>\n')" \
        "$(query '<serial_stats index="1"/>')"
    set_file /var/run/sim/out/netstat $'tcp 0 0 192.168.1.50:40112 192.168.1.9:2101 ESTABLISHED\n'
    dev_exec rm /dev/ttyR0
    check_equal "a port that cannot be opened is left out; a peer port is no connection" \
        "$(wrap $'<serial_stats index="2">\n<status>disconnected</status>\n</serial_stats>\n')" \
        "$(query '<serial_stats/>')"
}

dev_counters() { dev_exec sed -n "s/^ *$1: *//p" /proc/net/dev | tr -s ' '; }

check_counters() {
    local before after reply
    before=$(dev_counters eth0) && reply=$(query '<net_stats/>') && after=$(dev_counters eth0)
    local received=$(sed -n 's|.*<ifinoctets>\([0-9]*\)<.*|\1|p' <<<"$reply")
    check_equal "eth0's received bytes as the kernel counts them, ${before%% *} .. ${after%% *}" \
        yes "$([ "${received:--1}" -ge "${before%% *}" ] && [ "$received" -le "${after%% *}" ] && echo yes)"
    check_equal "one element per counter of /proc/net/snmp, in its order" \
        "$(dev_exec awk 'NR % 2 { s = tolower($1); sub(":", "", s)
            for (i = 2; i <= NF; i++) print "<" s tolower($i) ">" }' /proc/net/snmp)" \
        "$(grep -oE '<(ip|icmp|icmpmsg|tcp|udp|udplite)[a-z0-9]+>' <<<"$reply")"
    check_contains "the bus's interface counters" "<canbus index=\"1\">"$'\n'"<ifinoctets>" \
        "$(query '<can_info/>')"
    dev_exec sed -i 's/^can=.*/can=0x2/' /etc/vexa/sim/capabilities
    check_contains "a bus without an interface has no counters" \
        $'</canbus>\n<canbus index="2">\n</canbus>\n</can_info>' "$(query '<can_info/>')"
}

check_time_servers() {
    check_equal "servers of both chrony files, indented and commented lines and pools left out" \
        "$(wrap $'<time_server_info>\n<server index="1"><name>time1.example.net</name></server>\n<server index="2"><name>time2.example.net</name></server>\n<server index="3"><name>192.168.1.1</name></server>\n</time_server_info>\n')" \
        "$(query '<time_server_info/>')"
    set_file /var/run/chrony_ntp.conf $'server <ntp>&1\n'
    dev_exec rm /etc/chrony/local.conf
    check_equal "one file missing, markup in a name" \
        "$(wrap $'<time_server_info>\n<server index="1"><name>&lt;ntp&gt;&amp;1</name></server>\n</time_server_info>\n')" \
        "$(query '<time_server_info/>')"
}

check_library_groups
check_gps
check_serial_ports
check_counters
check_time_servers
check_parses "a full query after every change" "$(query '')"
