#!/bin/bash
# What a client reads of the gateway's interfaces: interface_info and dns_info show what the
# gateway's veth interfaces (set up with fixed MACs and /24 addresses), network files and Wi-Fi
# tools hold; a missing file or tool, a link that goes down, an address that goes away or hostile
# tool output changes only its own field.
. "$(dirname "$0")/lib.sh"

device_up

query() { rci_reply "<rci_request version=\"1.1\"><query_state>$1</query_state></rci_request>"; }
wrap() { printf '<rci_reply version="1.1"><query_state>%s</query_state></rci_reply>' "$1"; }
set_file() { printf "$2" | dev_exec sh -c "cat >'$1'"; }
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
    set_file /var/run/sim/out/iwconfig 'wlan0  ESSID:"Barn <2> & co"  Frequency:5.18 GHz  Access Point: 02:00:00:aa:bb:cc  \n  Bit Rate=144 Mb/s   Tx-Power=17 dBm  Signal level=-58 dBm  \n'
    set_file /var/run/sim/out/wlan_status_tool 'interface=wlan1\nssid="pump <house>"\nbssid=02:00:00:00:00:03\npairwise_cipher=CCMP TKIP\ngroup_cipher=TKIP\nkey_mgmt=WPA-PSK\n'
    check_equal "every interface and DNS value as the gateway shows it" \
        "$(wrap "$(iface eth0 01 on off 192.168.1.50 192.168.1.1 "$eth<eth_power>on</eth_power>"$'\n')$(iface wlan0 02 on off 192.168.2.50 0.0.0.0 "$wifi")$(iface wlan1 03 off on 192.168.100.1 0.0.0.0 "$ap")<dns_info>$(dns 8.8.8.8 8.8.4.4)</dns_info>")" \
        "$(query '<interface_info/><dns_info/>')"
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
    { printf 'key_mgmt=<&>\001\377\n'; head -c 100000 /dev/zero | tr '\0' '\377'; } |
        dev_exec sh -c 'cat >/var/run/sim/out/wlan_status_tool'
    dev_exec rm /usr/sbin/iwconfig /etc/network/interfaces /var/run/gpio/ac_pwr_off/value
    check_equal "no Wi-Fi tool, binary tool output, no interfaces file, no power switch" \
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

check_values_as_shown
check_dns_fallbacks
check_missing_tools_and_files
check_link_address_and_capability
