#!/bin/bash
# The daemon's processes and command line: the parent keeps root, the engine runs as nimbod with
# no other group; it logs under local5; -v and unknown options end it at once, -i/-c take a value
# that is ignored; a non-root start and a missing nimbod account are refused.
. "$(dirname "$0")/lib.sh"

device_up

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
check_log "info vexacsd[*]: Parent waiting for child requests."
check_contains "the daemon logs under local5" "local5.info vexacsd[" "$(cat "$state/syslog")"

check_equal "-n -d -v: the version, wherever it stands, and exit status 1" $'vexacsd version 0.1\n1' \
    "$(dev_exec /usr/sbin/vexacsd -n -d -v 2>&1; echo $?)"
check_status "an unknown option" 2 dev_exec /usr/sbin/vexacsd -x

dev_exec kill -TERM "$parent"
daemon_exit_status >/dev/null
daemon_start -n -i x -c y
check_soon "the daemon serves with -i x -c y" "serving" 10 dev_log daemon_serving

# Refused starts fork nothing.
engines_started() { dev_log | grep -c 'Parent waiting for child requests.'; }
before=$(engines_started)
check_status "non-root start" 1 dev_exec setpriv --reuid=admin --regid=users --clear-groups /usr/sbin/vexacsd -n
check_log "crit vexacsd[*]: nimbod: need root privileges"
dev_exec sed -i '/^nimbod:/d' /etc/passwd
check_status "start without nimbod" 1 dev_exec /usr/sbin/vexacsd -n
check_log "crit vexacsd[*]: nimbod: unknown user nimbod"
check_equal "engines started by refused starts" "$before" "$(engines_started)"
