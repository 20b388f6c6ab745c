#include "base/hex.h"
#include "base/log.h"
#include "config/config.h"

#include <cstdlib>
#include <cstring>

namespace
{

bool untraced_path(const char *path)
{
    // Connection settings of the cloud connector are never traced.
    return std::strstr(path, "connectionEnabled") ||
           std::strstr(path, "clientConnectionReconnectTimeout");
}

// The one element of the set that has exactly one child, or nullptr (with the trace why not).
xmlNodePtr single_valued_element(xmlNodeSetPtr set)
{
    int count = set ? set->nodeNr : 0;
    if (count != 1) {
        trace("\n%s nodes! %d\n", count == 0 ? "No" : "Multiple", count);
        for (int i = 0; i < count; ++i) {
            if (set->nodeTab[i]->name)
                trace("%s\n", xml::chars(set->nodeTab[i]->name));
            else
                trace("Node %d has no name\n", i);
        }
        return nullptr;
    }
    xmlNodePtr node = set->nodeTab[0];
    if (node->type != XML_ELEMENT_NODE) {
        trace("Node is not an element! %d\n", node->type);
        return nullptr;
    }
    if (!node->children || node->children->next) {
        trace(node->children ? "Multiple children! %s\n" : "No children! %s\n",
              xml::chars(node->name));
        return nullptr;
    }
    return node;
}

xml::text_ptr evaluate(save_selector save, const char *xpath)
{
    xmlDocPtr doc = config_select(save);
    if (!doc) {
        trace("Invalid SAVE value %d\n", save);
        return nullptr;
    }
    xml::xpath_object_ptr result = xml::select_nodes(doc, xpath);
    if (!result) {
        trace("Unable to find %s in %s\n", xpath, config_select_path(save));
        return nullptr;
    }
    xmlNodePtr node = single_valued_element(result->nodesetval);
    if (!node) return nullptr;
    xml::text_ptr value(xmlNodeGetContent(node));
    if (value && debug_level > 0) {
        xml::text_ptr path(xmlGetNodePath(node));
        if (path && !untraced_path(xml::chars(path.get())))
            trace("PATH: %s=%s\n", xml::chars(path.get()), xml::chars(value.get()));
    }
    return value;
}

} // namespace

xml::text_ptr config_lookup(save_selector save, const char *xpath)
{
    xml::text_ptr value = evaluate(save, xpath);
    if (!value) trace("DID NOT FIND: %s\n", xpath);
    return value;
}

int config_get_string(save_selector save, const char *xpath, char *dst, size_t len)
{
    if (len == 0) return config_lookup(save, xpath) ? 0 : -1;
    xml::text_ptr value = config_lookup(save, xpath);
    if (!value) {
        dst[0] = 0;
        return -1;
    }
    std::strncpy(dst, xml::chars(value.get()), len);
    dst[len - 1] = 0;
    return 0;
}

template <typename T, typename Convert>
int get_number(save_selector save, const char *xpath, T *out, Convert convert)
{
    xml::text_ptr value = config_lookup(save, xpath);
    if (!value) return -1;
    const char *text = xml::chars(value.get());
    char *end = nullptr;
    *out = static_cast<T>(convert(text, &end));
    return *end == 0 ? 0 : -1;
}

int config_get_int16(save_selector save, const char *xpath, int16_t *out)
{
    return get_number(save, xpath, out,
                      [](const char *s, char **end) { return std::strtol(s, end, 10); });
}

int config_get_uint16(save_selector save, const char *xpath, uint16_t *out)
{
    return get_number(save, xpath, out,
                      [](const char *s, char **end) { return std::strtoul(s, end, 10); });
}

int config_get_enum(save_selector save, const char *xpath, const char *const *table, int32_t *out)
{
    xml::text_ptr value = config_lookup(save, xpath);
    if (!value) return -1;
    for (int32_t i = 0; table[i]; ++i) {
        if (std::strcmp(table[i], xml::chars(value.get())) == 0) {
            *out = i;
            return 0;
        }
    }
    return -1;
}

int config_get_bool(save_selector save, const char *xpath, int32_t *out)
{
    static constexpr const char *off_on[] = {"off", "on", nullptr};
    return config_get_enum(save, xpath, off_on, out);
}

// A character that is not a hexadecimal digit ends the conversion with -1; the bytes converted
// before it stay in `dst`.
int config_get_hex(save_selector save, const char *xpath, uint8_t *dst, size_t len)
{
    xml::text_ptr value = config_lookup(save, xpath);
    if (!value) return -1;
    std::memset(dst, 0, len);
    const char *text = xml::chars(value.get());
    if (text[0] == '0' && text[1] == 'x') text += 2;
    for (size_t out = 0; out < len && text[0] && text[1]; ++out, text += 2) {
        int byte = hex_byte(text);
        if (byte < 0) return -1;
        dst[out] = static_cast<uint8_t>(byte);
    }
    return 0;
}
