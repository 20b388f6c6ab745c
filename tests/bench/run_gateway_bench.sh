#!/bin/bash
# Runs one benchmark of tests/bench inside a simulated gateway of its own, with the engine and the
# benchmark on one CPU, and hands it the engine's pid. Prints figures; not a test.
#
#   tests/bench/run_gateway_bench.sh NAME [ARGS...]   (root; VEXA_BUILD picks the build folder)
#
# The engine, the benchmark and the processes it starts all run on one CPU (VEXA_BENCH_CPU,
# default 0): the scheduler keeps a ping-pong on one CPU by itself, while the engine's listener
# may sit on the other, and on a virtual machine whose idle CPUs sleep deeply every cross-CPU
# wake-up then costs tens of microseconds. Pinning compares like with like; VEXA_BENCH_CPU=none
# measures as the scheduler places them.
set -euo pipefail

[ $# -ge 1 ] || { echo "usage: $0 NAME [ARGS...]" >&2; exit 2; }
bench=$1
shift
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
device=$repo/scripts/device
export VEXA_DEVICE=${VEXA_DEVICE:-bench-${bench//_/-}}
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
[ -n "$engine" ] || { echo "run_gateway_bench: no engine process" >&2; exit 1; }
pin=()
cpu=${VEXA_BENCH_CPU:-0}
if [ "$cpu" != none ]; then
    "$device" exec -- taskset -a -p -c "$cpu" "$engine" >/dev/null
    pin=(taskset -c "$cpu")
fi
"$device" exec -- "${pin[@]}" "$VEXA_BUILD/tests/bench/$bench" --engine "$engine" "$@"
