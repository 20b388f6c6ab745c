#!/bin/bash
# The modem's update over the air as the cloud sees it (cloud-send FTP_OTA), and the password
# change as a client sees it (do_command target "set_password"), checked against the gateway's own
# accounts through the daemon's PAM service.
. "$(dirname "$0")/lib.sh"

device_up

ota() { dev_exec cloud-send FTP_OTA; }

log_length() { dev_log | wc -l; }

# --- over the air (what is refused and how a request is split: the fuzz target's concern) ---
check_equal "six texts" "0 Success" "$(printf 'ftp.example.com\0user\0\0dir\0image.bin\0-1\0ignored' | ota)"
check_call "cellmgr_fw_update_ota -1 ftp.example.com user  dir image.bin -1"

dev_exec sh -c 'echo -1 >/var/run/sim/exit/cellmgr_fw_update_ota'
check_equal "a modem that cannot" "2 Error: not supported by modem" "$(printf 'a\0b\0c\0d\0e\0f' | ota)"
check_call "nimbo_data_send_response 2 Error: not supported by modem"

# --- the password change ---
change() {
    rci_reply "<rci_request><do_command target=\"set_password\">$1</do_command></rci_request>"
}

wrapped() { printf '<rci_reply version="1.1"><do_command target="set_password">%s</do_command></rci_reply>' "$1"; }

error() { wrapped "<error id=\"$1\"><desc>$2</desc><hint>$3</hint></error>"; }

authenticates() { printf '%s\n' "$2" | dev_exec pamtester vexacsd "$1" authenticate >/dev/null 2>&1; }

check_equal "python's password changes" "$(wrapped '')" \
    "$(change '<login>python</login><current_password>python</current_password><password>n3w secret</password>')"
check_status "the new password authenticates" 0 authenticates python "n3w secret"
check_status "admin's is untouched" 0 authenticates admin admin

check_equal "a wrong current password" "$(error 4 'Update failed' password)" \
    "$(change '<login>admin</login><current_password>wrong</current_password><password>another secret</password>')"
check_status "leaves the password" 0 authenticates admin admin

mark=$(($(log_length) + 1))
check_equal "seven characters" "$(error 6 'Password too short (eight character minimum)' password)" \
    "$(change '<login>python</login><current_password>n3w secret</current_password><password>1234567</password>')"
check_equal "a missing element" "$(error 5 'Missing parameter' password)" \
    "$(change '<login>python</login><current_password>x</current_password>')"
check_equal "a payload of 80 bytes" "$(error 6 'Invalid parameter' login/password)" \
    "$(change "<login>python</login><current_password>n3w secret</current_password><password>$(printf '%062d' 0)</password>")"
check_equal "none of them reached the parent" "" "$(dev_log | tail -n +"$mark" | grep "Parent received 'p'")"
check_equal "one of 79 bytes does" "$(error 4 'Update failed' password)" \
    "$(change "<login>python</login><current_password>wrong pass</current_password><password>$(printf '%061d' 0)</password>")"
check_log "info vexacsd[*]: Parent received 'p'."

check_equal "root" "$(error 4 'Update failed' password)" \
    "$(change '<login>root</login><current_password>x</current_password><password>12345678</password>')"
check_log "crit vexacsd[*]: Invalid user for change request, ignored."

# An account whose password field begins with "*" is not changed, whatever the request says.
dev_exec usermod -p '*locked' admin
mark=$(($(log_length) + 1))
check_equal "a locked account" "$(error 4 'Update failed' password)" \
    "$(change '<login>admin</login><current_password>admin</current_password><password>12345678</password>')"
check_equal "is refused before PAM" "crit vexacsd: Invalid user for change request, ignored." \
    "$(dev_log | tail -n +"$mark" | grep -v "Parent poll\|Parent read\|Parent received" | sed -E 's/\[[0-9]+\]:/:/')"
check_equal "and stays locked" "*locked" "$(dev_exec getent shadow admin | cut -d: -f2)"

# --- without a cellular modem no FTP_OTA callback is registered ---
dev_exec sed -i '/^cell$/d' /etc/vexa/sim/capabilities
dev_exec kill -TERM "$(parent_pid)"
daemon_exit_status >/dev/null || fatal "the daemon did not stop"
daemon_start -n
wait_until 10 daemon_serving || fatal "the daemon without the cell capability is not serving"
check_status "nobody takes an OTA request" 1 ota </dev/null
