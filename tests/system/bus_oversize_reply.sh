#!/bin/bash
# A request whose reply is larger than the bus's largest message: the daemon answers at once with
# a negative result and logs one line, and the connection and the endpoint go on serving.
. "$(dirname "$0")/lib.sh"

log_count_is() {
    [ "$(dev_log | grep -cE '^err vexacsd\[[0-9]+\]: Reply of [0-9]+ bytes to op 0 is larger than the bus allows$')" = "$1" ]
}

device_up

request='<rci_request version="1.1">'
for _ in $(seq 20000); do request+='<query_setting/>'; done
request+='</rci_request>'

# Long enough for the request to be processed: a reply that never came would read differently.
answer=$(printf '%s' "$request" | "$device" rci --timeout 30 - 2>&1 >/dev/null)
status=$?
check_equal "rci fails" 1 "$status"
check_equal "and says why" "rci: the reply was larger than the bus allows (result -90)" "$answer"
check_soon "one log line" 1 5 dev_log log_count_is 1

check_equal "the endpoint still serves" "<rci_reply version=\"1.1\"></rci_reply>" \
    "$(rci_reply '<rci_request version="1.1"> </rci_request>')"
