#!/bin/bash
# Power cuts of the booted system (scripts/vm). Inside it, power-cut streams acknowledged changes
# of the configuration (set_setting, local writes, now and then a factory revert), each logged on
# the log port once its reply is back; here the emulator is killed at a random moment, the system
# boots again from its disks, and a cut counts as survived when
#   - e2fsck -fn finds both file systems clean after the kernel replayed their journals,
#   - init started the daemon again and it serves,
#   - /etc/vexa/db/local parses and holds the last acknowledged value or the one change after it
#     (the stream waits for each reply, so at most that one was under way), never an empty file,
#   - query_setting answers with the value on disk (a leftover local.new is never what is used).
# A cut that is not survived is shown with its evidence and the next one starts on fresh disks.
# Ends with "power cuts: S survived of N" and the time per cut.
#
#   tests/bench/run_power_cuts.sh [--cuts N] [--arch armhf]      (root)
set -uo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cuts=10
arch=amd64
while [ $# -gt 0 ]; do
    case $1 in
    --cuts) cuts=$2 ;;
    --arch) arch=$2 ;;
    *)
        echo "usage: run_power_cuts.sh [--cuts N] [--arch armhf]" >&2
        exit 2
        ;;
    esac
    shift 2
done
vm() { "$repo/scripts/vm" --arch "$arch" "$@"; }
port_log=$repo/.vm/$arch/port.log

# Boots the system, fresh with --fresh; prints the boot's seconds.
boot() {
    local out
    out=$(vm up "$@" 2>&1) || {
        echo "$out" >&2
        return 1
    }
    echo "$out" | sed -n 's/.* up in \([0-9]*\) s$/\1/p'
}

# The value that change N leaves: the factory value for every 20th (a revert), else N.
value_of() {
    [ $(($1 % 20)) = 0 ] && echo "$factory" || echo "$1"
}

# verdict CHECK-OUTPUT LAST-ACK: empty when the cut was survived, else the reasons.
verdict() {
    local report=$1 last=$2 allowed
    field() { sed -n "s/^$1 //p" <<<"$report"; }
    [ "$(field fsck_root)" = 0 ] || echo "e2fsck -fn of the root: $(field fsck_root)"
    [ "$(field fsck_userfs)" = 0 ] || echo "e2fsck -fn of /userfs: $(field fsck_userfs)"
    [ "$(field daemon)" = running ] || echo "the daemon is not running"
    [ "$(field local_parses)" = yes ] || echo "/etc/vexa/db/local does not parse"
    [ "$(field local_bytes)" -gt 0 ] 2>/dev/null || echo "/etc/vexa/db/local is empty"
    if [ -n "$last" ]; then
        allowed=("$(value_of "$last")" "$(value_of $((last + 1)))")
    else
        allowed=("$value" "$(value_of "$next")")
    fi
    [ "$(field local_value)" = "${allowed[0]}" ] || [ "$(field local_value)" = "${allowed[1]}" ] ||
        echo "the value on disk is \"$(field local_value)\", acknowledged: \"${allowed[0]}\"${last:+ (change $last)}"
    [ "$(field query_value)" = "$(field local_value)" ] ||
        echo "query_setting answers \"$(field query_value)\", the disk holds \"$(field local_value)\""
}

# check: the check's output in $report, or nothing when the system did not come up.
check() {
    report=$(vm exec -- /usr/lib/vexa-vm/power-cut check 2>&1)
}

cut_power() {
    local pid
    pid=$(vm pid) || return 1
    kill -KILL "$pid"
    while [ -e "/proc/$pid" ]; do
        sleep 0.1
    done
}

trap 'vm down >/dev/null 2>&1' EXIT
fresh_seconds=$(boot --fresh) || exit 1
echo "a fresh system: up in $fresh_seconds s"
check
started=$SECONDS
factory=$(sed -n 's/^factory_value //p' <<<"$report")
value=$(sed -n 's/^local_value //p' <<<"$report")
next=1 survived=0 stale=0 boots=0 boot_seconds=0 acked=0
for ((cut = 1; cut <= cuts; cut++)); do
    vm exec -- /usr/lib/vexa-vm/power-cut start "$next"
    sleep "$((RANDOM % 8)).$((RANDOM % 10))"
    cut_power
    last=$(sed -n 's/^ack \([0-9]*\) .*/\1/p' "$port_log" | tail -n 1)
    failure=$(grep '^fail ' "$port_log")
    acked=$((acked + $(grep -c '^ack ' "$port_log")))
    if seconds=$(boot); then
        boots=$((boots + 1))
        boot_seconds=$((boot_seconds + seconds))
        check
        problems=$(verdict "$report" "$last"; [ -z "$failure" ] || echo "a change failed: $failure")
    else
        check
        problems="the system did not come up again"
    fi
    if [ -z "$problems" ]; then
        survived=$((survived + 1))
        grep -q '^stale_temp yes' <<<"$report" && stale=$((stale + 1))
        value=$(sed -n 's/^local_value //p' <<<"$report")
        next=$((${last:-$((next - 1))} + 2))
    else
        printf 'cut %d: NOT SURVIVED\n%s\n-- the check:\n%s\n-- the last acknowledgements:\n%s\n' \
            "$cut" "$problems" "$report" "$(tail -n 3 "$port_log")" >&2
        vm exec -- sh -c 'cat /run/vexa-vm/fsck-*.log' >&2 2>/dev/null
        cut_power
        boot --fresh >/dev/null || exit 1
        check
        value=$(sed -n 's/^local_value //p' <<<"$report")
        next=1
    fi
    echo "cut $cut: after change ${last:-none}; $survived survived so far, $((SECONDS - started)) s"
done
echo "acknowledged changes: $acked; cuts that left a stale local.new behind: $stale"
echo "power cuts: $survived survived of $cuts"
[ $cuts = 0 ] ||
    echo "time per cut: $(((SECONDS - started) / cuts)) s (boot $((boot_seconds / (boots > 0 ? boots : 1))) s)"
[ "$survived" = "$cuts" ]
