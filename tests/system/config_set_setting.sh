#!/bin/bash
# set_setting in the gateway: the reply of every error id, the worklog lines, the regeneration
# request to the parent (deferred and immediate), hostile and oversized values, and the local
# configuration write and read over the bus.
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
    check_equal "saved" "1" "$(dev_exec grep -c '<description>Well 7</description>' /etc/vexa/db/local)"
    check_equal "no new file left" "" "$(dev_exec ls /etc/vexa/db/local.new 2>/dev/null)"
    check_log "info vexacsd[*]: Validation of RCI set_setting request successful"
    check_log "info vexacsd[*]: Config write successful"
    clear_worklog
    check_equal "a request that changes nothing" "$(wrap '<set_setting><system/></set_setting>')" \
        "$(request '<set_setting><system><contact/></system></set_setting>')"
    check_equal "writes no worklog line" "" "$(worklog)"
}

check_deferred() {
    local before
    clear_worklog
    sleep 1
    before=$(generations)
    check_equal "deferred reply" "$(wrap '<set_setting action="deferred"><dns/></set_setting>')" \
        "$(request '<set_setting action="deferred"><dns><primary>1.1.1.1</primary></dns></set_setting>')"
    check_equal "deferred is logged" "/config/dns/primary" "$(worklog)"
    check_equal "deferred is stored" "<config><primary>1.1.1.1</primary></config>" "$(value /config/dns/primary)"
    sleep 1
    check_equal "deferred: no regeneration" "$before" "$(generations)"
    request '<set_setting><dns><secondary>1.0.0.1</secondary></dns></set_setting>' >/dev/null
    check_soon "the next immediate change regenerates once" "$((before + 1))" 5 calls generations_are \
        "$((before + 1))"
    sleep 1
    check_equal "exactly once" "$((before + 1))" "$(generations)"
}

check_refusals() {
    local sum
    sum=$(local_sum)
    clear_worklog
    check_equal "source=defaults: 1" "$(error_reply 1 "Invalid source specified" ' source="defaults"')" \
        "$(request '<set_setting source="defaults"><dns><primary>9.9.9.9</primary></dns></set_setting>')"
    check_equal "no children: 3" "$(error_reply 3 "Unable to read new values")" "$(request '<set_setting/>')"
    check_equal "schema: one error 7 per message" \
        "$(wrap '<set_setting><error id="7"><desc>Did not expect element bogus there
</desc><hint>bogus</hint></error></set_setting>')" \
        "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns><bogus/></set_setting>')"
    check_log "err vexacsd[*]: RCI set_setting validation failed on node <bogus>: Did not expect element bogus there"
    check_equal "read-only for python: 9, nothing stored" \
        "$(wrap '<set_setting><error id="9"><desc>Item is not writable</desc><hint>serial_number</hint></error></set_setting>')" \
        "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns>
                    <system><serial_number>X</serial_number></system></set_setting>')"
    check_equal "the good setting is not stored" "<config><primary>1.1.1.1</primary></config>" \
        "$(value /config/dns/primary)"
    check_equal "the file is untouched" "$sum" "$(local_sum)"
    check_equal "worklog lines written before the refusal stay" "/config/dns/primary" "$(worklog)"
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

# Faults of the device's own files: schema, worklog, new file.
check_file_faults() {
    local sum
    sum=$(local_sum)
    dev_exec mv /usr/share/validation/set_setting.rng /tmp/set_setting.rng
    check_equal "missing schema: 8" "$(error_reply 8 "Set setting validation file could not be found")" \
        "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>')"
    check_log "err vexacsd[*]: RelaxNG validation, set_setting.rng file not present"
    dev_exec mv /tmp/set_setting.rng /usr/share/validation/set_setting.rng
    dev_exec rm /etc/vexa/db/generate_list
    check_equal "missing worklog: 5" "$(error_reply 5 "Unable to open configuration worklog")" \
        "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>')"
    check_log "err vexacsd[*]: Unable to open configuration worklog(-1). (2)"
    dev_exec install -o nimbod -g nimbod -m 644 /dev/null /etc/vexa/db/generate_list
    dev_exec install -d -o nimbod -g nimbod /etc/vexa/db/local.new
    check_equal "new file cannot be written: 6" "$(error_reply 6 "Internal error")" \
        "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>')"
    check_log "err vexacsd[*]: Unable to save new config! 21"
    dev_exec rmdir /etc/vexa/db/local.new
    check_equal "the file is untouched by all three" "$sum" "$(local_sum)"
}

check_local_access() {
    local before
    sleep 1
    before=$(generations)
    check_equal "rci --write" "<set_setting><system/></set_setting>" \
        "$(printf '<set_setting><system><location>Barn</location></system></set_setting>' | dev_exec rci --write -)"
    check_equal "seen by rci --read" "<config><location>Barn</location></config>" "$(value /config/system/location)"
    check_contains "seen by query_setting" "<location>Barn</location>" \
        "$(request '<query_setting><system/></query_setting>' --cloud)"
    check_soon "a local write regenerates" "$((before + 1))" 5 calls generations_are "$((before + 1))"
    check_equal "a read-only setting for python" \
        "rci: the change was refused with set_setting error 9, shown in the reply (result -9)" \
        "$(printf '<set_setting><system><serial_number>X</serial_number></system></set_setting>' |
            dev_exec rci --write - 2>&1 >/dev/null)"
    check_equal "a text that does not parse" \
        "rci: not a set_setting document with settings (result -1)" \
        "$(printf '<set_setting><dns>' | dev_exec rci --write - 2>&1 >/dev/null)"
}

# The grammar is plain RelaxNG: the standard tool reads it and judges as the daemon does.
check_grammar_with_xmllint() {
    local as_request='sed "s#<config>#<set_setting>#; s#</config>#</set_setting>#" /etc/vexa/db/cfd >/tmp/r.xml'
    check_status "xmllint admits the defaults as a request" 0 dev_exec sh -c \
        "$as_request && xmllint --noout --relaxng /usr/share/validation/set_setting.rng /tmp/r.xml"
    check_status "xmllint refuses a wrong value" 3 dev_exec sh -c \
        "echo '<set_setting><snmp><port>0</port></snmp></set_setting>' >/tmp/r.xml &&
         xmllint --noout --relaxng /usr/share/validation/set_setting.rng /tmp/r.xml"
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
check_deferred
check_refusals
check_hostile
check_file_faults
check_local_access
check_grammar_with_xmllint
check_lost_local_file
device_down

# A configuration without groups.
overlay=$(mktemp -d)
trap 'rm -rf "$overlay"; finish' EXIT
mkdir -p "$overlay/etc/vexa/db"
echo "<config/>" >"$overlay/etc/vexa/db/local"
device_up --with "$overlay"
check_equal "empty configuration: 4" "$(error_reply 4 "Empty config")" \
    "$(request '<set_setting><dns><primary>9.9.9.9</primary></dns></set_setting>')"
