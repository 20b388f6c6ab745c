#!/bin/bash
# The daemon's processes and command line: the parent keeps root, the engine runs as nimbod with
# no other group; -v, -h and unknown options end it at once, -i/-c take a value that is ignored;
# a non-root start and a missing nimbod account are refused.
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

check_processes
check_log "info vexacsd[*]: Parent waiting for child requests."

check_equal "-n -d -v: the version, wherever it stands" "vexacsd version 0.1" \
    "$(dev_exec /usr/sbin/vexacsd -n -d -v 2>&1)"
check_status "-v exit status" 1 dev_exec /usr/sbin/vexacsd -v
check_status "-h exit status" 2 dev_exec /usr/sbin/vexacsd -h
check_status "an unknown option" 2 dev_exec /usr/sbin/vexacsd -x
check_status "-i without its value" 2 dev_exec /usr/sbin/vexacsd -i

dev_exec kill -TERM "$(parent_pid)"
check_equal "exit status after SIGTERM" 0 "$(daemon_exit_status)"
daemon_start -n -i x -c y
wait_until 10 daemon_serving || fatal "daemon with -i x -c y is not serving"
check_processes

# Refused starts fork nothing.
engines_started() { dev_log | grep -c 'Parent waiting for child requests.'; }
before=$(engines_started)
check_status "non-root start" 1 dev_exec setpriv --reuid=admin --regid=users --clear-groups /usr/sbin/vexacsd -n
check_log "crit vexacsd[*]: nimbod: need root privileges"
dev_exec sed -i '/^nimbod:/d' /etc/passwd
check_status "start without nimbod" 1 dev_exec /usr/sbin/vexacsd -n
check_log "crit vexacsd[*]: nimbod: unknown user nimbod"
check_equal "engines started by refused starts" "$before" "$(engines_started)"
