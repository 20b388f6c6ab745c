#include "base/xml.h"

namespace xml
{

doc_ptr parse_memory(const char *text, int size)
{
    if (!text || size <= 0) return nullptr;
    return doc_ptr(xmlReadMemory(text, size, nullptr, nullptr, safe_parse_options));
}

xpath_object_ptr select_nodes(xmlDocPtr doc, const char *xpath)
{
    xpath_context_ptr context(doc ? xmlXPathNewContext(doc) : nullptr);
    if (!context) return nullptr;
    xpath_object_ptr result(xmlXPathEvalExpression(uchars(xpath), context.get()));
    if (!result || result->type != XPATH_NODESET) return nullptr;
    return result;
}

doc_ptr parse_file(const char *path)
{
    return doc_ptr(xmlReadFile(path, nullptr, safe_parse_options));
}

} // namespace xml
