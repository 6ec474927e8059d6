#include "tag_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <span>

#include "place.h"

namespace callhome::platform {
namespace {

enum class Role : std::uint8_t {
    field,    // a member
    flag,     // a member: whether the line ends in the suffix
    element,  // the first member of a new object of a list
    list,     // the heading of a list, which is there from then on
    item,     // one value of a list
    words,    // all values of a list, with " and " between them
    label,    // nothing: there is no value, or it has a tag of its own; with a prefix, the whole line
};

// A line loses its line end, the prefix and the suffix; what is left is the value. Of several rows with one
// tag each gives its own place, and of several with one place the first that fits.
struct TagRow {
    std::uint32_t tag;
    Role role;
    std::string_view place;
    std::string_view prefix, suffix;
    ValueType type = ValueType::text;
    bool is_padded = false;  // the value has lost its blanks at the end, and they were put there again
};

using enum Role;
using enum ValueType;

constexpr std::array summary_rows{
    TagRow{0x30740001, field, "enabled", "callhome ", "", boolean},
    TagRow{0x30740002, label, "", "", ""},
    TagRow{0x30740003, label, "", "", ""},
    TagRow{0x30740004, field, "contact/person", "", ""},
    TagRow{0x30740005, label, "", "", ""},
    TagRow{0x30740006, field, "contact/email", "", ""},
    TagRow{0x30740007, label, "", "", ""},
    TagRow{0x30740008, field, "contact/phone", "", ""},
    TagRow{0x30740009, label, "", "", ""},
    TagRow{0x3074000A, field, "contact/street_address", "", ""},
    TagRow{0x3074000B, label, "", "", ""},
    TagRow{0x3074000C, field, "contact/site_id", "", ""},
    TagRow{0x3074000D, label, "", "", ""},
    TagRow{0x3074000E, field, "contact/customer_id", "", ""},
    TagRow{0x3074000F, label, "", "", ""},
    TagRow{0x30740010, field, "contact/contract_id", "", ""},
    TagRow{0x30740011, label, "", "", ""},
    TagRow{0x30740012, field, "contact/switch_priority", "", "", number},
    TagRow{0x30740013, field, "duplicate_message_throttling", "duplicate message throttling : ", "",
           boolean},
    TagRow{0x30740014, field, "periodic_inventory/enabled", "periodic inventory : ", "", boolean},
    TagRow{0x30740015, field, "periodic_inventory/period_days",
           "periodic inventory time-period : ", " days", number},
    TagRow{0x30740015, field, "periodic_inventory/period_days", "periodic inventory time-period : ", " day",
           number},
    TagRow{0x30740016, field, "periodic_inventory/time_of_day",
           "periodic inventory timeofday : ", " (HH:MM)"},
    TagRow{0x30740017, field, "distribution", "Distribution : ", "", boolean},
    TagRow{0x30740018, field, "data_privacy/level", "Data-privacy : ", " and hostname"},
    TagRow{0x30740018, field, "data_privacy/level", "Data-privacy : ", ""},
    TagRow{0x30740018, flag, "data_privacy/host_name_masked", "Data-privacy : ", " and hostname", boolean},
};

constexpr std::array mail_transport_rows{
    TagRow{0x30740051, field, "from", "from email addr:", ""},
    TagRow{0x30740052, field, "reply_to", "reply to email addr:", ""},
    TagRow{0x30740053, field, "return_receipt", "return receipt email addr:", ""},
    TagRow{0x30740054, field, "smtp_server", "smtp server:", ""},
    TagRow{0x30740055, field, "smtp_server_port", "smtp server port::", "", number},
    TagRow{0x30740055, label, "", "smtp server port:", ""},  // none is set
};

constexpr TagRow profile_header(std::uint32_t tag, std::string_view prefix = "") {
    return {tag, element, "destination_profiles[]/name", prefix, " destination profile information"};
}

// What follows the header, in the order of the tags. The displays of one profile each have tags of their
// own; those of the built-in ones leave the format out.
constexpr std::array profile_rows{
    TagRow{0, field, "destination_profiles[]/maximum_message_size", "maximum message size:", "", number},
    TagRow{0, field, "destination_profiles[]/message_format", "message format:", ""},
    TagRow{0, field, "destination_profiles[]/message_level", "message-level:", "", number},
    TagRow{0, words, "destination_profiles[]/transport_methods[]", "transport-method:", ""},
    TagRow{0, list, "destination_profiles[]/email_addresses[]", "", ""},
    TagRow{0, item, "destination_profiles[]/email_addresses[]", "", ""},
    TagRow{0, list, "destination_profiles[]/url_addresses[]", "", ""},
    TagRow{0, item, "destination_profiles[]/url_addresses[]", "", ""},
    TagRow{0, list, "destination_profiles[]/alert_groups[]", "", ""},
    TagRow{0, item, "destination_profiles[]/alert_groups[]", "", ""},
};
constexpr std::size_t format_row = 1;

enum class FormatLine : std::uint8_t { shown, left_out };

template <FormatLine format>
constexpr auto profile_rows_from(std::uint32_t tag) {
    std::array<TagRow, profile_rows.size() - (format == FormatLine::shown ? 0 : 1)> rows{};
    std::size_t row = 0;
    for (std::size_t index = 0; index < profile_rows.size(); ++index) {
        if (format == FormatLine::shown || index != format_row) {
            rows[row] = profile_rows[index];
            rows[row++].tag = tag++;
        }
    }
    return rows;
}

constexpr std::array profile_headers{
    profile_header(0x30740019, "\n"),  // full_txt comes first and stands off from the prompt
    profile_header(0x3074001A),        // short_txt
    profile_header(0x3074001B),        // ZUVA-profile
    profile_header(0x3074001C),        // any other
    profile_header(0x30740027),        // full_txt alone
    profile_header(0x30740031),        // short_txt alone
    profile_header(0x3074003B),        // ZUVA-profile alone
    profile_header(0x30740046),        // the one named
};
constexpr auto every_profile_rows = profile_rows_from<FormatLine::shown>(0x3074001D);
constexpr auto full_text_profile_rows = profile_rows_from<FormatLine::left_out>(0x30740028);
constexpr auto short_text_profile_rows = profile_rows_from<FormatLine::left_out>(0x30740032);
constexpr auto xml_profile_rows = profile_rows_from<FormatLine::left_out>(0x3074003C);
constexpr auto named_profile_rows = profile_rows_from<FormatLine::shown>(0x30740047);

// The value of a column is padded to its width.
constexpr TagRow column(std::uint32_t tag, std::string_view place, ValueType type = text) {
    return {tag, field, place, "", "", type, true};
}

constexpr TagRow first_column(std::uint32_t tag, std::string_view place) {
    return {tag, element, place, "", "", text, true};
}

constexpr std::array signature_settings_rows{
    TagRow{0x3074005E, field, "enabled", "", "", boolean},
    TagRow{0x3074005F, field, "profile", "", ""},
    TagRow{0x30740060, label, "", "", ""},  // no variable is set
    TagRow{0x30740061, element, "environment_variables[]/name", "           ", ":"},
    TagRow{0x30740062, field, "environment_variables[]/value", " ", ""},
    first_column(0x30740063, "signatures[]/id"),
    column(0x30740064, "signatures[]/name"),
    column(0x30740065, "signatures[]/revision"),
    column(0x30740066, "signatures[]/state"),
    column(0x30740067, "signatures[]/last_update"),
};

constexpr std::array signature_text_rows{
    TagRow{0x30740068, field, "content", "", ""},
};

constexpr std::array signature_run_time_rows{
    first_column(0x30740069, "signatures[]/id"),
    column(0x3074006A, "signatures[]/name"),
    column(0x3074006B, "signatures[]/runs_limit_removal"),
    column(0x3074006C, "signatures[]/average_run_seconds"),
    column(0x3074006D, "signatures[]/longest_run_seconds"),
};

constexpr std::array signature_download_rows{
    first_column(0x3074006E, "download_types[]/name"),
    column(0x3074006F, "download_types[]/in_queue", number),
    column(0x30740070, "download_types[]/failed", number),
    column(0x30740071, "download_types[]/succeeded", number),
    column(0x30740072, "download_types[]/last_request"),
};

// A failure without an id continues the one before.
constexpr std::array signature_failure_rows{
    first_column(0x30740073, "failures[]/id"),
    column(0x30740074, "failures[]/name"),
    column(0x30740075, "failures[]/stage"),
    column(0x30740076, "failures[]/last_failed"),
    TagRow{0x30740077, field, "failures[]/reason", "", ""},
};

struct Display {
    std::string_view document;
    std::span<const TagRow> rows;
};

constexpr std::array displays{
    Display{"summary", summary_rows},
    Display{"destination_profiles", profile_headers},
    Display{"destination_profiles", every_profile_rows},
    Display{"destination_profiles", full_text_profile_rows},
    Display{"destination_profiles", short_text_profile_rows},
    Display{"destination_profiles", xml_profile_rows},
    Display{"destination_profiles", named_profile_rows},
    Display{"mail_transport", mail_transport_rows},
    Display{"signature_settings", signature_settings_rows},
    Display{"signature_text", signature_text_rows},
    Display{"signature_run_times", signature_run_time_rows},
    Display{"signature_downloads", signature_download_rows},
    Display{"signature_failures", signature_failure_rows},
};

// The documents of displays that have no tuples, or none that are more than lines.
struct LineDocument {
    std::string_view name, place;
};

constexpr std::array line_documents{
    LineDocument{"text", text_lines},
    LineDocument{"configuration", configuration_lines},
};

bool take_off(std::string_view& text, std::string_view prefix, std::string_view suffix) {
    if (text.size() < prefix.size() + suffix.size() || !text.starts_with(prefix) ||
        !text.ends_with(suffix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    text.remove_suffix(suffix.size());
    return true;
}

std::optional<Value> value_from(std::string_view text, ValueType type) {
    if (type == number) {
        std::int64_t parsed = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
        const bool is_whole = error == std::errc() && end == text.data() + text.size();
        return is_whole ? std::optional<Value>(parsed) : std::nullopt;
    }
    if (type == boolean) {
        const bool is_on = text == "enabled" || text == "Enabled";
        const bool is_off = text == "disabled" || text == "Disabled";
        return is_on || is_off ? std::optional<Value>(is_on) : std::nullopt;
    }
    return std::string(text);
}

void set_words(Document& document, std::string_view list_place, std::string_view text) {
    constexpr std::string_view between = " and ";
    document.declare_list(list_place);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(between), text.size());
        document.set(list_place, std::string(text.substr(0, end)));
        text.remove_prefix(std::min(end + between.size(), text.size()));
    }
}

std::string_view list_of(std::string_view member) {
    return member.substr(0, member.rfind(place_separator));
}

// False when the line is not what the row says.
bool take_line(Document& document, const TagRow& row, std::string_view line) {
    if (row.role == flag) {
        if (!line.starts_with(row.prefix)) {
            return false;
        }
        document.set(row.place, line.ends_with(row.suffix));
        return true;
    }
    if (row.role == label) {
        return row.prefix.empty() || line == row.prefix;
    }
    if (row.role == list) {
        document.declare_list(row.place);
        return true;
    }
    if (!take_off(line, row.prefix, row.suffix)) {
        return false;
    }
    if (row.is_padded) {
        line.remove_suffix(line.size() - (line.find_last_not_of(' ') + 1));
    }
    if (row.role == words) {
        set_words(document, row.place, line);
        return true;
    }
    const std::optional<Value> value = value_from(line, row.type);
    if (!value) {
        return false;
    }
    if (row.role == element) {
        document.begin_element(list_of(row.place));
    }
    document.set(row.place, *value);
    return true;
}

void add_members(Members& members, std::span<const TagRow> rows) {
    for (const TagRow& row : rows) {
        const bool is_known = std::any_of(members.begin(), members.end(),
                                          [&](const Member& member) { return member.place == row.place; });
        if (row.role != label && !is_known) {
            members.push_back({row.place, row.type, row.role == element});
        }
    }
}

}  // namespace

bool take_tuple(Document& document, std::uint32_t tag, std::string_view shown) {
    std::string_view line = shown;
    if (line.ends_with('\n')) {
        line.remove_suffix(1);
    }
    bool is_taken = false;
    std::string_view last_place;
    for (const Display& display : displays) {
        for (const TagRow& row : display.rows) {
            const bool is_for_it = row.tag == tag && (row.place.empty() || row.place != last_place);
            if (is_for_it && take_line(document, row, line)) {
                is_taken = true;
                last_place = row.place;
            }
        }
    }
    return is_taken;
}

Members library_document(std::string_view name) {
    Members members;
    for (const LineDocument& document : line_documents) {
        if (document.name == name) {
            members.push_back({document.place});
        }
    }
    for (const Display& display : displays) {
        if (display.document == name) {
            add_members(members, display.rows);
        }
    }
    return members;
}

}  // namespace callhome::platform
