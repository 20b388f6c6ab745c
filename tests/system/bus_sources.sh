#!/bin/bash
# Who a request runs as: the cloud connector's identity (uid 1000, gid 72) runs as "nimbo", every
# other peer as "python"; a read-only setting is hidden from the cloud and shown to local scripts.
. "$(dirname "$0")/lib.sh"

device_up

request='<rci_request version="1.1"><query_setting><system><serial_number/></system><wireless><psk/></wireless></query_setting></rci_request>'
ask() { printf '%s' "$request" | dev_exec "$@"; }

as_python='<rci_reply version="1.1"><query_setting><system><serial_number>VX0000000001</serial_number></system><wireless></wireless></query_setting></rci_reply>'
as_nimbo='<rci_reply version="1.1"><query_setting><system></system><wireless></wireless></query_setting></rci_reply>'

check_equal "root runs as python" "$as_python" "$(ask rci -)"
check_equal "uid 1000 gid 72 runs as nimbo" "$as_nimbo" "$(ask rci --cloud -)"
check_equal "uid 1000 with another group runs as python" "$as_python" \
    "$(ask setpriv --reuid=1000 --regid=100 --clear-groups rci -)"
check_equal "gid 72 with another user runs as python" "$as_python" \
    "$(ask setpriv --reuid=1001 --regid=72 --clear-groups rci -)"
