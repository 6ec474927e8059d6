// The elements of a document as the parts of a struct: which there are, how often, and what each text may
// be. What is wrong is thrown as Refused, which says where.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "signatures/signature.h"
#include "signatures/xml_document.h"

namespace callhome::service {

// Caught where the document's reader ends.
struct Refused {
    Refusal refusal;
};

[[noreturn]] void refuse(const XmlElement& where, protocol::ResultCode code, std::string_view why);

// The attributes may be these only.
void allow_attributes(const XmlElement& element, std::initializer_list<std::string_view> names);

// Null when it is not there.
const std::string* find_attribute(const XmlElement& element, std::string_view name);

// The text of an element that holds nothing else.

// On one line, each run of blanks and line ends being one blank; may not be empty.
std::string read_words(const XmlElement& element, std::size_t longest);
// As written but for blanks at its ends; a line end or tab within is refused. May be empty.
std::string read_exact_line(const XmlElement& element, std::size_t longest);
// Lines, without the empty ones before and behind and without the indentation that all have; may not be
// empty.
std::string read_lines(const XmlElement& element, std::size_t longest);
std::uint32_t read_number(const XmlElement& element, std::uint32_t lowest, std::uint32_t highest);

// One of the elements that another may hold.
template <typename Model>
struct Part {
    std::string_view element;
    void (*read)(const XmlElement&, Model&);
    bool is_required = true;
    protocol::ResultCode when_missing = protocol::ResultCode::signature_invalid;
    protocol::ResultCode when_repeated = protocol::ResultCode::signature_invalid;
};

// The element holds no text of its own.
void allow_elements_only(const XmlElement& element);

// In any order, each once.
template <typename Model>
void read_parts(const XmlElement& element, std::span<const Part<Model>> parts, Model& model) {
    allow_elements_only(element);
    std::uint32_t seen = 0;  // a bit for each part
    for (const XmlElement& child : element.children) {
        std::size_t at = 0;
        while (at < parts.size() && parts[at].element != child.name) {
            ++at;
        }
        if (at == parts.size()) {
            refuse(child, protocol::ResultCode::tag_unsupported, "is not known here");
        }
        if ((seen & (1U << at)) != 0) {
            refuse(child, parts[at].when_repeated, "is there a second time");
        }
        seen |= 1U << at;
        parts[at].read(child, model);
    }
    for (std::size_t at = 0; at < parts.size(); ++at) {
        if (parts[at].is_required && (seen & (1U << at)) == 0) {
            refuse(element, parts[at].when_missing, std::string("lacks ").append(parts[at].element));
        }
    }
}

// A list of elements of one name, not empty.
void require_list(const XmlElement& element, std::string_view item, std::size_t most);

}  // namespace callhome::service
