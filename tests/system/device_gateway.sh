#!/bin/bash
# What the daemon finds in the simulated gateway that the tests through the daemon do not show:
# the image's accounts, the daemon's log facility, and a test's own files laid over the image
# with `up --with`, beside the image's own.
. "$(dirname "$0")/lib.sh"

overlay=$(mktemp -d)
trap 'rm -rf "$overlay"; finish' EXIT
mkdir -p "$overlay/etc/vexa/sim" "$overlay/userfs/custom"
echo "cell" >"$overlay/etc/vexa/sim/capabilities"
echo "<rci_request/>" >"$overlay/userfs/custom/config_custom.rci"
device_up --with "$overlay"

. "${VEXA_BUILD:-$repo/build}/bus_endpoint.sh"
check_equal "cloud identity" \
    "uid=$cloud_connector_uid(nimbo) gid=$cloud_connector_gid(cloud) groups=$cloud_connector_gid(cloud)" \
    "$(dev_exec id nimbo)"
check_equal "the cloud connector's uid belongs to it only" "nimbo" \
    "$(dev_exec awk -F: -v uid="$cloud_connector_uid" '$3 == uid { print $1 }' /etc/passwd)"
check_equal "nimbod's own group" "nimbod" "$(dev_exec id -gn nimbod)"
check_equal "password revert copy" "$(dev_exec cat /etc/shadow)" "$(dev_exec cat /etc/.shadowbak)"

check_equal "--with: etc" "cell" "$(dev_exec cat /etc/vexa/sim/capabilities)"
check_equal "--with: userfs" "<rci_request/>" "$(dev_exec cat /userfs/custom/config_custom.rci)"
check_equal "--with: image kept beside it" "$(cat "$repo/image/etc/vexa/db/cfd")" \
    "$(dev_exec cat /etc/vexa/db/cfd)"
check_equal "the daemon is installed" "$(md5sum <"${VEXA_BUILD:-$repo/build}/src/supervisor/vexacsd")" \
    "$(dev_exec cat /usr/sbin/vexacsd | md5sum)"

check_log "info vexacsd[*]: Parent waiting for child requests."
check_contains "the daemon logs under local5" "local5.info vexacsd[" "$(cat "$state/syslog")"
