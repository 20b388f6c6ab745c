#include "base/log.h"
#include "config/config.h"
#include "config/local_access.h"
#include "config/query.h"

int vexacsd_config_read_xmltree(reply_buffer &out, int save, const char *xpath,
                                request_source source)
{
    if (save != SAVE_CURRENT && save != SAVE_DEFAULTS) {
        log_msg(LOG_ERR, "Invalid SAVE value %d\n", save);
        return -1;
    }
    const auto selector = static_cast<save_selector>(save);
    xmlDocPtr doc = config_select(selector);
    if (!doc) {
        log_msg(LOG_ERR, "Unable to get config %s\n", config_select_path(selector));
        return -1;
    }
    xml::xpath_object_ptr selected = xml::select_nodes(doc, xpath);
    if (!selected || xmlXPathNodeSetIsEmpty(selected->nodesetval)) {
        trace("Unable to find %s\n", xpath);
        return -1;
    }
    out.append("<config>");
    xmlNodeSetPtr nodes = selected->nodesetval;
    for (int i = 0; i < nodes->nodeNr; ++i)
        if (nodes->nodeTab[i]->type == XML_ELEMENT_NODE)
            render_node(out, nodes->nodeTab[i], source);
    out.append("</config>");
    return 0;
}
