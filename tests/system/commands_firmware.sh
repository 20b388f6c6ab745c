#!/bin/bash
# The system firmware update as a client sees it: do_command target "update" names an image on
# /userfs; what is refused is answered with an error and left (or put back) where it was; an
# admitted image is checked, applied by the parent and followed by a reboot unless the cloud asked;
# the outcome shows in firmwarestate, and the bus answers while an apply runs.
. "$(dirname "$0")/lib.sh"

device_up

target=/userfs/firmware/system/update.bin
# image NAME: an image on /userfs as a client leaves it, owned by the engine's account.
image() { dev_exec sh -c 'echo image >"$1" && chown nimbod "$1"' - "/userfs/$1"; }
# present PATH...: 0 or 1 for each path, as test -e says.
present() { for path; do dev_exec test -e "$path"; echo -n "$? "; done; }
update() { rci_reply "<rci_request><do_command target=\"update\" firmware=\"system\">$1</do_command></rci_request>" "${@:2}"; }
wrapped() { printf '<rci_reply version="1.1"><do_command target="update">%s</do_command></rci_reply>' "$1"; }
accepted=$(wrapped '')
log_mark() { echo $(($(dev_log | wc -l) + 1)); }
logged_since() { dev_log | tail -n +"$1" | grep -qF -- "$2"; }
generations() { calls | grep -cxF "/usr/bin/python /etc/vexa/generate/generate.pyc"; }
more_generations() { [ "$(generations)" -gt "$1" ]; }
check_firmwarestate() {
    check_equal "firmwarestate $1" "<firmwarestate>$2</firmwarestate>" "$(rci_reply \
        '<rci_request><query_state><device_stats><firmwarestate/></device_stats></query_state></rci_request>' |
        grep -o '<firmwarestate>.*</firmwarestate>')"
}

# --- the firmware attribute: only "system", exactly so, names an image; anything else no target ---
for row in '|update' ' firmware="radio"|radio' ' firmware="System"|System'; do
    check_equal "firmware attribute '${row%|*}'" "$(wrapped "<error id=\"2\"><desc>Name not registered</desc><hint>${row#*|}</hint></error>")" \
        "$(rci_reply "<rci_request><do_command target=\"update\"${row%|*}>/userfs/x.bin</do_command></rci_request>")"
done

# --- an image refused before the update starts (the unit test holds every path rule) ---
image linked.bin
dev_exec ln /userfs/linked.bin /userfs/second-link.bin
check_equal "a hard-linked image" "$(wrapped '<error id="4"><desc>Update failed</desc><hint>system</hint></error>')" \
    "$(update /userfs/linked.bin)"
check_equal "is moved back and leaves no update image" "0 1 " "$(present /userfs/linked.bin "$target")"
check_firmwarestate "after a refused image" updatefailed
mode_before=$(dev_exec stat -c %a /etc/vexa/db/local)
check_equal "the live configuration named as the image" \
    "$(wrapped '<error id="4"><desc>Update failed</desc><hint>system</hint></error>')" "$(update /etc/vexa/db/local)"
check_equal "stays in place with its mode" "0 $mode_before" \
    "$(present /etc/vexa/db/local)$(dev_exec stat -c %a /etc/vexa/db/local)"

# --- the check tool refuses the image: it is deleted, nothing is applied ---
image refused.bin
dev_exec sh -c 'echo 1 >/var/run/sim/exit/vexa_check_firmware_update'
check_equal "the update starts" "$accepted" "$(update /userfs/refused.bin)"
check_log "crit vexacsd[*]: check_fw failed, exit status 1"
check_equal "the image is gone from both places" "1 1 " "$(present "$target" /userfs/refused.bin)"
check_equal "nothing is applied" 0 "$(calls | grep -cxF /usr/bin/vexa_update_firmware)"
dev_exec rm /var/run/sim/exit/vexa_check_firmware_update

# --- a local client's update: checked, applied, rebooted ---
image local.bin
check_equal "a trimmed path" "$accepted" "$(update $'\n    /userfs/local.bin\t ')"
check_call /usr/bin/vexa_update_firmware
check_call /sbin/reboot 6
check_firmwarestate "after an update" running

# --- the cloud's update: no reboot ---
image cloud.bin
mark=$(log_mark)
check_equal "the cloud's update starts" "$accepted" "$(update /userfs/cloud.bin --cloud)"
check_soon "the cloud's update succeeds" "successful" 5 dev_log \
    logged_since "$mark" "!FW: firmware update successful, rebooting."
sleep 1
check_equal "no reboot for the cloud" 1 "$(logged_since "$mark" "Parent received 'r'."; echo $?)"

# --- the parent's apply fails ---
image broken.bin
dev_exec sh -c 'echo 1 >/var/run/sim/exit/vexa_update_firmware'
check_equal "an update that fails to apply starts" "$accepted" "$(update /userfs/broken.bin)"
check_log "err vexacsd[*]: FW: firmware update error! u0"
check_firmwarestate "after a failed apply" updatefailed

# --- while the parent applies an image the bus answers; the regeneration follows the apply ---
# The tool is a link to the shared simulated tool: replace the link, not the file behind it.
dev_exec sh -c 'touch /tmp/hold-apply && rm /usr/bin/vexa_update_firmware &&
    printf "#!/bin/sh\nwhile [ -e /tmp/hold-apply ]; do sleep 0.1; done\n" >/usr/bin/vexa_update_firmware &&
    chmod 755 /usr/bin/vexa_update_firmware'
image held.bin
before=$(generations)
mark=$(log_mark)
check_equal "a held update starts" "$accepted" "$(update /userfs/held.bin)"
# The change below must reach the parent after this update's letter, not before it.
check_soon "the parent takes the held update" "Parent received 'u'." 5 dev_log \
    logged_since "$mark" "Parent received 'u'."
check_firmwarestate "while the apply runs" updating
started=$SECONDS
check_equal "a setting changes meanwhile" \
    '<rci_reply version="1.1"><set_setting><system/></set_setting></rci_reply>' \
    "$(rci_reply '<rci_request><set_setting><system><location>lab</location></system></set_setting></rci_request>')"
check_equal "without waiting for the apply" yes "$([ $((SECONDS - started)) -le 2 ] && echo yes)"
dev_exec rm /tmp/hold-apply
check_soon "then the parent regenerates" "$((before + 1))" 10 calls more_generations "$before"
