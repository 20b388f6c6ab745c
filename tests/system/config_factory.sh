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
parent_letters() { dev_log | grep -oE "Parent received '.'" | tr -d '\n'; }
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
    check_equal "ethernet kept" "<config><speed>100</speed></config>" "$(value /config/ethernet/speed)"
    check_equal "eth0 kept" "<config><mtu>1400</mtu></config>" "$(value '/config/interface[@name="eth0"]/mtu')"
    check_equal "snmp kept" "<config><enable>on</enable></config>" "$(value /config/snmp/enable)"
    check_equal "dns kept" "<config><primary>1.1.1.1</primary></config>" "$(value /config/dns/primary)"
    check_equal "wireless reverted" "<config><ssid>vexa-gateway</ssid></config>" "$(value /config/wireless/ssid)"
    check_equal "the revert is one worklog line" "/config" "$(worklog)"
    check_equal "every certificate removed" "" "$(certs)"
    check_soon "password revert, then regeneration" "$expected_pair" 5 revert_calls revert_calls_are "$expected_pair"
    check_log "warning vexacsd[*]: set_factory_default, custom revert with exceptions 'ethernet,snmp'"
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

# Files the engine may not remove: the failure is logged and the later removal skipped.
check_removal_failure() {
    put_certs
    dev_exec chown root:root /userfs/certs/identity
    check_equal "the request still completes" "$done_reply" "$(request '<set_factory_default/>' --cloud)"
    check_log "err vexacsd[*]: Identity revert failed, exit status 1"
    check_equal "nothing removed after the failure" \
        "identity/device.pem socket_1/client.pem socket_2/ca.pem wifi_ca/ca.pem " "$(certs)"
    dev_exec chown nimbod:nimbod /userfs/certs/identity
}

check_refused() {
    local before
    before=$(parent_letters)
    check_equal "action=revert is refused alone" \
        "$(wrap '<error id="5"><desc>set_factory_default: partial revert to defaults is not a valid command.</desc><hint>Invalid parameter</hint></error>')" \
        "$(request '<set_factory_default action="revert"/>')"
    sleep 1
    check_equal "and asks nothing of the parent" "$before" "$(parent_letters)"
}

check_custom_defaults() {
    printf '%s' '<rci_request><set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>
        <set_setting><tcp_serial index="2"><port>2200</port></tcp_serial></set_setting></rci_request>' |
        dev_exec sh -c 'mkdir -p /userfs/custom && cat >/userfs/custom/config_custom.rci'
    clear_worklog
    check_equal "custom defaults applied" "$done_reply" "$(request '<set_factory_default/>' --cloud)"
    check_equal "first command" "<config><primary>9.9.9.9</primary></config>" "$(value /config/dns/primary)"
    check_equal "second command" "<config><port>2200</port></config>" "$(value '/config/tcp_serial[2]/port')"
    check_equal "worklog: revert, then each change" \
        $'/config\n/config/dns/primary\n/config/tcp_serial[2]/port' "$(worklog)"
    printf '%s' '<rci_request><set_setting><dns><primary>9.9.9.8</primary></dns></set_setting>
        <query_setting/><set_setting><dns><secondary>9.9.9.7</secondary></dns></set_setting></rci_request>' |
        dev_exec sh -c 'cat >/userfs/custom/config_custom.rci'
    sleep 1
    dev_exec sh -c ': >/var/run/sim/calls.log'
    check_equal "a command other than set_setting" \
        "$(wrap '<set_factory_default><error id="7"><desc>set_factory_default: invalid RCI command in custom defaults.</desc><hint>query_setting</hint></error></set_factory_default>')" \
        "$(request '<set_factory_default/>' --cloud)"
    check_equal "commands before it stay applied" "<config><primary>9.9.9.8</primary></config>" \
        "$(value /config/dns/primary)"
    check_equal "commands after it are not" "<config><secondary>8.8.4.4</secondary></config>" \
        "$(value /config/dns/secondary)"
    check_soon "F and g all the same" "$expected_pair" 5 revert_calls revert_calls_are "$expected_pair"
}

device_up
check_custom_revert
check_certificate_exceptions
check_removal_failure
check_refused
check_custom_defaults
