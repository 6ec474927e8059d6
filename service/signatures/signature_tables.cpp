#include "signatures/signature_tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "signatures/table.h"

namespace callhome::service {
namespace {

// What the library cuts out of each line; the last column goes on to the line's end, as far as the library
// keeps it.
constexpr std::size_t time_width = 19;
constexpr std::size_t reason_width = 199;

constexpr std::array downloaded_columns{
    table_column(0, 8, "DS ID"),
    table_column(9, 31, "DS Name"),
    table_column(41, 8, "Revision"),
    table_column(50, 10, "State"),
    table_column(61, time_width, "(local time)", "Last Update"),
};

constexpr std::array failure_columns{
    table_column(0, 8, "DS ID"),
    table_column(9, 16, "DS Name"),
    table_column(26, 5, "Stage"),
    table_column(32, time_width, "(local time)", "Last Failed Time"),
    TableColumn{"", "Reason", {52, 6}, {52, 20}, {52, reason_width}},
};

constexpr std::array run_time_columns{
    table_column(0, 8, "DS ID"),
    table_column(10, 31, "DS Name"),
    table_column(43, 13, "Max/Deinstall", "Run count/"),
    table_column(58, 11, "Time(sec)", "Average Run"),
    table_column(71, 9, "Time(sec)", "Max Run"),
};

// The numbers stand somewhat right of their headings.
constexpr std::array download_columns{
    TableColumn{"", "Download-type", {0, 13}, {0, 13}, {0, 16}},
    TableColumn{"", "In-queue", {17, 8}, {16, 10}, {20, 5}},
    TableColumn{"", "Fail", {31, 4}, {30, 5}, {31, 8}},
    TableColumn{"", "Success", {39, 7}, {38, 7}, {40, 8}},
    TableColumn{"", "Last request sent", {49, 17}, {48, time_width}, {49, time_width}},
};

constexpr const char* failure_legend =
    "Stage: D - Download, P - Parsing, F - File access,\n"
    "       R - Registration, S - Sign verification\n";

template <std::size_t count>
std::string row(const std::array<TableColumn, count>& columns,
                const std::array<std::string, count>& values) {
    return table_row(columns, values);
}

std::string state_word(SignatureState state) {
    switch (state) {
        case SignatureState::installed:
            return "installed";
        case SignatureState::finished:
            return "finished";
        case SignatureState::loaded:
            break;
    }
    return "loaded";
}

std::string number_or_dash(std::uint32_t number) {
    return number == 0 ? "-" : fmt::format("{}", number);
}

// "3/10/Y": runs so far, as many as it may, whether it is removed then.
std::string limit_text(const CatalogueEntry& entry) {
    return fmt::format("{}/{}/{}", entry.counters.runs, number_or_dash(entry.signature->execution_limit),
                       entry.signature->removed_at_limit ? 'Y' : 'N');
}

std::string average_seconds(const SignatureCounters& counters) {
    return counters.runs == 0 ? "-" : fmt::format("{:.3f}", counters.total_seconds / counters.runs);
}

std::string longest_seconds(const SignatureCounters& counters) {
    return counters.runs == 0 ? "-" : fmt::format("{:.3f}", counters.longest_seconds);
}

std::string profile_text(const SignatureActions& actions) {
    const std::string& name = actions.catalogue().settings().profile;
    if (name.empty()) {
        return "not set up";
    }
    return actions.has_profile(name) ? name : name + " (there is no such profile)";
}

constexpr const char* setting_indent = "           ";

std::string environment_text(const VariableValues& environment) {
    if (environment.empty()) {
        return fmt::format("{}Not yet set up\n", setting_indent);
    }
    std::string text;
    for (const auto& [name, value] : environment) {
        text += fmt::format("{}{}: {}\n", setting_indent, name, value);
    }
    return text;
}

}  // namespace

std::string table_time(std::int64_t seconds) {
    if (seconds == 0) {
        return "never";
    }
    const std::time_t time = seconds;
    std::tm local{};
    ::localtime_r(&time, &local);
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
}

std::string settings_view(const SignatureActions& actions) {
    const SignatureSettings& settings = actions.catalogue().settings();
    std::string text = "Current diagnostic-signature settings:\n";
    text += fmt::format(" Diagnostic-signature: {}\n", settings.active ? "enabled" : "disabled");
    text += fmt::format(" Profile: {}\n", profile_text(actions));
    text += " Environment variable:\n" + environment_text(settings.environment);
    text += "\nDownloaded DSes:\n\n" + table_heading(downloaded_columns);
    for (const auto& [id, entry] : actions.catalogue().entries()) {
        text += row(downloaded_columns,
                    {fmt::format("{}", id), entry.signature->name, entry.signature->revision,
                     state_word(entry.state), table_time(entry.loaded_at)});
    }
    return text;
}

std::string failures_view(const SignatureActions& actions) {
    std::string text = failure_legend + table_heading(failure_columns);
    actions.catalogue().each_failure([&text](const SignatureFailure& failure) {
        text += row(failure_columns, {number_or_dash(failure.id), failure.name,
                                      std::string(1, static_cast<char>(failure.stage)),
                                      table_time(failure.at), failure.why});
    });
    return text;
}

std::string run_time_view(const SignatureActions& actions) {
    std::string text = table_heading(run_time_columns);
    for (const auto& [id, entry] : actions.catalogue().entries()) {
        text += row(run_time_columns, {fmt::format("{}", id), entry.signature->name, limit_text(entry),
                                       average_seconds(entry.counters), longest_seconds(entry.counters)});
    }
    return text;
}

std::string downloads_view(const SignatureActions& actions) {
    std::string text = table_heading(download_columns);
    for (const DownloadKind kind : download_kinds) {
        const DownloadCounters counters = actions.catalogue().downloads(kind);
        text += row(download_columns,
                    {kind == DownloadKind::one ? "one signature" : "all signatures",
                     fmt::format("{}", actions.waiting_downloads(kind)), fmt::format("{}", counters.failed),
                     fmt::format("{}", counters.succeeded), table_time(counters.last_request_at)});
    }
    return text;
}

}  // namespace callhome::service
