#!/bin/bash
# What a client reads of the gateway's interfaces: every interface_info and dns_info value equals
# what the gateway's kernel, network files and Wi-Fi tools show; a missing file or tool, a link
# that goes down, an address that goes away or hostile tool output changes only its own field,
# and every reply parses.
. "$(dirname "$0")/lib.sh"

device_up

query() { rci_reply "<rci_request version=\"1.1\"><query_state>$1</query_state></rci_request>"; }
wrap() { printf '<rci_reply version="1.1"><query_state>%s</query_state></rci_reply>' "$1"; }
set_file() { printf "$2" | dev_exec sh -c "cat >'$1'"; }
check_parses() {
    if printf '%s' "$2" | xmllint --noout - 2>/dev/null; then pass; else fail "$1: parses" xml "$2"; fi
}
on_off() { if "$@" >/dev/null 2>&1; then echo on; else echo off; fi; }

# The address fields of interface NAME as the gateway's own tools show them.
shown_address_fields() {
    local name=$1 address prefix=32 gateway mask method
    read -r address prefix < <(dev_exec ip -4 -o addr show "$name" | awk '{ sub("/", " ", $4); print $4 }')
    gateway=$(dev_exec ip -4 route show default dev "$name" | awk '{ print $3 }')
    mask=$(((0xffffffff << (32 - ${prefix:-32})) & 0xffffffff))
    [ -n "$address" ] || mask=0
    printf '<mac>%s</mac><link>%s</link>' "$(dev_exec cat "/sys/class/net/$name/address")" \
        "$(on_off dev_exec grep -qx up "/sys/class/net/$name/operstate")"
    for method in dhcp static; do
        printf '<%s>%s</%s>' $method "$(on_off dev_exec grep -q "^iface $name inet $method" \
            /etc/network/interfaces)" $method
    done
    printf '<ip>%s</ip><subnet>%d.%d.%d.%d</subnet><gateway>%s</gateway>' "${address:-0.0.0.0}" \
        $((mask >> 24)) $((mask >> 16 & 255)) $((mask >> 8 & 255)) $((mask & 255)) "${gateway:-0.0.0.0}"
}

# shown_interfaces WLAN0_WIFI_FIELDS WLAN1_AP_FIELDS: the three interface_info blocks.
shown_interfaces() {
    local power
    printf '<interface_info name="eth0">%s<eth_speed>%s</eth_speed><eth_duplex>%s</eth_duplex>' \
        "$(shown_address_fields eth0)" "$(dev_exec cat /sys/class/net/eth0/speed)" \
        "$(dev_exec cat /sys/class/net/eth0/duplex)"
    if power=$(dev_exec head -c 1 /var/run/gpio/ac_pwr_off/value 2>/dev/null); then
        printf '<eth_power>%s</eth_power>\n' "$([ "$power" = 1 ] && echo on || echo off)"
    fi
    printf '</interface_info><interface_info name="wlan0">%s%s</interface_info>' \
        "$(shown_address_fields wlan0)" "$1"
    printf '<interface_info name="wlan1">%s%s</interface_info>' "$(shown_address_fields wlan1)" "$2"
}

