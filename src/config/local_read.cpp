#include "base/log.h"
#include "config/config.h"
#include "config/local_access.h"
#include "config/query.h"

namespace
{

// The nodes that `xpath` selects in `doc`; nullptr (with the trace) when nothing is selected.
xml::xpath_object_ptr select_nodes(xmlDocPtr doc, const char *xpath)
{
    xml::xpath_context_ptr context(xmlXPathNewContext(doc));
    if (!context) {
        trace("Unable to allocate context");
        return nullptr;
    }
    xml::xpath_object_ptr result(xmlXPathEvalExpression(xml::uchars(xpath), context.get()));
    if (!result || result->type != XPATH_NODESET || xmlXPathNodeSetIsEmpty(result->nodesetval)) {
        trace("Unable to find %s\n", xpath);
        return nullptr;
    }
    return result;
}

} // namespace

xml::buffer_ptr vexacsd_config_read_xmltree(int save, const char *xpath, const char *source)
{
    if (save != SAVE_CURRENT && save != SAVE_DEFAULTS) {
        log_msg(LOG_ERR, "Invalid SAVE value %d\n", save);
        return nullptr;
    }
    xmlDocPtr doc = config_select(save);
    if (!doc) {
        log_msg(LOG_ERR, "Unable to get config %s\n", config_select_path(save));
        return nullptr;
    }
    xml::xpath_object_ptr selected = select_nodes(doc, xpath);
    if (!selected) return nullptr;
    xml::buffer_ptr buf(xmlBufferCreate());
    if (!buf) return nullptr;
    xmlBufferCCat(buf.get(), "<config>");
    xmlNodeSetPtr nodes = selected->nodesetval;
    for (int i = 0; i < nodes->nodeNr; ++i)
        if (nodes->nodeTab[i]->type == XML_ELEMENT_NODE)
            render_node(buf.get(), nodes->nodeTab[i], source);
    xmlBufferCCat(buf.get(), "</config>");
    return buf;
}
