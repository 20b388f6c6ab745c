// The gateway's identity, the node list, Mgmt_Lqi neighbour tables and scheduled updates.
#include "network.h"
#include "sim.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace pelk_sim;

namespace
{

constexpr uint16_t mgmt_lqi_cluster = 0x0031;
// Entries of one Mgmt_Lqi_rsp, as many as a response frame carries.
constexpr size_t lqi_entries_per_response = 11;
constexpr size_t lqi_entry_size = 22;

void change_list(network &net, uint8_t index, int mode)
{
    std::vector<size_t> &list = net.lists[index];
    if (mode == RADIO_LIST_CLEAR) list.clear();
    if (mode != RADIO_LIST_DISCOVER) return;
    list.clear();
    for (size_t i = 0; i < net.nodes.size(); ++i)
        if (net.nodes[i].record.network_index == index) list.push_back(i);
}

// Entry bytes, the 64-bit values least significant byte first.
void put_entry(uint8_t *at, uint64_t ext_pan_id, const neighbour &n)
{
    for (int i = 0; i < 8; ++i) {
        at[i] = static_cast<uint8_t>(ext_pan_id >> (8 * i));
        at[8 + i] = n.ext_addr[7 - i];
    }
    at[16] = static_cast<uint8_t>(n.net_addr);
    at[17] = static_cast<uint8_t>(n.net_addr >> 8);
    at[18] = static_cast<uint8_t>((n.type & 3) | (n.rx_idle & 3) << 2 | (n.relation & 7) << 4);
    at[19] = n.permit_join & 3;
    at[20] = n.depth;
    at[21] = n.lqi;
}

int mgmt_lqi_response(network &net, node &target, uint8_t start, uint8_t *out, size_t size)
{
    auto fail = target.module.failures.find("ZDO");
    if (fail != target.module.failures.end() && fail->second.code) return fail->second.code;
    if (size < 4) return RADIO_E_INVALID;
    size_t total = std::min<size_t>(target.neighbours.size(), 255);
    size_t fits = std::min(lqi_entries_per_response, (size - 4) / lqi_entry_size);
    size_t count = start < total ? std::min(fits, total - start) : 0;
    out[0] =
        fail != target.module.failures.end() ? static_cast<uint8_t>(fail->second.zdo_status) : 0;
    out[1] = static_cast<uint8_t>(total);
    out[2] = start;
    out[3] = out[0] ? 0 : static_cast<uint8_t>(count);
    for (size_t j = 0; j < out[3]; ++j)
        put_entry(out + 4 + j * lqi_entry_size, net.ext_pan_id, target.neighbours[start + j]);
    return static_cast<int>(4 + out[3] * lqi_entry_size);
}

} // namespace

extern "C" int radio_get_gateway_info(radio_gateway_info *info)
{
    held_network net;
    if (!net->present) return RADIO_E_UNAVAILABLE;
    if (int code = sim::call_result("radio_get_gateway_info", 0)) return code;
    *info = net->info;
    return 0;
}

extern "C" int radio_get_gateway_address(uint8_t address[8])
{
    held_network net;
    if (!net->present) return RADIO_E_UNAVAILABLE;
    if (int code = sim::call_result("radio_get_gateway_address", 0)) return code;
    std::memcpy(address, net->info.address, 8);
    return 0;
}

extern "C" unsigned radio_get_capabilities(void)
{
    held_network net;
    return net->present ? net->info.caps : 0;
}

extern "C" int radio_dual_mode_enabled(void)
{
    held_network net;
    return net->present && net->dual;
}

extern "C" int radio_get_node_list(radio_node_record *records, uint8_t network, int index,
                                   int count, int mode)
{
    held_network net;
    if (mode != RADIO_LIST_CURRENT) {
        sim::record_call("radio_get_node_list", {std::to_string(network), std::to_string(mode)});
        if (int code = sim::call_result("radio_get_node_list", 0)) return code;
    }
    if (!net->present) return RADIO_E_UNAVAILABLE;
    if (network > 1 || (network == 1 && !net->dual)) return RADIO_E_NO_NETWORK;
    if (mode < RADIO_LIST_CURRENT || mode > RADIO_LIST_DISCOVER || count < 0)
        return RADIO_E_INVALID;
    change_list(*net, network, mode);
    const std::vector<size_t> &list = net->lists[network];
    for (int i = 0; records && i < count; ++i) {
        long position = static_cast<long>(index) + i;
        if (position < 0 || position >= static_cast<long>(list.size())) break;
        records[i] = net->nodes[list[static_cast<size_t>(position)]].record;
    }
    return static_cast<int>(list.size());
}

extern "C" int radio_zdo_command(const uint8_t address[8], uint8_t network, uint16_t cluster,
                                 const void *payload, size_t length, void *response, size_t size,
                                 int)
{
    char cluster_text[8];
    std::snprintf(cluster_text, sizeof cluster_text, "0x%04x", cluster);
    sim::record_call("radio_zdo_command", {address_text(address), std::to_string(network),
                                           cluster_text, hex_text(payload, length)});
    held_network net;
    if (!net->present) return RADIO_E_UNAVAILABLE;
    if (network > 1 || (network == 1 && !net->dual)) return RADIO_E_NO_NETWORK;
    node *target = find_node(*net, address);
    if (!target) return RADIO_E_NO_NODE;
    if (cluster != mgmt_lqi_cluster) return RADIO_E_NOT_SUPPORTED;
    if (length < 1) return RADIO_E_INVALID;
    return mgmt_lqi_response(*net, *target, *static_cast<const uint8_t *>(payload),
                             static_cast<uint8_t *>(response), size);
}

extern "C" int radio_schedule_update(const uint8_t target[8], uint8_t network,
                                     const uint8_t updater[8], const char *file, int recover,
                                     int block_retry_max)
{
    sim::record_call("radio_schedule_update",
                     {address_text(target), std::to_string(network), address_text(updater), file,
                      std::to_string(recover), std::to_string(block_retry_max)});
    held_network net;
    if (!net->present) return RADIO_E_UNAVAILABLE;
    if (int code = sim::call_result("radio_schedule_update", 0)) return code;
    if (std::memcmp(target, net->info.address, 8) == 0) return 0;
    node *n = find_node(*net, target);
    if (!n) return RADIO_E_NO_NODE;
    radio_node_record &r = n->record;
    r.fw_status = 3; // scheduled
    r.fw_tries = 0;
    r.fw_error_code = 0;
    r.fw_error_text[0] = 0;
    std::memcpy(r.fw_updater, updater, 8);
    std::strncpy(r.fw_file, file, sizeof r.fw_file - 1);
    r.fw_file[sizeof r.fw_file - 1] = 0;
    return 0;
}
