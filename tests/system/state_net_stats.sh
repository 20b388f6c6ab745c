#!/bin/bash
# What a client reads of the gateway's interfaces and statistics groups. interface_info and
# dns_info show what the gateway's veth interfaces (set up with fixed MACs and /24 addresses),
# network files and Wi-Fi tools hold; the statistics groups equal what the gateway's libraries,
# kernel counters, serial ports, chrony files and configuration show. A missing file, tool, port or
# library, a link that goes down, an address that goes away or hostile tool output changes only
# its own field, and every reply parses.
. "$(dirname "$0")/lib.sh"

device_up

query() { rci_reply "<rci_request version=\"1.1\"><query_state>$1</query_state></rci_request>"; }
wrap() { printf '<rci_reply version="1.1"><query_state>%s</query_state></rci_reply>' "$1"; }
sim_data() { dev_exec cat "/etc/vexa/sim/$1"; }
set_file() { printf '%s' "$2" | dev_exec sh -c "cat >'$1'"; }
check_parses() {
    if printf '%s' "$2" | xmllint --noout - 2>/dev/null; then pass; else fail "$1: parses" xml "$2"; fi
}
# iface NAME MAC-BYTE DHCP STATIC IP GATEWAY FIELDS: an interface_info block of a link that is up.
iface() {
    printf '<interface_info name="%s"><mac>02:00:00:00:00:%s</mac><link>on</link><dhcp>%s</dhcp><static>%s</static><ip>%s</ip><subnet>255.255.255.0</subnet><gateway>%s</gateway>%s</interface_info>' "$@"
}

eth='<eth_speed>10000</eth_speed><eth_duplex>full</eth_duplex>'
wifi='<wlan_ssid>Barn &lt;2&gt; &amp; co</wlan_ssid><wlan_bssid> 02:00:00:aa:bb:cc</wlan_bssid><wlan_freq>5.18 GHz</wlan_freq><wlan_rate>144 Mb/s</wlan_rate><wlan_rssi>-58 dBm</wlan_rssi><wlan_power>17 dBm</wlan_power>'
no_wifi='<wlan_ssid></wlan_ssid><wlan_bssid></wlan_bssid><wlan_freq></wlan_freq><wlan_rate></wlan_rate><wlan_rssi></wlan_rssi><wlan_power></wlan_power>'
ap='<wlan_ap_ssid>pump &lt;house&gt;</wlan_ap_ssid><wlan_ap_bssid>02:00:00:00:00:03</wlan_ap_bssid><wlan_ap_pairwise_cipher>CCMP TKIP</wlan_ap_pairwise_cipher><wlan_ap_group_cipher>TKIP</wlan_ap_group_cipher><wlan_ap_key_mgmt>WPA-PSK</wlan_ap_key_mgmt>'
binary_ap='<wlan_ap_ssid></wlan_ap_ssid><wlan_ap_bssid></wlan_ap_bssid><wlan_ap_pairwise_cipher></wlan_ap_pairwise_cipher><wlan_ap_group_cipher></wlan_ap_group_cipher><wlan_ap_key_mgmt>&lt;&amp;&gt;??</wlan_ap_key_mgmt>'
dns() { printf '<dns index="%d"><name>%s</name></dns>' 1 "$1" 2 "$2" 3 0.0.0.0 4 0.0.0.0 5 0.0.0.0 \
    6 0.0.0.0 7 0.0.0.0; }

check_values_as_shown() {
    set_file /var/run/sim/out/iwconfig $'wlan0  ESSID:"Barn <2> & co"  Frequency:5.18 GHz  Access Point: 02:00:00:aa:bb:cc  \n  Bit Rate=144 Mb/s   Tx-Power=17 dBm  Signal level=-58 dBm  \n'
    set_file /var/run/sim/out/wlan_status_tool $'interface=wlan1\nssid="pump <house>"\nbssid=02:00:00:00:00:03\npairwise_cipher=CCMP TKIP\ngroup_cipher=TKIP\nkey_mgmt=WPA-PSK\n'
    check_equal "every interface and DNS value as the gateway shows it; beyond the minimum, markup in Wi-Fi names escaped" \
        "$(wrap "$(iface eth0 01 on off 192.168.1.50 192.168.1.1 "$eth<eth_power>on</eth_power>"$'\n')$(iface wlan0 02 on off 192.168.2.50 0.0.0.0 "$wifi")$(iface wlan1 03 off on 192.168.100.1 0.0.0.0 "$ap")<dns_info>$(dns 8.8.8.8 8.8.4.4)</dns_info>")" \
        "$(query '<interface_info/><dns_info/>')"
}

