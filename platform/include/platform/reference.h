// The reference platform, as the reference shell uses it: where the service is, how errors name the
// place they come from, and the requests that no handler of the library makes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/interface.h"

namespace callhome::platform {

struct ServiceLocation {
    std::filesystem::path socket;
    // The user's own service: started when nobody answers on the socket. Both empty otherwise.
    std::filesystem::path program;       // callhomed
    std::filesystem::path state_folder;  // its database and log
};

// Where the service is to be found: the socket named by the operator; else the system's service when
// there is one; else the user's own, started from `program_folder` when it does not run.
// Throws std::runtime_error that says what to do when there is no folder for it.
ServiceLocation find_service(const std::optional<std::string>& socket_option,
                             const std::filesystem::path& program_folder);

// Which service svc_request_response and ch_post_alert talk to. Nothing is connected before the first
// request; a connection that was lost is made again by the next one.
void use_service(ServiceLocation location);

// What the platform's own error lines begin with, "FILE:LINE: " in a script; empty at a prompt. Gives what
// they began with before.
std::string set_error_prefix(std::string prefix);

// Tells the operator why a request failed: a refusal as a line of the display, a failed transport on
// standard error, in words for the class of the command (see shell_print_mts_error).
void tell_failure(ServiceStatus status, std::uint32_t cmd_type);

// Runs the commands of an opened script, named for messages, in the session that runs now; true when all
// have succeeded.
using RunScript = std::function<bool(std::FILE* script, const std::string& name)>;
// How shell_execute_script_file runs what it is given. Until this was called it refuses.
void run_scripts_with(RunScript run);

// The system contact, which no handler of the library sets. Without a text it is removed.
ServiceStatus set_system_contact(const std::optional<std::string>& contact);

// The same, and the other settings whose running-configuration lines are the shell's own.
ServiceStatus read_system_contact(std::optional<std::string>& contact);
ServiceStatus read_traps(bool& are_on);
ServiceStatus read_distribution(bool& is_on);

// The refusal with which the service answers requests about the pending copy of the configuration, or 0
// when there is one.
ServiceStatus check_pending_copy();

// The distribution session and what the last one came to. Times are seconds since 1970, 0 for none.
struct SessionState {
    bool is_open = false;
    std::uint32_t opened_at = 0;
    std::string owner;
    std::string last_action, last_result;  // in words
    std::string last_cause;                // text of a failure; else empty
    std::uint32_t last_at = 0;
    std::string last_user;
};
ServiceStatus read_session(SessionState& state);

// A message is being composed: the running configuration cannot be read as a whole.
bool is_processing_message();

// "2026-11-21 14:05:03", in local time.
std::string local_time_text(std::uint32_t seconds);

// Shows one line of the configuration, indented by `level`; in a document it stands among its
// configuration lines.
void show_configuration_line(std::string_view line, std::size_t level = 0);

// The running configuration as one mode's block. What the generators write is arranged so that it can be
// typed again; what they print by themselves comes between.
struct ConfigurationBlock {
    std::string mode_line;        // shown before the first line
    std::size_t level = 1;        // of indentation of the lines
    bool is_distributed = false;  // distribution is on
    // The library's mark that there is something to commit; null for none.
    const std::uint32_t* data_present = nullptr;
    // Is told each line, as soon as it is known and again when it is shown.
    std::function<void(std::string_view line)> on_line;
    // Is asked once, when the driver has written all its lines, for lines to show behind them.
    std::function<void(const std::function<void(std::string_view line)>& show)> last_lines;
};
// Shows the block that `generate` writes. False when no driver ran to its end in it.
bool write_configuration_block(const ConfigurationBlock& settings, const std::function<void()>& generate);

struct CollectedConfiguration {
    std::vector<std::string> lines;  // in an order in which they can be typed
    std::string printed;             // to standard output, past the configuration
};
// What `generate` writes, without showing it.
CollectedConfiguration collect_configuration(const std::function<void()>& generate);

struct MessageRow {
    std::uint32_t id, recorded_at, size, waiting, delivered, failed;
    std::string format, type, profile, subject;
};

struct DeliveryRow {
    std::uint32_t id, message_id, attempts, next_attempt_at, last_attempt_at;
    std::string state, receiver, last_result, profile;
};

// What the service has recorded, or the newest of it, oldest first. The status is 0 when the list is
// complete.
ServiceStatus read_messages(std::vector<MessageRow>& rows, std::optional<std::uint32_t> last = {});
// The receivers of one message.
ServiceStatus read_deliveries(std::uint32_t message_id, std::vector<DeliveryRow>& rows);
// The receivers that some message still waits for.
ServiceStatus read_queue(std::vector<DeliveryRow>& rows);
// The lines of a trace buffer, by name; the oldest first.
ServiceStatus read_trace_buffer(std::string_view name, std::string& text);
// What the memory and the store of the service hold.
ServiceStatus read_memory_statistics(bool with_detail, std::string& text);
// A message as its receivers see it.
ServiceStatus read_message_text(std::uint32_t message_id, std::string& text);

}  // namespace callhome::platform
