#!/bin/bash
# The daemon's processes and command line: the parent keeps root, the engine runs as nimbod with
# no other group; -v, -h, -i/-c; refusals for a non-root start and a missing nimbod account.
. "$(dirname "$0")/lib.sh"

device_up

check_processes() {
    local parent engine nimbod_uid nimbod_gid
    parent=$(parent_pid)
    engine=$(engine_pid)
    [ -n "$engine" ] || fatal "no engine process under the parent $parent"
    nimbod_uid=$(dev_exec id -u nimbod)
    nimbod_gid=$(dev_exec id -g nimbod)
    check_equal "parent uids (real, effective, saved, fs)" "0 0 0 0" "$(proc_status "$parent" Uid)"
    check_equal "engine uids" "$nimbod_uid $nimbod_uid $nimbod_uid $nimbod_uid" \
        "$(proc_status "$engine" Uid)"
    check_equal "engine gids" "$nimbod_gid $nimbod_gid $nimbod_gid $nimbod_gid" \
        "$(proc_status "$engine" Gid)"
    check_equal "engine groups: only its own" "$nimbod_gid" "$(proc_status "$engine" Groups)"
    check_equal "engine's parent" "$parent" "$(proc_status "$engine" PPid)"
}

# Runs the daemon once in the foreground with these arguments; prints "status|stdout|stderr".
run_once() {
    local out err status=0
    out=$(dev_exec sh -c '/usr/sbin/vexacsd "$@" 2>/tmp/err' - "$@") || status=$?
    err=$(dev_exec cat /tmp/err)
    printf '%s|%s|%s' "$status" "$out" "$err"
}

check_processes
check_log "info vexacsd[*]: Starting"
check_log "info vexacsd[*]: Parent waiting for child requests."

# Options that end the program before anything starts.
check_equal "-v" "1||vexacsd version 0.1" "$(run_once -v)"
check_equal "-n -d -v: version wins wherever it stands" "1||vexacsd version 0.1" "$(run_once -n -d -v)"
usage=$'Usage: vexacsd [-v|-n|-d]\n\t-v\t: Show version and exit.\n\t-n\t: Do not daemonize\n\t-d\t: Increase debugging verbosity'
check_equal "-h" "2||$usage" "$(run_once -h)"
check_equal "-?" "2||$usage" "$(run_once '-?')"
result=$(run_once -x)
check_equal "unknown option: exit status" 2 "${result%%|*}"
check_contains "unknown option: usage" "$usage" "$result"
result=$(run_once -i)
check_equal "-i without its value: exit status" 2 "${result%%|*}"

# -i and -c are taken and ignored: the daemon starts as with -n alone.
dev_exec kill -TERM "$(parent_pid)"
check_equal "exit status after SIGTERM" 0 "$(daemon_exit_status)"
daemon_start -n -i x -c y
wait_until 10 daemon_serving || fatal "daemon with -i x -c y is not serving"
check_processes

# A non-root start forks nothing and is refused.
engines_started() { dev_log | grep -c 'Parent waiting for child requests.'; }
before=$(engines_started)
status=0
dev_exec setpriv --reuid=admin --regid=users --clear-groups /usr/sbin/vexacsd -n || status=$?
check_equal "non-root start exit status" 1 "$status"
check_log "crit vexacsd[*]: nimbod: need root privileges"
check_equal "engines started by the non-root start" "$before" "$(engines_started)"

# Without the nimbod account the daemon refuses to start.
dev_exec sed -i '/^nimbod:/d' /etc/passwd
status=0
dev_exec /usr/sbin/vexacsd -n || status=$?
check_equal "start without nimbod: exit status" 1 "$status"
check_log "crit vexacsd[*]: nimbod: unknown user nimbod"
check_equal "engines started without nimbod" "$before" "$(engines_started)"
