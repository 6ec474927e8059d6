#include "signatures/journal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "journal_file.h"
#include "shell_script.h"
#include "signatures/log_matcher.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

class JournalTest : public testing::Test {
 protected:
    void open() {
        journal_.emplace(io_, folder_.path(), [this](std::string_view line) { lines_.emplace_back(line); });
    }
    void wait_for(std::size_t lines) {
        EXPECT_TRUE(tests::run_until(io_, [&] { return lines_.size() >= lines; })) << lines_.size();
    }

    TemporaryFolder folder_;
    tests::JournalFile file_{folder_.path()};
    asio::io_context io_;
    std::vector<std::string> lines_;
    std::optional<Journal> journal_;
};

TEST_F(JournalTest, GivesWhatIsWrittenFromNowOn) {
    file_.append({"MESSAGE=before", "SYSLOG_IDENTIFIER=kernel"});
    open();
    file_.append({"MESSAGE=eth0: link down", "SYSLOG_IDENTIFIER=kernel", "PRIORITY=4"});
    wait_for(1);
    file_.append({"MESSAGE=restarted", "SYSLOG_IDENTIFIER=init", "_PID=1"});
    file_.append({"MESSAGE=nobody says who"});
    wait_for(3);
    EXPECT_EQ(lines_, (std::vector<std::string>{"kernel: eth0: link down", "init[1]: restarted",
                                                "nobody says who"}));
}

TEST_F(JournalTest, GivesEachLineOfAnEntry) {
    open();
    file_.append({"PRIORITY=1"});
    file_.append({"MESSAGE=one\n\ntwo", "SYSLOG_IDENTIFIER=daemon"});
    wait_for(2);
    EXPECT_EQ(lines_, (std::vector<std::string>{"daemon: one", "daemon: two"}));
}

TEST_F(JournalTest, CutsALongEntry) {
    open();
    file_.append({"MESSAGE=" + std::string(10 * longest_log_line, 'x')});
    wait_for(1);
    EXPECT_LE(lines_[0].size(), 10 * longest_log_line);
    EXPECT_GE(lines_[0].size(), longest_log_line - std::string("MESSAGE=").size());
}

TEST_F(JournalTest, LeavesOutWhatThisProcessWrites) {
    open();
    file_.append({"MESSAGE=mine", "_PID=" + std::to_string(::getpid())});
    file_.append({"MESSAGE=another's", "_PID=1"});
    wait_for(1);
    EXPECT_EQ(lines_, (std::vector<std::string>{"another's"}));
}

TEST_F(JournalTest, TakesAFloodInTurns) {
    open();
    constexpr int flood = 500;
    for (int count = 0; count < flood; ++count) {
        file_.append({"MESSAGE=line " + std::to_string(count)});
    }
    wait_for(flood);
    EXPECT_EQ(lines_.size(), static_cast<std::size_t>(flood));
    EXPECT_EQ(lines_.back(), "line 499");
}

TEST_F(JournalTest, SaysWhetherThereIsAnythingToRead) {
    open();
    EXPECT_FALSE(journal_->has_entries());
    file_.append({"MESSAGE=one"});
    open();
    EXPECT_TRUE(journal_->has_entries());
}

}  // namespace
}  // namespace callhome::service
