#include "reply/validation.h"

#include "base/log.h"
#include "reply/reply.h"

#include <sys/stat.h>

#include <string>

namespace
{

// The error record's pointer type differs between libxml2 releases (const from 2.12 on).
template <typename T> struct second_parameter;
template <typename R, typename B> struct second_parameter<R (*)(void *, B)> {
    using type = B;
};
using error_ref = second_parameter<xmlStructuredErrorFunc>::type;

// Where a validation writes its error elements, and for which command.
struct report_target {
    xmlBufferPtr errors;
    const validation_rule *rule;
};

// libxml2 quotes the offending value in its messages: written as system text, a value cannot add
// markup to the reply, and quotes and carriage returns reach the client as libxml2 wrote them.
void append_error(const report_target &to, const char *message, const char *hint)
{
    xml::buffer_ptr desc(xmlBufferCreate());
    if (desc) reply_text(desc.get(), message);
    reply_error(to.errors, to.rule->invalid_id,
                desc ? xml::chars(xmlBufferContent(desc.get())) : "", hint);
}

void report(const report_target &to, const xmlNode *node, const char *message)
{
    const char *command = to.rule->command;
    if (node && node->name) {
        const char *name = xml::chars(node->name);
        trace("RCI %s validation failed on node <%s>: %s\n", command, name, message);
        log_msg(LOG_ERR, "RCI %s validation failed on node <%s>: %s\n", command, name, message);
        append_error(to, message, name);
    } else {
        trace("RCI %s validation failed: %s\n", command, message);
        log_msg(LOG_ERR, "RCI %s validation failed: %s\n", command, message);
        append_error(to, message, nullptr);
    }
}

void on_validation_error(void *context, error_ref error)
{
    if (!error) {
        log_msg(LOG_ERR, "No Error returned in Validation Error Callback\n");
        return;
    }
    report(*static_cast<report_target *>(context), static_cast<const xmlNode *>(error->node),
           error->message ? error->message : "");
}

bool refuse_if_reference(const report_target &to, const xmlNode *element, const xmlNode *node)
{
    if (node->type != XML_ENTITY_REF_NODE) return false;
    std::string message =
        "Entity reference &" + std::string(xml::chars(node->name)) + "; is not accepted\n";
    report(to, element, message.c_str());
    return true;
}

// Requests are parsed without loading or expanding entities, so a reference stays a reference,
// and its declaration stays behind in the request: merged into the configuration it would make
// the saved file unreadable, and no command needs one. Such requests are refused, wherever the
// reference stands.
bool refuse_references(const report_target &to, xmlNodePtr element)
{
    bool found = false;
    for (xmlAttrPtr attr = element->properties; attr; attr = attr->next)
        for (xmlNodePtr part = attr->children; part; part = part->next)
            found |= refuse_if_reference(to, element, part);
    for (xmlNodePtr child = element->children; child; child = child->next) {
        found |= refuse_if_reference(to, element, child);
        if (child->type == XML_ELEMENT_NODE) found |= refuse_references(to, child);
    }
    return found;
}

// Problems in the grammar itself are the device maker's, not the client's: traced only.
void on_schema_error(void *, error_ref error)
{
    if (error && error->message) trace("schema: %s", error->message);
}

// Streams the element through the validator: an element whose content the validator cannot
// check on the fly is checked whole, every other one child by child. An element that is not
// expected where it stands is reported once; its content has no rule to be checked against.
// 1 when valid.
int validate_element(xmlRelaxNGValidCtxtPtr context, xmlNodePtr element)
{
    int pushed = xmlRelaxNGValidatePushElement(context, element->doc, element);
    if (pushed < 0) return 0;
    if (pushed == 0) return xmlRelaxNGValidateFullElement(context, element->doc, element);
    int valid = 1;
    for (xmlNodePtr child = element->children; child; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            valid &= validate_element(context, child) == 1;
        } else if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
            int length = xmlStrlen(child->content);
            valid &= xmlRelaxNGValidatePushCData(context, child->content, length) == 1;
        }
    }
    valid &= xmlRelaxNGValidatePopElement(context, element->doc, element) == 1;
    return valid;
}

} // namespace

int validate_request(xmlNodePtr request, const char *schema, const validation_rule &rule,
                     xmlBufferPtr errors)
{
    struct stat info;
    xml::relaxng_parser_ptr parser(stat(schema, &info) == 0 ? xmlRelaxNGNewParserCtxt(schema)
                                                            : nullptr);
    if (!parser) {
        log_msg(LOG_ERR, "%s", rule.missing_text);
        return rule.missing_id;
    }
    xmlRelaxNGSetParserStructuredErrors(parser.get(), on_schema_error, nullptr);
    xml::relaxng_ptr grammar(xmlRelaxNGParse(parser.get()));
    if (!grammar) {
        log_msg(LOG_ERR, "RelaxNG validation, unable to read %s\n", schema);
        return rule.missing_id;
    }
    xml::relaxng_valid_ptr context(xmlRelaxNGNewValidCtxt(grammar.get()));
    if (!context) return rule.invalid_id;
    // The handler belongs to this context alone and goes with it.
    report_target to{.errors = errors, .rule = &rule};
    xmlRelaxNGSetValidStructuredErrors(context.get(), on_validation_error, &to);
    bool valid = validate_element(context.get(), request) == 1;
    return refuse_references(to, request) || !valid ? rule.invalid_id : 0;
}
