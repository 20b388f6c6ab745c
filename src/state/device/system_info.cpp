#include "state/device/system_info.h"

#include "base/log.h"
#include "base/readers.h"
#include "state/net/probes.h"

#include "capability.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

cpu_jiffies cpu_sample;

namespace
{

// Reads lines of at most `size` - 1 characters into `line` until one starts with `prefix`; a line
// longer than that is skipped whole, so a piece of it never counts as a line of its own.
bool find_line(FILE *file, const char *prefix, char *line, int size)
{
    bool at_start = true;
    while (std::fgets(line, size, file)) {
        bool found = at_start && std::strncmp(line, prefix, std::strlen(prefix)) == 0;
        if (found) return true;
        at_start = std::strchr(line, '\n') != nullptr;
    }
    return false;
}

// The seven figures of the "cpu " line: user, nice, system, idle, iowait, irq, softirq.
struct cpu_line {
    int64_t user, nice, system, idle, iowait, irq, softirq;
    int64_t total() const { return user + nice + system + idle + iowait + irq + softirq; }
};

int read_cpu_line(const char *path, cpu_line &cpu)
{
    file_stream stat = open_file(path);
    if (!stat) {
        log_msg(LOG_ERR, "getcpuload: %s\n", std::strerror(errno));
        return -1;
    }
    char line[256];
    if (!find_line(stat.get(), "cpu ", line, sizeof line)) {
        log_msg(LOG_CRIT, "getcpuload: Didn't find cpu info.\n");
        return -1;
    }
    errno = 0;
    if (std::sscanf(line + 4,
                    "%" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64
                    " %" SCNd64,
                    &cpu.user, &cpu.nice, &cpu.system, &cpu.idle, &cpu.iowait, &cpu.irq,
                    &cpu.softirq) != 7) {
        log_msg(LOG_CRIT, "getcpuload: Unable to read CPU %d (%s)\n", errno, std::strerror(errno));
        return -1;
    }
    return 0;
}

} // namespace

// Counters are read in 64 bits: a system's jiffies since boot overflow 32-bit arithmetic within
// days, and the first reading spans all of them.
int getcpuload(int *percent, const char *path)
{
    cpu_line cpu;
    if (read_cpu_line(path, cpu) < 0) return -1;
    log_msg(LOG_INFO,
            "Found %" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 " %" PRId64
            "\n",
            cpu.user, cpu.nice, cpu.system, cpu.idle, cpu.iowait, cpu.irq, cpu.softirq);
    int64_t total = cpu.total();
    int64_t dt = total - cpu_sample.total;
    if (dt < 1) dt = 1;
    int64_t di = cpu.idle - cpu_sample.idle;
    if (di < 0) di = 0;
    int64_t load = (((dt - di) * 1000) / dt + 5) / 10;
    load = load < 0 ? 0 : load > 100 ? 100 : load;
    log_msg(LOG_NOTICE, "CPU load is %" PRId64 "/%" PRId64 " = %d%%\n", dt - di, dt,
            static_cast<int>(load));
    cpu_sample = {.total = total, .idle = cpu.idle};
    *percent = static_cast<int>(load);
    return 0;
}

int getuptime(double *seconds, const char *path)
{
    file_stream file = open_file(path);
    if (!file) {
        log_msg(LOG_ERR, "getuptime: %s\n", std::strerror(errno));
        return -1;
    }
    char line[254];
    errno = 0;
    if (!std::fgets(line, sizeof line, file.get()) || std::sscanf(line, "%lf", seconds) != 1) {
        log_msg(LOG_ERR, "getuptime value: %s\n", std::strerror(errno));
        return -1;
    }
    return 0;
}

namespace
{

// One "Name: N kB" line of /proc/meminfo: 1 when `line` is it (its value in *kib), 0 when it is
// another line, -1 when it is this one without a number (logged with `failure`).
int meminfo_line(const char *line, const char *name, uint64_t *kib, const char *failure)
{
    size_t length = std::strlen(name);
    if (std::strncmp(line, name, length) != 0) return 0;
    errno = 0;
    if (std::sscanf(line + length, "%" SCNu64, kib) == 1) return 1;
    log_msg(LOG_ERR, failure, std::strerror(errno));
    return -1;
}

} // namespace

int getmeminfo(uint64_t *total, uint64_t *free, const char *path)
{
    file_stream file = open_file(path);
    if (!file) {
        log_msg(LOG_ERR, "getmeminfo: %s\n", std::strerror(errno));
        return -1;
    }
    bool have_total = false, have_free = false;
    char line[254];
    while (!(have_total && have_free) && std::fgets(line, sizeof line, file.get())) {
        int is_total = meminfo_line(line, "MemTotal:", total, "getmeminfo total: %s\n");
        int is_free = is_total ? 0 : meminfo_line(line, "MemFree:", free, "getmeminfo free: %s\n");
        if (is_total < 0 || is_free < 0) return -1;
        have_total |= is_total > 0;
        have_free |= is_free > 0;
    }
    if (!have_total || !have_free) {
        log_msg(LOG_ERR, "gememinfo: values unavailable!");
        return -1;
    }
    *total *= 1024;
    *free *= 1024;
    return 0;
}

void format_device_id(const unsigned char id[16], char text[36 + 1])
{
    char *at = text;
    for (int i = 0; i < 16; ++i) {
        if (i > 0 && i % 4 == 0) *at++ = '-';
        at += std::snprintf(at, 3, "%02x", id[i]);
    }
}

// Both capabilities are asked every time: the product may change while the daemon runs.
int getdeviceid(unsigned char id[16])
{
    bool ethernet = capability_exists("ethernet");
    bool wifi = capability_exists("wifi");
    const char *interface = ethernet ? "eth0" : wifi ? "wlan0" : nullptr;
    unsigned char mac[6];
    if (!interface || getmac(interface, mac) < 0) return -1;
    std::memset(id, 0, 16);
    std::memcpy(id + 8, mac, 3);
    id[11] = id[12] = 0xff;
    std::memcpy(id + 13, mac + 3, 3);
    char text[36 + 1];
    format_device_id(id, text);
    log_msg(LOG_NOTICE, "Generated deviceId: %s\n", text);
    return 0;
}
