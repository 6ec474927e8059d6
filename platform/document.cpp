#include "document.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <utility>

#include "clean_text.h"
#include "place.h"
#include "xml_text.h"

namespace callhome::platform {
namespace {

using Json = nlohmann::ordered_json;

constexpr int indent = 2;

// The list or member at a place, with all that leads to it.
Json& node_at(Json& root, std::string_view place) {
    Json* node = &root;
    while (true) {
        const Component component = take_component(place);
        node = &(*node)[std::string(component.name)];
        if (component.is_list && !node->is_array()) {
            *node = Json::array();
        }
        if (component.is_last) {
            return *node;
        }
        if (component.is_list) {
            if (node->empty()) {
                node->push_back(Json::object());
            }
            node = &node->back();
        }
    }
}

Json to_json(const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return valid_text(*text);
    }
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return *number;
    }
    return std::get<bool>(value);
}

// JSON may hold DEL and C1 as they are, but a terminal would obey them. They occur in texts only, where
// an escape stands for them as well.
std::string with_all_controls_escaped(std::string_view json) {
    constexpr char delete_code = '\x7F';
    constexpr std::string_view c1_lead = "\xC2";
    constexpr unsigned char first_beyond_c1 = 0xA0;
    std::string out;
    const auto escape = [&](unsigned char code) {
        std::array<char, sizeof "\\u0000"> text{};
        std::snprintf(text.data(), text.size(), "\\u%04x", code);
        out += text.data();
    };
    while (!json.empty()) {
        const bool is_c1 = json.starts_with(c1_lead) && json.size() > 1 &&
                           static_cast<unsigned char>(json[1]) < first_beyond_c1;
        if (json[0] == delete_code || is_c1) {
            escape(static_cast<unsigned char>(json[is_c1 ? 1 : 0]));
        } else {
            out += json[0];
        }
        json.remove_prefix(is_c1 ? 2 : 1);
    }
    return out;
}

// XML 1.0 has no way to write most control characters and the two last code points of its plane.
std::string fit_for_xml(std::string_view text) {
    constexpr std::string_view non_character_beginning = "\xEF\xBF";
    constexpr unsigned char first_non_character = 0xBE;
    std::string out = without_controls(text);
    for (std::size_t at = 0; (at = out.find(non_character_beginning, at)) != std::string::npos; ++at) {
        const std::size_t last = at + non_character_beginning.size();
        if (static_cast<unsigned char>(out[last]) >= first_non_character) {
            out.replace(at, replacement_character.size(), replacement_character);
        }
    }
    return out;
}

void add_xml(pugi::xml_node parent, const std::string& name, const Json& value) {
    pugi::xml_node element = parent.append_child(name.c_str());
    if (value.is_object()) {
        for (const auto& [key, child] : value.items()) {
            add_xml(element, key, child);
        }
    } else if (value.is_array()) {
        for (const Json& child : value) {
            add_xml(element, element_name(name), child);
        }
    } else {
        const std::string text = value.is_string() ? fit_for_xml(value.get<std::string>()) : value.dump();
        element.append_child(pugi::node_pcdata).set_value(text.c_str());
    }
}

}  // namespace

Document::Document(const Members& members) : root_(std::make_unique<Json>(Json::object())) {
    for (const Member& member : members) {
        std::string_view place = member.place;
        const Component first = take_component(place);
        if (first.is_list) {
            (*root_)[std::string(first.name)] = Json::array();
        }
    }
}

Document::~Document() = default;

void Document::declare_list(std::string_view place) {
    node_at(*root_, place);
}

void Document::begin_element(std::string_view list) {
    node_at(*root_, list).push_back(Json::object());
}

void Document::set(std::string_view place, const Value& value) {
    Json& node = node_at(*root_, place);
    if (node.is_array()) {
        node.push_back(to_json(value));
    } else {
        node = to_json(value);
    }
}

std::string Document::json() const {
    return with_all_controls_escaped(root_->dump(indent)) + "\n";
}

std::string Document::xml() const {
    pugi::xml_document document;
    add_xml(document, root_element, *root_);
    return xml_text_of(document);
}

std::string element_name(std::string_view list) {
    constexpr std::string_view plural_of_s = "sses";  // addresses
    constexpr std::string_view plural_of_y = "ies";   // deliveries
    if (list == "text" || list == "configuration") {
        return "line";
    }
    if (list.ends_with(plural_of_y)) {
        list.remove_suffix(plural_of_y.size());
        return std::string(list) + "y";
    }
    list.remove_suffix(list.ends_with(plural_of_s) ? 2 : 1);
    return std::string(list);
}

}  // namespace callhome::platform
