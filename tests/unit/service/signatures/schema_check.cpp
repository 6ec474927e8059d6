#include "schema_check.h"

#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <memory>

namespace callhome::service::tests {
namespace {

void keep_error(void* errors, xmlErrorPtr error) {
    *static_cast<std::string*>(errors) += error->message;
}

}  // namespace

std::string why_invalid(const char* schema_file, std::string_view text) {
    const std::unique_ptr<xmlSchemaParserCtxt, decltype(&xmlSchemaFreeParserCtxt)> parser(
        xmlSchemaNewParserCtxt(schema_file), &xmlSchemaFreeParserCtxt);
    const std::unique_ptr<xmlSchema, decltype(&xmlSchemaFree)> schema(xmlSchemaParse(parser.get()),
                                                                      &xmlSchemaFree);
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
        &xmlFreeDoc);
    if (schema == nullptr || document == nullptr) {
        return schema == nullptr ? "the schema cannot be read" : "not well-formed";
    }
    const std::unique_ptr<xmlSchemaValidCtxt, decltype(&xmlSchemaFreeValidCtxt)> context(
        xmlSchemaNewValidCtxt(schema.get()), &xmlSchemaFreeValidCtxt);
    std::string errors;
    xmlSchemaSetValidStructuredErrors(context.get(), keep_error, &errors);
    return xmlSchemaValidateDoc(context.get(), document.get()) == 0 ? "" : "invalid: " + errors;
}

}  // namespace callhome::service::tests
