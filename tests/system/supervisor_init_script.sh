#!/bin/bash
# The init script as the gateway uses it: the gateway starts the daemon through it, and start,
# stop, restart and status tell the truth, also after the daemon's parent was killed.
. "$(dirname "$0")/lib.sh"

init_script() { dev_exec /etc/init.d/vexacsd "$@"; }

pid_file() { dev_exec cat /var/run/vexacsd.pid; }

# Pids of every vexacsd process of the gateway, parent and engine alike.
daemon_pids() { dev_exec pgrep -x vexacsd | sort -n | tr '\n' ' '; }

serving() { dev_exec rci --op 4 --timeout 2 /dev/null >/dev/null 2>&1; }

device_up
parent=$(parent_pid)
check_equal "the gateway started it through the script" "$parent" "$(pid_file)"
check_equal "status while it runs" "vexacsd is running (pid $parent)" "$(init_script status)"
check_status "status code while it runs" 0 init_script status
check_equal "start while it runs" "Starting vexacsd
vexacsd is already running" "$(init_script start)"
check_equal "and leaves it alone" "$parent" "$(pid_file)"

# The parent killed outright: its engine is left behind, still holding the bus endpoint.
engine=$(engine_pid)
dev_exec kill -KILL "$parent"
daemon_exit_status >/dev/null
check_equal "status after a kill" "vexacsd is not running, but its pid file /var/run/vexacsd.pid remains
vexacsd: an engine whose parent is gone still runs" "$(init_script status)"
check_status "status code after a kill" 1 init_script status

# start clears the leftover engine, so the new daemon can take the endpoint.
check_status "start after a kill" 0 init_script start
check_soon "the new daemon serves" "an echo answered" 10 dev_log serving
parent=$(pid_file)
check_status "the old engine is gone" 1 dev_exec test -d "/proc/$engine"

check_status "restart" 0 init_script restart
check_soon "the restarted daemon serves" "an echo answered" 10 dev_log serving
restarted=$(pid_file)
if [ "$restarted" != "$parent" ]; then pass; else fail "restart runs a new parent" "not $parent" "$restarted"; fi

check_status "stop" 0 init_script stop
check_equal "no process left" "" "$(daemon_pids)"
check_status "no pid file left" 1 dev_exec test -e /var/run/vexacsd.pid
check_equal "status when stopped" "vexacsd is not running" "$(init_script status)"
check_status "status code when stopped" 3 init_script status
