#!/bin/bash
# set_factory_default in the gateway: full and custom reverts of the configuration, the
# certificate and identity files, the custom defaults, and the parent's password revert before
# the regeneration.
. "$(dirname "$0")/lib.sh"

request() { printf '%s' "<rci_request>$1</rci_request>" | dev_exec rci "${@:2}" - 2>/dev/null; }
wrap() { printf '<rci_reply version="1.1">%s</rci_reply>' "$1"; }
done_reply=$(wrap '<set_factory_default></set_factory_default>')
worklog() { dev_exec cat /etc/vexa/db/generate_list; }
clear_worklog() { dev_exec sh -c ': >/etc/vexa/db/generate_list'; }
value() { dev_exec rci --read 2 "$1"; }
certs() { dev_exec sh -c 'cd /userfs/certs && ls -d */* 2>/dev/null | sort | tr "\n" " "'; }
put_certs() {
    dev_exec sh -c 'for f in identity/device.pem socket_1/client.pem socket_2/ca.pem wifi_ca/ca.pem; do
        mkdir -p /userfs/certs/${f%/*} && echo pem >/userfs/certs/$f; done; chown -R nimbod:nimbod /userfs/certs'
}
# The top-level groups of the saved configuration, in order, with their name attribute.
groups() {
    dev_exec sh -c 'xmllint --noblanks --format /etc/vexa/db/local' |
        grep -oE '^  <[a-z_]+( name="[^"]*")?' | sed 's/^  <//' | tr '\n' ' '
}
# The parent's password revert runs the factory tool; the regeneration runs the generate script.
revert_calls() {
    calls | grep -E '^/sbin/boardenv --print upasswd$|^/usr/bin/python /etc/vexa/generate/generate.pyc$'
}
revert_calls_are() { [ "$(revert_calls | tail -n 2 | tr '\n' '|')" = "$1" ]; }
expected_pair="/sbin/boardenv --print upasswd|/usr/bin/python /etc/vexa/generate/generate.pyc|"

change_kept_groups() {
    request '<set_setting><ethernet><speed>100</speed></ethernet><snmp><enable>on</enable></snmp>
             <dns><primary>1.1.1.1</primary></dns><wireless><ssid>field</ssid></wireless>
             <interface name="eth0"><mtu>1400</mtu></interface></set_setting>' --cloud >/dev/null
}

check_custom_revert() {
    put_certs
    change_kept_groups
    sleep 1
    dev_exec sh -c ': >/var/run/sim/calls.log'
    clear_worklog
    check_equal "custom revert reply" "$done_reply" \
        "$(request '<set_factory_default action="custom" except="ethernet,snmp"/>' --cloud)"
    check_equal "kept groups follow the default groups, dns once" \
        'system static_position interface name="wlan0" interface name="wlan1" wireless tcp_serial tcp_serial serial serial nimbo python interface name="eth0" ethernet snmp dns ' \
        "$(groups)"
    check_equal "kept groups keep their values, the others are reverted" \
        "<config><ssid>vexa-gateway</ssid><mtu>1400</mtu><primary>1.1.1.1</primary></config>" \
        "$(value '/config/interface[@name="eth0"]/mtu | /config/dns/primary | /config/wireless/ssid')"
    check_equal "the revert is one worklog line" "/config" "$(worklog)"
    check_equal "every certificate removed" "" "$(certs)"
    check_soon "password revert, then regeneration" "$expected_pair" 5 revert_calls revert_calls_are "$expected_pair"
}

check_certificate_exceptions() {
    put_certs
    check_equal "identity kept" "$done_reply" \
        "$(request '<set_factory_default action="custom" except="identity"/>' --cloud)"
    check_equal "only identity files remain" "identity/device.pem " "$(certs)"
    check_equal "configuration fully reverted" "<config><speed>auto</speed></config>" "$(value /config/ethernet/speed)"
    put_certs
    check_equal "certs without custom" "$done_reply" "$(request '<set_factory_default except="certs"/>' --cloud)"
    check_equal "is ignored: all removed" "" "$(certs)"
    check_equal "full revert copies the defaults" "" \
        "$(dev_exec cmp /etc/vexa/db/cfd /etc/vexa/db/local 2>&1)"
}

check_custom_defaults() {
    printf '%s' '<rci_request><set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>
        <set_setting><tcp_serial index="2"><port>2200</port></tcp_serial></set_setting></rci_request>' |
        dev_exec sh -c 'mkdir -p /userfs/custom && cat >/userfs/custom/config_custom.rci'
    clear_worklog
    check_equal "custom defaults applied" "$done_reply" "$(request '<set_factory_default/>' --cloud)"
    check_equal "both commands" "<config><primary>9.9.9.9</primary><port>2200</port></config>" \
        "$(value '/config/dns/primary | /config/tcp_serial[2]/port')"
    check_equal "worklog: revert, then each change" \
        $'/config\n/config/dns/primary\n/config/tcp_serial[2]/port' "$(worklog)"
    printf '%s' '<rci_request><set_setting><dns><primary>9.9.9.8</primary></dns></set_setting>
        <query_setting/><set_setting><dns><secondary>9.9.9.7</secondary></dns></set_setting></rci_request>' |
        dev_exec sh -c 'cat >/userfs/custom/config_custom.rci'
    check_equal "a command other than set_setting" \
        "$(wrap '<set_factory_default><error id="7"><desc>set_factory_default: invalid RCI command in custom defaults.</desc><hint>query_setting</hint></error></set_factory_default>')" \
        "$(request '<set_factory_default/>' --cloud)"
    check_equal "commands before it stay applied, commands after it are not" \
        "<config><primary>9.9.9.8</primary><secondary>8.8.4.4</secondary></config>" \
        "$(value '/config/dns/primary | /config/dns/secondary')"
}

device_up
check_custom_revert
check_certificate_exceptions
check_custom_defaults
