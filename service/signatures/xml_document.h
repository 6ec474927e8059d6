// Small XML documents of unknown origin, read in bounded time and memory. No document type, so no entities;
// no network, no other file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace callhome::service {

struct XmlElement {
    std::string name;  // with its prefix when it is not of the document's namespace
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;  // of the element itself, in one piece
    std::vector<XmlElement> children;
    int line = 0;
};

struct XmlLimits {
    std::size_t bytes;
    std::size_t elements;
    std::size_t depth = 64;  // the root has depth 1
};

enum class XmlFault : std::uint8_t { too_long, unreadable };

struct XmlError {
    XmlFault fault{};
    std::string why;  // with the line where there is one
};

// `text` has to be UTF-8, whatever it says of its encoding. Comments and processing instructions are passed
// over.
std::variant<XmlElement, XmlError> read_xml(std::string_view text, std::string_view name_space,
                                            const XmlLimits& limits);

}  // namespace callhome::service
