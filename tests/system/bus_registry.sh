#!/bin/bash
# Names that local clients register to serve do_command targets: the radio names are reserved,
# a name has one owner until that owner's connection closes, and only the owner unregisters it.
. "$(dirname "$0")/lib.sh"

device_up

# One message with a zero-terminated name, from a connection of its own; prints "result N".
name_op() { printf '%s\0' "$2" | dev_exec rci --op "$1" --timeout 5 -; }

name_taken() { [ "$(name_op 2 "$1")" = "result -1" ]; }
# Registers from a connection that closes at once, so the name is free again afterwards.
name_free() { [ "$(name_op 2 "$1")" = "result 0" ]; }

for reserved in pelk zigbee; do
    check_equal "$reserved is reserved" "result -1" "$(name_op 2 $reserved)"
done

server=$(dev_exec sh -c 'rci --serve logger --answer ok >/tmp/serve.out 2>&1 & echo $!')
# Leaves the server time to register before anyone else tries the name.
sleep 0.5
check_soon "the serving client holds its name" "result -1" 5 "name_op 2 logger" name_taken logger
check_equal "unregister by another client answers 0" "result 0" "$(name_op 3 logger)"
check_equal "but leaves the entry" "result -1" "$(name_op 2 logger)"
if dev_exec kill -0 "$server"; then pass; else fail "the owner still serves" "running" "$(dev_exec cat /tmp/serve.out)"; fi
dev_exec kill "$server"
check_soon "the owner's disconnect releases the name" "result 0" 5 "name_op 2 logger" name_free logger
