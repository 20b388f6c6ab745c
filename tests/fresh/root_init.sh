#!/bin/bash
# PID 1 of the fresh root's private mount and PID namespaces (started by run_fresh_root.sh).
# Unpacks the bare root into a file system in memory mounted at WORK/root, mounts what a running
# Debian has, then runs each step inside the root as root, in the order a new user would. However
# it ends (a failed step, Ctrl-C, SIGTERM), it ends every other process of the namespace, removes
# its mounts in reverse order, the root's with all its files last, and checks that none is left.
#
# Usage: root_init.sh WORK TAR [all]
#   WORK holds root/ (the mount point), vexacsd.bundle (the commit to clone) and, written here,
#   steps.log and init.pid. The steps: git clone, scripts/setup, scripts/device demo, the clients'
#   system tests; with "all": git clone, then scripts/test in place of the rest.
set -uo pipefail

work=$1
tar=$2
mode=${3:-}
root=$work/root
log=$work/steps.log
mounts=()
# The host's number of this process (its /proc is still mounted here), for run_fresh_root.sh to
# wait on when unshare ends first.
read -r host_pid _ </proc/self/stat
echo "$host_pid" >"$work/init.pid"
# Each step runs as a job of its own, so that a signal reaches this shell's traps at once.
set -m

mounts_under() {
    awk -v dir="$1" '$5 == dir || index($5, dir "/") == 1 { print $5 }' /proc/self/mountinfo
}

teardown() {
    local status=$1 tries=0 i
    trap '' INT TERM HUP
    # The shell's notes on the jobs killed here say nothing new.
    exec 3>&2 2>/dev/null
    kill -KILL -1
    while kill -0 -1 2>/dev/null && [ $tries -lt 100 ]; do
        sleep 0.1
        tries=$((tries + 1))
    done
    for ((i = ${#mounts[@]} - 1; i >= 0; i--)); do
        umount -R "${mounts[i]}" 2>&3 || status=1
    done
    if [ -n "$(mounts_under "$root")" ]; then
        echo "fresh root: mounts left under $root: $(mounts_under "$root" | xargs)" >&3
        status=1
    fi
    exit "$status"
}

failed() {
    [ ! -s "$log" ] || tail -n 40 "$log" >&2
    echo "fresh root: $*" >&2
    teardown 1
}

trap 'failed "interrupted"' INT
trap 'failed "terminated"' TERM HUP

mount_at() {
    mount "$@" || failed "mount $* failed"
    mounts+=("${!#}")
}

# The root is a mount of its own, so that the simulated gateway inside can make its mounts
# private and pivot into its own root. Kept in memory (about 2 GB with setup's packages and the
# build), it costs no disk writes and vanishes with the namespace, however that ends.
mount_at -t tmpfs -o mode=0755,size=8g fresh-root "$root"
started=$SECONDS
tar -C "$root" -xf "$tar" || failed "cannot unpack $tar"
printf '  %-44s %4d s\n' "unpacked into memory" $((SECONDS - started))
# The machine's name server as it is now, not as it was when the cached root was built.
cp -L /etc/resolv.conf "$root/etc/resolv.conf"
mount_at -t proc fresh-proc "$root/proc"
mount_at -t sysfs fresh-sys "$root/sys"
mount_at --rbind /dev "$root/dev"
mount_at -t tmpfs -o mode=1777 fresh-tmp "$root/tmp"
mount_at -t tmpfs -o mode=0755 fresh-run "$root/run"
mkdir -m 1777 "$root/run/lock"
cp "$work/vexacsd.bundle" "$root/tmp/vexacsd.bundle"

# The root's own environment, as a login would give it; the machine's proxy variables, if any,
# pass on like its apt proxy settings.
# VEXA_FRESH_ROOT tells scripts/test not to start a fresh root inside this one.
environment=(PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root TERM=dumb
    VEXA_FRESH_ROOT=1)
for variable in http_proxy https_proxy no_proxy HTTP_PROXY HTTPS_PROXY NO_PROXY; do
    [ -z "${!variable:-}" ] || environment+=("$variable=${!variable}")
done

step() {
    local name=$1 command=$2 started=$SECONDS status=0
    printf '\n== %s\n' "$name" >>"$log"
    chroot "$root" /usr/bin/env -i "${environment[@]}" bash -c "cd /root && $command" \
        </dev/null >>"$log" 2>&1 &
    wait $! || status=$?
    [ $status -eq 0 ] || failed "$name failed (exit $status; the lines above are its last)"
    printf '  %-44s %4d s\n' "$name" $((SECONDS - started))
}

clients_steps() {
    local summary missing
    step "scripts/setup" "cd vexacsd && scripts/setup"
    grep -m 1 '^setup: installing' "$log" | awk '{ printf "  (setup installed %d packages)\n", NF - 2 }'
    step "scripts/device demo" "cd vexacsd && scripts/device demo"
    step "system tests: Python client, rci tool" \
        "cd vexacsd && ctest --test-dir build -R '^system_(python_client|bus_sources)\$' --no-tests=error --output-on-failure"
    # CTest counts a test that skipped itself (exit 77) as passed.
    if grep -q 'did not run' "$log" || ! summary=$(grep -E 'tests passed, 0 tests failed out of 2$' "$log"); then
        failed "the two system tests did not both run"
    fi
    echo "  $summary"
    # A missing program does not always fail the step that runs it: the demo's tour goes on past
    # a request that got no reply.
    if missing=$(grep -E 'command not found|: not found$|failed to execute|\(no reply\)' "$log"); then
        failed "a program is missing: $missing"
    fi
}

step "git clone of this commit" \
    "git -c advice.detachedHead=false clone -q /tmp/vexacsd.bundle vexacsd"
if [ "$mode" = all ]; then
    step "scripts/test" "cd vexacsd && scripts/test"
    tail -n 1 "$log" | sed 's/^/  /'
else
    clients_steps
fi
teardown 0
