#include "options.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace callhome::service {
namespace {

Options parsed(std::initializer_list<const char*> words) {
    std::vector<const char*> arguments{"callhomed"};
    arguments.insert(arguments.end(), words);
    const auto result = parse_options(static_cast<int>(arguments.size()), arguments.data());
    EXPECT_TRUE(std::holds_alternative<Options>(result));
    return std::holds_alternative<Options>(result) ? std::get<Options>(result) : Options{};
}

TEST(Options, NameTheKeysOfSignatures) {
    EXPECT_EQ(parsed({"--system"}).trust.key_folder, "/etc/callhome/keys");
    EXPECT_EQ(parsed({"--state-folder", "/tmp/state"}).trust.key_folder, "/tmp/state/keys");
    EXPECT_EQ(parsed({"--system", "--signature-keys", "/tmp/keys"}).trust.key_folder, "/tmp/keys");
}

TEST(Options, AllowUnsignedSignaturesOnlyWhenTheySaySo) {
    EXPECT_FALSE(parsed({"--system"}).trust.allow_unsigned);
    EXPECT_TRUE(parsed({"--system", "--allow-unsigned-signatures"}).trust.allow_unsigned);
}

TEST(Options, SayForHowLongEventsAreThrottled) {
    EXPECT_EQ(parsed({"--system"}).throttle.window, std::chrono::hours(2));
    EXPECT_EQ(parsed({"--system", "--throttle-window", "3"}).throttle.window, std::chrono::seconds(3));
}

TEST(Options, NameWhereTheSettingsOfServersAre) {
    EXPECT_EQ(parsed({"--system"}).delivery.transfer.server_folder, "/etc/callhome/servers");
    EXPECT_EQ(parsed({"--state-folder", "/tmp/state"}).delivery.transfer.server_folder,
              "/tmp/state/servers");
    EXPECT_EQ(parsed({"--system", "--server-settings", "/tmp/s"}).delivery.transfer.server_folder,
              "/tmp/s");
}

TEST(Options, LimitTheQueue) {
    const QueueLimits limits =
        parsed({"--queue-messages", "7", "--queue-size", "8", "--free-disk", "0"}).delivery.queue;
    EXPECT_EQ(limits.messages, 7U);
    EXPECT_EQ(limits.bytes, 8U << 20U);
    EXPECT_EQ(limits.free_disk, 0U);
}

TEST(Options, LimitHowLongADeliveryIsTried) {
    EXPECT_EQ(parsed({}).delivery.retry.give_up_after, std::chrono::hours(24));
    EXPECT_EQ(parsed({"--give-up-after", "600"}).delivery.retry.give_up_after, std::chrono::minutes(10));
}

}  // namespace
}  // namespace callhome::service
