/* Product capability database: which features this product has, and a value for some of them.
 *
 * This stand-in reads "/etc/vexa/sim/capabilities" on every call (the folder is $VEXA_SIM_DATA
 * when that is set): one capability per line, "name" or "name=value"; blank lines and lines
 * starting with "#" are skipped. The first line of a name counts.
 */
#ifndef CAPABILITY_H
#define CAPABILITY_H

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero when the product has the capability `name`. */
int capability_exists(const char *name);
/* A malloc'd copy of the capability's value ("" for a capability without one), or NULL when the
 * product does not have it. The caller frees it. */
char *capability_value(const char *name);

#ifdef __cplusplus
}
#endif

#endif
