// The reference platform, as the reference shell uses it: where the service is, how errors name the
// place they come from, and the requests that no handler of the library makes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
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

// What the platform's own error lines begin with, "FILE:LINE: " in a script; empty at a prompt.
void set_error_prefix(std::string prefix);

// The system contact, which no handler of the library sets. Without a text it is removed.
ServiceStatus set_system_contact(const std::optional<std::string>& contact);

struct MessageRow {
    std::uint32_t id, recorded_at, size, waiting, delivered, failed;
    std::string format, type, profile, subject;
};

struct DeliveryRow {
    std::uint32_t id, message_id, attempts, next_attempt_at, last_attempt_at;
    std::string state, receiver, last_result;
};

// What the service has recorded, oldest first. The status is 0 when the list is complete.
ServiceStatus read_messages(std::vector<MessageRow>& rows);
// The receivers of one message.
ServiceStatus read_deliveries(std::uint32_t message_id, std::vector<DeliveryRow>& rows);
// The receivers that some message still waits for.
ServiceStatus read_queue(std::vector<DeliveryRow>& rows);
// A message as its receivers see it.
ServiceStatus read_message_text(std::uint32_t message_id, std::string& text);

}  // namespace callhome::platform
