/* Link-monitor library: the state of the monitored links as an RCI fragment.
 *
 * This stand-in answers with the content of "/etc/vexa/sim/tethra.xml" (the folder is
 * $VEXA_SIM_DATA when that is set), read anew on every call.
 */
#ifndef TETHRA_H
#define TETHRA_H

#ifdef __cplusplus
extern "C" {
#endif

/* The link monitor's state as an XML fragment (malloc'd, freed by the caller), or NULL. */
char *tethra_query_state(void);

#ifdef __cplusplus
}
#endif

#endif
