#include "server/complaints.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <sstream>

namespace callhome::service {
namespace {

TEST(Complaints, AreCountedWhenThereAreTooMany) {
    std::ostringstream log;
    auto sink = std::make_shared<spdlog::sinks::ostream_sink_st>(log);
    sink->set_pattern("%v");
    const auto previous = spdlog::default_logger();
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("test", sink));
    Complaints complaints;
    const auto start = Complaints::Clock::now();
    for (std::size_t line = 0; line < Complaints::most_a_minute + 5; ++line) {
        complaints.log("too loud", start);
    }
    std::string expected;
    for (std::size_t line = 0; line < Complaints::most_a_minute; ++line) {
        expected += "too loud\n";
    }
    EXPECT_EQ(log.str(), expected);
    complaints.log("again", start + std::chrono::minutes(1));
    EXPECT_EQ(log.str(), expected + "5 more complaints about clients were not logged\nagain\n");
    spdlog::set_default_logger(previous);
}

}  // namespace
}  // namespace callhome::service
