#include "messages/text_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::size_t line_width = 78;   // RFC 5322, 2.1.1
constexpr std::size_t label_width = 22;  // with colon and blank
constexpr std::size_t group_indent = 2;
constexpr std::size_t line_indent = 2;

void add_heading(std::string& text, std::string_view title) {
    text += fmt::format("\n{}\n{:-<{}}\n", title, "", title.size());
}

void add_entry(std::string& text, std::string_view label, std::string_view value, std::size_t indent) {
    const std::string head = fmt::format("{:{}}{}:", "", indent, label);
    const std::size_t column = label_width + indent;
    text += fmt::format("{:<{}}{}\n", head, column, wrap(value, line_width, column));
}

void add_block(std::string& text, const ContentBlock& block) {
    add_heading(text, block.title);
    for (const ContentField& field : block.fields) {
        add_entry(text, field.label, field.value, 0);
    }
}

void add_group(std::string& text, const ContentGroup& group) {
    const std::size_t indent = group.name.empty() ? 0 : group_indent;
    if (!group.name.empty()) {
        text += group.name + "\n";
    }
    for (const auto& [label, value] : group.entries) {
        add_entry(text, label, value, indent);
    }
}

void add_section(std::string& text, const ContentSection& section) {
    add_heading(text, section.title);
    for (const ContentGroup& group : section.groups) {
        add_group(text, group);
    }
    // Lines are commands: broken ones could not be typed again.
    for (const std::string& line : section.lines) {
        text += fmt::format("{:{}}{}\n", "", line_indent, line);
    }
}

}  // namespace

std::string format_full_text(const MessageContent& content, std::size_t size) {
    std::string text = wrap(content.subject, line_width, 0) + "\n";
    for (const ContentBlock& block : content.blocks) {
        add_block(text, block);
    }
    for (const ContentSection& section : content.sections) {
        add_section(text, section);
    }
    return cut_with_note(text, size);
}

std::string format_short_text(const MessageContent& content, std::size_t size) {
    std::string text = content.subject + "\n";
    for (const ContentBlock& block : content.blocks) {
        for (const ContentField& field : block.fields) {
            if (field.brief) {
                std::string value = field.value;
                std::replace(value.begin(), value.end(), '\n', ' ');
                text += fmt::format("{}: {}\n", field.label, value);
            }
        }
    }
    return cut_with_note(text, size);
}

}  // namespace callhome::service
