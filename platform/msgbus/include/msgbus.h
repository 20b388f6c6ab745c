/* Local message bus: length-framed messages over Unix stream sockets.
 *
 * A message carries an operation number, a tag chosen by the sender, a result code and up to two
 * byte parts. The server side (msgbus_listen) serves one endpoint on the calling thread; each
 * connection is a peer, named by a handle that stays valid until the peer's removal notice
 * (operation MSGBUS_OP_PEER_REMOVED) has been delivered. The client side connects to an endpoint,
 * sends requests and waits for their replies, and serves operation-1 calls from the server.
 *
 * Every call returns 0 (or a count) on success and a negative value on failure with errno set.
 */
#ifndef MSGBUS_H
#define MSGBUS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Operation delivered to the handler when a peer's connection has closed. */
#define MSGBUS_OP_PEER_REMOVED (-2)
/* Operation of a call from the server to a client that serves a target name. */
#define MSGBUS_OP_FORWARD 1
/* Largest message accepted: header plus both parts. A larger or lying frame closes the connection.
 */
#define MSGBUS_MAX_MESSAGE (16u * 1024u * 1024u)

typedef uint32_t msgbus_peer;

/* Credentials of a peer, as the kernel gave them when it connected. */
struct msgbus_credentials {
    int32_t pid;
    int32_t uid;
    int32_t gid;
};

/* Called for every message on the listening thread. `payload` is the concatenation of the
 * message's parts and stays valid until the handler returns. */
typedef void (*msgbus_handler)(msgbus_peer peer, void *arg, int op, uint32_t tag,
                               const void *payload, size_t length);
/* Called on the listening thread after `idle_seconds` without any message. */
typedef void (*msgbus_idle)(void);

/* Creates the endpoint (a socket under the bus folder) and serves it on the calling thread.
 * Returns only on a fatal error (negative). `arg` is passed to the handler. */
int msgbus_listen(const char *endpoint, msgbus_handler handler, void *arg, int idle_seconds,
                  msgbus_idle idle);

/* Sends one message to a peer of the listening endpoint. Never blocks longer than the bus's send
 * timeout on a peer that does not read; such a peer is disconnected. */
int msgbus_send(msgbus_peer peer, int op, uint32_t tag, int result, const void *part1,
                size_t length1, const void *part2, size_t length2);

/* Sends a message with operation `op` to a peer and waits up to `timeout_ms` for its answer.
 * On success *reply is a zero-terminated copy of the answer's payload (free() it) and the answer's
 * result code is returned; on failure a negative value with errno ETIMEDOUT (no answer in time),
 * ENOTCONN (peer gone) or EINVAL. `flags` is reserved (0). Must run on the thread that listens
 * for that peer (from the handler): other requests arriving on the peer meanwhile are queued and
 * handed to the handler after it returns; on any other thread the call fails with EINVAL. */
int msgbus_call(msgbus_peer peer, int op, const void *part1, size_t length1, const void *part2,
                size_t length2, char **reply, int flags, int timeout_ms);

/* Fills the credentials of a peer; negative when the handle is unknown. */
int msgbus_credentials(msgbus_peer peer, struct msgbus_credentials *out);

/* ---- Client side, for local programs ---- */

typedef struct msgbus_client msgbus_client;

/* Connects to an endpoint; NULL with errno on failure. */
msgbus_client *msgbus_connect(const char *endpoint);
void msgbus_disconnect(msgbus_client *client);

/* Sends a request and waits up to `timeout_ms` for the reply with the same operation and tag.
 * On success returns 0, *result holds the reply's result code and *reply a malloc'd,
 * zero-terminated copy of its payload (length in *reply_length). */
int msgbus_request(msgbus_client *client, int op, uint32_t tag, const void *part1, size_t length1,
                   const void *part2, size_t length2, int *result, char **reply,
                   size_t *reply_length, int timeout_ms);

/* Answers a forwarded call (operation 1): gets the target name and the payload, returns a
 * malloc'd reply text or NULL for no answer. */
typedef char *(*msgbus_serve_fn)(const char *name, const char *payload, size_t length, void *arg);

/* Serves forwarded calls on this connection until the connection closes or `stop` becomes
 * non-zero (checked at least once per second). Returns 0 on a clean stop, negative on error. */
int msgbus_serve(msgbus_client *client, msgbus_serve_fn serve, void *arg, volatile int *stop);

/* The folder that holds the endpoints' sockets: $MSGBUS_DIR when set, else "/var/run/msgbus". */
const char *msgbus_dir(void);

#ifdef __cplusplus
}
#endif

#endif
