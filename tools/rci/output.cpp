#include "output.h"

#include "base/xml.h"

#include <cerrno>
#include <cstdio>
#include <memory>

namespace
{

struct file_closer {
    void operator()(FILE *file) const { fclose(file); }
};
using file_ptr = std::unique_ptr<FILE, file_closer>;

int read_stream(FILE *file, std::string &out)
{
    char chunk[65536];
    size_t count;
    while ((count = fread(chunk, 1, sizeof chunk, file)) > 0)
        out.append(chunk, count);
    return ferror(file) ? -EIO : 0;
}

} // namespace

int read_input(const std::string &path, std::string &out)
{
    if (path == "-") return read_stream(stdin, out);
    file_ptr file(fopen(path.c_str(), "rb"));
    if (!file) return -errno;
    return read_stream(file.get(), out);
}

void print_reply(const char *text, size_t length, bool pretty)
{
    // Blank text between elements would keep libxml2 from indenting: drop it for people.
    xml::doc_ptr doc(pretty ? xmlReadMemory(text, static_cast<int>(length), nullptr, nullptr,
                                            xml::safe_parse_options | XML_PARSE_NOBLANKS)
                            : nullptr);
    if (!doc) {
        fwrite(text, 1, length, stdout);
        return;
    }
    xmlChar *dump = nullptr;
    int size = 0;
    xmlDocDumpFormatMemory(doc.get(), &dump, &size, 1);
    xml::text_ptr owned(dump);
    if (owned) fwrite(owned.get(), 1, static_cast<size_t>(size), stdout);
}
