#!/bin/bash
# 200 clients at once connecting, sending and disconnecting at random, some mid-message, some with
# garbage: every well-formed request gets its right reply, the engine keeps serving, and its file
# descriptors and memory are where they were before.
. "$(dirname "$0")/lib.sh"

churn=${VEXA_BUILD:-$repo/build}/tests/system/bus_churn
[ -x "$churn" ] || fatal "$churn is not built"

device_up

engine=$(engine_pid)
[ -n "$engine" ] || fatal "no engine"
fd_count() { dev_exec sh -c 'ls "/proc/$1/fd" | wc -l' - "$engine"; }
# The engine closes a connection when it sees the client's hang-up, a moment after the client has
# gone: count once two readings a quarter second apart agree.
settled_fd_count() {
    local last now
    last=$(fd_count)
    for _ in $(seq 20); do
        sleep 0.25
        now=$(fd_count)
        [ "$now" = "$last" ] && break
        last=$now
    done
    echo "$now"
}
rss_kib() { proc_status "$engine" VmRSS | cut -d' ' -f1; }

query='<rci_request version="1.1"><query_setting><system><timezone/></system></query_setting></rci_request>'
answer='<rci_reply version="1.1"><query_setting><system><timezone>UTC</timezone></system></query_setting></rci_reply>'
check_equal "the reply the clients compare with" "$answer" "$(printf '%s' "$query" | dev_exec rci -)"

# Two rounds bring the allocator to its working size; six more must leave it there. File
# descriptors come back exactly. The resident size does not: depending on which blocks the last
# connections left where, it ends a round anywhere up to about 2.2 MiB above its floor, and comes
# back down in later rounds. The margin of 3 MiB over about 80,000 checked requests still fails
# for a leak of 40 bytes per request (a forgotten reply buffer adds hundreds of MiB); the request
# path's unit tests and fuzz targets, run under LeakSanitizer, are the exact check.
fds_before=$(settled_fd_count)
rounds=100
rss_before=
for seed in 1 2; do
    dev_exec "$churn" 200 $rounds "$seed" >/dev/null || fatal "warm-up round $seed: wrong replies"
    rss=$(rss_kib)
    [ -n "$rss_before" ] && [ "$rss_before" -le "$rss" ] || rss_before=$rss
done
for seed in 3 4 5 6 7 8; do
    status=0
    summary=$(dev_exec "$churn" 200 $rounds "$seed" 2>&1) || status=$?
    check_equal "round $seed: every well-formed request answered right ($summary)" 0 "$status"
done
check_equal "the engine is the same process" "$engine" "$(engine_pid)"
check_equal "file descriptors afterwards" "$fds_before" "$(settled_fd_count)"
rss_after=$(rss_kib)
if [ "$rss_after" -le $((rss_before + 3072)) ]; then pass; else
    fail "resident memory flat (KiB, margin 3072)" "$rss_before" "$rss_after"
fi
check_equal "still serving" "$answer" "$(printf '%s' "$query" | dev_exec rci -)"
