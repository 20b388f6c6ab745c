/* Radio-module library: drives the gateway's ZigBee module and, through it, the modules of the
 * remote nodes with two-character AT parameter commands, node discovery, ZigBee Device Object
 * requests and scheduled firmware updates.
 *
 * This stand-in simulates a network described in "/etc/vexa/sim/pelk.xml" (the folder is
 * $VEXA_SIM_DATA when that is set), read again whenever the file changes; a change also resets
 * what the simulation keeps (queued and applied values, the node list, scheduled updates).
 * Calls that change something are recorded in "/var/run/sim/calls.log" (see each function), and
 * "/var/run/sim/exit/FUNCTION" makes radio_get_gateway_info, radio_get_gateway_address,
 * radio_schedule_update and the recorded calls of radio_get_node_list fail with that number.
 *
 * Addresses are passed as 8 bytes, most significant first; a null address names the gateway's
 * own radio. Every call returns a negative RADIO_E code on failure.
 */
#ifndef LIBPELK_H
#define LIBPELK_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum radio_error {
    RADIO_E_UNAVAILABLE = -5,    /* the gateway radio does not answer */
    RADIO_E_NO_NODE = -19,       /* no node has this address */
    RADIO_E_INVALID = -22,       /* an argument is out of range */
    RADIO_E_NOT_NUMBER = -34,    /* the value is too long to read as a number */
    RADIO_E_TIMEOUT = -62,       /* the node did not answer */
    RADIO_E_WRITE_ONLY = -93,    /* the parameter cannot be read */
    RADIO_E_NOT_SUPPORTED = -95, /* the request is not supported */
    RADIO_E_NO_NETWORK = -97,    /* the network index names no network of this radio */
    RADIO_E_UNKNOWN = -98,       /* the radio does not know the command */
    RADIO_E_REFUSED = -100,      /* the radio refused the value (read-only parameter, or a value
                                    the parameter cannot hold) */
};

/* Flags of the parameter writes: queue the value until the radio applies its changes, or apply
 * it (and every value queued before) at once. */
enum radio_flags { RADIO_QUEUE = 0, RADIO_APPLY = 2 };

/* Node list modes. */
enum radio_list_mode { RADIO_LIST_CURRENT = 0, RADIO_LIST_CLEAR = 1, RADIO_LIST_DISCOVER = 2 };

/* Capability bits of the gateway radio (radio_get_capabilities and the record's caps word). */
enum radio_caps {
    RADIO_CAP_NEIGHBOURS = 0x02, /* Mgmt_Lqi requests */
    RADIO_CAP_REMOTE = 0x04,     /* parameters of remote nodes can be read and written */
    RADIO_CAP_FW_STATUS = 0x10,  /* node records keep the remote firmware update status */
};

/* The gateway radio's identity (24 bytes). */
typedef struct radio_gateway_info {
    uint32_t caps;
    uint8_t reserved1[6];
    uint8_t address[8]; /* 64-bit extended address */
    uint8_t reserved2[4];
    uint16_t module_kind;
} radio_gateway_info;

/* An address understood by radio_socket_get_addr. */
typedef struct radio_sockaddr {
    uint16_t family;
    uint8_t kind; /* RADIO_ADDR_EXTENDED or RADIO_ADDR_NETWORK */
    uint8_t reserved;
    uint8_t address[8]; /* extended: 8 bytes; network: the first 2 bytes */
} radio_sockaddr;

enum radio_address_kind { RADIO_ADDR_EXTENDED = 1, RADIO_ADDR_NETWORK = 2 };

