#!/bin/bash
# The system firmware update as a client sees it: do_command target "update" names an image on
# /userfs; what is refused is answered with an error and left (or put back) where it was; an
# admitted image is checked, applied by the parent and followed by a reboot unless the cloud asked;
# the outcome shows in the log and in firmwarestate, and the bus answers while an apply runs.
. "$(dirname "$0")/lib.sh"

device_up
# With -d the engine's standard output, where a deleted image is reported, reaches daemon.out.
dev_exec kill -TERM "$(parent_pid)"
daemon_exit_status >/dev/null || fatal "the daemon did not stop"
daemon_start -n -d
wait_until 10 daemon_serving || fatal "the daemon with -d is not serving"

image_dir=/userfs
target=/userfs/firmware/system/update.bin

# An image as a client leaves it: on /userfs, owned by the engine's account.
image() { dev_exec sh -c 'echo image >"$1" && chown nimbod "$1"' - "$image_dir/$1"; }

exists() { dev_exec test -e "$1"; }

update() { rci_reply "<rci_request><do_command target=\"update\"$1</do_command></rci_request>" "${@:2}"; }

wrapped() { printf '<rci_reply version="1.1"><do_command target="update">%s</do_command></rci_reply>' "$1"; }

failed() { wrapped '<error id="4"><desc>Update failed</desc><hint>system</hint></error>'; }

log_length() { dev_log | wc -l; }

log_since() { dev_log | tail -n +"$1"; }

count_calls() { calls | grep -cxF "$1"; }

logged_since() { log_since "$1" | grep -qF -- "$2"; }

generations() { count_calls "/usr/bin/python /etc/vexa/generate/generate.pyc"; }

more_generations() { [ "$(generations)" -gt "$1" ]; }

# The image's outcome as device_stats shows it; empty when this build does not serve device_stats.
firmwarestate() {
    rci_reply '<rci_request><query_state><device_stats/></query_state></rci_request>' |
        sed -n 's:.*<firmwarestate>\([a-z]*\)</firmwarestate>.*:\1:p'
}

check_firmwarestate() {
    local what=$1 expected=$2 shown
    shown=$(firmwarestate)
    if [ -z "$shown" ]; then
        echo "note: device_stats is not served by this build; firmwarestate not checked ($what)"
    else
        check_equal "firmwarestate $what" "$expected" "$shown"
    fi
}

# --- the firmware attribute ---
check_equal "no firmware attribute" \
    "$(wrapped '<error id="2"><desc>Name not registered</desc><hint>update</hint></error>')" \
    "$(update '>/userfs/a.bin')"
check_equal "a firmware other than system" \
    "$(wrapped '<error id="2"><desc>Name not registered</desc><hint>radio</hint></error>')" \
    "$(update ' firmware="radio">/userfs/a.bin')"

# --- images that are refused before the update starts ---
dev_exec mkdir /userfs/folder
check_equal "a directory" "$(failed)" "$(update ' firmware="system">/userfs/folder')"
check_log "err vexacsd[*]: !FW: Invalid file /userfs/folder for update! 0"
check_log "err vexacsd[*]: !Firmware update failed because file is unreadable."
check_equal "a missing file" "$(failed)" "$(update ' firmware="system">/userfs/none.bin')"
check_log "err vexacsd[*]: !FW: Unable to find /userfs/none.bin for update! 2"

image linked.bin
dev_exec ln /userfs/linked.bin /userfs/second-link.bin
check_equal "a hard-linked image" "$(failed)" "$(update ' firmware="system">/userfs/linked.bin')"
check_log "err vexacsd[*]: !FW: Unable to use /userfs/linked.bin for update! (13)"
check_status "is moved back" 0 exists /userfs/linked.bin
check_status "and leaves no update image" 1 exists "$target"

dev_exec ln -s linked.bin /userfs/symbolic.bin
check_equal "a symbolic link" "$(failed)" "$(update ' firmware="system">/userfs/symbolic.bin')"
check_status "is left in place" 0 exists /userfs/symbolic.bin

image_dir=/tmp image outside.bin
check_equal "an image outside /userfs" "$(failed)" "$(update ' firmware="system">/tmp/outside.bin')"
check_log "err vexacsd[*]: !FW: Unable to move /tmp/outside.bin for update! 18"
check_status "stays where it was" 0 exists /tmp/outside.bin
check_firmwarestate "after a refused image" updatefailed

