# shellcheck shell=bash
# Debian root file systems as tar files, for the tests that need a whole system of their own
# (sourced; needs root and mmdebstrap, which `scripts/setup fresh` installs).
#
#   debian_root_tar VAR SUITE ARCH VARIANT [PACKAGE...]
#
# sets VAR to the path of a tar of a Debian SUITE root for ARCH, made by `mmdebstrap
# --variant=VARIANT` with PACKAGEs added; returns non-zero with the reason on standard error when no
# tar could be made.
#
# No mirror is named: mmdebstrap takes the distribution's own, as a fresh Debian does, and the
# machine's apt proxy settings, if it has any, are handed on, so the root's apt reaches packages
# the way the machine's does. Building a root takes a minute or two, so each tar is kept per
# machine, outside any clone, in ${VEXA_CACHE:-/var/cache/vexacsd}/roots (CI's fresh clones reuse
# it), under a name that holds a hash of everything that shapes it (the arguments, the proxy
# settings and the code of the builders, comments left out): changing any of them makes a new
# tar. A tar reaches its name only by a rename after the build succeeded, so an interrupted build
# never leaves a partial one there. A tar older than 30 days is made anew, so that a cached root
# stays close to a fresh one; one that nobody asked for in 60 days is removed.
#
# A root for an architecture other than this machine's is only the first stage of `debootstrap
# --foreign` (`scripts/setup vm` installs debootstrap), from the mirror of this machine's apt sources
# for SUITE: mmdebstrap would have to run the architecture's programs, which needs an emulator
# registered with the host's kernel. Such a root completes itself on its first boot with
# `/debootstrap/debootstrap --second-stage`.

debian_root_cache() {
    echo "${VEXA_CACHE:-/var/cache/vexacsd}/roots"
}

# The machine's apt proxy settings as mmdebstrap options, one a line.
debian_root_proxy_options() {
    local scheme value
    for scheme in http https; do
        value=$(apt-config dump "Acquire::$scheme::Proxy" 2>/dev/null |
            sed -n "s/^Acquire::$scheme::Proxy \"\\(.*\\)\";\$/\\1/p")
        [ -z "$value" ] || printf -- '--aptopt=Acquire::%s::Proxy "%s";\n' "$scheme" "$value"
    done
}

# debian_root_first_stage SUITE ARCH VARIANT PACKAGES TAR: the first stage of a foreign root, the
# packages unpacked and not yet installed, into TAR.
debian_root_first_stage() {
    local suite=$1 arch=$2 variant=$3 packages=$4 tar=$5 mirror proxy folder status=0
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Identifier: Packages' "Release: $suite" |
        head -n 1)
    if [ -z "$mirror" ] || ! command -v debootstrap >/dev/null; then
        echo "no apt source for $suite, or no debootstrap (scripts/setup vm)"
        return 1
    fi
    proxy=$(apt-config dump Acquire::http::Proxy | sed -n 's/^Acquire::http::Proxy "\(.*\)";$/\1/p')
    folder=$tar.folder
    rm -rf "$folder"
    http_proxy=${proxy:-${http_proxy:-}} debootstrap --foreign --arch="$arch" --variant="$variant" \
        ${packages:+--include="$packages"} "$suite" "$folder" "$mirror" &&
        tar --numeric-owner -C "$folder" -cf "$tar" . || status=1
    rm -rf "$folder"
    return $status
}

debian_root_tar() {
    local -n debian_root_result=$1
    local suite=$2 arch=$3 variant=$4
    shift 4
    local packages=("$@") options=() cache key name
    if ! command -v mmdebstrap >/dev/null; then
        echo "debian root: mmdebstrap is missing (scripts/setup fresh installs it)" >&2
        return 1
    fi
    mapfile -t options < <(debian_root_proxy_options)
    options+=(--variant="$variant" --architectures="$arch" --format=tar)
    [ ${#packages[@]} -eq 0 ] || options+=("--include=$(IFS=,; echo "${packages[*]}")")
    local build=(mmdebstrap "${options[@]}" "$suite")
    [ "$arch" = "$(dpkg --print-architecture)" ] ||
        build=(debian_root_first_stage "$suite" "$arch" "$variant" "$(IFS=,; echo "${packages[*]}")")
    cache=$(debian_root_cache)
    key=$({
        printf '%s\n' "${build[@]}" "${options[@]}"
        declare -f "${FUNCNAME[0]}" debian_root_first_stage
    } | sha256sum)
    name=$cache/$suite-$arch-$variant-${key:0:16}.tar
    if ! mkdir -p "$cache"; then
        echo "debian root: cannot make the cache folder $cache" >&2
        return 1
    fi
    find "$cache" -maxdepth 1 -name '*.tar' -mtime +60 -delete 2>/dev/null
    # One build per tar at a time; a second caller waits for it and takes its result.
    (
        flock 9 || exit 1
        [ -f "$name" ] && [ -z "$(find "$name" -mtime +30)" ] && exit 0
        echo "debian root: building $suite ($arch, $variant${packages[*]:+, with ${packages[*]}}) into $name" >&2
        # The lock is held, so a partial file of this name is one that a killed build left.
        rm -f "$name.partial"
        trap 'rm -f "$name.partial"' EXIT
        if ! "${build[@]}" "$name.partial" </dev/null >"$name.log" 2>&1; then
            tail -n 20 "$name.log" >&2
            echo "debian root: ${build[0]} failed (its output is in $name.log)" >&2
            exit 1
        fi
        mv "$name.partial" "$name" && rm -f "$name.log"
    ) 9>"$name.lock" || return 1
    # shellcheck disable=SC2034 # the caller's variable, through the name reference
    debian_root_result=$name
}
