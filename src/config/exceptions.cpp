#include "config/exceptions.h"

#include "base/log.h"
#include "config/query.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace
{

// One exception name of a custom revert: the token as written in `except`, the groups of the
// current configuration it keeps (in this order; unused slots are nullptr) and whether it keeps
// the dns group as well.
struct exception_row {
    const char *token;
    std::array<const char *, 3> selectors;
    bool keeps_dns;
};

constexpr std::array exception_table{
    exception_row{.token = "ethernet",
                  .selectors = {"//config/interface[@name=\"eth0\"]", "//config/ethernet", nullptr},
                  .keeps_dns = true},
    exception_row{.token = "wifi",
                  .selectors = {"//config/interface[@name=\"wlan0\"]",
                                "//config/interface[@name=\"wlan1\"]", "//config/wireless"},
                  .keeps_dns = true},
    exception_row{
        .token = "snmp", .selectors = {"//config/snmp", nullptr, nullptr}, .keeps_dns = false},
};

const exception_row *find_exception(std::string_view token)
{
    for (const exception_row &row : exception_table)
        if (token == row.token) return &row;
    return nullptr;
}

// Copies what one token keeps; true when it asks for the dns group.
bool keep_token(xmlDocPtr retained, xmlDocPtr doc, std::string_view token)
{
    const exception_row *row = find_exception(token);
    if (!row) return false;
    for (const char *xpath : row->selectors)
        if (xpath) copy_matching_nodes(retained, doc, xpath);
    return row->keeps_dns;
}

void trace_element(const char *title, xmlDocPtr doc, xmlNodePtr element)
{
    if (debug_level == 0) return;
    std::fputs(title, stderr);
    xmlElemDump(stderr, doc, element);
    std::fputs("\n", stderr);
}

} // namespace

int copy_matching_nodes(xmlDocPtr target, xmlDocPtr doc, const char *xpath)
{
    xml::xpath_object_ptr result = xml::select_nodes(doc, xpath);
    xmlNodeSetPtr set = result ? result->nodesetval : nullptr;
    if (!set || set->nodeNr == 0) return -1;
    xmlNodePtr root = xmlDocGetRootElement(target);
    for (int i = 0; i < set->nodeNr; ++i)
        xmlAddChild(root, xmlDocCopyNode(set->nodeTab[i], target, 1));
    return 0;
}

xml::doc_ptr collect_exceptions(xmlDocPtr doc, const char *exceptions)
{
    static constexpr char empty_request[] = "<set_setting/>";
    xml::doc_ptr retained = xml::parse_memory(empty_request, sizeof empty_request - 1);
    if (!retained) return nullptr;
    bool keep_dns = false;
    std::string_view rest = exceptions;
    while (!rest.empty()) {
        std::string_view::size_type comma = rest.find(',');
        std::string_view token = rest.substr(0, comma);
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        if (!token.empty() && keep_token(retained.get(), doc, token)) keep_dns = true;
    }
    if (keep_dns) copy_matching_nodes(retained.get(), doc, "//config/dns");
    return retained;
}

int merge_retained(xmlDocPtr doc, xmlNodePtr retained_root)
{
    trace_element("Retained settings:\n", retained_root->doc, retained_root);
    xmlNodePtr root = xmlDocGetRootElement(doc);
    for (xmlNodePtr kept = retained_root->children; kept; kept = kept->next) {
        xmlNodePtr copy = xmlDocCopyNode(kept, doc, 1);
        if (!copy) continue;
        for (xmlNodePtr node = root->children; node; node = node->next) {
            if (xml_nodes_equal(node, copy, match_mode::first_instance)) {
                xmlUnlinkNode(node);
                xmlFreeNode(node);
                break;
            }
        }
        xmlAddChild(root, copy);
    }
    trace_element("Reverted local settings:\n", doc, root);
    return 0;
}
