#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <utility>

namespace callhome::service {
namespace {

constexpr const char* system_socket = "/run/callhome/callhomed.sock";
constexpr const char* system_state = "/var/lib/callhome";
constexpr const char* socket_name = "callhomed.sock";
constexpr const char* system_log_socket = "/run/callhome/log.sock";
constexpr const char* log_socket_name = "log.sock";
constexpr const char* system_keys = "/etc/callhome/keys";
constexpr const char* keys_name = "keys";
constexpr const char* system_servers = "/etc/callhome/servers";
constexpr const char* servers_name = "servers";

// What the environment names; relative and empty paths do not count.
std::optional<std::filesystem::path> folder_from(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value != '/') {
        return std::nullopt;
    }
    return value;
}

std::optional<std::filesystem::path> own_state_folder() {
    if (const auto state = folder_from("XDG_STATE_HOME")) {
        return *state / "callhome";
    }
    if (const auto home = folder_from("HOME")) {
        return *home / ".local/state/callhome";
    }
    return std::nullopt;
}

void fill_defaults(Options& options) {
    if (options.state_folder.empty()) {
        const auto folder = options.system ? system_state : own_state_folder();
        if (!folder) {
            throw CLI::ValidationError("HOME is not set: name a folder with --state-folder");
        }
        options.state_folder = *folder;
    }
    if (options.log_socket.empty()) {
        options.log_socket = options.system && options.socket.empty()
                                 ? system_log_socket
                                 : options.state_folder / log_socket_name;
    }
    std::filesystem::path& server_folder = options.delivery.transfer.server_folder;
    if (server_folder.empty()) {
        server_folder = options.system ? system_servers : options.state_folder / servers_name;
    }
    if (options.trust.key_folder.empty()) {
        options.trust.key_folder = options.system ? system_keys : options.state_folder / keys_name;
    }
    if (options.socket.empty()) {
        const auto runtime = folder_from("XDG_RUNTIME_DIR");
        if (options.system) {
            options.socket = system_socket;
        } else {
            options.socket =
                runtime ? *runtime / "callhome" / socket_name : options.state_folder / socket_name;
        }
    }
}

struct LogLevel {
    const char* word;
    spdlog::level::level_enum level;
};

constexpr std::array log_levels{
    LogLevel{"debug", spdlog::level::debug},  LogLevel{"info", spdlog::level::info},
    LogLevel{"warning", spdlog::level::warn}, LogLevel{"error", spdlog::level::err},
    LogLevel{"off", spdlog::level::off},
};

// The words that name levels, in a row.
std::string level_words() {
    std::string words;
    for (const LogLevel& row : log_levels) {
        words += (words.empty() ? "" : ", ") + std::string(row.word);
    }
    return words;
}

spdlog::level::level_enum level_named(const std::string& word) {
    const auto* row = std::ranges::find(log_levels, word, &LogLevel::word);
    if (row == log_levels.end()) {
        throw CLI::ValidationError("--log-level",
                                   "\"" + word + "\" is no level; use one of " + level_words());
    }
    return row->level;
}

constexpr int longest_setting = 86'400;  // seconds
constexpr int most_messages = 10'000'000;
constexpr int most_mebibytes = 1'048'576;
constexpr unsigned bits_of_mebibyte = 20;

// How long messages may take; the defaults suit a switch, other limits suit a trial.
void add_delivery_options(CLI::App& app, DeliverySettings& settings) {
    const auto add = [&app](const char* name, const char* help, std::function<void(int)> take) {
        app.add_option_function<int>(name, std::move(take), help)
            ->check(CLI::Range(1, longest_setting))
            ->option_text("SECONDS");
    };
    add("--first-retry", "Pause before the second try of a delivery, 1 to 86400; later pauses double (60)",
        [&settings](int seconds) { settings.retry.first_pause = std::chrono::seconds(seconds); });
    add("--transfer-limit", "Longest time for one transfer to one server, 1 to 86400 (120)",
        [&settings](int seconds) {
            const std::chrono::seconds limit(seconds);
            settings.transfer.total = limit;
            settings.transfer.response = std::min(settings.transfer.response, limit);
            settings.transfer.connect =
                std::min<std::chrono::milliseconds>(settings.transfer.connect, limit);
        });
    add("--give-up-after", "Pauses of a delivery in all before it is given up, 1 to 86400 (86400)",
        [&settings](int seconds) { settings.retry.give_up_after = std::chrono::seconds(seconds); });
    app.add_option("--authorities", settings.transfer.authorities,
                   "Believe the servers that these vouch for (those that the system believes)")
        ->option_text("PEM-FILE");
    app.add_option("--server-settings", settings.transfer.server_folder,
                   "Take encryption and logins of mail servers and proxies from the files here")
        ->option_text("FOLDER");
}

// How much may wait. A switch has a small disk, and others want some of it.
void add_queue_options(CLI::App& app, QueueLimits& limits) {
    const auto add = [&app](const char* name, const char* help, const char* unit, int least, int most,
                            std::function<void(std::uint64_t)> take) {
        app.add_option_function<std::uint64_t>(name, std::move(take), help)
            ->check(CLI::Range(least, most))
            ->option_text(unit);
    };
    add("--queue-messages", "Most messages that wait (100000)", "NUMBER", 1, most_messages,
        [&limits](std::uint64_t number) { limits.messages = number; });
    add("--queue-size", "Most MiB of messages that wait (256)", "MIB", 1, most_mebibytes,
        [&limits](std::uint64_t size) { limits.bytes = size << bits_of_mebibyte; });
    add("--free-disk", "MiB of the disk that are left to others (16)", "MIB", 0, most_mebibytes,
        [&limits](std::uint64_t size) { limits.free_disk = size << bits_of_mebibyte; });
}

void add_signature_options(CLI::App& app, Options& options) {
    app.add_option("--log-socket", options.log_socket, "Take log lines for signatures here")
        ->option_text("PATH");
    app.add_option("--command-user", options.command_user,
                   "Who runs the commands of messages when the service is root (nobody)")
        ->option_text("NAME");
    app.add_option_function<int>(
           "--command-limit",
           [&options](int seconds) { options.command_limit = std::chrono::seconds(seconds); },
           "Longest time for one command of a message, 1 to 86400 (30)")
        ->check(CLI::Range(1, longest_setting))
        ->option_text("SECONDS");
}

void add_event_options(CLI::App& app, ThrottleSettings& throttle) {
    app.add_option_function<int>(
           "--throttle-window",
           [&throttle](int seconds) { throttle.window = std::chrono::seconds(seconds); },
           "Count events that repeat one within this time, 1 to 86400 (7200)")
        ->check(CLI::Range(1, longest_setting))
        ->option_text("SECONDS");
}

void add_trust_options(CLI::App& app, TrustSettings& trust) {
    app.add_option("--signature-keys", trust.key_folder,
                   "Believe diagnostic signatures that these keys and certificates vouch for")
        ->option_text("FOLDER");
    app.add_flag("--allow-unsigned-signatures", trust.allow_unsigned,
                 "Believe every diagnostic signature; for trials");
}

}  // namespace

