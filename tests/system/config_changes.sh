#!/bin/bash
# Configuration changes in the gateway. set_setting: the replies of the error ids, the worklog
# lines, the regeneration, hostile and oversized values, faults of the device's files, and the
# local configuration write and read over the bus. set_factory_default: full and custom reverts of
# the configuration, the certificate and identity files, the custom defaults, and the parent's
# password revert before the regeneration.
. "$(dirname "$0")/lib.sh"

# request XML [rci options...]: the reply to <rci_request>XML</rci_request>.
request() { rci_reply "<rci_request>$1</rci_request>" "${@:2}" 2>/dev/null; }
wrap() { printf '<rci_reply version="1.1">%s</rci_reply>' "$1"; }
# error_reply ID DESC [ATTRIBUTES]: a set_setting reply holding one error element.
error_reply() { wrap "<set_setting${3:-}><error id=\"$1\"><desc>$2</desc></error></set_setting>"; }
done_reply=$(wrap '<set_factory_default></set_factory_default>')
worklog() { dev_exec cat /etc/vexa/db/generate_list; }
clear_worklog() { dev_exec sh -c ': >/etc/vexa/db/generate_list'; }
local_sum() { dev_exec md5sum /etc/vexa/db/local | cut -d' ' -f1; }
generations() { calls | grep -cxF "/usr/bin/python /etc/vexa/generate/generate.pyc"; }
generations_are() { [ "$(generations)" = "$1" ]; }
value() { dev_exec rci --read 2 "$1"; }

check_change() {
    local before
    before=$(generations)
    check_equal "two settings changed" "$(wrap '<set_setting><tcp_serial index="2"/><system/></set_setting>')" \
        "$(request '<set_setting><tcp_serial index="2"><port>2102</port></tcp_serial>
                    <system><description>Well 7</description><location/></system></set_setting>' --cloud)"
    check_equal "worklog: the paths of the changed elements" \
        $'/config/tcp_serial[2]/port\n/config/system/description\n/config/system/location' "$(worklog)"
    check_soon "one regeneration" "$((before + 1))" 5 calls generations_are "$((before + 1))"
    check_equal "saved, readable by all, no new file left" "1 644 " \
        "$(dev_exec sh -c 'grep -c "<description>Well 7</description>" /etc/vexa/db/local;
                           stat -c %a /etc/vexa/db/local; ls /etc/vexa/db/local.new 2>/dev/null' | tr '\n' ' ')"
    clear_worklog
    check_equal "a request that changes nothing" "$(wrap '<set_setting><system/></set_setting>')" \
        "$(request '<set_setting><system><contact/></system></set_setting>')"
    check_equal "writes no worklog line" "" "$(worklog)"
}

check_refusals() {
    local sum
    sum=$(local_sum)
    clear_worklog
    check_equal "source=defaults: 1" "$(error_reply 1 "Invalid source specified" ' source="defaults"')" \
        "$(request '<set_setting source="defaults"><dns><primary>9.9.9.9</primary></dns></set_setting>')"
    check_equal "no children: 3" "$(error_reply 3 "Unable to read new values")" "$(request '<set_setting/>')"
    check_equal "the file is untouched" "$sum" "$(local_sum)"
    check_equal "no worklog line" "" "$(worklog)"
}

check_hostile() {
    local sum huge reply
    sum=$(local_sum)
    rci_reply '<!DOCTYPE r [<!ENTITY e SYSTEM "file:///etc/shadow"><!ENTITY a "aaaaaaaa"><!ENTITY b "&a;&a;&a;&a;&a;&a;&a;&a;">]><rci_request><set_setting><system><description>&e;</description><location>&b;&b;&b;</location></system></set_setting></rci_request>' >/dev/null 2>&1
    check_equal "entities are neither loaded nor expanded into the file" "0" \
        "$(dev_exec grep -c -e root: -e aaaa /etc/vexa/db/local)"
    huge=$(head -c 1048576 /dev/zero | tr '\0' x)
    reply=$(request "<set_setting><system><description>$huge</description></system></set_setting>")
    check_contains "a 1 MiB value is refused by the schema" '<error id="7">' "$reply"
    check_equal "and never cut into the file" "$sum" "$(local_sum)"
}

# Faults of the device's own files: worklog, new file.
check_file_faults() {
    local sum
    sum=$(local_sum)
    dev_exec rm /etc/vexa/db/generate_list
    check_equal "missing worklog: 5" "$(error_reply 5 "Unable to open configuration worklog")" \
        "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>')"
    dev_exec install -o nimbod -g nimbod -m 644 /dev/null /etc/vexa/db/generate_list
    dev_exec install -d -o nimbod -g nimbod /etc/vexa/db/local.new
    check_equal "new file cannot be written: 6" "$(error_reply 6 "Internal error")" \
        "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>')"
    dev_exec rmdir /etc/vexa/db/local.new
    check_equal "the file is untouched by both" "$sum" "$(local_sum)"
}

check_local_access() {
    local before
    sleep 1
    before=$(generations)
    check_equal "rci --write" "<set_setting><system/></set_setting>" \
        "$(printf '<set_setting><system><location>Barn</location></system></set_setting>' | dev_exec rci --write -)"
    check_equal "seen by rci --read" "<config><location>Barn</location></config>" "$(value /config/system/location)"
    check_equal "write-only settings are hidden from local reads" "<config></config>" "$(value /config/wireless/psk)"
    check_soon "a local write regenerates" "$((before + 1))" 5 calls generations_are "$((before + 1))"
    check_contains "a setting read-only for local scripts is refused" "(result -9)" \
        "$(printf '<set_setting><system><serial_number>X</serial_number></system></set_setting>' |
            dev_exec rci --write - 2>&1 >/dev/null)"
}

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
        "$(request '<set_factory_default action="custom" except="snmp,,bogus,ethernet"/>' --cloud)"
    check_equal "kept groups follow the default groups in the order named, dns once" \
        'system static_position interface name="wlan0" interface name="wlan1" wireless tcp_serial tcp_serial serial serial nimbo python snmp interface name="eth0" ethernet dns ' \
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

# Runs last: the engine cannot roll back without its local file and ends.
check_lost_local_file() {
    dev_exec rm /etc/vexa/db/local
    request '<set_setting><system><serial_number>X</serial_number></system></set_setting>' >/dev/null
    check_log "emerg vexacsd[*]: Unable to parse file '/etc/vexa/db/local'"
    check_equal "the daemon ends with the engine" "0" "$(daemon_exit_status 10)"
}

device_up
check_change
check_refusals
check_hostile
check_file_faults
check_local_access
check_custom_revert
check_certificate_exceptions
check_custom_defaults
check_lost_local_file
