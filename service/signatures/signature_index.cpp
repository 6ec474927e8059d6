#include "signatures/signature_index.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>

#include "signatures/xml_document.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

constexpr std::string_view index_namespace = "urn:callhome:signature-index:1";
constexpr std::size_t deepest = 4;
constexpr std::size_t elements_around = 1;  // the root

Refusal unreadable(const XmlElement& element, std::string_view why) {
    return {ResultCode::http_answer_unreadable, fmt::format("index, line {}: {}", element.line, why)};
}

std::optional<std::string> attribute_of(const XmlElement& element, std::string_view name) {
    const auto found =
        std::ranges::find(element.attributes, name, &decltype(element.attributes)::value_type::first);
    return found == element.attributes.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint32_t> id_in(const std::string& text) {
    std::uint32_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    const bool is_id =
        error == std::errc() && end == text.data() + text.size() && id != 0 && id <= highest_signature_id;
    return is_id ? std::optional(id) : std::nullopt;
}

bool is_revision(const std::optional<std::string>& text) {
    return text && !text->empty() && text->size() <= longest_signature_revision &&
           std::ranges::all_of(*text, [](char letter) { return letter > ' ' && letter <= '~'; });
}

std::variant<IndexEntry, Refusal> entry_in(const XmlElement& element) {
    if (element.name != "signature") {
        return unreadable(element, "only signatures stand in an index");
    }
    const auto id = id_in(attribute_of(element, "id").value_or(""));
    if (!id) {
        return unreadable(element, "a signature has an id from 1 to 99999999");
    }
    auto revision = attribute_of(element, "revision");
    if (!is_revision(revision)) {
        return unreadable(element, "a signature has a revision of 1 to 8 ASCII characters, none a blank");
    }
    return IndexEntry{*id, *std::move(revision)};
}

}  // namespace

std::variant<std::vector<IndexEntry>, Refusal> read_signature_index(std::string_view xml) {
    const auto document = read_xml(xml, index_namespace,
                                   {.bytes = longest_signature_file,
                                    .elements = most_index_entries + elements_around,
                                    .depth = deepest});
    if (const auto* error = std::get_if<XmlError>(&document)) {
        const bool is_too_long = error->fault == XmlFault::too_long;
        return Refusal{is_too_long ? ResultCode::over_length : ResultCode::http_answer_unreadable,
                       "index: " + error->why};
    }
    const auto& root = std::get<XmlElement>(document);
    if (root.name != "signatureIndex") {
        return unreadable(root, "this is no index of signatures");
    }
    std::vector<IndexEntry> entries;
    std::set<std::uint32_t> ids;
    for (const XmlElement& child : root.children) {
        auto entry = entry_in(child);
        if (auto* refusal = std::get_if<Refusal>(&entry)) {
            return std::move(*refusal);
        }
        if (!ids.insert(std::get<IndexEntry>(entry).id).second) {
            return unreadable(child, "this id is there twice");
        }
        entries.push_back(std::get<IndexEntry>(std::move(entry)));
    }
    return entries;
}

}  // namespace callhome::service
