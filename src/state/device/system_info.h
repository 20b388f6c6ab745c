// Readers of the device's running figures and identity: the /proc files behind CPU load, uptime
// and memory, and the device id. Each returns 0, or -1 after logging why. The paths are the
// system's; tests hand in files of their own.
#pragma once

#include <cstdint>

// Jiffies of the previous CPU-load reading, whoever asked for it (both 0 at start, so the first
// reading gives the average load since boot).
struct cpu_jiffies {
    int64_t total = 0;
    int64_t idle = 0;
};
extern cpu_jiffies cpu_sample;

// The load of all processors since the previous reading, in whole percent (0 to 100), from the
// "cpu " line of /proc/stat; a successful reading becomes the new sample.
int getcpuload(int *percent, const char *path = "/proc/stat");
// Seconds since boot: the first number of /proc/uptime.
int getuptime(double *seconds, const char *path = "/proc/uptime");
// Total and free memory in bytes, from the MemTotal and MemFree lines of /proc/meminfo.
int getmeminfo(uint64_t *total, uint64_t *free, const char *path = "/proc/meminfo");

// The 16-byte device id: 8 zero bytes, the first three bytes of the MAC address of eth0 (on a
// product with "ethernet") or else wlan0 (with "wifi"), two 0xff bytes, the last three bytes.
int getdeviceid(unsigned char id[16]);
// The id as four groups of eight lower-case hex digits joined by "-", in 36 characters and a NUL.
void format_device_id(const unsigned char id[16], char text[36 + 1]);
