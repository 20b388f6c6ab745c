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
# change LOGIN CURRENT NEW: the reply to do_command target "set_password" with these texts.
change() {
    rci_reply "<rci_request><do_command target=\"set_password\"><login>$1</login><current_password>$2</current_password><password>$3</password></do_command></rci_request>"
}
wrapped() { printf '<rci_reply version="1.1"><do_command target="set_password">%s</do_command></rci_reply>' "$1"; }
error() { wrapped "<error id=\"$1\"><desc>$2</desc><hint>$3</hint></error>"; }
failed=$(error 4 'Update failed' password)
authenticates() { printf '%s\n' "$2" | dev_exec pamtester vexacsd "$1" authenticate >/dev/null 2>&1; }

check_equal "python's password changes" "$(wrapped '')" "$(change python python 'n3w secret')"
check_status "the new password authenticates" 0 authenticates python "n3w secret"
check_status "admin's is untouched" 0 authenticates admin admin

check_equal "a wrong current password" "$failed" "$(change admin wrong 'another secret')"
check_status "leaves the password" 0 authenticates admin admin

mark=$(($(log_length) + 1))
check_equal "seven characters" "$(error 6 'Password too short (eight character minimum)' password)" \
    "$(change python 'n3w secret' 1234567)"
check_equal "no current password: named before the new one's length is looked at" "$(error 5 'Missing parameter' current_password)" \
    "$(rci_reply '<rci_request><do_command target="set_password"><login>python</login><password>1234567</password></do_command></rci_request>')"
check_equal "a payload of 80 bytes" "$(error 6 'Invalid parameter' login/password)" \
    "$(change python 'n3w secret' "$(printf '%062d' 0)")"
check_equal "neither reached the parent" "" "$(dev_log | tail -n +"$mark" | grep "Parent received 'p'")"
check_equal "one of 79 bytes does" "$failed" "$(change python 'wrong pass' "$(printf '%061d' 0)")"
check_log "info vexacsd[*]: Parent received 'p'."

check_equal "root" "$failed" "$(change root x 12345678)"
check_log "crit vexacsd[*]: Invalid user for change request, ignored."

# An account whose password field begins with "*" is not changed, whatever the request says.
dev_exec usermod -p '*locked' admin
mark=$(($(log_length) + 1))
check_equal "a locked account" "$failed" "$(change admin admin 12345678)"
check_equal "is refused before PAM" "crit vexacsd: Invalid user for change request, ignored." \
    "$(dev_log | tail -n +"$mark" | grep -v "Parent poll\|Parent read\|Parent received" | sed -E 's/\[[0-9]+\]:/:/')"
check_equal "and stays locked" "*locked" "$(dev_exec getent shadow admin | cut -d: -f2)"
