#include "signature/settings.h"

#include <array>
#include <cstdint>

#include "display/output.h"
#include "signature/expected_line.h"
#include "signature/table.h"
#include "signature/text.h"

namespace callhome::library {
namespace {

enum SettingsTag : std::uint32_t {
    tag_active = 0x3074005E,
    tag_profile = 0x3074005F,
    tag_no_variables = 0x30740060,
    tag_variable_name = 0x30740061,
    tag_variable_value = 0x30740062,
};

void print_text(const char* text) {
    cli_print(h, text, end_of_tuples);
}

// The value is shown also when its line is missing: the display keeps its lines.
void print_setting(const char*& position, const char* needle, std::uint32_t tag) {
    take_expected_line(position, needle);
    LineText key;
    LineText value;
    if (split_key_value(buffer, key, value) == 0) {
        print_text(" ");
        print_text(key);
        print_text(": ");
    }
    print_tuple(tag, "%s\n", value);
}

// Gives what the lines come to. Of a line without a colon the list is not part.
std::size_t print_variables(const char* position) {
    std::size_t printed = 0;
    while (const std::size_t length = take_expected_line(position, "           ds_")) {
        LineText name;
        LineText value;
        if (split_key_value(buffer, name, value) != 0) {
            break;
        }
        print_tuple(tag_variable_name, "           %s:", name);
        print_tuple(tag_variable_value, " %s\n", value);
        printed += length;
    }
    return printed;
}

constexpr std::array table_heading{
    "Downloaded DSes:",
    "           Last Update",
    "DS ID    DS Name                         Revision ",
    "-------- ------------------------------- --------",
};

}  // namespace

void print_ds_settings(const char* reply) {
    const char* position = reply;
    print_empty_line();
    show_expected_line(position, "Current diagnostic-signature settings:");
    print_setting(position, " Diagnostic-signature:", tag_active);
    print_setting(position, " Profile: ", tag_profile);
    show_expected_line(position, " Environment variable:");
    if (take_expected_line(position, "           Not yet set up") != 0) {
        print_tuple(tag_no_variables, "%s", buffer);
    }
    // Reading goes on as if the variables had stood here in one piece: lines that were passed over on the
    // way to them are read again.
    position += print_variables(position);
    print_empty_line();
    for (const char* heading : table_heading) {
        show_expected_line(position, heading);
    }
    print_downloaded_signatures(position);
}

}  // namespace callhome::library
