#include <map>

#include "command.h"

namespace callhome::test {
namespace {

// The whole table: scripts compare these texts letter by letter.
const std::map<std::uint32_t, std::string> error_texts{
    {0, "Everything is OK."},
    {1, "Call-home generic error."},
    {2, "Call-home memory allocation error."},
    {3, "Data entry enqueue failed."},
    {4, "No configuration change."},
    {5, "Fail to get database element."},
    {6, "No element is found in database."},
    {7, "Call-home profile is disabled."},
    {8, "Call-home profile not reporting KVD data."},
    {9, "Call-home profile address already exist."},
    {10, "Call-home profile address not found."},
    {11, "Call-home profile has no address configured."},
    {12, "Call-home profile has no work address configured."},
    {13, "Only one periodic subscription is allowed per one event type in a profile."},
    {14, "Call-home profile already has this event subscribed."},
    {15, "Call-home subscribe event cannot be found."},
    {16, "Call-home profile already existed."},
    {17, "Call-home profile not found in database."},
    {18, "No qualified profile found for ondemand msg send."},
    {19, "Could not remove Orvel TAC profile."},
    {20, "This change is not allowed for Orvel TAC profile."},
    {21, "Event group not found."},
    {22, "Input transport method is invalid."},
    {23, "Invalid Regular Expression pattern."},
    {24, "Invalid cron string."},
    {25, "Invalid parameter."},
    {26, "Invalid http response."},
    {27, "Invalid rate-limit threshold."},
    {28, "Invalid mail server priority."},
    {29, "Mail server not found in database."},
    {30, "Could not configure any more mail server."},
    {31, "Anonymous reporting isn't allowed for the event."},
    {32, "Fail to send out call-home msg."},
    {33, "Call-home global service is disabled."},
    {34, "Active user profile is found."},
    {36, "Call-home contact email address not yet set up."},
    {37, "Fail to get profile's destination address."},
    {38, "Call-home failed to parse HTTP response."},
    {39, "Call-home failed to process KVD HTTP response."},
    {40, "Orvel TAC profile not found in database."},
    {42, "Abort profile test progress."},
    {43, "Regex pattern matched none."},
    {44, "Failed to execute regex."},
    {45, "Event group has no action."},
    {46, "Call-home IPC error."},
    {47, "Call-home IPC failed."},
    {48, "Call-home IPC not initialized yet."},
    {49, "Call-home failed to request system resource."},
    {50, "Call-home IPC time out."},
    {51, "Call-home failed to create TTY."},
    {52, "Call-home failed to initialize."},
    {53, "Call-home generic error."},
    {54, "Call-home failed to open file."},
    {55, "Call-home failed to read file content."},
    {1000, "DS is OK."},
    {1001, "Error in DS action."},
    {1002, "Failed to execute DS action."},
    {1003, "Can't run DS."},
    {1004, "Failed to clone DS entry."},
    {1005, "Failed to find DS environment varible."},
    {1006, "DS event does not exist."},
    {1007, "Failed to register DS event."},
    {1008, "DS event script is not supported."},
    {1009, "Failed to find DS event composer."},
    {1010, "Failed to complete DS event sepc."},
    {1011, "Exceeded DS execution limit."},
    {1012, "Failed to write file."},
    {1013, "Invalid DS ID."},
    {1014, "Invlaid DS."},
    {1015, "Invalid DS event spec tag."},
    {1016, "Invalid DS timer type tag."},
    {1017, "DS does not exist."},
    {1018, "DS over length."},
    {1019, "Failed to parse DS xml."},
    {1020, "Failed to get DS file directory."},
    {1021, "Failed to register DS."},
    {1022, "Failed to register multiple event."},
    {1023, "Failed to register single event."},
    {1024, "DS requisite already exists."},
    {1025, "DS requistite execution is skipped."},
    {1026, "DS failed to create script temp file."},
    {1027, "DS variable's name is invalid."},
    {1028, "DS contains unresolved variables."},
    {1029, "XML tag is not supported."},
    {1030, "DS prompt variable contains invalid value."},
    {1031, "DS prompt variable cannot be found."},
    {1032, "Failed to verify DS sign."},
};

TEST(ErrorText, EveryCodeOfAReplyHasItsText) {
    for (const auto& [code, text] : error_texts) {
        EXPECT_EQ(ch_get_error_string(code), text) << code;
    }
}

TEST(ErrorText, EveryOtherCodeIsUnknown) {
    constexpr std::uint32_t beyond_the_table = 2000;
    for (std::uint32_t code = 0; code < beyond_the_table; ++code) {
        if (!error_texts.contains(code)) {
            EXPECT_STREQ(ch_get_error_string(code), "Unknown error code.") << code;
        }
    }
    for (const std::uint32_t code : {35U, 41U, 56U, 999U, 1033U, 0x403B000BU, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_STREQ(ch_get_error_string(code), "Unknown error code.") << code;
    }
}

TEST(ErrorText, TwoCodesShareTheGenericText) {
    EXPECT_STREQ(ch_get_error_string(1), ch_get_error_string(53));
}

class PrintErrorTest : public LibraryTest {};

TEST_F(PrintErrorTest, PrintsTheTextOfAnyStatusAsALineOfStandardOutput) {
    const auto [out, err] = capture([] {
        callhome_print_error(0x403B000B);
        callhome_print_error(5);
        callhome_print_error(-1);
    });
    EXPECT_EQ(out, "text of 0x403B000B\ntext of 0x00000005\ntext of 0xFFFFFFFF\n");
    EXPECT_EQ(err, "");
}

}  // namespace
}  // namespace callhome::test
