// Owners for libxml2 handles, and the one way untrusted XML is parsed.
//
// Every libxml2 object the daemon creates is held by one of these owners, so an early return
// cannot leak a document, buffer, XPath object or RelaxNG context.
#pragma once

#include <libxml/parser.h>
#include <libxml/relaxng.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <memory>

namespace xml
{

template <auto Free> struct deleter {
    template <typename T> void operator()(T *p) const { Free(p); }
};

using doc_ptr = std::unique_ptr<xmlDoc, deleter<xmlFreeDoc>>;
using buffer_ptr = std::unique_ptr<xmlBuffer, deleter<xmlBufferFree>>;
using xpath_context_ptr = std::unique_ptr<xmlXPathContext, deleter<xmlXPathFreeContext>>;
using xpath_object_ptr = std::unique_ptr<xmlXPathObject, deleter<xmlXPathFreeObject>>;
using relaxng_parser_ptr = std::unique_ptr<xmlRelaxNGParserCtxt, deleter<xmlRelaxNGFreeParserCtxt>>;
using relaxng_ptr = std::unique_ptr<xmlRelaxNG, deleter<xmlRelaxNGFree>>;
using relaxng_valid_ptr = std::unique_ptr<xmlRelaxNGValidCtxt, deleter<xmlRelaxNGFreeValidCtxt>>;

struct xml_free_deleter {
    void operator()(void *p) const { xmlFree(p); }
};
// Text returned by libxml2 (xmlNodeGetContent, xmlGetNodePath, xmlGetProp …).
using text_ptr = std::unique_ptr<xmlChar, xml_free_deleter>;

// Parser options for every document: no network, no DTD loading, no entity substitution, so a
// request can neither read a file nor expand entities; libxml2's depth and size limits stay on.
constexpr int safe_parse_options = XML_PARSE_NONET | XML_PARSE_NOWARNING | XML_PARSE_NOERROR;

// The nodes that `xpath` selects in `doc` (the set may be empty); nullptr when the expression
// cannot be evaluated or does not yield a node set.
xpath_object_ptr select_nodes(xmlDocPtr doc, const char *xpath);

// Parses request text that need not be terminated; nullptr when it is not well-formed.
doc_ptr parse_memory(const char *text, int size);
// Parses a file of the device; nullptr when it is missing or not well-formed.
doc_ptr parse_file(const char *path);

inline const char *chars(const xmlChar *s)
{
    return reinterpret_cast<const char *>(s);
}
inline const xmlChar *uchars(const char *s)
{
    return reinterpret_cast<const xmlChar *>(s);
}
inline bool name_is(const xmlNode *node, const char *name)
{
    return node->name && xmlStrcmp(node->name, uchars(name)) == 0;
}

} // namespace xml
