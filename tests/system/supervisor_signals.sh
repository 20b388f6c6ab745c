#!/bin/bash
# How the daemon ends: SIGHUP is ignored, SIGTERM stops both processes in order, a killed engine
# ends the parent; and where the engine's standard streams go with and without -d.
. "$(dirname "$0")/lib.sh"

alive() { dev_exec test -d "/proc/$1"; }

# The daemon's log lines from a line number on, without the pids.
log_since() { dev_log | tail -n +"$1" | sed -E 's/\[[0-9]+\]:/:/'; }

log_length() { dev_log | wc -l; }

device_up
parent=$(parent_pid)
engine=$(engine_pid)

# SIGHUP: the same two processes go on, nothing ends.
dev_exec kill -HUP "$parent"
sleep 1
check_status "parent alive after SIGHUP" 0 alive "$parent"
check_status "engine alive after SIGHUP" 0 alive "$engine"
check_equal "engine still the parent's child" "$parent" "$(proc_status "$engine" PPid)"
check_no_log "crit vexacsd[*]: Terminating"

# SIGTERM: the parent stops the engine, reaps it and ends with 0.
mark=$(($(log_length) + 1))
dev_exec kill -TERM "$parent"
check_equal "exit status after SIGTERM" 0 "$(daemon_exit_status)"
check_status "engine gone after SIGTERM" 1 alive "$engine"
check_equal "shutdown log" \
    "info vexacsd: Parent done waiting for child requests.
crit vexacsd: Terminating" "$(log_since "$mark" | grep -v 'Parent poll returned\|Parent read returned')"
check_no_log "warning vexacsd[*]: Lost child: child terminated; signal 15 (Terminated)"

# A killed engine: logged as lost, the parent shuts down by itself with status 0.
daemon_start -n
wait_until 10 daemon_serving || fatal "daemon did not start again"
mark=$(($(log_length) + 1))
dev_exec kill -KILL "$(engine_pid)"
check_equal "exit status after the engine was killed" 0 "$(daemon_exit_status)"
check_equal "lost-engine log" \
    "warning vexacsd: Lost child: child terminated; signal 9 (Killed)
info vexacsd: Parent done waiting for child requests.
crit vexacsd: Terminating" "$(log_since "$mark" | grep -v 'Parent poll returned\|Parent read returned')"

# Without -d the engine's standard streams are /dev/null; with -d they stay the parent's.
stream_of() { dev_exec readlink "/proc/$1/fd/$2"; }
daemon_start -n
wait_until 10 daemon_serving || fatal "daemon did not start again"
engine=$(engine_pid)
for fd in 0 1 2; do
    check_equal "engine fd $fd without -d" /dev/null "$(stream_of "$engine" $fd)"
done
dev_exec kill -TERM "$(parent_pid)"
check_equal "exit status" 0 "$(daemon_exit_status)"
daemon_start -n -d
wait_until 10 daemon_serving || fatal "daemon with -d did not start"
engine=$(engine_pid)
check_equal "engine stdout with -d" "$state/daemon.out" "$(stream_of "$engine" 1)"
check_equal "engine stderr with -d" "$state/daemon.out" "$(stream_of "$engine" 2)"
