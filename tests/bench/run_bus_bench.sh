#!/bin/bash
# The bus benchmark in a simulated gateway of its own: a raw Unix-socket ping-pong as the floor,
# then echo and a one-setting query over the real bus (p50, p99, requests per second, ratios),
# then the engine's resident memory over 100,000 more requests. Prints figures; not a test.
#
#   tests/bench/run_bus_bench.sh [--count N]        (root; VEXA_BUILD picks the build folder)
#
# The engine, the benchmark and the floor's two processes all run on one CPU (VEXA_BENCH_CPU,
# default 0): the scheduler keeps the floor's ping-pong on one CPU by itself, while the engine's
# listener may sit on the other, and on a virtual machine whose idle CPUs sleep deeply every
# cross-CPU wake-up then costs tens of microseconds. Pinning compares like with like;
# VEXA_BENCH_CPU=none measures as the scheduler places them.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
device=$repo/scripts/device
export VEXA_DEVICE=${VEXA_DEVICE:-bench-bus}
export VEXA_BUILD=${VEXA_BUILD:-$repo/build}

if [ "${VEXA_SKIP_BUILD:-0}" != 1 ]; then
    cmake -S "$repo" -B "$VEXA_BUILD" -DVEXA_BENCH=ON >/dev/null
    cmake --build "$VEXA_BUILD" -j2 >/dev/null
    export VEXA_SKIP_BUILD=1
fi

trap '"$device" down >/dev/null 2>&1 || true' EXIT
"$device" up
parent=$(cat "$repo/.device/$VEXA_DEVICE/daemon.pid")
engine=$("$device" exec -- sh -c 'grep -l "^PPid:[[:space:]]*$1\$" /proc/[0-9]*/status | head -n 1 |
    cut -d/ -f3' - "$parent")
[ -n "$engine" ] || { echo "run_bus_bench: no engine process" >&2; exit 1; }
pin=()
cpu=${VEXA_BENCH_CPU:-0}
if [ "$cpu" != none ]; then
    "$device" exec -- taskset -a -p -c "$cpu" "$engine" >/dev/null
    pin=(taskset -c "$cpu")
fi
"$device" exec -- "${pin[@]}" "$VEXA_BUILD/tests/bench/bus_bench" --engine "$engine" "$@"