std::variant<Options, ExitStatus> parse_options(int argument_count, const char* const* arguments) {
    Options options;
    int ready_descriptor = -1;
    CLI::App app("The call-home service: keeps the configuration, composes and sends the messages.",
                 "callhomed");
    app.set_version_flag("--version", "callhomed " CALLHOME_VERSION);
    app.add_flag(
        "--system", options.system,
        std::string("Serve all users, at ") + system_socket + " with the state in " + system_state);
    app.add_option("--socket", options.socket, "Listen here")->option_text("PATH");
    app.add_option("--state-folder", options.state_folder, "Keep the database here")->option_text("PATH");
    app.add_flag("--exit-when-idle", options.exit_when_idle,
                 "End when the last client has gone and no message is due soon");
    app.add_option("--ready-fd", ready_descriptor,
                   "Write one byte here when the socket accepts connections")
        ->check(CLI::Range(3, 1'000'000))
        ->option_text("NUMBER");
    app.add_option_function<std::string>(
           "--log-level", [&options](const std::string& word) { options.log_level = level_named(word); },
           "The least grave that is logged: " + level_words() + " (info)")
        ->option_text("LEVEL");
    add_delivery_options(app, options.delivery);
    add_event_options(app, options.throttle);
    add_queue_options(app, options.delivery.queue);
    add_signature_options(app, options);
    add_trust_options(app, options.trust);
    try {
        app.parse(argument_count, arguments);
        fill_defaults(options);
    } catch (const CLI::Success& request) {
        app.exit(request);
        return exit_done;
    } catch (const CLI::ParseError& error) {
        app.exit(error);
        return exit_usage;
    }
    if (ready_descriptor >= 0) {
        options.ready_descriptor = ready_descriptor;
    }
    return options;
}

}  // namespace callhome::service
