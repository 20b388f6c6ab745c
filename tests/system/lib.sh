# Shared by the system tests (sourced). Each test script brings up its own gateway under its own
# name, drives the real daemon inside it and checks replies, log lines, files and the records of
# the simulated tools. A failed check prints what was expected and what was found; the script
# then goes on and exits 1 at the end. The gateway is always taken down on exit.

set -uo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
device=$repo/scripts/device
test_name=$(basename "$0" .sh)
# The pid in the name keeps two runs of the same test (two developers, two builds) apart.
export VEXA_DEVICE=${VEXA_DEVICE:-sys-$test_name-$$}
state=$repo/.device/$VEXA_DEVICE
checks_failed=0
checks_passed=0

finish() {
    local status=$?
    "$device" down >/dev/null 2>&1 || true
    echo "$test_name: $checks_passed passed, $checks_failed failed"
    [ $checks_failed -eq 0 ] && [ $status -eq 0 ] && exit 0
    exit 1
}

pass() { checks_passed=$((checks_passed + 1)); }

fail() {
    checks_failed=$((checks_failed + 1))
    echo "FAIL: $1" >&2
    [ $# -lt 3 ] || printf '  expected: %s\n  actual:   %s\n' "$2" "$3" >&2
}

# Stops the script at once: the checks after it cannot mean anything.
fatal() {
    echo "FATAL: $*" >&2
    checks_failed=$((checks_failed + 1))
    exit 1
}

device_up() {
    "$device" up "$@" || fatal "scripts/device up $*"
}

device_down() {
    "$device" down || fatal "scripts/device down"
}

dev_exec() { "$device" exec -- "$@"; }

dev_log() { "$device" log; }

# rci_reply REQUEST [RCI OPTIONS...]: the daemon's reply to one request sent with the gateway's rci
# (--cloud sends it as the cloud connector).
rci_reply() {
    local request=$1
    shift
    printf '%s' "$request" | "$device" rci "$@" -
}

# wait_until SECONDS CMD...: 0 as soon as CMD succeeds, 1 when the time is over.
wait_until() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.1
    done
}

check_equal() {
    local what=$1 expected=$2 actual=$3
    if [ "$expected" = "$actual" ]; then pass; else fail "$what" "$expected" "$actual"; fi
}

check_contains() {
    local what=$1 needle=$2 haystack=$3
    if [[ $haystack == *"$needle"* ]]; then pass; else fail "$what" "... $needle ..." "$haystack"; fi
}

check_status() {
    local what=$1 expected=$2
    shift 2
    local actual=0
    "$@" >/dev/null 2>&1 || actual=$?
    check_equal "$what (exit status of $*)" "$expected" "$actual"
}

# check_soon WHAT EXPECTED SECONDS RECORD CONDITION...: CONDITION holds now or within SECONDS;
# a failure shows the last lines that the command RECORD prints.
check_soon() {
    local what=$1 expected=$2 limit=$3 record=$4
    shift 4
    if wait_until "$limit" "$@"; then pass; else fail "$what" "$expected" "$($record | tail -n 8)"; fi
}

# check_log LINE [SECONDS]: the gateway's log holds LINE ("priority ident[pid]: message" with the
# pid written as "*" to accept any), now or within SECONDS.
check_log() { check_soon "log line" "$1" "${2:-5}" dev_log log_matches "$1"; }

log_matches() {
    dev_log | grep -qxE -- "$(line_regex "$1")"
}

# An exact line as an extended regular expression; "[*]" stands for any pid in brackets.
line_regex() {
    local quoted any_pid='\[[0-9]+\]'
    quoted=$(printf '%s' "$1" | sed -e 's/[][\\.*^$+?(){}|]/\\&/g')
    printf '%s' "${quoted//'\[\*\]'/$any_pid}"
}

calls() { dev_exec cat /var/run/sim/calls.log; }

calls_have() { calls | grep -qxF -- "$1"; }

# check_call LINE [SECONDS]: a simulated tool was called with exactly this command line.
check_call() { check_soon "simulated tool call" "$1" "${2:-5}" calls calls_have "$1"; }

# Pid (inside the gateway) of the daemon's parent process, and of its engine.
parent_pid() { cat "$state/daemon.pid"; }

engine_pid() {
    dev_exec sh -c 'grep -l "^PPid:[[:space:]]*$1\$" /proc/[0-9]*/status | head -n 1 |
        cut -d/ -f3' - "$(parent_pid)"
}

# proc_status PID FIELD: the value of a /proc/PID/status line, blanks collapsed.
proc_status() {
    dev_exec awk -v field="$2:" '$1 == field { $1 = ""; sub(/^ /, ""); print }' "/proc/$1/status"
}

# Exit status of the daemon's parent once it has ended (empty when it runs on past SECONDS).
daemon_exit_status() {
    wait_until "${1:-10}" test -f "$state/daemon.status" && cat "$state/daemon.status"
}

# Starts the daemon again inside the running gateway (after it has ended), with these arguments.
daemon_start() {
    dev_exec bash "$repo/scripts/device.d/daemon" start "$state" "$@"
}

daemon_serving() {
    dev_exec bash "$repo/scripts/device.d/daemon" ready "$state" 2>/dev/null
}

if ! missing=$("$device" check); then
    echo "SKIP: $test_name needs $missing"
    exit 77
fi
trap finish EXIT
