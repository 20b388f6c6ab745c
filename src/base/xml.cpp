#include "base/xml.h"

namespace xml
{

doc_ptr parse_memory(const char *text, int size)
{
    if (!text || size <= 0) return nullptr;
    return doc_ptr(xmlReadMemory(text, size, nullptr, nullptr, safe_parse_options));
}

doc_ptr parse_file(const char *path)
{
    return doc_ptr(xmlReadFile(path, nullptr, safe_parse_options));
}

} // namespace xml