check_dns_fallbacks() {
    dev_exec rm /var/run/dns.conf
    check_equal "without dns.conf the resolver file" \
        "$(wrap "<dns_info>$(dns 192.168.1.1 0.0.0.0)</dns_info>")" "$(query '<dns_info/>')"
    check_equal "without either, an empty group" "$(wrap '<dns_info></dns_info>')" \
        "$(dev_exec rm /etc/resolv.conf; query '<dns_info/>')"
}

check_missing_tools_and_files() {
    { printf 'key_mgmt=<&>\001\377\n'; head -c 100000 /dev/zero | tr '\0' '\377'; } |
        dev_exec sh -c 'cat >/var/run/sim/out/wlan_status_tool'
    dev_exec rm /usr/sbin/iwconfig /etc/network/interfaces /var/run/gpio/ac_pwr_off/value
    check_equal "no Wi-Fi tool, no interfaces file, no power switch; beyond the minimum, binary tool output escaped" \
        "$(wrap "$(iface eth0 01 off off 192.168.1.50 192.168.1.1 "$eth")$(iface wlan0 02 off off 192.168.2.50 0.0.0.0 "$no_wifi")$(iface wlan1 03 off off 192.168.100.1 0.0.0.0 "$binary_ap")")" \
        "$(query '<interface_info/>')"
}

check_link_address_and_capability() {
    dev_exec ip addr flush dev wlan0
    dev_exec ip link set eth0 down
    local error='<error id="2"><desc>Descriptor not available</desc><hint>eth_speed</hint></error>'
    check_equal "no address; a link that is down: not running, no default route, no speed" \
        "$(wrap "<interface_info name=\"wlan0\"><ip>0.0.0.0</ip><subnet>0.0.0.0</subnet></interface_info><interface_info name=\"eth0\"><link>off</link><gateway>0.0.0.0</gateway><eth_speed>$error</eth_speed><ip>192.168.1.50</ip></interface_info>")" \
        "$(query '<interface_info name="wlan0"><ip/><subnet/></interface_info><interface_info name="eth0"><link/><gateway/><eth_speed/><ip/></interface_info>')"
    dev_exec sed -i '/^wifi$/d' /etc/vexa/sim/capabilities
    check_equal "the Wi-Fi client interface goes with its capability, at once" \
        "$(wrap '<interface_info name="eth0"><mac>02:00:00:00:00:01</mac></interface_info><interface_info name="wlan1"><mac>02:00:00:00:00:03</mac></interface_info>')" \
        "$(query '<interface_info><mac/></interface_info><interface_info name="wlan0"/>')"
}

check_library_groups() {
    check_equal "cellular, link monitor and Bluetooth as their libraries give them" \
        "$(wrap "<mobile_stats>$(sim_data cellmgr.xml)</mobile_stats><tethra_info>$(sim_data tethra.xml)</tethra_info><bluetooth_state><address>$(sim_data bluetooth_address)</address></bluetooth_state>")" \
        "$(query '<mobile_stats/><tethra_info/><bluetooth_state/>')"
    set_file /etc/vexa/sim/cellmgr.xml '<modem><state>searching'
    set_file /etc/vexa/sim/bluetooth_address '00:07:80:c0:ff:ee'
    dev_exec rm /etc/vexa/sim/tethra.xml
    check_equal "read anew: none at all as an empty group; beyond the minimum, a broken fragment as escaped text" \
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
    check_equal "ports without counters; the first port's service (the group without an index) idle, the second's with a peer" \
        "$(wrap $'<serial_stats index="1">\n<status>disconnected</status>\n</serial_stats>\n<serial_stats index="2">\n<status>connected</status>\n<ip>10.0.0.5</ip>\n</serial_stats>\n')" \
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
    check_equal "one file missing; beyond the minimum, markup in a name escaped" \
        "$(wrap $'<time_server_info>\n<server index="1"><name>&lt;ntp&gt;&amp;1</name></server>\n</time_server_info>\n')" \
        "$(query '<time_server_info/>')"
}

check_values_as_shown
check_dns_fallbacks
check_missing_tools_and_files
check_link_address_and_capability
check_library_groups
check_gps
check_serial_ports
check_counters
check_time_servers
check_parses "a full query after every change" "$(query '')"
