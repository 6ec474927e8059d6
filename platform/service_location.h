// Where the service is, by the rules of find_service().
#pragma once

#include "platform/reference.h"

namespace callhome::platform {

// The socket of a service that the system runs for all users.
inline constexpr const char* system_socket = "/run/callhome/callhomed.sock";

// find_service() on a system whose service is at `system_socket_path`.
ServiceLocation find_service_beside(const std::filesystem::path& system_socket_path,
                                    const std::optional<std::string>& socket_option,
                                    const std::filesystem::path& program_folder);

}  // namespace callhome::platform
