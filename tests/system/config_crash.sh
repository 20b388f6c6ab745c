#!/bin/bash
# Crash safety of the configuration: the engine is killed with SIGKILL at a random moment while
# local scripts stream changes, again and again. The local file must always parse and be one of
# the configurations that were saved, and a left-over new file must never be taken for the
# configuration when the gateway starts again from the files the crash left behind.
. "$(dirname "$0")/lib.sh"

rounds=${VEXA_CRASH_ROUNDS:-50}
changes=20
overlay=$(mktemp -d)
trap 'rm -rf "$overlay"; finish' EXIT
declare -A saved # md5 of a saved configuration -> the dns primary it holds

change_text() { printf '<set_setting><dns><primary>10.0.0.%d</primary></dns></set_setting>' "$1"; }
local_sum() { dev_exec md5sum /etc/vexa/db/local | cut -d' ' -f1; }

# The stream of changes, run inside the gateway so that it is as fast as the daemon allows.
stream() {
    dev_exec sh -c 'for j in $(seq 1 '"$changes"'); do
        printf "<set_setting><dns><primary>10.0.0.%d</primary></dns></set_setting>" $j |
            rci --write - >/dev/null 2>&1 || exit 0; done'
}

# Every configuration the stream can save, from one undisturbed run.
record_saved_versions() {
    device_up
    saved[$(local_sum)]=8.8.8.8
    local j
    for j in $(seq 1 $changes); do
        change_text "$j" | dev_exec rci --write - >/dev/null || fatal "change $j refused"
        saved[$(local_sum)]=10.0.0.$j
    done
    local start=$(date +%s%N)
    stream
    stream_ms=$((($(date +%s%N) - start) / 1000000))
    device_down
}

# Starts from the files that the last crash left (none in the first round).
start_from_overlay() {
    device_up --with "$overlay"
    local sum expected
    sum=$(local_sum)
    expected=${saved[$sum]:-}
    [ -n "$expected" ] || return 0
    check_equal "round $1: the gateway runs on the local file, not on a new file" \
        "<config><primary>$expected</primary></config>" "$(dev_exec rci --read 2 /config/dns/primary)"
}

crash_round() {
    local round=$1 delay sum stream_pid kill_ms=$((RANDOM % (stream_ms + 1)))
    start_from_overlay "$round"
    stream &
    stream_pid=$!
    delay=$(printf '%d.%03d' $((kill_ms / 1000)) $((kill_ms % 1000)))
    sleep "$delay"
    dev_exec kill -9 "$(engine_pid 2>/dev/null)" 2>/dev/null
    wait "$stream_pid"
    daemon_exit_status 10 >/dev/null
    if dev_exec xmllint --noout /etc/vexa/db/local 2>/dev/null; then pass; else
        fail "round $round (kill after ${delay}s): the local file parses"
    fi
    sum=$(local_sum)
    outcomes+="${saved[$sum]:-torn} "
    if [ -n "${saved[$sum]:-}" ]; then pass; else
        fail "round $round (kill after ${delay}s): the local file is a saved configuration" \
            "one of ${#saved[@]} versions" "$(dev_exec cat /etc/vexa/db/local | head -c 300)"
    fi
    rm -rf "${overlay:?}/etc"
    mkdir -p "$overlay/etc/vexa/db"
    dev_exec cat /etc/vexa/db/local >"$overlay/etc/vexa/db/local"
    if dev_exec test -e /etc/vexa/db/local.new; then
        dev_exec cat /etc/vexa/db/local.new >"$overlay/etc/vexa/db/local.new"
        new_files=$((new_files + 1))
    fi
    device_down
}

new_files=0
outcomes=""
stream_ms=400
record_saved_versions
for round in $(seq 1 "$rounds"); do
    crash_round "$round"
done
echo "a stream of $changes changes took ${stream_ms} ms undisturbed"
echo "$rounds kills, $new_files of them left a new file beside the configuration"
echo "dns primary in the configuration after each kill: $outcomes"
