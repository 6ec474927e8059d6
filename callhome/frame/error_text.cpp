#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "callhome/handlers.h"
#include "platform/interface.h"

namespace callhome::library {
namespace {

struct ErrorText {
    std::uint32_t code;
    const char* text;
};

// Result codes inside replies, by code: the feature in general, then diagnostic signatures ("DS").
// The texts are what scripts look for, their spelling included.
constexpr std::array error_texts{
    ErrorText{0, "Everything is OK."},
    ErrorText{1, "Call-home generic error."},
    ErrorText{2, "Call-home memory allocation error."},
    ErrorText{3, "Data entry enqueue failed."},
    ErrorText{4, "No configuration change."},
    ErrorText{5, "Fail to get database element."},
    ErrorText{6, "No element is found in database."},
    ErrorText{7, "Call-home profile is disabled."},
    ErrorText{8, "Call-home profile not reporting KVD data."},
    ErrorText{9, "Call-home profile address already exist."},
    ErrorText{10, "Call-home profile address not found."},
    ErrorText{11, "Call-home profile has no address configured."},
    ErrorText{12, "Call-home profile has no work address configured."},
    ErrorText{13, "Only one periodic subscription is allowed per one event type in a profile."},
    ErrorText{14, "Call-home profile already has this event subscribed."},
    ErrorText{15, "Call-home subscribe event cannot be found."},
    ErrorText{16, "Call-home profile already existed."},
    ErrorText{17, "Call-home profile not found in database."},
    ErrorText{18, "No qualified profile found for ondemand msg send."},
    ErrorText{19, "Could not remove Orvel TAC profile."},
    ErrorText{20, "This change is not allowed for Orvel TAC profile."},
    ErrorText{21, "Event group not found."},
    ErrorText{22, "Input transport method is invalid."},
    ErrorText{23, "Invalid Regular Expression pattern."},
    ErrorText{24, "Invalid cron string."},
    ErrorText{25, "Invalid parameter."},
    ErrorText{26, "Invalid http response."},
    ErrorText{27, "Invalid rate-limit threshold."},
    ErrorText{28, "Invalid mail server priority."},
    ErrorText{29, "Mail server not found in database."},
    ErrorText{30, "Could not configure any more mail server."},
    ErrorText{31, "Anonymous reporting isn't allowed for the event."},
    ErrorText{32, "Fail to send out call-home msg."},
    ErrorText{33, "Call-home global service is disabled."},
    ErrorText{34, "Active user profile is found."},
    ErrorText{36, "Call-home contact email address not yet set up."},
    ErrorText{37, "Fail to get profile's destination address."},
    ErrorText{38, "Call-home failed to parse HTTP response."},
    ErrorText{39, "Call-home failed to process KVD HTTP response."},
    ErrorText{40, "Orvel TAC profile not found in database."},
    ErrorText{42, "Abort profile test progress."},
    ErrorText{43, "Regex pattern matched none."},
    ErrorText{44, "Failed to execute regex."},
    ErrorText{45, "Event group has no action."},
    ErrorText{46, "Call-home IPC error."},
    ErrorText{47, "Call-home IPC failed."},
    ErrorText{48, "Call-home IPC not initialized yet."},
    ErrorText{49, "Call-home failed to request system resource."},
    ErrorText{50, "Call-home IPC time out."},
    ErrorText{51, "Call-home failed to create TTY."},
    ErrorText{52, "Call-home failed to initialize."},
    ErrorText{53, "Call-home generic error."},
    ErrorText{54, "Call-home failed to open file."},
    ErrorText{55, "Call-home failed to read file content."},
    ErrorText{1000, "DS is OK."},
    ErrorText{1001, "Error in DS action."},
    ErrorText{1002, "Failed to execute DS action."},
    ErrorText{1003, "Can't run DS."},
    ErrorText{1004, "Failed to clone DS entry."},
    ErrorText{1005, "Failed to find DS environment varible."},
    ErrorText{1006, "DS event does not exist."},
    ErrorText{1007, "Failed to register DS event."},
    ErrorText{1008, "DS event script is not supported."},
    ErrorText{1009, "Failed to find DS event composer."},
    ErrorText{1010, "Failed to complete DS event sepc."},
    ErrorText{1011, "Exceeded DS execution limit."},
    ErrorText{1012, "Failed to write file."},
    ErrorText{1013, "Invalid DS ID."},
    ErrorText{1014, "Invlaid DS."},
    ErrorText{1015, "Invalid DS event spec tag."},
    ErrorText{1016, "Invalid DS timer type tag."},
    ErrorText{1017, "DS does not exist."},
    ErrorText{1018, "DS over length."},
    ErrorText{1019, "Failed to parse DS xml."},
    ErrorText{1020, "Failed to get DS file directory."},
    ErrorText{1021, "Failed to register DS."},
    ErrorText{1022, "Failed to register multiple event."},
    ErrorText{1023, "Failed to register single event."},
    ErrorText{1024, "DS requisite already exists."},
    ErrorText{1025, "DS requistite execution is skipped."},
    ErrorText{1026, "DS failed to create script temp file."},
    ErrorText{1027, "DS variable's name is invalid."},
    ErrorText{1028, "DS contains unresolved variables."},
    ErrorText{1029, "XML tag is not supported."},
    ErrorText{1030, "DS prompt variable contains invalid value."},
    ErrorText{1031, "DS prompt variable cannot be found."},
    ErrorText{1032, "Failed to verify DS sign."},
};
static_assert(std::ranges::is_sorted(error_texts, {}, &ErrorText::code));

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

const char* ch_get_error_string(uint32_t code) {
    const auto* found = std::ranges::lower_bound(error_texts, code, {}, &ErrorText::code);
    const bool known = found != error_texts.end() && found->code == code;
    return known ? found->text : "Unknown error code.";
}

void callhome_print_error(ServiceStatus status) {
    std::puts(sys_err_to_str(status));
}
