#!/bin/bash
# Who a request runs as: the cloud connector's identity (the gateway's user nimbo with the group
# cloud) runs as "nimbo", every other peer as "python"; a read-only setting is hidden from the cloud
# and shown to local scripts.
. "$(dirname "$0")/lib.sh"

device_up

request='<rci_request version="1.1"><query_setting><system><serial_number/></system><wireless><psk/></wireless></query_setting></rci_request>'
ask() { printf '%s' "$request" | dev_exec "$@"; }

as_python='<rci_reply version="1.1"><query_setting><system><serial_number>VX0000000001</serial_number></system><wireless></wireless></query_setting></rci_reply>'
as_nimbo='<rci_reply version="1.1"><query_setting><system></system><wireless></wireless></query_setting></rci_reply>'

check_equal "root runs as python" "$as_python" "$(ask rci -)"
# The image's account, not the numbers rci --cloud takes from the build: the two must agree.
check_equal "the image's nimbo with the group cloud runs as nimbo" "$as_nimbo" \
    "$(ask setpriv --reuid=nimbo --regid=cloud --clear-groups rci -)"
check_equal "its uid with another group runs as python" "$as_python" \
    "$(ask setpriv --reuid=nimbo --regid=users --clear-groups rci -)"
check_equal "its gid with another user runs as python" "$as_python" \
    "$(ask setpriv --reuid=python --regid=cloud --clear-groups rci -)"