/* One node of the node list (304 bytes, little-endian). */
typedef struct radio_node_record {
    int32_t type;
    uint8_t ext_addr[8];
    uint16_t net_addr;
    uint16_t parent_addr;
    uint16_t profile_id;
    uint16_t mfg_id;
    uint32_t device_type;
    char node_id[24];
    uint32_t contact_time;
    uint8_t reserved1[24];
    uint8_t fw_status; /* 0 unknown ... 8 error */
    uint8_t fw_tries;
    uint8_t reserved2[6];
    int32_t fw_error_code;
    uint8_t reserved3[4];
    uint16_t hw_version;
    uint16_t fw_version;
    uint8_t fw_updater[8]; /* all zero: none */
    uint8_t reserved4[68];
    char fw_file[64];
    char fw_error_text[64];
    uint8_t network_index;
    uint8_t reserved5[3];
} radio_node_record;

/* Address texts: "hh:hh:hh:hh:hh:hh:hh:hh" (23 characters) for an extended address, "hhhh" for a
 * network address; hexadecimal digits in either case and nothing else. */
#define RADIO_ADDRESS_TEXT_SIZE 24

int radio_get_gateway_info(radio_gateway_info *info);
int radio_get_gateway_address(uint8_t address[8]);
unsigned radio_get_capabilities(void);
/* Non-zero when the radio runs a second network (index 1). */
int radio_dual_mode_enabled(void);

/* Reads a parameter: the number of bytes stored in `buffer`. */
int radio_get_param(const uint8_t *address, uint8_t network, const char *command, void *buffer,
                    size_t size, int timeout, unsigned flags);
/* Reads a parameter of up to 4 bytes as one number, most significant byte first. */
int radio_get_int_param(const uint8_t *address, uint8_t network, const char *command,
                        uint32_t *value, int timeout, unsigned flags);
/* Writes a parameter (recorded as "radio_set_param ADDRESS NETWORK COMMAND HEX FLAGS", the
 * address "-" for the gateway's own radio). The command "WR" with RADIO_APPLY applies what is
 * queued. */
int radio_set_param(const uint8_t *address, uint8_t network, const char *command, const void *data,
                    size_t length, int timeout, unsigned flags);
/* Writes a number (recorded as "radio_set_int_param ADDRESS NETWORK COMMAND VALUE FLAGS"). */
int radio_set_int_param(const uint8_t *address, uint8_t network, const char *command,
                        uint32_t value, int timeout, unsigned flags);
/* Any AT command: without a parameter it reads, with one it writes; the answer's length.
 * Recorded as "radio_param_command ADDRESS NETWORK COMMAND HEX TIMEOUT FLAGS". */
int radio_param_command(const uint8_t *address, uint8_t network, const char *command,
                        const void *parameter, size_t length, void *answer, size_t size,
                        int timeout, unsigned flags);

/* Changes the node list by `mode`, then copies up to `count` records from list position `index`
 * on (positions outside the list are not copied); the number of nodes in the list. A call with a
 * mode other than RADIO_LIST_CURRENT is recorded as "radio_get_node_list NETWORK MODE". */
int radio_get_node_list(radio_node_record *records, uint8_t network, int index, int count,
                        int mode);
/* Sends a ZigBee Device Object request to a node; the response's length. Recorded as
 * "radio_zdo_command ADDRESS NETWORK CLUSTER HEX". */
int radio_zdo_command(const uint8_t address[8], uint8_t network, uint16_t cluster,
                      const void *payload, size_t length, void *response, size_t size, int timeout);
/* Schedules a firmware update of a node (or of the gateway's radio). Recorded as
 * "radio_schedule_update TARGET NETWORK UPDATER FILE RECOVER RETRIES". */
int radio_schedule_update(const uint8_t target[8], uint8_t network, const uint8_t updater[8],
                          const char *file, int recover, int block_retry_max);

/* Writes the address text (cut to `size` - 1 characters); its full length. */
int radio_format_address(const uint8_t address[8], char *text, size_t size);
/* Non-zero when `text` is an address text; fills `record`. */
int radio_socket_get_addr(const char *text, int flags, radio_sockaddr *record);
/* A constant text describing a RADIO_E code. */
const char *radio_error_string(int code);

#ifdef __cplusplus
}
#endif

#endif