# --- the check tool refuses the image: it is deleted ---
image refused.bin
dev_exec sh -c 'echo 1 >/var/run/sim/exit/vexa_check_firmware_update'
check_equal "the update starts" "$(wrapped '')" "$(update ' firmware="system">  /userfs/refused.bin
')"
check_log "err vexacsd[*]: !FW: firmware update failed."
check_log "crit vexacsd[*]: check_fw failed, exit status 1"
check_status "the image is gone" 1 exists "$target"
check_status "from both places" 1 exists /userfs/refused.bin
check_status "its deletion is reported" 0 grep -qx UNLINKED5 "$state/daemon.out"
check_equal "nothing is applied" 0 "$(count_calls /usr/bin/vexa_update_firmware)"
dev_exec rm /var/run/sim/exit/vexa_check_firmware_update

# --- a local client's update: checked, applied, rebooted ---
image local.bin
checks=$(count_calls /usr/bin/vexa_check_firmware_update)
check_equal "a trimmed path" "$(wrapped '')" "$(update ' firmware="system">
    /userfs/local.bin	 ')"
check_log "info vexacsd[*]: !Updating firmware to '/userfs/local.bin'"
check_log "info vexacsd[*]: !Firmware update in progress."
check_log "info vexacsd[*]: !FW: firmware update successful, rebooting."
check_call /usr/bin/vexa_update_firmware
check_call /sbin/reboot 6
check_equal "checked once" $((checks + 1)) "$(count_calls /usr/bin/vexa_check_firmware_update)"
check_firmwarestate "after an update" running

# --- the cloud's update: no reboot ---
image cloud.bin
mark=$(($(log_length) + 1))
check_equal "the cloud's update starts" "$(wrapped '')" \
    "$(update ' firmware="system">/userfs/cloud.bin' --cloud)"
check_soon "the cloud's update succeeds" "successful" 5 "log_since $mark" \
    logged_since "$mark" "!FW: firmware update successful, rebooting."
sleep 1
if log_since "$mark" | grep -qF "Parent received 'r'."; then fail "no reboot for the cloud" "no 'r'" "'r' sent"; else pass; fi
check_firmwarestate "after the cloud's update" running

# --- the parent's apply fails ---
image broken.bin
dev_exec sh -c 'echo 1 >/var/run/sim/exit/vexa_update_firmware'
mark=$(($(log_length) + 1))
check_equal "an update that fails to apply starts" "$(wrapped '')" \
    "$(update ' firmware="system">/userfs/broken.bin')"
check_log "crit vexacsd[*]: firmware update failed, exit status 1"
check_log "err vexacsd[*]: FW: firmware update error! u0"
check_log "err vexacsd[*]: !FW: firmware update failed."
check_firmwarestate "after a failed apply" updatefailed
dev_exec rm /var/run/sim/exit/vexa_update_firmware

# --- while the parent applies an image, the bus answers and other letters wait their turn ---
dev_exec sh -c 'cat >/usr/bin/vexa_update_firmware <<"TOOL"
#!/bin/bash
while [ -e /tmp/hold-apply ]; do sleep 0.1; done
. /usr/lib/vexa-sim/sim-lib
sim_record "$@"
sim_finish
TOOL
touch /tmp/hold-apply'
image held.bin
before=$(generations)
check_equal "a held update starts" "$(wrapped '')" "$(update ' firmware="system">/userfs/held.bin')"
check_log "info vexacsd[*]: Parent received 'u'."
check_firmwarestate "while the apply runs" updating
started=$SECONDS
check_equal "a setting changes meanwhile" \
    '<rci_reply version="1.1"><set_setting><system/></set_setting></rci_reply>' \
    "$(rci_reply '<rci_request><set_setting><system><location>lab</location></system></set_setting></rci_request>')"
check_status "and the bus echoes" 0 dev_exec rci --op 4 --timeout 5 /dev/null
check_equal "without waiting for the apply" yes "$([ $((SECONDS - started)) -le 2 ] && echo yes)"
check_equal "the regeneration waits for the parent" "$before" "$(generations)"
dev_exec rm /tmp/hold-apply
check_log "info vexacsd[*]: !FW: firmware update successful, rebooting." 10
check_soon "then the parent regenerates" "$((before + 1))" 10 calls more_generations "$before"
