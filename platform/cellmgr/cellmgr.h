/* Cellular manager library: the modem's state as an RCI fragment, and the modem's firmware
 * update over the air.
 *
 * This stand-in answers cellmgr_get_rci with the content of "/etc/vexa/sim/cellmgr.xml" (the
 * folder is $VEXA_SIM_DATA when that is set), and records every cellmgr_fw_update_ota call in
 * "/var/run/sim/calls.log" as "cellmgr_fw_update_ota ARG TEXT1 ... TEXT6"; its result is the
 * number in "/var/run/sim/exit/cellmgr_fw_update_ota", 0 when that file is absent.
 */
#ifndef CELLMGR_H
#define CELLMGR_H

#ifdef __cplusplus
extern "C" {
#endif

/* The modem's statistics as an XML fragment (malloc'd, freed by the caller), or NULL. */
char *cellmgr_get_rci(void);
/* Starts the modem's firmware update with six parameter texts from the cloud; negative when the
 * modem does not support it. */
int cellmgr_fw_update_ota(int arg, const char *p1, const char *p2, const char *p3, const char *p4,
                          const char *p5, const char *p6);

#ifdef __cplusplus
}
#endif

#endif
