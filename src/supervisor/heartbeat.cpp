#include "base/log.h"
#include "sentryd.h"
#include "supervisor/process.h"

#include <sys/sysinfo.h>

#include <cerrno>

namespace
{

int system_uptime(unsigned long *seconds)
{
    struct sysinfo info = {};
    if (sysinfo(&info) != 0) return -errno;
    *seconds = static_cast<unsigned long>(info.uptime);
    return 0;
}

uptime_source read_uptime = system_uptime;
// Per process: the engine starts from the parent's value at the fork and then keeps its own.
unsigned long last_heartbeat = 0;

} // namespace

void heartbeat_use_uptime_source(uptime_source source)
{
    read_uptime = source ? source : system_uptime;
}

void watchdog_heartbeat()
{
    unsigned long uptime = 0;
    int result = read_uptime(&uptime);
    if (result < 0) {
        log_msg(LOG_ERR, "Unable to read sysinfo! %d", -result);
        uptime = 0;
    }
    // Unsigned, so an uptime below the last one (a restarted clock) sends at once.
    if (last_heartbeat != 0 && uptime - last_heartbeat <= 300) return;
    last_heartbeat = uptime;
    sentryd_send_heart_beat("vexacsd_watchdog", 0, "restart_vexacsd", 600);
}