wifi='<wlan_ssid>Barn &lt;2&gt; &amp; co</wlan_ssid><wlan_bssid> 02:00:00:aa:bb:cc</wlan_bssid><wlan_freq>5.18 GHz</wlan_freq><wlan_rate>144 Mb/s</wlan_rate><wlan_rssi>-58 dBm</wlan_rssi><wlan_power>17 dBm</wlan_power>'
no_wifi='<wlan_ssid></wlan_ssid><wlan_bssid></wlan_bssid><wlan_freq></wlan_freq><wlan_rate></wlan_rate><wlan_rssi></wlan_rssi><wlan_power></wlan_power>'
ap='<wlan_ap_ssid>pump &lt;house&gt;</wlan_ap_ssid><wlan_ap_bssid>02:00:00:00:00:03</wlan_ap_bssid><wlan_ap_pairwise_cipher>CCMP TKIP</wlan_ap_pairwise_cipher><wlan_ap_group_cipher>TKIP</wlan_ap_group_cipher><wlan_ap_key_mgmt>WPA-PSK</wlan_ap_key_mgmt>'
binary_ap='<wlan_ap_ssid></wlan_ap_ssid><wlan_ap_bssid></wlan_ap_bssid><wlan_ap_pairwise_cipher></wlan_ap_pairwise_cipher><wlan_ap_group_cipher></wlan_ap_group_cipher><wlan_ap_key_mgmt>&lt;&amp;&gt;??</wlan_ap_key_mgmt>'
dns() { printf '<dns index="%d"><name>%s</name></dns>' 1 "$1" 2 "$2" 3 0.0.0.0 4 0.0.0.0 5 0.0.0.0 \
    6 0.0.0.0 7 0.0.0.0; }

check_values_as_shown() {
    set_file /var/run/sim/out/iwconfig 'wlan0  ESSID:"Barn <2> & co"  Frequency:5.18 GHz  Access Point: 02:00:00:aa:bb:cc  \n  Bit Rate=144 Mb/s   Tx-Power=17 dBm  Signal level=-58 dBm  \n'
    set_file /var/run/sim/out/wlan_status_tool 'interface=wlan1\nssid="pump <house>"\nbssid=02:00:00:00:00:03\npairwise_cipher=CCMP TKIP\ngroup_cipher=TKIP\nkey_mgmt=WPA-PSK\n'
    local reply
    reply=$(query '<interface_info/><dns_info/>')
    check_equal "every interface and DNS value as the gateway shows it" \
        "$(wrap "$(shown_interfaces "$wifi" "$ap")<dns_info>$(dns 8.8.8.8 8.8.4.4)</dns_info>")" "$reply"
    check_contains "the veth address, route, files" '<dhcp>on</dhcp><static>off</static><ip>192.168.1.50</ip><subnet>255.255.255.0</subnet><gateway>192.168.1.1</gateway><eth_speed>10000' "$reply"
    check_parses "markup in an SSID" "$reply"
}

check_dns_fallbacks() {
    dev_exec rm /var/run/dns.conf
    check_equal "without dns.conf the resolver file" \
        "$(wrap "<dns_info>$(dns 192.168.1.1 0.0.0.0)</dns_info>")" "$(query '<dns_info/>')"
    dev_exec rm /etc/resolv.conf
    check_equal "without either an empty dns_info, the next group intact" \
        "$(wrap '<dns_info></dns_info><interface_info name="eth0"><link>on</link></interface_info>')" \
        "$(query '<dns_info/><interface_info name="eth0"><link/></interface_info>')"
}

check_missing_tools_and_files() {
    dev_exec sh -c 'echo 1 >/var/run/sim/exit/iwconfig'
    check_equal "a Wi-Fi tool that fails still has its output used" \
        "$(wrap '<interface_info name="wlan0"><wlan_rate>144 Mb/s</wlan_rate></interface_info>')" \
        "$(query '<interface_info name="wlan0"><wlan_rate/></interface_info>')"
    { printf 'key_mgmt=<&>\001\377\n'; head -c 100000 /dev/zero | tr '\0' '\377'; } |
        dev_exec sh -c 'cat >/var/run/sim/out/wlan_status_tool'
    dev_exec rm /usr/sbin/iwconfig /etc/network/interfaces /var/run/gpio/ac_pwr_off/value
    local reply
    reply=$(query '<interface_info/>')
    check_equal "no Wi-Fi tool, binary tool output, no interfaces file, no power switch" \
        "$(wrap "$(shown_interfaces "$no_wifi" "$binary_ap")")" "$reply"
    check_parses "binary tool output" "$reply"
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

check_values_as_shown
check_dns_fallbacks
check_missing_tools_and_files
check_link_address_and_capability
