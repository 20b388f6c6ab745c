#!/bin/bash
# The README's two commands as a new user meets them: in a minimal Debian 12 root that holds git
# and nothing more (what a container image of Debian 12 holds), as root, a clone of this commit
# runs scripts/setup, scripts/device demo and the system tests of the project's clients (the
# Python module and the rci tool). setup's packages come from the distribution through the root's
# own apt, which mmdebstrap set up as the machine's.
#
# The bare root is built once per machine (scripts/lib/debian-root.sh); each run unpacks it into
# memory. Everything inside runs in private mount and PID namespaces (root_init.sh), so its mounts
# and files never reach the host and its processes, the simulated gateways' included, end with it.
# On the host a run leaves nothing: its folder under /var/tmp (the clone's bundle, the steps'
# output) is removed at the end. Prints one line per step with its time; on a failure the end of
# the steps' output and one line that says which step failed.
#
# Usage: run_fresh_root.sh [--all]   (--all: the clone runs the whole scripts/test instead, which
#                                     takes a quarter of an hour; scripts/test runs the default)
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=""
bare=""
mode=""
case ${1:-} in
"") ;;
--all) mode=all ;;
*)
    echo "usage: $0 [--all]" >&2
    exit 2
    ;;
esac

fail() {
    echo "fresh root: $*" >&2
    exit 1
}

# Mount points at or under $1, as this process sees them.
mounts_under() {
    awk -v dir="$1" '$5 == dir || index($5, dir "/") == 1 { print $5 }' /proc/self/mountinfo
}

# When unshare ended first (killed), the namespace's PID 1 may still be taking its mounts down:
# removing the folder that holds them would detach them under its feet.
init_ended() {
    local pid tries
    pid=$(cat "$work/init.pid" 2>/dev/null) || return 0
    for ((tries = 0; tries < 300; tries++)); do
        grep -qs root_init.sh "/proc/$pid/cmdline" || return 0
        sleep 0.1
    done
    return 1
}

# Removes the run's folder, unless a mount of the namespace reached the host after all (then
# rm -rf would reach into the mounted file systems).
remove_work() {
    local status=$?
    [ -n "$work" ] || exit $status
    init_ended || echo "fresh root: the namespace's PID 1 did not end within 30 s" >&2
    if [ -n "$(mounts_under "$work")" ]; then
        echo "fresh root: mounts left under $work, which stays for a look: $(mounts_under "$work" | xargs)" >&2
        exit 1
    fi
    rm -rf "$work"
    exit $status
}

[ "$(id -u)" = 0 ] || fail "needs root (namespaces, mounts, chroot)"
"$repo/scripts/setup" fresh
. "$repo/scripts/lib/debian-root.sh"
started=$SECONDS
debian_root_tar bare bookworm "$(dpkg --print-architecture)" minbase git ca-certificates ||
    fail "no bare Debian 12 root"
printf '  %-44s %4d s\n' "bare Debian 12 root (cached per machine)" $((SECONDS - started))

trap remove_work EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
trap 'exit 129' HUP
work=$(mktemp -d /var/tmp/vexacsd-fresh.XXXXXX)
mkdir "$work/root"
git -C "$repo" bundle create "$work/vexacsd.bundle" HEAD 2>/dev/null || fail "cannot bundle HEAD"

unshare --mount --pid --fork --kill-child=SIGTERM --propagation private \
    bash "$repo/tests/fresh/root_init.sh" "$work" "$bare" ${mode:+"$mode"}
