#!/bin/bash
# Crash safety of the configuration: the engine is killed with SIGKILL at a random moment while
# local scripts stream changes, again and again. The local file must always be one of the
# configurations that were saved whole, and a left-over new file must never be taken for the
# configuration when the gateway starts again from the files the crash left behind.
. "$(dirname "$0")/lib.sh"

rounds=${VEXA_CRASH_ROUNDS:-50}
overlay=$(mktemp -d)
trap 'rm -rf "$overlay"; finish' EXIT
declare -A saved # md5 of a saved configuration -> the dns primary it holds

local_sum() { dev_exec md5sum /etc/vexa/db/local | cut -d' ' -f1; }

# Twenty changes by a local script, run inside the gateway so that it is as fast as the daemon
# allows. "stream sums" also prints the md5 of the local file before and after each change.
stream() {
    dev_exec sh -c 'sum() { [ "$1" != sums ] || md5sum /etc/vexa/db/local | cut -d" " -f1; }
        sum "$1"; for j in $(seq 1 20); do
        printf "<set_setting><dns><primary>10.0.0.%d</primary></dns></set_setting>" $j |
            rci --write - >/dev/null 2>&1 || exit 0; sum "$1"; done' - "${1:-}"
}

# Every configuration the stream can save, and its length, from undisturbed runs.
record_saved_versions() {
    device_up
    local sums j start
    mapfile -t sums < <(stream sums)
    [ ${#sums[@]} = 21 ] || fatal "an undisturbed stream saved $((${#sums[@]} - 1)) of 20 changes"
    for j in "${!sums[@]}"; do saved[${sums[j]}]=10.0.0.$j; done
    saved[${sums[0]}]=8.8.8.8
    start=$(date +%s%N)
    stream
    stream_ms=$((($(date +%s%N) - start) / 1000000))
    device_down
}

# Starts from the files that the last crash left (none in the first round), kills the engine
# within the stream, and keeps what the kill left for the next round.
crash_round() {
    local round=$1 delay sum expected kill_ms=$((RANDOM % (stream_ms + 1)))
    device_up --with "$overlay"
    expected=${saved[$(local_sum)]:-}
    [ -z "$expected" ] || check_equal "round $round: the gateway runs on the local file, not on a new file" \
        "<config><primary>$expected</primary></config>" "$(dev_exec rci --read 2 /config/dns/primary)"
    stream &
    delay=$(printf '%d.%03d' $((kill_ms / 1000)) $((kill_ms % 1000)))
    sleep "$delay"
    dev_exec kill -9 "$(engine_pid 2>/dev/null)" 2>/dev/null
    wait $!
    daemon_exit_status 10 >/dev/null
    sum=$(local_sum)
    outcomes+="${saved[$sum]:-torn} "
    if [ -n "${saved[$sum]:-}" ]; then pass; else
        fail "round $round (kill after ${delay}s): the local file is a saved configuration" \
            "one of ${#saved[@]} versions" "$(dev_exec head -c 300 /etc/vexa/db/local)"
    fi
    rm -rf "${overlay:?}/etc"
    mkdir -p "$overlay/etc/vexa/db"
    dev_exec tar -C /etc/vexa/db -cf - local local.new 2>/dev/null | tar -xf - -C "$overlay/etc/vexa/db"
    [ ! -e "$overlay/etc/vexa/db/local.new" ] || new_files=$((new_files + 1))
    device_down
}

new_files=0
outcomes=""
record_saved_versions
for round in $(seq 1 "$rounds"); do
    crash_round "$round"
done
echo "a stream of 20 changes took ${stream_ms} ms undisturbed"
echo "$rounds kills, $new_files of them left a new file beside the configuration"
echo "dns primary in the configuration after each kill: $outcomes"
