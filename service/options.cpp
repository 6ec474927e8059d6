#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
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

constexpr int longest_setting = 86'400;  // seconds

// How long messages may take; the defaults suit a switch, other limits suit a trial.
void add_delivery_options(CLI::App& app, DeliverySettings& settings) {
    const auto add = [&app](const char* name, const char* help, std::function<void(int)> take) {
        app.add_option_function<int>(name, std::move(take), help)
            ->check(CLI::Range(1, longest_setting))
            ->type_name("SECONDS");
    };
    add("--first-retry", "Pause before the second try of a delivery; later pauses double (60)",
        [&settings](int seconds) { settings.retry.first_pause = std::chrono::seconds(seconds); });
    add("--transfer-limit", "Longest time for one transfer to one server (120)", [&settings](int seconds) {
        const std::chrono::seconds limit(seconds);
        settings.transfer.total = limit;
        settings.transfer.response = std::min(settings.transfer.response, limit);
        settings.transfer.connect = std::min<std::chrono::milliseconds>(settings.transfer.connect, limit);
    });
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
    app.add_option("--socket", options.socket, "Listen here")->type_name("PATH");
    app.add_option("--state-folder", options.state_folder, "Keep the database here")->type_name("PATH");
    app.add_flag("--exit-when-idle", options.exit_when_idle,
                 "End when the last client has gone and no message is due soon");
    app.add_option("--ready-fd", ready_descriptor,
                   "Write one byte here when the socket accepts connections")
        ->check(CLI::Range(3, 1'000'000))
        ->type_name("NUMBER");
    const std::map<std::string, spdlog::level::level_enum> levels{{"debug", spdlog::level::debug},
                                                                  {"info", spdlog::level::info},
                                                                  {"warning", spdlog::level::warn},
                                                                  {"error", spdlog::level::err},
                                                                  {"off", spdlog::level::off}};
    app.add_option("--log-level", options.log_level, "debug, info, warning, error or off")
        ->transform(CLI::CheckedTransformer(levels))
        ->type_name("LEVEL");
    add_delivery_options(app, options.delivery);
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
