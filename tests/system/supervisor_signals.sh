#!/bin/bash
# How the daemon ends: SIGHUP is ignored, SIGTERM stops both processes in order, a killed engine
# ends the parent; and the engine's standard streams lead nowhere.
. "$(dirname "$0")/lib.sh"

alive() { dev_exec test -d "/proc/$1"; }

# The daemon's log lines from a line number on, without the pids and the loop's own traces.
log_since() { dev_log | tail -n +"$1" | sed -E 's/\[[0-9]+\]:/:/' | grep -v 'Parent poll returned\|Parent read returned'; }

log_end() { echo $(($(dev_log | wc -l) + 1)); }

stream_of() { dev_exec readlink "/proc/$(engine_pid)/fd/$1"; }

device_up
parent=$(parent_pid)
engine=$(engine_pid)
for fd in 0 1 2; do
    check_equal "engine fd $fd without -d" /dev/null "$(stream_of $fd)"
done

dev_exec kill -HUP "$parent"
sleep 1
check_status "parent alive after SIGHUP" 0 alive "$parent"
check_status "engine alive after SIGHUP" 0 alive "$engine"

mark=$(log_end)
dev_exec kill -TERM "$parent"
check_equal "exit status after SIGTERM" 0 "$(daemon_exit_status)"
check_status "engine gone after SIGTERM" 1 alive "$engine"
check_equal "shutdown log" \
    "info vexacsd: Parent done waiting for child requests.
crit vexacsd: Terminating" "$(log_since "$mark")"

daemon_start -n
wait_until 10 daemon_serving || fatal "the daemon did not start again"
mark=$(log_end)
dev_exec kill -KILL "$(engine_pid)"
check_equal "exit status after the engine was killed" 0 "$(daemon_exit_status)"
check_equal "lost-engine log" \
    "warning vexacsd: Lost child: child terminated; signal 9 (Killed)
info vexacsd: Parent done waiting for child requests.
crit vexacsd: Terminating" "$(log_since "$mark")"
