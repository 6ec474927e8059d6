#include <algorithm>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "document.h"
#include "place.h"
#include "xml_text.h"

namespace callhome::platform {
namespace {

using Json = nlohmann::ordered_json;

// The members of a document as a tree.
struct Node {
    std::string name;
    bool is_list = false;
    bool is_required = false;
    ValueType type = ValueType::text;
    std::vector<Node> children;  // none: a plain value, or a list of them
};

Node& child_named(Node& parent, std::string_view name) {
    const auto found = std::find_if(parent.children.begin(), parent.children.end(),
                                    [&](const Node& child) { return child.name == name; });
    if (found != parent.children.end()) {
        return *found;
    }
    return parent.children.emplace_back(Node{std::string(name), false, false, ValueType::text, {}});
}

void add_member(Node& root, const Member& member) {
    Node* node = &root;
    std::string_view rest = member.place;
    while (!rest.empty()) {
        const Component component = take_component(rest);
        const bool is_list_at_root = component.is_list && node == &root;
        node = &child_named(*node, component.name);
        node->is_list = component.is_list;
        node->is_required = node->is_required || is_list_at_root;
    }
    node->type = member.type;
    const bool is_at_root = member.place.find(place_separator) == std::string_view::npos;
    node->is_required = node->is_required || (member.is_always_there && !is_at_root);
}

Node tree_of(const Members& members) {
    Node root;
    for (const Member& member : members) {
        add_member(root, member);
    }
    for (const std::string_view lines : {text_lines, error_lines, configuration_lines}) {
        const std::string_view name = lines.substr(0, lines.size() - list_mark.size());
        Node& node = child_named(root, name);
        node.is_list = true;
    }
    return root;
}

Json json_value(ValueType type) {
    switch (type) {
        case ValueType::number:
            return {{"type", "integer"}};
        case ValueType::boolean:
            return {{"type", "boolean"}};
        case ValueType::time:
            return {{"type", "string"}, {"format", "date-time"}};
        case ValueType::text:
            break;
    }
    return {{"type", "string"}};
}

Json json_node(const Node& node);

void describe_object(Json& schema, const Node& node) {
    schema["type"] = "object";
    Json required = Json::array();
    for (const Node& child : node.children) {
        Json described = json_node(child);
        if (child.is_list) {
            described = Json{{"type", "array"}, {"items", std::move(described)}};
        }
        schema["properties"][child.name] = std::move(described);
        if (child.is_required) {
            required.push_back(child.name);
        }
    }
    if (!required.empty()) {
        schema["required"] = std::move(required);
    }
    schema["additionalProperties"] = false;
}

// One value, or one element of a list.
Json json_node(const Node& node) {
    if (node.children.empty()) {
        return json_value(node.type);
    }
    Json schema;
    describe_object(schema, node);
    return schema;
}

const char* xml_type(ValueType type) {
    switch (type) {
        case ValueType::number:
            return "xs:integer";
        case ValueType::boolean:
            return "xs:boolean";
        case ValueType::time:
            return "xs:dateTime";
        case ValueType::text:
            break;
    }
    return "xs:string";
}

void describe_content(pugi::xml_node element, const Node& node);

void describe_children(pugi::xml_node element, const Node& node) {
    pugi::xml_node all = element.append_child("xs:complexType").append_child("xs:all");
    for (const Node& child : node.children) {
        pugi::xml_node described = all.append_child("xs:element");
        described.append_attribute("name") = child.name.c_str();
        if (!child.is_required) {
            described.append_attribute("minOccurs") = 0;
        }
        if (child.is_list) {
            pugi::xml_node of_list = described.append_child("xs:complexType")
                                         .append_child("xs:sequence")
                                         .append_child("xs:element");
            of_list.append_attribute("name") = element_name(child.name).c_str();
            of_list.append_attribute("minOccurs") = 0;
            of_list.append_attribute("maxOccurs") = "unbounded";
            described = of_list;
        }
        describe_content(described, child);
    }
}

void describe_content(pugi::xml_node element, const Node& node) {
    if (node.children.empty()) {
        element.append_attribute("type") = xml_type(node.type);
    } else {
        describe_children(element, node);
    }
}

}  // namespace

std::string json_schema(std::string_view title, std::string_view help, const Members& members) {
    constexpr int indent = 2;
    Json schema{{"$schema", "https://json-schema.org/draft/2020-12/schema"}};
    schema["title"] = title;
    schema["description"] = help;
    describe_object(schema, tree_of(members));
    return schema.dump(indent) + "\n";
}

std::string xml_schema(std::string_view title, std::string_view help, const Members& members) {
    pugi::xml_document document;
    pugi::xml_node schema = document.append_child("xs:schema");
    schema.append_attribute("xmlns:xs") = "http://www.w3.org/2001/XMLSchema";
    const std::string about = std::string(title) + ": " + std::string(help);
    schema.append_child("xs:annotation")
        .append_child("xs:documentation")
        .append_child(pugi::node_pcdata)
        .set_value(about.c_str());
    pugi::xml_node root = schema.append_child("xs:element");
    root.append_attribute("name") = root_element;
    describe_children(root, tree_of(members));
    return xml_text_of(document);
}

}  // namespace callhome::platform
