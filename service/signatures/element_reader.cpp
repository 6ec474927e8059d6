#include "signatures/element_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "messages/text.h"
#include "requests/checks.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

constexpr std::string_view blanks = " \t\r\n";
constexpr std::size_t longest_shown_name = 64;

std::string shown(std::string_view name) {
    return std::string(cut_to(clean_line(name), longest_shown_name));
}

template <typename Take>
void for_each_line(std::string_view text, Take take) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The lines from the first to the last that is not empty, moved to the left together: the indentation of
// the file is not part of the text.
std::string without_indentation(std::string_view text) {
    text = text.substr(0, text.find_last_not_of(blanks) + 1);
    const std::size_t first = text.find_first_not_of(blanks);
    const std::size_t line_before = text.substr(0, first).rfind('\n');
    text.remove_prefix(line_before == std::string_view::npos ? 0 : line_before + 1);
    std::size_t indentation = text.size();
    for_each_line(text, [&indentation](std::string_view line) {
        indentation = std::min(indentation, line.find_first_not_of(' '));
    });
    std::string result;
    for_each_line(text, [&](std::string_view line) {
        result.append(result.empty() ? "" : "\n").append(line.substr(std::min(indentation, line.size())));
    });
    return result;
}

// The element holds text only.
std::string_view text_of(const XmlElement& element, std::size_t longest) {
    if (!element.children.empty()) {
        refuse(element.children.front(), ResultCode::tag_unsupported, "is not known here");
    }
    const std::string_view text = trimmed(element.text);
    if (text.size() > longest) {
        refuse(element, ResultCode::over_length, fmt::format("is longer than {} bytes", longest));
    }
    return text;
}

void require_line(const XmlElement& element, std::string_view text) {
    if (!is_line(text)) {
        refuse(element, ResultCode::signature_invalid, "is not one line of text");
    }
}

void require_text(const XmlElement& element, std::string_view text) {
    if (text.empty()) {
        refuse(element, ResultCode::signature_invalid, "is empty");
    }
}

}  // namespace

void refuse(const XmlElement& where, ResultCode code, std::string_view why) {
    throw Refused{{code, fmt::format("line {}: {} {}", where.line, shown(where.name), why)}};
}

void allow_attributes(const XmlElement& element, std::initializer_list<std::string_view> names) {
    for (const auto& [name, value] : element.attributes) {
        if (std::ranges::find(names, name) == names.end()) {
            refuse(element, ResultCode::tag_unsupported, fmt::format("has no attribute {}", shown(name)));
        }
    }
}

const std::string* find_attribute(const XmlElement& element, std::string_view name) {
    for (const auto& [its, value] : element.attributes) {
        if (its == name) {
            return &value;
        }
    }
    return nullptr;
}

std::string read_words(const XmlElement& element, std::size_t longest) {
    allow_attributes(element, {});
    const std::string_view text = text_of(element, longest_signature_file);
    std::string words;
    for (const char letter : text) {
        const bool is_blank = blanks.find(letter) != std::string_view::npos;
        if (!is_blank) {
            words.push_back(letter);
        } else if (!words.ends_with(' ')) {
            words.push_back(' ');
        }
    }
    require_text(element, words);
    if (words.size() > longest) {
        refuse(element, ResultCode::over_length, fmt::format("is longer than {} bytes", longest));
    }
    require_line(element, words);
    return words;
}

std::string read_exact_line(const XmlElement& element, std::size_t longest) {
    allow_attributes(element, {});
    const std::string_view text = text_of(element, longest);
    require_line(element, text);
    return std::string(text);
}

std::string read_lines(const XmlElement& element, std::size_t longest) {
    allow_attributes(element, {});
    require_text(element, text_of(element, longest));
    return without_indentation(clean_text(element.text));
}

std::uint32_t read_number(const XmlElement& element, std::uint32_t lowest, std::uint32_t highest) {
    const std::string_view text = text_of(element, longest_signature_file);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number < lowest || number > highest) {
        refuse(element, ResultCode::parameter_invalid,
               fmt::format("is no number from {} to {}", lowest, highest));
    }
    return number;
}

void allow_elements_only(const XmlElement& element) {
    if (!trimmed(element.text).empty()) {
        refuse(element, ResultCode::signature_invalid, "holds text beside its elements");
    }
}

void require_list(const XmlElement& element, std::string_view item, std::size_t most) {
    allow_attributes(element, {});
    allow_elements_only(element);
    for (const XmlElement& child : element.children) {
        if (child.name != item) {
            refuse(child, ResultCode::tag_unsupported, "is not known here");
        }
    }
    if (element.children.empty()) {
        refuse(element, ResultCode::signature_invalid, "is empty");
    }
    if (element.children.size() > most) {
        refuse(element, ResultCode::over_length, fmt::format("has more than {} entries", most));
    }
}

}  // namespace callhome::service
