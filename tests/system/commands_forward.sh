#!/bin/bash
# do_command as a client sees it: the built-in targets are routed by their exact names, every other
# name goes to the local client that registered it, whose answer stands in the reply as it was
# given; unregistered names, silent clients and clients that answer nonsense end as errors or as
# their own text, and the daemon goes on serving.
. "$(dirname "$0")/lib.sh"

device_up

# Starts `rci --serve NAME RCI-OPTIONS...` in the gateway; its output goes to /tmp/serve-NAME.out.
serve() {
    local name=$1
    shift
    dev_exec sh -c 'name=$1; shift; rci --serve "$name" "$@" >/tmp/serve-$name.out 2>&1 &' - "$name" "$@"
    check_soon "client $name registered" "result -1" 5 true name_taken "$name"
}

name_taken() { [ "$(printf '%s\0' "$1" | dev_exec rci --op 2 --timeout 5 -)" = "result -1" ]; }

reply_of() { rci_reply "<rci_request>$1</rci_request>"; }
wrapped() { printf '<rci_reply version="1.1">%s</rci_reply>' "$1"; }
# check_reply WHAT REPLY REQUEST: the reply to the commands REQUEST holds the commands REPLY.
check_reply() { check_equal "$1" "$(wrapped "$2")" "$(reply_of "$3")"; }
error() { printf '<error id="%s"><desc>%s</desc><hint>%s</hint></error>' "$@"; }
not_registered() { printf '<do_command target="%s">%s</do_command>' "$1" "$(error 2 'Name not registered' "${2:-$1}")"; }
echo_answers() { dev_exec rci --op 4 --timeout 5 /dev/null >/dev/null 2>&1; }

# --- a registered client answers ---
serve myapp --answer '<ok/>'
check_reply "the client's answer inside do_command" '<do_command target="myapp"><ok/></do_command>' \
    '<do_command target="myapp"><x a="1">text</x><y/></do_command>'
check_contains "the client received the serialised children" 'received myapp: <x a="1">text</x><y/>' \
    "$(dev_exec cat /tmp/serve-myapp.out)"

# --- names that no client serves ---
check_reply "an unregistered name; the other commands of the request still run" \
    "$(not_registered nosuch)<do_command target=\"myapp\"><ok/></do_command>" \
    '<do_command target="nosuch"><x/></do_command><do_command target="myapp"/>'
check_reply "a target of markup characters is echoed with only them escaped; beyond the minimum, the hint too" \
    "$(not_registered 'a&quot;&lt;&amp;b' 'a"&lt;&amp;b')" '<do_command target="a&quot;&lt;&amp;b"/>'
check_reply "non-ASCII text and a tab in a target come back as the client wrote them" \
    "$(not_registered $'caf\303\251\tx')" $'<do_command target="caf\303\251&#9;x"/>'
check_reply "no target" "<do_command>$(error 1 'Target missing' target)</do_command>" '<do_command/>'

# --- a built-in name never reaches a client, even one that registered it ---
serve set_password --answer '<claimed/>'
check_reply "set_password stays built in" \
    "<do_command target=\"set_password\">$(error 5 'Missing parameter' login)</do_command>" \
    '<do_command target="set_password"/>'

# --- answers that are not what they should be ---
serve garbage --answer '<<&'
check_reply "an answer is copied as it is" '<do_command target="garbage"><<&</do_command>' \
    '<do_command target="garbage"/>'
serve big --answer-cmd 'head -c 2000000 /dev/zero | tr "\0" a'
reply=$(reply_of '<do_command target="big"/>')
shape=$(wrapped '<do_command target="big">a</do_command>')
check_equal "a two-megabyte answer stands whole in its element" "$shape $((${#shape} - 1 + 2000000))" \
    "$(printf '%s' "$reply" | tr -s a) ${#reply}"
# More than a bus message can hold: the client's answer never leaves it.
serve huge --answer-cmd 'head -c 17000000 /dev/zero | tr "\0" a'
check_reply "an answer larger than a bus message" "$(not_registered huge)" '<do_command target="huge"/>'
check_status "the daemon serves on" 0 echo_answers

# --- a client that does not answer holds the daemon for the bus call's 45 seconds, no longer ---
serve slow --answer '<late/>' --delay 60
started=$SECONDS
check_reply "no answer in time" \
    "<do_command target=\"slow\">$(error 3 'Timeout waiting for response' slow)</do_command>" \
    '<do_command target="slow"/>'
elapsed=$((SECONDS - started))
if [ $elapsed -ge 44 ] && [ $elapsed -le 50 ]; then pass; else fail "waited the bus call's timeout" "45 s" "$elapsed s"; fi
check_status "the daemon serves on after a timeout" 0 echo_answers
