#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/reference.h"
#include "service_link.h"
#include "service_location.h"

namespace callhome::platform {
namespace {

constexpr std::uint32_t exec = 1, configuration = 2;

class TransportErrorTest : public testing::Test {
 protected:
    ~TransportErrorTest() override {
        use_service({});
        set_error_prefix("");
    }

    // The line about the failure of a request to `location`.
    static std::string line(std::uint32_t cmd_type, int error_number, ServiceLocation location,
                            const char* why = nullptr) {
        use_service(std::move(location));
        report_failure(error_number, why == nullptr ? "" : why);
        testing::internal::CaptureStderr();
        ::shell_print_mts_error(cmd_type, error_number);
        return testing::internal::GetCapturedStderr();
    }

    const ServiceLocation named_{.socket = "/tmp/s", .program = {}, .state_folder = {}};
    const ServiceLocation systems_{.socket = system_socket, .program = {}, .state_folder = {}};
    const ServiceLocation own_{
        .socket = "/tmp/s", .program = "/bin/callhomed", .state_folder = "/tmp/state"};
};

TEST_F(TransportErrorTest, ALineSaysWhatWasLostAndWhyAndWhatToDo) {
    EXPECT_EQ(line(exec, ETIMEDOUT, named_, "no answer"),
              "The command got no answer: no answer; make sure that the service on /tmp/s runs, then try "
              "again\n");
    EXPECT_EQ(line(configuration, ECONNRESET, systems_, "it closed"),
              "The change may or may not have been made, look at the configuration first: it closed; "
              "look at the service with \"systemctl status callhomed\", then try again\n");
    EXPECT_EQ(line(configuration, ECONNREFUSED, own_, "it ended at once"),
              "The change was not made: it ended at once; "
              "look into its log, then try again: /tmp/state/callhomed.log\n");
    EXPECT_EQ(line(exec, ECONNRESET, own_, "it closed"),
              "The command got no answer: it closed; try again, the service starts by itself; "
              "its log is /tmp/state/callhomed.log\n");
}

TEST_F(TransportErrorTest, AServiceThatMayNotBeUsedNeedsNoLook) {
    EXPECT_EQ(line(exec, EACCES, named_, "permission denied"),
              "The command was not carried out: permission denied; ask who runs the service for the right "
              "to use it, or name another one with --socket\n");
}

TEST_F(TransportErrorTest, WhatWasNeverSentWasNotDone) {
    for (const int error : {ENOENT, ECONNREFUSED, EACCES, EMSGSIZE, ENAMETOOLONG, ENOMEM}) {
        EXPECT_TRUE(line(configuration, error, named_).starts_with("The change was not made: ")) << error;
        EXPECT_TRUE(line(exec, error, named_).starts_with("The command was not carried out: ")) << error;
    }
    for (const int error : {ETIMEDOUT, ECONNRESET, EPROTO, EINTR, EIO, 0, -7}) {
        EXPECT_TRUE(
            line(configuration, error, named_).starts_with("The change may or may not have been made"))
            << error;
        EXPECT_TRUE(line(exec, error, named_).starts_with("The command got no answer: ")) << error;
    }
}

TEST_F(TransportErrorTest, AnErrorThatTheLinkDidNotReportHasTheSystemsWords) {
    report_failure(EPROTO, "garbage");
    testing::internal::CaptureStderr();
    ::shell_print_mts_error(exec, ENOSPC);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(": No space left on device; "),
              std::string::npos);
}

TEST_F(TransportErrorTest, TheLineBeginsWithItsPlaceInAScript) {
    set_error_prefix("first.txt:12: ");
    EXPECT_TRUE(line(exec, ETIMEDOUT, named_).starts_with("first.txt:12: The command got no answer"));
}

TEST_F(TransportErrorTest, ItIsOneLine) {
    const std::string text = line(configuration, ECONNRESET, own_, std::string(5000, 'x').c_str());
    EXPECT_EQ(text.find('\n'), text.size() - 1);
}

}  // namespace
}  // namespace callhome::platform
