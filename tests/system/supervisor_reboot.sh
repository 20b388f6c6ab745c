#!/bin/bash
# The RCI reboot command: answered at once, the parent runs the reboot tool 3 seconds later and
# logs its outcome; the request source is named in the log.
. "$(dirname "$0")/lib.sh"

reboot_request='<rci_request version="1.1"><reboot/></rci_request>'
device_up

reboot_calls() { calls | grep -cxF /sbin/reboot; }

started=$SECONDS
check_equal "reply" '<rci_reply version="1.1"><reboot/></rci_reply>' "$(rci_reply "$reboot_request")"
check_log "notice vexacsd[*]: vexacsd received reboot request from python."
sleep 2
check_equal "no reboot within the first 2 s" 0 "$(reboot_calls)"
check_call /sbin/reboot 5
waited=$((SECONDS - started))
check_equal "reboot after about 3 s" yes "$([ $waited -ge 3 ] && [ $waited -le 6 ] && echo yes || echo "after $waited s")"
check_log "info vexacsd[*]: reset succeeded with return value 0, exit status 0"

# A failing reboot tool is logged with its exit status; the daemon goes on serving.
dev_exec sh -c 'echo 3 >/var/run/sim/exit/reboot'
check_equal "reply from the cloud" '<rci_reply version="1.1"><reboot/></rci_reply>' \
    "$(rci_reply "$reboot_request" --cloud)"
check_log "notice vexacsd[*]: vexacsd received reboot request from nimbo."
check_log "crit vexacsd[*]: reset failed, exit status 3" 6
check_status "still serving" 0 daemon_serving
