#include <unistd.h>

#include <cstdio>

#include "actions/reply_text.h"
#include "callhome/handlers.h"
#include "frame/outcome.h"
#include "platform/interface.h"
#include "protocol/marker.h"

namespace callhome::library {
namespace {

// A platform that could not post the alert at all may have left the result as it was.
ServiceStatus outcome_of(ServiceStatus posted, const AlertResult& result) {
    return result.status == code(protocol::Status::ok) ? posted : result.status;
}

void print_outcome(ServiceStatus status, char* text) {
    if (status == code(protocol::Status::ok)) {
        std::puts("successfully sent test callhome message for sup-failure");
        print_warning(text);
        return;
    }
    report(status);
    if (status != code(protocol::Status::transport_failed)) {
        print_explanation(text);
    }
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_test_supfailure(CommandContext* ctx) {
    std::puts("Sending sup failure message");
    if (access(callhome::protocol::processing_marker, F_OK) == 0) {
        callhome_print_error(code(callhome::protocol::Status::message_in_progress));
        return failed;
    }
    AlertResult result{};
    const ServiceStatus posted = ch_post_alert(ctx->transport_handle, "SUP_FAILURE", "system manager",
                                               "this is a test message for sup failure", &result);
    const OwnedText text = copy_of_text(result.text, sizeof result.text);
    print_outcome(outcome_of(posted, result), text.get());
    return done;
}
