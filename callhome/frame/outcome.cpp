#include "frame/outcome.h"

#include <cinttypes>
#include <cstdio>

#include "callhome/handlers.h"

namespace callhome::library {

std::uint32_t refuse_no_form() {
    std::fprintf(stderr, "%s\n", "'no' option is not supported with this command");
    return failed;
}

std::uint32_t report(ServiceStatus status) {
    if (status == code(protocol::Status::ok)) {
        return done;
    }
    if (status == code(protocol::Status::transport_failed)) {
        std::fputs(transport_error, stderr);
    } else {
        callhome_print_error(status);
    }
    return failed;
}

std::uint32_t report_failed_exchange() {
    std::fputs("Failed to run this command due to mts error.\n", stderr);
    return failed;
}

std::uint32_t report_incomplete(std::uint32_t got, std::size_t needed, const char* consequence) {
    std::fprintf(stderr,
                 "The answer of the call-home service was incomplete (%" PRIu32 " of %zu bytes); %s\n", got,
                 needed, consequence);
    return failed;
}

}  // namespace callhome::library
