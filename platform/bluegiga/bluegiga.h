/* Bluetooth module library, loaded at run time: the module's device information.
 *
 * This stand-in takes the module's address from "/etc/vexa/sim/bluetooth_address" (the folder
 * is $VEXA_SIM_DATA when that is set), six hexadecimal bytes separated by ":", read anew on every
 * call. A number in "/var/run/sim/exit/bluegiga_get_device_info" is returned instead of 0, with
 * the record left untouched, so a test can make the module fail.
 */
#ifndef BLUEGIGA_H
#define BLUEGIGA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The module's device information record; callers use only the address. */
struct bluegiga_device_info {
    uint8_t header[4];
    uint8_t address[6]; /* the Bluetooth device address, in the order it is printed */
    uint8_t rest[526];
};

/* Fills `info`: 0, or non-zero when the module cannot be read (no address, a told failure). */
int bluegiga_get_device_info(struct bluegiga_device_info *info);

#ifdef __cplusplus
}
#endif

#endif
