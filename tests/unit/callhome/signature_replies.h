// Texts of the service about diagnostic signatures.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "command.h"

namespace callhome::test {

// A reply that is just these characters, whether they hold a terminator or not.
inline Answer characters(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {.reply = Bytes(bytes.begin(), bytes.end())};
}

inline Answer text_answer(const std::string& text) {
    return characters({text.c_str(), text.size() + 1});
}

// A line of a table: each text at its column.
inline std::string row(std::initializer_list<std::pair<std::size_t, std::string_view>> columns) {
    std::string line;
    for (const auto& [start, text] : columns) {
        line.resize(std::max(start, line.size()), ' ');
        line += text;
    }
    return line + "\n";
}

inline const std::string settings_lines =
    "\n"
    "Current diagnostic-signature settings:\n"
    " Diagnostic-signature: Enabled\n"
    " Profile: ops (state: active)\n"
    " Environment variable:\n";
inline const std::string variable_lines =
    "           ds_site: Harbour 12:30\n"
    "           ds_floor:\n";
inline const std::string signature_heading =
    "\n"
    "Downloaded DSes:\n"
    "                                                             Last Update\n"
    "DS ID    DS Name                         Revision State      (UTC)\n"
    "-------- ------------------------------- -------- ---------- -------------------\n";
inline const std::string signature_row =
    row({{0, "8001"}, {9, "link-flapping"}, {41, "1.2"}, {50, "installed"}, {61, "2026-11-21 16:00:12"}});

inline const std::string failure_heading =
    "Stage: D - Download, P - Parsing, F - File access\n"
    "       R - Registration, S - Sign check\n"
    "                                Last Failed Time\n"
    "DS ID    DS Name          Stage (UTC)               Reason\n"
    "-------- ---------------- ----- ------------------- ------\n";
inline const std::string failure_row =
    row({{0, "8001"}, {9, "link-flapping"}, {26, "D"}, {32, "2026-11-21 16:00:12"}, {52, "no answer "}});

inline const std::string run_time_heading =
    "                                                          Average Run  Max Run\n"
    "DS ID     DS Name                          Max/Deinstall  Time(sec)    Time(sec)\n"
    "--------  -------------------------------  -------------  -----------  ---------\n";
inline const std::string run_time_row =
    row({{0, "8001"}, {10, "link-flapping"}, {43, "5/yes"}, {58, "0.25"}, {71, "1.50"}});

inline const std::string download_heading =
    "Download-type    In-queue      Fail    Success   Last request sent\n"
    "-------------   ----------    -----   -------   -----------------\n";
inline const std::string download_row =
    row({{0, "one signature"}, {20, "2"}, {31, "3"}, {40, "40"}, {49, "2026-11-21 16:00:12"}});

}  // namespace callhome::test
