#!/bin/bash
# The bus benchmark in a simulated gateway of its own: a raw Unix-socket ping-pong as the floor,
# then echo and a one-setting query over the real bus (p50, p99, requests per second, ratios),
# then the engine's resident memory over 100,000 more requests. Prints figures; not a test.
#
#   tests/bench/run_bus_bench.sh [--count N]        (root; VEXA_BUILD picks the build folder)
exec "$(dirname "${BASH_SOURCE[0]}")/run_gateway_bench.sh" bus_bench "$@"
