#!/bin/bash
# The Python module vexacs as a gateway script uses it: a script of the account "python" changes
# a setting and reads it back, gets a request the daemon could not process as an
# exception with its code, and serves a name that do_command reaches.
. "$(dirname "$0")/lib.sh"

device_up

script=$(
    cat <<'PYTHON'
import threading
import vexacs

client = vexacs.Client(timeout=10)
print(client.set_setting('<tcp_serial index="2"><port>2102</port></tcp_serial>'))
print(client.query_setting("tcp_serial", 2))
try:
    print("no exception", client.request("<rci_request><query_setting>"))
except vexacs.VexacsError as error:
    print(error.code, error)
try:
    client.query_setting("tcp_serial/><reboot")
except ValueError as error:
    print(error)

server = vexacs.Client()
seen = []

def answer(payload):
    seen.append(payload)
    return "<answered/>"

registered = threading.Event()
thread = threading.Thread(target=server.serve, args=("pyscript", answer, registered.set))
thread.start()
print("registered", registered.wait(10))
print(client.request('<rci_request version="1.1"><do_command target="pyscript"><x a="1"/>'
                     '<y>text</y></do_command></rci_request>'))
print("handler saw", seen)
server.stop()
thread.join(5)
print("serving thread ended", not thread.is_alive())
PYTHON
)
mapfile -t lines < <(printf '%s\n' "$script" |
    dev_exec setpriv --reuid=python --regid=users --clear-groups python3 - 2>&1)
printf '  %s\n' "${lines[@]}"

group() { printf '<rci_reply version="1.1"><query_setting><tcp_serial index="2">%s</tcp_serial></query_setting></rci_reply>' "$1"; }

# Replies keep the configuration's own line breaks: compare them without.
reply_lines=$(printf '%s\n' "${lines[@]}" | tr -d '\n' | sed 's/>  *</></g')
check_contains "the change" '<rci_reply version="1.1"><set_setting><tcp_serial index="2"/></set_setting></rci_reply>' "$reply_lines"
check_contains "the setting as it is now" "$(group '<enable>on</enable><port>2102</port><keepalive>on</keepalive>')" "$reply_lines"

expected=$(printf '%s\n' \
    "-5 not well-formed XML (result -5)" \
    "not a group name: 'tcp_serial/><reboot'" \
    "registered True")
tail=$(printf '%s\n' "${lines[@]}" | sed -n '/^-5 /,$p')
check_equal "refusals as exceptions with their codes" "$expected" "$(printf '%s\n' "$tail" | head -n 3)"

check_equal "do_command reaches the script" \
    '<rci_reply version="1.1"><do_command target="pyscript"><answered/></do_command></rci_reply>' \
    "$(printf '%s\n' "$tail" | sed -n 4p)"
check_equal "with the command's children" "handler saw ['<x a=\"1\"/><y>text</y>']" \
    "$(printf '%s\n' "$tail" | sed -n 5p)"
check_equal "stop ends serving" "serving thread ended True" "${lines[-1]}"
