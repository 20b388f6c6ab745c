#!/bin/bash
# The state benchmark in a simulated gateway of its own: the full query_state and single fields
# over the real bus (p50, p99), and the share of the full query spent in child processes, with
# the tools it runs measured on their own as the floor. Prints figures; not a test.
#
#   tests/bench/run_state_bench.sh [--count N] [--request LABEL=XML]... [--tool COMMAND]...
exec "$(dirname "${BASH_SOURCE[0]}")/run_gateway_bench.sh" state_bench "$@"
