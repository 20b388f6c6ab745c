#!/bin/bash
# The booted system's smoke test: a fresh system installs our packages with dpkg -i on its first
# boot, its own init starts the daemon through /etc/init.d/vexacsd, and the daemon answers a
# query, a set_setting and a password change that PAM checks against the system's shadow file.
# Usage: tests/vm/booted_system.sh [--arch armhf]   (root; a fresh boot under emulation takes a
# minute or more)
. "$(dirname "$0")/../system/lib.sh"

arch=amd64
[ "${1:-}" != --arch ] || arch=$2
vm() { "$repo/scripts/vm" --arch "$arch" "$@"; }
# The system tests' helpers drive the booted system through scripts/vm.
device=vm
trap finish EXIT

vm up --fresh || fatal "scripts/vm --arch $arch up --fresh"

check_equal "both packages installed by dpkg" "install ok installed|install ok installed|" \
    "$(dev_exec dpkg-query -W -f '${Status}|' vexacsd vexacsd-platform-sim)"
check_status "init script registered for the default runlevel" 0 dev_exec sh -c 'ls /etc/rc2.d/S*vexacsd'
check_status "the init script sees the daemon running" 0 dev_exec /etc/init.d/vexacsd status
# start-stop-daemon detached the parent at boot, so init is its parent; the engine runs as nimbod.
check_equal "the daemon's parent, started at boot" "1 root" \
    "$(dev_exec sh -c 'pid=$(cat /var/run/vexacsd.pid); echo $(awk "/^PPid:/ { print \$2 }" /proc/$pid/status) $(stat -c %U /proc/$pid)')"
check_equal "its engine" "nimbod" \
    "$(dev_exec sh -c 'for s in /proc/[0-9]*/status; do grep -q "^PPid:.$(cat /var/run/vexacsd.pid)$" $s && stat -c %U ${s%/status}; done')"

check_contains "a query" "<description>Pump house 3</description>" \
    "$(rci_reply '<rci_request version="1.1"><query_setting><system/></query_setting></rci_request>')"
check_equal "a set_setting" \
    '<rci_reply version="1.1"><set_setting><tcp_serial index="2"/></set_setting></rci_reply>' \
    "$(rci_reply '<rci_request version="1.1"><set_setting><tcp_serial index="2"><port>2102</port></tcp_serial></set_setting></rci_request>')"
check_status "the new port is on disk" 0 dev_exec grep -q '<port>2102</port>' /etc/vexa/db/local

# change LOGIN CURRENT NEW: the reply to do_command target "set_password".
change() {
    rci_reply "<rci_request version=\"1.1\"><do_command target=\"set_password\"><login>$1</login><current_password>$2</current_password><password>$3</password></do_command></rci_request>"
}
changed='<rci_reply version="1.1"><do_command target="set_password"></do_command></rci_reply>'
check_equal "python's password changes" "$changed" "$(change python python 'n3w secret')"
check_equal "PAM takes the new one as the current password" "$changed" \
    "$(change python 'n3w secret' 'an0ther secret')"
check_contains "and refuses a wrong one" '<error id="4">' "$(change admin wrong 'another secret')"
