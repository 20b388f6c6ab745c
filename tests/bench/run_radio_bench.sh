#!/bin/bash
# The radio benchmark in a simulated gateway of its own, against the image's radio network: p50
# and p99 of a full settings listing of the gateway's radio, a discover of 25 of its nodes and the
# zigbee_state group over the bus, and the simulated library's share of each. Prints figures;
# not a test.
#
#   tests/bench/run_radio_bench.sh [--count N]        (root; VEXA_BUILD picks the build folder)
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
device=$repo/scripts/device
export VEXA_DEVICE=${VEXA_DEVICE:-bench-radio}
export VEXA_BUILD=${VEXA_BUILD:-$repo/build}

# `up` builds first when a source is newer than the build.
trap '"$device" down >/dev/null 2>&1 || true' EXIT
"$device" up
"$device" exec -- "$VEXA_BUILD/tests/bench/radio_bench" "$@"
