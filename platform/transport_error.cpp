#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "error_line.h"
#include "platform/command_output.h"
#include "platform/interface.h"
#include "platform/reference.h"
#include "service_link.h"
#include "service_location.h"
#include "service_start.h"

namespace callhome::platform {
namespace {

constexpr std::uint32_t configuration_command = 2;

// Failures before the service can have seen the request; with any other, nobody knows.
constexpr std::array failures_before_sending{ENOENT, ECONNREFUSED, EACCES, EMSGSIZE, ENAMETOOLONG, ENOMEM};

std::string& error_prefix() {
    static std::string prefix;
    return prefix;
}

const char* what_was_lost(std::uint32_t cmd_type, int error_number) {
    const bool is_unsent =
        std::ranges::find(failures_before_sending, error_number) != failures_before_sending.end();
    if (cmd_type == configuration_command) {
        return is_unsent ? "The change was not made"
                         : "The change may or may not have been made, look at the configuration first";
    }
    return is_unsent ? "The command was not carried out" : "The command got no answer";
}

std::string why(int error_number) {
    if (const auto words = last_failure(error_number); !words.empty()) {
        return std::string(words);
    }
    return sys_err_to_str(error_number);
}

std::string what_to_do(const ServiceLocation& location, int error_number) {
    if (!location.program.empty()) {
        const bool did_not_start = error_number == ECONNREFUSED;
        return (did_not_start ? "look into its log, then try again: "
                              : "try again, the service starts by itself; its log is ") +
               log_of(location).native();
    }
    if (location.socket == system_socket) {
        return "look at the service with \"systemctl status callhomed\", then try again";
    }
    if (error_number == EACCES) {
        return "ask who runs the service for the right to use it, or name another one with --socket";
    }
    return "make sure that the service on " + location.socket.native() + " runs, then try again";
}

void print_transport_error(std::uint32_t cmd_type, int error_number) {
    print_error_line(std::string(what_was_lost(cmd_type, error_number)) + ": " + why(error_number) + "; " +
                     what_to_do(service_link().location(), error_number));
}

}  // namespace

std::string set_error_prefix(std::string prefix) {
    return std::exchange(error_prefix(), std::move(prefix));
}

void tell_failure(ServiceStatus status, std::uint32_t cmd_type) {
    if (status < 0) {
        shell_print_mts_error(cmd_type, errno);
        return;
    }
    const char* refusal = sys_err_to_str(status);
    if (is_output_structured()) {
        set_value(error_lines, std::string(refusal));
    } else {
        std::puts(refusal);
    }
}

void print_error_line(const std::string& what) {
    const std::string line = error_prefix() + what + "\n";
    std::fflush(stdout);  // what was shown before stands before it
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

}  // namespace callhome::platform

extern "C" void shell_print_mts_error(uint32_t cmd_type, int error_number) {
    try {
        callhome::platform::print_transport_error(cmd_type, error_number);
    } catch (...) {
        std::fputs("The call-home service is lost, and there is no memory to say why\n", stderr);
    }
}
