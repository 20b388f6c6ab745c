// discover: pages through the radio library's node list, optionally refreshing or clearing it
// first, one device element per node.
#include "base/table.h"
#include "base/xml.h"
#include "radio/attributes.h"
#include "radio/codec.h"
#include "radio/errors.h"
#include "radio/subcommands.h"
#include "reply/reply.h"

#include <array>
#include <cstring>

namespace
{

constexpr std::array fw_status_names{"Unknown", "Up to date", "Available", "Scheduled", "Updating",
                                     "Updated", "Complete",   "Cancelled", "Error"};

struct list_option {
    const char *name;
    int mode;
};

constexpr std::array list_options{
    list_option{.name = "current", .mode = RADIO_LIST_CURRENT},
    list_option{.name = "clear", .mode = RADIO_LIST_CLEAR},
    list_option{.name = "discover", .mode = RADIO_LIST_DISCOVER},
};

// What to list: one node by address, or a page of the list from position `start` (1-based).
struct page {
    bool by_address = false;
    uint8_t address[8] = {};
    int64_t start = 1;
    int64_t size = INT32_MAX;
    int mode = RADIO_LIST_DISCOVER;
};

// The number in the attribute `name`, read as the radio's 32-bit signed numbers; the error
// element when it is not one.
int read_count(reply_buffer &reply, xmlNodePtr element, const char *name, int64_t *out)
{
    xml::text_ptr text = attribute(element, name);
    if (!text) return 0;
    uint32_t value = 0;
    const char *chars = xml::chars(text.get());
    if (parse_number(chars, std::strlen(chars), &value) < 0) {
        pelk_error(reply, PELK_INVALID_PARAMETER, name);
        return -1;
    }
    *out = static_cast<int32_t>(value);
    return 0;
}

// An option names the mode; without one, a first page starts a new discovery.
int read_mode(reply_buffer &reply, xmlNodePtr element, page &p)
{
    xml::text_ptr option = attribute(element, "option");
    if (!option) {
        p.mode = p.start > 1 || p.by_address ? RADIO_LIST_CURRENT : RADIO_LIST_DISCOVER;
        return 0;
    }
    if (const list_option *row = find_named(list_options, xml::chars(option.get()))) {
        p.mode = row->mode;
        return 0;
    }
    pelk_error(reply, PELK_INVALID_PARAMETER, "option");
    return -1;
}

int read_page(reply_buffer &reply, xmlNodePtr element, page &p)
{
    int given = read_node_address(element, "addr", p.address);
    if (given < 0) {
        pelk_error(reply, PELK_INVALID_PARAMETER, "addr");
        return -1;
    }
    p.by_address = given > 0;
    if (!p.by_address && (read_count(reply, element, "start", &p.start) < 0 ||
                          read_count(reply, element, "size", &p.size) < 0))
        return -1;
    return read_mode(reply, element, p);
}

// Walks the page; stops at the first library failure (with its error element).
int list_nodes(xmlDocPtr doc, reply_buffer &reply, uint8_t network, page &p, bool fw_status)
{
    for (int64_t i = 0; i < p.size; ++i) {
        radio_node_record record{};
        int64_t position = p.start + i - 1;
        int total = radio_get_node_list(&record, network, static_cast<int>(position), 1,
                                        RADIO_LIST_CURRENT);
        if (total < 0) {
            pelk_error(reply, PELK_COMMAND_ERROR, radio_error_string(total));
            return -1;
        }
        p.size = std::min(p.size, total - p.start + 1);
        // The library leaves the record alone for a position outside its list.
        if (position < 0 || position >= total) continue;
        if (!p.by_address) {
            write_device_record(doc, reply, record, static_cast<int>(i), fw_status);
        } else if (std::memcmp(record.ext_addr, p.address, sizeof p.address) == 0) {
            write_device_record(doc, reply, record, 0, fw_status);
            break;
        }
    }
    return 0;
}

int discover(reply_buffer &reply, xmlNodePtr element)
{
    int index = close_with_network(reply, element);
    if (index < 0) return -1;
    const auto network = static_cast<uint8_t>(index);
    page p;
    if (read_page(reply, element, p) < 0) return -1;
    if (p.mode != RADIO_LIST_CURRENT) {
        int result = radio_get_node_list(nullptr, network, 0, 0, p.mode);
        if (result < 0) {
            pelk_error(reply, PELK_COMMAND_ERROR, radio_error_string(result));
            return -1;
        }
    }
    return list_nodes(element->doc, reply, network, p,
                      radio_get_capabilities() & RADIO_CAP_FW_STATUS);
}

// A text field of the record, which ends at its first zero byte or with the field.
template <size_t size> std::string_view record_text(const char (&field)[size])
{
    return {field, strnlen(field, size)};
}

void write_fw_status(xmlDocPtr doc, reply_buffer &reply, const radio_node_record &r)
{
    reply_printf(reply, "<fw_status><hw_version>0x%x</hw_version><fw_version>0x%x</fw_version>",
                 r.hw_version, r.fw_version);
    reply_printf(reply, "<status>%s</status>",
                 r.fw_status < fw_status_names.size() ? fw_status_names[r.fw_status]
                                                      : fw_status_names[0]);
    reply.append("<file>");
    reply.append_encoded(doc, record_text(r.fw_file));
    reply.append("</file>");
    static constexpr uint8_t no_updater[8] = {};
    char updater[RADIO_ADDRESS_TEXT_SIZE + 1] = "";
    if (std::memcmp(r.fw_updater, no_updater, sizeof no_updater) != 0)
        radio_format_address(r.fw_updater, updater, sizeof updater);
    reply_printf(reply, "<updater>%s</updater><error_code>%d</error_code>", updater,
                 r.fw_error_code);
    // The error text is the library's own: not encoded, but escaped all the same.
    reply.append("<error_text>");
    reply.append_text(record_text(r.fw_error_text));
    reply.append("</error_text>");
    reply_printf(reply, "<tries>%d</tries></fw_status>", r.fw_tries);
}

} // namespace

void write_device_record(xmlDocPtr doc, reply_buffer &reply, const radio_node_record &r, int index,
                         bool fw_status)
{
    char address[RADIO_ADDRESS_TEXT_SIZE + 1];
    radio_format_address(r.ext_addr, address, sizeof address);
    reply_printf(reply, "<device index=\"%d\"><type>%d</type><ext_addr>%s</ext_addr>", index + 1,
                 r.type, address);
    reply_printf(reply, "<net_addr>0x%x</net_addr><parent_addr>0x%x</parent_addr>", r.net_addr,
                 r.parent_addr);
    if (r.network_index != 0)
        reply_printf(reply, "<network_index>%d</network_index>", r.network_index);
    reply_printf(reply, "<profile_id>0x%x</profile_id><mfg_id>0x%x</mfg_id>", r.profile_id,
                 r.mfg_id);
    reply_printf(reply, "<device_type>0x%x</device_type>", r.device_type);
    reply.append("<node_id>");
    reply.append_encoded(doc, record_text(r.node_id));
    reply.append("</node_id>");
    reply_printf(reply, "<contact_time>%u</contact_time>", r.contact_time);
    if (fw_status) write_fw_status(doc, reply, r);
    reply.append("</device>");
}

int pelk_discover(reply_buffer &reply, xmlNodePtr element)
{
    return within_element(reply, "discover", discover, element);
}
