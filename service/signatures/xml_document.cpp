#include "signatures/xml_document.h"

#include <fmt/format.h>
#include <glib.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>

#include <memory>
#include <new>
#include <optional>

#include "messages/text.h"

namespace callhome::service {
namespace {

// The parser compares each attribute of a tag with all before it: without this limit, a file of one tag
// would keep it busy for half a minute.
constexpr std::size_t most_attributes = 256;

// What the parser hands over for an attribute.
constexpr std::size_t attribute_words = 5;
enum AttributeWord : std::size_t { local_name, prefix, uri, value_begin, value_end };

std::string text_of(const xmlChar* text) {
    return text == nullptr ? std::string() : reinterpret_cast<const char*>(text);
}

class DocumentBuilder {
 public:
    DocumentBuilder(std::string_view name_space, const XmlLimits& limits)
        : name_space_(name_space), limits_(limits) {}

    void attach(xmlParserCtxt& parser) { parser_ = &parser; }

    void start(std::string name, std::vector<std::pair<std::string, std::string>> attributes) {
        if (open_.size() >= limits_.depth) {
            stop(XmlFault::unreadable, fmt::format("elements are nested deeper than {}", limits_.depth));
        } else if (++elements_ > limits_.elements) {
            stop(XmlFault::too_long, fmt::format("there are more than {} elements", limits_.elements));
        } else {
            open_.push_back({std::move(name), std::move(attributes), {}, {}, line()});
        }
    }
    void text(std::string_view piece) {
        if (!open_.empty()) {
            open_.back().text.append(piece);
        }
    }
    void end() {
        if (error_ || open_.empty()) {
            return;  // stopped
        }
        XmlElement closed = std::move(open_.back());
        open_.pop_back();
        if (open_.empty()) {
            root_ = std::move(closed);
        } else {
            open_.back().children.push_back(std::move(closed));
        }
    }
    // The first reason is the one that counts.
    void stop(XmlFault fault, const std::string& why) {
        if (!error_) {
            error_ = XmlError{fault, fmt::format("line {}: {}", line(), why)};
        }
        xmlStopParser(parser_);
    }
    void run_out_of_memory() {
        out_of_memory_ = true;
        xmlStopParser(parser_);
    }

    std::string qualified(const xmlChar* local, const xmlChar* its_prefix, const xmlChar* its_uri) const {
        std::string name = text_of(local);
        return text_of(its_uri) == name_space_ ? name : text_of(its_prefix) + ":" + name;
    }

    std::variant<XmlElement, XmlError> finish(bool well_formed) {
        if (out_of_memory_) {
            throw std::bad_alloc();
        }
        if (error_) {
            return *std::move(error_);
        }
        if (!well_formed || !root_) {
            return XmlError{XmlFault::unreadable, "it is not well-formed XML"};
        }
        return *std::move(root_);
    }

 private:
    int line() const { return xmlSAX2GetLineNumber(parser_); }

    std::string name_space_;
    XmlLimits limits_;
    xmlParserCtxt* parser_ = nullptr;
    std::vector<XmlElement> open_;
    std::optional<XmlElement> root_;
    std::size_t elements_ = 0;
    std::optional<XmlError> error_;
    bool out_of_memory_ = false;
};

// The parser is C: no exception may pass through it.
template <typename Step>
void guarded(void* context, Step step) {
    auto& builder = *static_cast<DocumentBuilder*>(context);
    try {
        step(builder);
    } catch (const std::bad_alloc&) {
        builder.run_out_of_memory();
    }
}

void start_element(void* context, const xmlChar* name, const xmlChar* its_prefix, const xmlChar* its_uri,
                   int /*namespace_count*/, const xmlChar** /*namespaces*/, int attribute_count,
                   int /*defaulted*/, const xmlChar** words) {
    guarded(context, [&](DocumentBuilder& builder) {
        std::vector<std::pair<std::string, std::string>> attributes;
        for (int i = 0; i < attribute_count; ++i, words += attribute_words) {
            // An attribute without a prefix belongs to its element.
            const std::string attribute = words[prefix] == nullptr
                                              ? text_of(words[local_name])
                                              : text_of(words[prefix]) + ":" + text_of(words[local_name]);
            attributes.emplace_back(attribute, std::string(words[value_begin], words[value_end]));
        }
        builder.start(builder.qualified(name, its_prefix, its_uri), std::move(attributes));
    });
}

void end_element(void* context, const xmlChar* /*name*/, const xmlChar* /*prefix*/,
                 const xmlChar* /*uri*/) {
    guarded(context, [](DocumentBuilder& builder) { builder.end(); });
}

void characters(void* context, const xmlChar* text, int length) {
    guarded(context, [&](DocumentBuilder& builder) {
        builder.text({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
    });
}

// Comes before anything within the document type is looked at.
void document_type(void* context, const xmlChar* /*name*/, const xmlChar* /*external*/,
                   const xmlChar* /*system*/) {
    guarded(context, [](DocumentBuilder& builder) {
        builder.stop(XmlFault::unreadable, "it has a document type; none is allowed");
    });
}

void parser_error(void* context, xmlErrorPtr error) {
    guarded(context, [&](DocumentBuilder& builder) {
        if (error->level != XML_ERR_FATAL) {
            return;  // a namespace that is not declared shows in the names
        }
        std::string why = error->message == nullptr ? "it is not well-formed" : error->message;
        builder.stop(XmlFault::unreadable, clean_line(why));
    });
}

xmlSAXHandler handler() {
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = start_element;
    sax.endElementNs = end_element;
    sax.characters = characters;
    sax.ignorableWhitespace = characters;
    sax.internalSubset = document_type;
    sax.serror = parser_error;
    return sax;
}

// Counts the quoted values after each '<': no start tag has another '<' in it.
bool has_crowded_tag(std::string_view text) {
    std::size_t values = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '<') {
            values = 0;
        } else if (text[at] == '=') {
            const std::size_t next = text.find_first_not_of(" \t\r\n", at + 1);
            if (next == std::string_view::npos) {
                return false;
            }
            if (text[next] == '"' || text[next] == '\'') {
                ++values;
            }
            at = next - 1;
        }
        if (values > most_attributes) {
            return true;
        }
    }
    return false;
}

std::optional<XmlError> refuse_unread(std::string_view text, const XmlLimits& limits) {
    if (text.size() > limits.bytes) {
        return XmlError{XmlFault::too_long, fmt::format("it is longer than {} bytes", limits.bytes)};
    }
    // This also refuses NULs.
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        return XmlError{XmlFault::unreadable, "it is not UTF-8 text"};
    }
    if (has_crowded_tag(text)) {
        return XmlError{XmlFault::too_long,
                        fmt::format("an element has more than {} attributes", most_attributes)};
    }
    return std::nullopt;
}

}  // namespace

std::variant<XmlElement, XmlError> read_xml(std::string_view text, std::string_view name_space,
                                            const XmlLimits& limits) {
    if (auto error = refuse_unread(text, limits)) {
        return *std::move(error);
    }
    DocumentBuilder builder(name_space, limits);
    const std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)> parser(xmlNewParserCtxt(),
                                                                              &xmlFreeParserCtxt);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    *parser->sax = handler();
    parser->userData = &builder;
    builder.attach(*parser);
    // Nothing is built but what the builder keeps, so no document comes back.
    xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                      XML_PARSE_NONET | XML_PARSE_IGNORE_ENC);
    return builder.finish(parser->wellFormed == 1);
}

}  // namespace callhome::service
