#include "values.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "callhome/context.h"
#include "platform/utf8.h"

namespace callhome::shell {

namespace {

constexpr std::size_t address_offset = 4;  // of the address in its block

struct KindName {
    ValueKind kind;
    std::string_view name;
};

constexpr std::array kind_names{
    KindName{ValueKind::text, "text"},   KindName{ValueKind::word, "word"},
    KindName{ValueKind::email, "email"}, KindName{ValueKind::url, "url"},
    KindName{ValueKind::host, "host"},   KindName{ValueKind::host_text, "host-text"},
    KindName{ValueKind::u32, "u32"},     KindName{ValueKind::u8, "u8"},
    KindName{ValueKind::file, "file"},
};

bool is_letter_or_digit(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9');
}

// The length of the well-formed sequence at the beginning of `text`; 0 when there is none.
std::size_t sequence_length(std::string_view text) {
    const platform::Sequence sequence = platform::first_sequence(text);
    return sequence.state == platform::SequenceState::whole ? sequence.length : 0;
}

bool is_control(unsigned char byte) {
    return byte < 0x20 || byte == 0x7F;
}

std::string range_clause(Range range) {
    return "is not a number from " + std::to_string(range.least) + " to " + std::to_string(range.most);
}

std::optional<std::uint32_t> number_from(std::string_view typed, Range range) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(typed.data(), typed.data() + typed.size(), number);
    if (error != std::errc{} || end != typed.data() + typed.size() || number < range.least ||
        number > range.most) {
        return std::nullopt;
    }
    return number;
}

bool is_email(std::string_view typed) {
    const std::size_t at = typed.rfind('@');
    return at != std::string_view::npos && at > 0 && at + 1 < typed.size() && typed.find('@') == at &&
           typed.find_first_of("<>(),;:\\\" ") == std::string_view::npos;
}

bool is_url(std::string_view typed) {
    for (const std::string_view scheme : {std::string_view{"http://"}, std::string_view{"https://"}}) {
        if (typed.starts_with(scheme)) {
            const std::string_view rest = typed.substr(scheme.size());
            return !rest.empty() && rest.find_first_of("/?#") != 0 &&
                   rest.find_first_of(" \"<>\\^`{|}") == std::string_view::npos;
        }
    }
    return false;
}

constexpr std::size_t longest_label = 63;

bool is_host_label(std::string_view label) {
    return !label.empty() && label.size() <= longest_label && label.front() != '-' && label.back() != '-' &&
           std::all_of(label.begin(), label.end(),
                       [](char c) { return is_letter_or_digit(c) || c == '-' || c == '_'; });
}

// A name whose last label is a number would be a misspelt IPv4 address.
bool is_host_name(std::string_view typed) {
    std::string_view label;
    while (true) {
        const std::size_t dot = typed.find('.');
        label = typed.substr(0, dot);
        if (!is_host_label(label)) {
            return false;
        }
        if (dot == std::string_view::npos || dot + 1 == typed.size()) {
            break;
        }
        typed.remove_prefix(dot + 1);
    }
    return label.find_first_not_of("0123456789") != std::string_view::npos;
}

std::optional<CheckedValue> check_host(std::string_view typed) {
    const std::string host(typed);
    AddressBlock block{};
    if (inet_pton(AF_INET, host.c_str(), block.data() + address_offset) == 1) {
        return CheckedValue{block, CALLHOME_VALUE_IPV4, 0};
    }
    if (inet_pton(AF_INET6, host.c_str(), block.data() + address_offset) == 1) {
        return CheckedValue{block, CALLHOME_VALUE_IPV6, 0};
    }
    if (is_host_name(typed)) {
        return CheckedValue{host, CALLHOME_VALUE_HOST_NAME, 0};
    }
    return std::nullopt;
}

std::optional<CheckedValue> check_number(ValueKind kind, Range range, std::string_view typed,
                                         std::string& why_not) {
    const std::optional<std::uint32_t> number = number_from(typed, range);
    if (!number) {
        why_not = range_clause(range);
        return std::nullopt;
    }
    if (kind == ValueKind::u8) {
        return CheckedValue{static_cast<std::uint8_t>(*number)};
    }
    return CheckedValue{*number};
}

std::optional<CheckedValue> check_file(Range range, std::string_view typed, std::string& why_not) {
    std::error_code error;
    std::string name = std::filesystem::absolute(typed, error);
    if (error) {
        why_not = "has no absolute name: " + error.message();
        return std::nullopt;
    }
    if (name.size() > range.most) {
        why_not = "has an absolute name of more than " + std::to_string(range.most) + " bytes";
        return std::nullopt;
    }
    return CheckedValue{std::move(name)};
}

}  // namespace

std::string_view name_of(ValueKind kind) {
    return kind_names[static_cast<std::size_t>(kind)].name;
}

std::optional<ValueKind> value_kind_named(std::string_view name) {
    for (const KindName& row : kind_names) {
        if (row.name == name) {
            return row.kind;
        }
    }
    return std::nullopt;
}

std::optional<CheckedValue> check_value(ValueKind kind, Range range, std::string_view typed,
                                        std::string& why_not) {
    if (is_number(kind)) {
        return check_number(kind, range, typed, why_not);
    }
    if (typed.size() > range.most) {
        why_not = "is longer than " + std::to_string(range.most) + " bytes";
        return std::nullopt;
    }
    if (kind == ValueKind::email && !is_email(typed)) {
        why_not = "is not an e-mail address";
        return std::nullopt;
    }
    if (kind == ValueKind::url && !is_url(typed)) {
        why_not = "is not an address that begins with http:// or https://";
        return std::nullopt;
    }
    if (kind == ValueKind::host || kind == ValueKind::host_text) {
        std::optional<CheckedValue> host = check_host(typed);
        if (!host) {
            why_not = "is not an IPv4 address, an IPv6 address or a host name";
            return std::nullopt;
        }
        return kind == ValueKind::host ? host : CheckedValue{std::string(typed), 0, host->value_type};
    }
    if (typed.find('\t') != std::string_view::npos) {
        why_not = "holds a tab";
        return std::nullopt;
    }
    if (typed.size() < range.least) {
        why_not = "is shorter than " + std::to_string(range.least) + " bytes";
        return std::nullopt;
    }
    if (kind == ValueKind::file) {
        return check_file(range, typed, why_not);
    }
    return CheckedValue{std::string(typed)};
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::optional<std::string> why_unprintable(std::string_view line, std::size_t& position) {
    for (position = 0; position < line.size();) {
        const auto byte = static_cast<unsigned char>(line[position]);
        // C1 control characters are two bytes in UTF-8; terminals obey them like escape sequences.
        const bool is_c1 = byte == 0xC2 && position + 1 < line.size() &&
                           static_cast<unsigned char>(line[position + 1]) < 0xA0;
        const std::size_t length = sequence_length(line.substr(position));
        if (length == 0) {
            return "is not UTF-8";
        }
        if ((is_control(byte) && byte != '\t') || is_c1) {
            return "is a control character";
        }
        position += length;
    }
    return std::nullopt;
}

}  // namespace callhome::shell
