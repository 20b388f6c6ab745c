/* Cloud connector library: data requests that the cloud sends to a named target of the device,
 * answered by the callback that the device registered for that target.
 *
 * The connector runs its own thread, started by nimbo_api_init; callbacks run on that thread.
 *
 * This stand-in takes data requests from a local socket, "/var/run/sim/nimbo.sock" (under
 * $VEXA_SIM_DIR when set), which `cloud-send TARGET` uses: the target name and a line break, then
 * the data up to the end of the stream. The answer is one line, "CODE TEXT". Every response is
 * also recorded in "/var/run/sim/calls.log" as "nimbo_data_send_response CODE TEXT".
 */
#ifndef NIMBO_H
#define NIMBO_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One data request from the cloud, valid while its callback runs. */
typedef struct nimbo_request nimbo_request;

/* Called on the connector's thread for each data request to the target; `arg` is the value given
 * at registration. Answers with nimbo_data_send_response and returns its result. */
typedef int (*nimbo_data_callback)(nimbo_request *request, void *arg, const void *data,
                                   size_t size);

/* Starts the connector (its thread); further calls do nothing. 0, or negative on failure. */
int nimbo_api_init(void);
/* Routes data requests for `target` to `callback`. 0, or negative when the target is taken. */
int nimbo_data_register_callback(const char *target, nimbo_data_callback callback, void *arg);
/* Answers a data request with a result code and `length` bytes of status text. 0, or negative
 * when the request was answered already or the answer could not be delivered. */
int nimbo_data_send_response(nimbo_request *request, int code, const char *text, size_t length);

#ifdef __cplusplus
}
#endif

#endif
