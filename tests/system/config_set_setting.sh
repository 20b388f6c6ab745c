#!/bin/bash
# set_setting in the gateway: the replies of the error ids, the worklog lines, the regeneration,
# hostile and oversized values, faults of the device's files, and the local configuration write and
# read over the bus.
. "$(dirname "$0")/lib.sh"

# send TEXT [rci options...]: the reply to the request text.
send() {
    local text=$1
    shift
    printf '%s' "$text" | dev_exec rci "$@" - 2>/dev/null
}
# request XML [rci options...]: the reply to <rci_request>XML</rci_request>.
request() { send "<rci_request>$1</rci_request>" "${@:2}"; }
wrap() { printf '<rci_reply version="1.1">%s</rci_reply>' "$1"; }
# error_reply ID DESC [ATTRIBUTES]: a set_setting reply holding one error element.
error_reply() { wrap "<set_setting${3:-}><error id=\"$1\"><desc>$2</desc></error></set_setting>"; }
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
    check_equal "stored" "<config><port>2102</port></config>" "$(value '/config/tcp_serial[2]/port')"
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
    reply=$(send '<!DOCTYPE r [<!ENTITY e SYSTEM "file:///etc/shadow"><!ENTITY a "aaaaaaaa"><!ENTITY b "&a;&a;&a;&a;&a;&a;&a;&a;">]><rci_request><set_setting><system><description>&e;</description><location>&b;&b;&b;</location></system></set_setting></rci_request>')
    check_equal "entities are neither loaded nor expanded into the file" "0" \
        "$(dev_exec grep -c -e root: -e aaaa /etc/vexa/db/local)"
    check_contains "and the request is answered" "<rci_reply" "$reply"
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
check_lost_local_file
