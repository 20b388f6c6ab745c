#!/bin/bash
# Instructions per request, counted under callgrind, which is repeatable where timings on a
# shared machine are not: a bus echo, a one-setting query, a set_setting that changes and saves
# the configuration, and a full render of the configuration (query_setting of everything). Counts
# what the engine's message handler executes for a request (bus_message_handler and all it calls:
# parsing, the command, the reply, handing it to the bus), in one process with the bus endpoint on
# its listener thread as in the engine. Each kind runs twice, with FEW and FEW + MANY requests;
# the difference divided by MANY is the figure, so one-time costs (first parse, caches) drop out.
# Prints figures; not a test.
#
#   tests/bench/run_instructions.sh [--many N]     (VEXA_BUILD picks the build folder)
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=${VEXA_BUILD:-$repo/build}
few=10
many=100
[ "${1:-}" = --many ] && many=$2
command -v valgrind >/dev/null || { echo "run_instructions: valgrind is needed (apt-get install valgrind)" >&2; exit 1; }
if [ "${VEXA_SKIP_BUILD:-0}" != 1 ]; then
    cmake -S "$repo" -B "$build" -DVEXA_BENCH=ON >/dev/null
    cmake --build "$build" -j2 --target request_instructions >/dev/null
fi
program=$build/tests/bench/request_instructions
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Instructions the handler executed in a run of COUNT requests of KIND.
handler_instructions() {
    local out=$scratch/$1.$2
    valgrind --tool=callgrind --callgrind-out-file="$out" --collect-atstart=no \
        --toggle-collect='bus_message_handler*' "$program" "$1" "$2" >/dev/null 2>"$out.log" ||
        { cat "$out.log" >&2; exit 1; }
    awk '/^(summary|totals):/ { print $2; exit }' "$out"
}

printf '%-12s %14s\n' request 'instr/request'
for kind in echo query set_setting render; do
    base=$(handler_instructions "$kind" "$few")
    more=$(handler_instructions "$kind" $((few + many)))
    printf '%-12s %14d\n' "$kind" $(((more - base) / many))
done
