// Writing XML as all documents of the platform are written.
#pragma once

#include <pugixml.hpp>
#include <string>

namespace callhome::platform {

inline std::string xml_text_of(pugi::xml_document& document) {
    struct StringWriter : pugi::xml_writer {
        std::string text;
        void write(const void* data, std::size_t size) override {
            text.append(static_cast<const char*>(data), size);
        }
    } writer;
    pugi::xml_node declaration = document.prepend_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    document.save(writer, "  ", pugi::format_indent, pugi::encoding_utf8);
    return writer.text;
}

}  // namespace callhome::platform
