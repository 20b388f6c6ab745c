#!/bin/bash
# What the daemon finds inside the simulated gateway: accounts and the PAM service, ownership of
# its files, the simulated tools and their records, the log sink, the network, and a test's own
# files laid over the image with `up --with`.
. "$(dirname "$0")/lib.sh"

overlay=$(mktemp -d)
trap 'rm -rf "$overlay"; finish' EXIT
mkdir -p "$overlay/etc/vexa/sim" "$overlay/var/run/sim/exit" "$overlay/userfs/custom"
echo "cell" >"$overlay/etc/vexa/sim/capabilities"
echo 4 >"$overlay/var/run/sim/exit/hwclock"
echo "<rci_request/>" >"$overlay/userfs/custom/config_custom.rci"
device_up --with "$overlay"

check_accounts() {
    . "${VEXA_BUILD:-$repo/build}/bus_endpoint.sh"
    local uid=$cloud_connector_uid gid=$cloud_connector_gid
    check_equal "cloud identity" "uid=$uid(nimbo) gid=$gid(cloud) groups=$gid(cloud)" \
        "$(dev_exec id nimbo)"
    check_equal "the cloud connector's uid belongs to it only" "nimbo" \
        "$(dev_exec awk -F: -v uid="$uid" '$3 == uid { print $1 }' /etc/passwd)"
    check_status "nimbod exists" 0 dev_exec id nimbod
    check_equal "nimbod's own group" "nimbod" "$(dev_exec id -gn nimbod)"
    check_equal "password revert copy" "$(dev_exec cat /etc/shadow)" "$(dev_exec cat /etc/.shadowbak)"
    check_status "admin/admin through the daemon's PAM service" 0 \
        dev_exec sh -c 'echo admin | pamtester vexacsd admin authenticate'
    check_status "python/python" 0 dev_exec sh -c 'echo python | pamtester vexacsd python authenticate'
    check_status "a wrong password is refused" 1 \
        dev_exec sh -c 'echo wrong | pamtester vexacsd admin authenticate'
    check_status "the engine's account writes the configuration folder" 0 \
        dev_exec setpriv --reuid=nimbod --regid=nimbod --clear-groups sh -c \
        ': >/etc/vexa/db/local.new && echo x >>/etc/vexa/db/generate_list && : >/userfs/probe'
}

check_overlay() {
    check_equal "--with: etc" "cell" "$(dev_exec cat /etc/vexa/sim/capabilities)"
    check_equal "--with: userfs" "<rci_request/>" "$(dev_exec cat /userfs/custom/config_custom.rci)"
    check_equal "--with: image kept beside it" "$(cat "$repo/image/etc/vexa/db/cfd")" \
        "$(dev_exec cat /etc/vexa/db/cfd)"
    check_equal "the daemon is installed" "$(cat "$VEXA_BUILD/src/supervisor/vexacsd" | md5sum)" \
        "$(dev_exec cat /usr/sbin/vexacsd | md5sum)"
}

check_tools() {
    local status=0 host_year
    host_year=$(date +%Y)
    check_equal "date prints the real time" "$host_year" "$(dev_exec /bin/date +%Y)"
    dev_exec sh -c "/bin/date -u -s '2001-02-03 04:05:06' && /sbin/hwclock -u -w" || status=$?
    check_equal "hwclock answers with its configured status" 4 "$status"
    check_equal "the clock is not set" "$host_year" "$(date +%Y)"
    check_call "/bin/date -u -s 2001-02-03 04:05:06"
    check_call "/sbin/hwclock -u -w"
    dev_exec sh -c 'echo "upasswd=\$1\$x" >/var/run/sim/out/boardenv; echo 7 >/var/run/sim/exit/reboot'
    check_equal "boardenv prints its configured output" "upasswd=\$1\$x" \
        "$(dev_exec /sbin/boardenv --print upasswd)"
    check_status "reboot answers 7 and reboots nothing" 7 dev_exec /sbin/reboot
    check_call "/sbin/reboot"
    check_status "generate" 0 dev_exec /usr/bin/python /etc/vexa/generate/generate.pyc
    check_call "/usr/bin/python /etc/vexa/generate/generate.pyc"
    check_status "tunnel start" 0 dev_exec /etc/init.d/nimbod_stunnel start
    check_call "/etc/init.d/nimbod_stunnel start"
    check_contains "iwconfig's usual output" 'ESSID:"home"' "$(dev_exec iwconfig wlan0)"
    check_status "the engine's account runs the firmware check" 0 dev_exec setpriv --reuid=nimbod \
        --regid=nimbod --clear-groups /usr/bin/vexa_check_firmware_update
    check_call "/usr/bin/vexa_check_firmware_update"
    dev_exec sh -c 'echo many >/var/run/sim/exit/pelk'
    check_status "a broken exit file is reported" 125 dev_exec /usr/bin/pelk factory_default
}

check_log_sink() {
    dev_exec logger -p local5.crit -t vexacsd -i "sink: critical"
    dev_exec sh -c 'printf "first\nsecond\n" | logger -p local5.notice -t fw'
    dev_exec logger -p user.info -t tab "$(printf 'a\tb\001c')"
    dev_exec logger -p daemon.debug -t vexacsd -i "trailing newline
"
    check_log "crit vexacsd[*]: sink: critical"
    check_log "notice fw: first"
    check_log "notice fw: second"
    check_log "$(printf 'info tab: a\tb#001c')"
    check_log "debug vexacsd[*]: trailing newline"
    check_contains "facility kept in the log file" "local5.crit vexacsd[" "$(cat "$state/syslog")"
}

check_network() {
    local name
    for name in eth0 wlan0 wlan1 can0; do
        check_status "interface $name" 0 dev_exec test -d "/sys/class/net/$name"
    done
    check_contains "eth0 address" "inet 192.168.1.50/24" "$(dev_exec ip -4 addr show eth0)"
    check_equal "eth0 MAC" "02:00:00:00:00:01" "$(dev_exec cat /sys/class/net/eth0/address)"
    check_contains "default route in /proc/net/route" $'eth0\t00000000\t0101A8C0' \
        "$(dev_exec cat /proc/net/route)"
    check_equal "resolver" "nameserver 192.168.1.1" "$(dev_exec cat /etc/resolv.conf)"
    check_equal "host name" "gateway" "$(dev_exec hostname)"
    check_equal "temperature file" "45" \
        "$(dev_exec cat /sys/devices/platform/mx28-hwmon.0/temp0_input)"
}

check_accounts
check_overlay
check_tools
check_log_sink
check_network
