// The simulated radio network behind libpelk.so: what the description file says, and what the
// calls have changed since it was read.
//
// Description ("pelk.xml"), every number in C notation (decimal, 0x hexadecimal):
//   <pelk_network ext_pan_id="N">
//     <gateway address="A" kind="N" caps="N" dual="0|1"> RADIO </gateway>
//     <kind number="N"> PARAM... </kind>      parameters every radio of that module kind has
//     <node address="A" kind="N" type="N" net_addr="N" parent_addr="N" profile_id="N" mfg_id="N"
//           device_type="N" node_id="T" contact_time="N" network_index="0|1" hw_version="N"
//           fw_version="N" fw_status="N" fw_tries="N" fw_error_code="N" fw_error_text="T"
//           fw_file="T" fw_updater="A">
//       RADIO
//       <neighbour address="A" net_addr="N" type="N" rx_idle="N" relation="N" permit_join="N"
//                  depth="N" lqi="N"/>...
//     </node>
//   RADIO is any number of
//     <param cmd="XX" int="N"|hex="0x.."|text="T"|addr="A" access="ro|wo"/>   (a value, which
//                                              overrides the kind's)
//     <fail cmd="XX" code="N"/>    every call with command XX answers the code; cmd "ZDO" stands
//     <fail cmd="ZDO" status="N"/> for the node's Device Object requests, which may instead answer
//                                  a ZigBee status
#pragma once

#include "libpelk.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// The records keep the byte layout the daemon reads.
static_assert(sizeof(radio_gateway_info) == 24 && offsetof(radio_gateway_info, address) == 10 &&
              offsetof(radio_gateway_info, module_kind) == 22);
static_assert(offsetof(radio_sockaddr, kind) == 2 && offsetof(radio_sockaddr, address) == 4);
static_assert(sizeof(radio_node_record) == 304 && offsetof(radio_node_record, contact_time) == 48 &&
              offsetof(radio_node_record, fw_status) == 76 &&
              offsetof(radio_node_record, fw_error_code) == 84 &&
              offsetof(radio_node_record, hw_version) == 92 &&
              offsetof(radio_node_record, fw_file) == 172 &&
              offsetof(radio_node_record, fw_error_text) == 236 &&
              offsetof(radio_node_record, network_index) == 300);

namespace pelk_sim
{

using bytes = std::vector<uint8_t>;
using address = std::array<uint8_t, 8>;

enum class access : uint8_t { read_write, read_only, write_only };

struct param {
    bytes value;
    access mode = access::read_write;
};

struct failure {
    int code = 0;       // a RADIO_E code, or 0
    int zdo_status = 0; // the ZigBee status a Device Object request answers instead
};

// The AT side of one radio module.
struct radio {
    std::map<std::string, param, std::less<>> params;
    std::map<std::string, bytes, std::less<>> queued; // written, not yet applied (last write wins)
    std::map<std::string, failure, std::less<>> failures;
};

// A neighbour table entry as Mgmt_Lqi_rsp carries it.
struct neighbour {
    address ext_addr{};
    uint16_t net_addr = 0;
    uint8_t type = 0, rx_idle = 0, relation = 0, permit_join = 0, depth = 0, lqi = 0;
};

struct node {
    radio_node_record record{};
    radio module;
    std::vector<neighbour> neighbours;
};

struct network {
    bool present = false; // false: no readable description, the gateway radio is unavailable
    radio_gateway_info info{};
    bool dual = false;
    uint64_t ext_pan_id = 0;
    radio gateway;
    std::vector<node> nodes;
    std::array<std::vector<size_t>, 2> lists; // positions in `nodes`, per network index
};

// Reads the description (`present` false when it is missing or not well formed).
network load_network(const std::string &path);

// The network, read again when its file has changed; held under a lock while `hold` lives.
class held_network
{
  public:
    held_network();
    network &operator*() { return *net_; }
    network *operator->() { return net_; }

  private:
    std::unique_lock<std::mutex> hold_;
    network *net_;
};

// The node with this address, or nullptr.
node *find_node(network &net, const uint8_t *address);
// The radio a call names: the gateway's for a null address or the gateway's own address, else
// the node's; nullptr when no node has the address.
radio *find_radio(network &net, const uint8_t *address);

std::string address_text(const uint8_t *address);
std::string hex_text(const void *data, size_t length);

} // namespace pelk_sim
