/* Watchdog-supervisor library: a process that stays alive says so with a heartbeat.
 *
 * This stand-in keeps no watchdog of its own; it appends one line per heartbeat to
 * "/var/run/sim/heartbeats.log" (the folder is $VEXA_SIM_DIR when that is set), so that tests can
 * count and read them:
 *
 *     NAME ARG2 ACTION ARG4 SECONDS
 *
 * separated by single blanks, SECONDS being the wall-clock time of the call (seconds since 1970).
 */
#ifndef SENTRYD_H
#define SENTRYD_H

#ifdef __cplusplus
extern "C" {
#endif

/* Reports that the caller, watched under `name`, is alive; `action` names what the supervisor
 * runs when the heartbeats stop. The meaning of `arg2` and `arg4` belongs to the supervisor.
 * Returns 0, or -1 with errno set when the heartbeat could not be recorded. */
int sentryd_send_heart_beat(const char *name, int arg2, const char *action, int arg4);

#ifdef __cplusplus
}
#endif

#endif
