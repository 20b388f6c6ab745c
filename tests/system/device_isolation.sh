#!/bin/bash
# The host before and after a gateway's life: same accounts, clock, mounts, interfaces and no
# process left; two gateways run side by side without seeing each other.
. "$(dirname "$0")/lib.sh"

second=$VEXA_DEVICE-b
trap 'VEXA_DEVICE=$second "$device" down >/dev/null 2>&1; finish' EXIT

# What of the host a gateway must leave alone: accounts and names, mounts, interfaces.
host_state() {
    md5sum /etc/passwd /etc/group /etc/shadow /etc/gshadow /etc/hostname /etc/resolv.conf
    findmnt -rn -o TARGET,SOURCE,FSTYPE,OPTIONS
    ip -o link show | awk -F': ' '{ print $2 }'
    hostname
}

# Seconds the wall clock moved minus the seconds that really passed.
clock_offset() { echo $(($(date +%s) - $(cut -d. -f1 /proc/uptime))); }

host=$(host_state)
offset=$(clock_offset)

device_up
ns=$(readlink "/proc/$(cat "$state/init.pid")/ns/pid")
VEXA_DEVICE=$second "$device" up || fatal "second gateway did not start"
second_state=$repo/.device/$second

# The parent runs the clock and reboot commands: inside a gateway they leave the host alone.
dev_exec grep -q vexa-sim /sbin/reboot || fatal "the gateway's reboot is not the simulated one"
dev_exec sh -c "/bin/date -s '1999-12-31 23:59:59' && /sbin/hwclock -u -w; /sbin/reboot"

# Each gateway has its own network, files and log.
dev_exec ip addr add 10.9.9.9/32 dev eth0
check_equal "second gateway does not see the first one's address" "" \
    "$(VEXA_DEVICE=$second "$device" exec -- ip -4 -o addr show to 10.9.9.9)"
dev_exec touch /userfs/only-first
check_status "second gateway's /userfs is its own" 1 \
    env VEXA_DEVICE=$second "$device" exec -- test -e /userfs/only-first

check_equal "the host while up" "$host" "$(host_state)"

device_down
check_status "second gateway unaffected by the first one's end" 0 \
    env VEXA_DEVICE=$second "$device" exec -- bash "$repo/scripts/device.d/daemon" ready "$second_state"
VEXA_DEVICE=$second "$device" down || fatal "second gateway did not stop"

left=""
for pid_dir in /proc/[0-9]*; do
    [ "$(readlink "$pid_dir/ns/pid" 2>/dev/null)" = "$ns" ] && left="$left ${pid_dir#/proc/}"
done
check_equal "processes left in the gateway's namespace" "" "$left"
check_equal "the host after down" "$host" "$(host_state)"
drift=$(($(clock_offset) - offset))
check_equal "host clock drift within 5 s" yes "$([ ${drift#-} -lt 5 ] && echo yes || echo "no: $drift s")"
