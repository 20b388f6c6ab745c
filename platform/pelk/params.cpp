// The AT parameter calls: reads answer the applied value, writes queue the value or apply it
// together with everything queued before.
#include "network.h"
#include "sim.h"

#include <cstring>

using namespace pelk_sim;

namespace
{

bool usable_network(network &net, uint8_t index)
{
    return index == 0 || (index == 1 && net.dual);
}

// The radio a parameter call reaches, or the RADIO_E code why none.
int reach(network &net, const uint8_t *address, uint8_t index, radio **module)
{
    if (!net.present) return RADIO_E_UNAVAILABLE;
    if (!usable_network(net, index)) return RADIO_E_NO_NETWORK;
    *module = find_radio(net, address);
    return *module ? 0 : RADIO_E_NO_NODE;
}

int injected(const radio &module, const char *command)
{
    auto found = module.failures.find(command);
    return found == module.failures.end() ? 0 : found->second.code;
}

// The stored value of a parameter that may be read, or the code why not.
int read_value(network &net, const uint8_t *address, uint8_t index, const char *command,
               const bytes **value)
{
    radio *module = nullptr;
    if (int code = reach(net, address, index, &module)) return code;
    if (int code = injected(*module, command)) return code;
    auto found = module->params.find(command);
    if (found == module->params.end()) return RADIO_E_UNKNOWN;
    if (found->second.mode == access::write_only) return RADIO_E_WRITE_ONLY;
    *value = &found->second.value;
    return 0;
}

void apply_queued(radio &module)
{
    for (auto &[command, value] : module.queued)
        module.params[command].value = std::move(value);
    module.queued.clear();
}

// Queues or applies one value; "WR" and "AC" are the radio's own commands and apply what is
// queued when the flags say so.
int write_value(network &net, const uint8_t *address, uint8_t index, const char *command,
                bytes value, unsigned flags)
{
    radio *module = nullptr;
    if (int code = reach(net, address, index, &module)) return code;
    if (int code = injected(*module, command)) return code;
    bool own_command = std::strcmp(command, "WR") == 0 || std::strcmp(command, "AC") == 0;
    if (!own_command) {
        auto found = module->params.find(command);
        if (found == module->params.end()) return RADIO_E_UNKNOWN;
        if (found->second.mode == access::read_only || value.empty() || value.size() > 128)
            return RADIO_E_REFUSED;
        module->queued[command] = std::move(value);
    }
    if (flags & RADIO_APPLY) apply_queued(*module);
    return 0;
}

bytes big_endian(uint32_t value)
{
    return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
            static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

} // namespace

extern "C" int radio_get_param(const uint8_t *address, uint8_t network, const char *command,
                               void *buffer, size_t size, int, unsigned)
{
    held_network net;
    const bytes *value = nullptr;
    if (int code = read_value(*net, address, network, command, &value)) return code;
    size_t length = std::min(size, value->size());
    std::memcpy(buffer, value->data(), length);
    return static_cast<int>(length);
}

extern "C" int radio_get_int_param(const uint8_t *address, uint8_t network, const char *command,
                                   uint32_t *out, int, unsigned)
{
    held_network net;
    const bytes *value = nullptr;
    if (int code = read_value(*net, address, network, command, &value)) return code;
    if (value->size() > 4) return RADIO_E_NOT_NUMBER;
    uint32_t number = 0;
    for (uint8_t byte : *value)
        number = number << 8 | byte;
    *out = number;
    return 0;
}

extern "C" int radio_set_param(const uint8_t *address, uint8_t network, const char *command,
                               const void *data, size_t length, int, unsigned flags)
{
    sim::record_call("radio_set_param", {address_text(address), std::to_string(network), command,
                                         hex_text(data, length), std::to_string(flags)});
    held_network net;
    const auto *from = static_cast<const uint8_t *>(data);
    return write_value(*net, address, network, command, bytes(from, from + (data ? length : 0)),
                       flags);
}

extern "C" int radio_set_int_param(const uint8_t *address, uint8_t network, const char *command,
                                   uint32_t value, int, unsigned flags)
{
    sim::record_call("radio_set_int_param",
                     {address_text(address), std::to_string(network), command,
                      std::to_string(value), std::to_string(flags)});
    held_network net;
    return write_value(*net, address, network, command, big_endian(value), flags);
}

extern "C" int radio_param_command(const uint8_t *address, uint8_t network, const char *command,
                                   const void *parameter, size_t length, void *answer, size_t size,
                                   int timeout, unsigned flags)
{
    sim::record_call("radio_param_command",
                     {address_text(address), std::to_string(network), command,
                      hex_text(parameter, length), std::to_string(timeout), std::to_string(flags)});
    held_network net;
    if (length > 0 || std::strcmp(command, "WR") == 0 || std::strcmp(command, "AC") == 0) {
        const auto *from = static_cast<const uint8_t *>(parameter);
        return write_value(*net, address, network, command, bytes(from, from + length), flags);
    }
    const bytes *value = nullptr;
    if (int code = read_value(*net, address, network, command, &value)) return code;
    size_t copied = std::min(size, value->size());
    std::memcpy(answer, value->data(), copied);
    return static_cast<int>(copied);
}
