#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "command.h"

namespace callhome::test {
namespace {

constexpr std::size_t part_size = 2048;

class ReplyTextTest : public LibraryTest {
 protected:
    // What is printed for a reply text; it must all be on standard output.
    static std::string print(std::string text, const char* name = "test") {
        const auto [out, err] =
            capture([&] { EXPECT_EQ(parse_and_print_test_alert_reply(text.data(), name), 0); });
        EXPECT_EQ(err, "");
        return out;
    }

    struct Split {
        int result;
        std::string confirmations;
        std::string others;
    };
    static Split split(const std::string& text) {
        char confirmations[part_size] = {};
        char others[part_size] = {};
        const int result = parse_success_and_warning_message(text.c_str(), confirmations, others);
        return {result, confirmations, others};
    }

    // What stands in the place of the working file must have been refused and left as it was.
    static void expect_refused() {
        EXPECT_EQ(split("Successfully sent\n").result, -1);
        EXPECT_TRUE(files().removed.empty());
        EXPECT_EQ(print("a warning"), "successfully sent test callhome message\nwarning:\na warning\n");
    }

    void write(const std::filesystem::path& path, const std::string& content) {
        std::ofstream(path) << content;
    }
    static std::string read(const std::filesystem::path& path) {
        std::ostringstream content;
        content << std::ifstream(path).rdbuf();
        return content.str();
    }
};

TEST_F(ReplyTextTest, ANullTextOrNameIsRefused) {
    char text[] = "text";
    const auto [out, err] = capture([&] {
        EXPECT_EQ(parse_and_print_test_alert_reply(nullptr, "test"), -1);
        EXPECT_EQ(parse_and_print_test_alert_reply(text, nullptr), -1);
    });
    EXPECT_EQ(out + err, "");
}

TEST_F(ReplyTextTest, ABlankTextIsASuccess) {
    EXPECT_EQ(print("", "inventory"), "successfully sent inventory callhome message\n");
    EXPECT_EQ(print(" \t\r\n", "diagnostic"), "successfully sent diagnostic callhome message\n");
    EXPECT_TRUE(files().opened.empty());
}

TEST_F(ReplyTextTest, TheTextIsTrimmedInPlace) {
    char text[] = " \n a b \n ";
    capture([&] { parse_and_print_test_alert_reply(text, "test"); });
    EXPECT_STREQ(text, "a b");
}

TEST_F(ReplyTextTest, ConfirmationsStandAloneAndOtherLinesAreAWarning) {
    EXPECT_EQ(print("Successfully sent to a@b\n"), "Successfully sent to a@b\n");
    EXPECT_EQ(print("no route to host\n"), "warning:\nno route to host\n");
    EXPECT_EQ(print("Successfully sent to a@b\nno route to host"),
              "Successfully sent to a@b\nwarning:\nno route to host\n");
    EXPECT_EQ(print("lost\n  Successfully sent to a\nlost, too\nand Successfully to b\n"),
              "Successfully sent to a\nand Successfully to b\nwarning:\nlost\nlost, too\n");
}

TEST_F(ReplyTextTest, TheWordOfAConfirmationIsCaseSensitive) {
    EXPECT_EQ(print("successfully sent\nSUCCESSFULLY sent"),
              "warning:\nsuccessfully sent\nSUCCESSFULLY sent\n");
}

TEST_F(ReplyTextTest, PercentSignsStayAsTheyAre) {
    EXPECT_EQ(print("Successfully 100% %s%n\n%d left"), "Successfully 100% %s%n\nwarning:\n%d left\n");
}

TEST_F(ReplyTextTest, BlankLinesBetweenConfirmationsAreNoWarning) {
    EXPECT_EQ(print("Successfully 1\n\n \nSuccessfully 2"), "Successfully 1\nSuccessfully 2\n");
}

TEST_F(ReplyTextTest, LinesKeepTheirEnds) {
    const auto [result, confirmations, others] = split("a\nSuccessfully 1\n\nSuccessfully 2");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(confirmations, "Successfully 1\nSuccessfully 2");
    EXPECT_EQ(others, "a\n\n");
}

TEST_F(ReplyTextTest, LinesAreAppendedToWhatTheBuffersHold) {
    char confirmations[part_size] = "before ";
    char others[part_size] = "earlier ";
    EXPECT_EQ(parse_success_and_warning_message("Successfully\nnot", confirmations, others), 0);
    EXPECT_STREQ(confirmations, "before Successfully\n");
    EXPECT_STREQ(others, "earlier not");
}

TEST_F(ReplyTextTest, AnEmptyTextGivesEmptyParts) {
    const auto [result, confirmations, others] = split("");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(confirmations + others, "");
}

TEST_F(ReplyTextTest, ALineThatIsLongerThanTheLineBufferIsJudgedPieceByPiece) {
    // The first piece takes 2047 characters, so the word stands in the second one.
    const auto [result, confirmations, others] = split(std::string(2047, 'x') + "Successfully tail\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(confirmations, "Successfully tail\n");
    EXPECT_EQ(others, std::string(2047, 'x'));
    // A word that lies across two pieces is in neither.
    EXPECT_EQ(split(std::string(2040, 'x') + "Successfully\n").confirmations, "");
}

TEST_F(ReplyTextTest, ALongReplyIsCutToItsBuffer) {
    std::string text;
    for (int line = 0; line < 200; ++line) {
        text += "Successfully sent to a receiver with a long name\nlost: a receiver with a long name\n";
    }
    const auto [result, confirmations, others] = split(text);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(confirmations.size(), part_size - 1);
    EXPECT_EQ(others.size(), part_size - 1);
    EXPECT_EQ(split(std::string(100000, 'y')).others, std::string(part_size - 1, 'y'));
}

TEST_F(ReplyTextTest, TheWorkingFileIsWrittenReadAndRemovedUnderItsFixedPath) {
    split("text");
    EXPECT_EQ(files().opened, (Lines{working_file, working_file}));
    EXPECT_EQ(files().removed, Lines{working_file});
    EXPECT_FALSE(std::filesystem::exists(files().working_file));
    EXPECT_STREQ(working_file, "/tmp/callhome_reply_msg.txt");
}

TEST_F(ReplyTextTest, ALeftoverIsReplacedWhole) {
    write(files().working_file, "an older and longer text with Successfully in it\n");
    const auto [result, confirmations, others] = split("new");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(confirmations, "");
    EXPECT_EQ(others, "new");
    EXPECT_FALSE(std::filesystem::exists(files().working_file));
}

TEST_F(ReplyTextTest, AFileOfAnotherUserIsRefused) {
    write(files().working_file, "theirs");
    files().stranger = geteuid() + 1;
    expect_refused();
    EXPECT_EQ(read(files().working_file), "theirs");
}

TEST_F(ReplyTextTest, ASymbolicLinkIsRefused) {
    write(folder_ / "precious", "precious");
    std::filesystem::create_symlink(folder_ / "precious", files().working_file);
    expect_refused();
    EXPECT_EQ(read(folder_ / "precious"), "precious");
}

TEST_F(ReplyTextTest, ADanglingLinkIsRefused) {
    std::filesystem::create_symlink(folder_ / "nowhere", files().working_file);
    expect_refused();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "nowhere"));
}

TEST_F(ReplyTextTest, AFileWithASecondNameIsRefused) {
    write(folder_ / "precious", "precious");
    std::filesystem::create_hard_link(folder_ / "precious", files().working_file);
    expect_refused();
    EXPECT_EQ(read(folder_ / "precious"), "precious");
}

TEST_F(ReplyTextTest, AFifoIsRefusedWithoutWaiting) {
    ASSERT_EQ(mkfifo(files().working_file.c_str(), 0600), 0);
    expect_refused();
}

TEST_F(ReplyTextTest, AFifoWithAReaderIsRefused) {
    ASSERT_EQ(mkfifo(files().working_file.c_str(), 0600), 0);
    const int reader = open(files().working_file.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    expect_refused();
    char byte = 0;
    EXPECT_LE(::read(reader, &byte, 1), 0) << "nothing was written into it";
    close(reader);
}

TEST_F(ReplyTextTest, ADirectoryIsRefused) {
    std::filesystem::create_directory(files().working_file);
    expect_refused();
}

TEST_F(ReplyTextTest, AFolderThatCannotBeWrittenIsAFailure) {
    files().working_file = folder_ / "missing" / "file";
    EXPECT_EQ(split("text").result, -1);
}

TEST_F(ReplyTextTest, TheWorkingFileIsTheOwnersAlone) {
    const mode_t before = umask(0);
    files().when_opened_again = [&] {
        struct stat found {};
        EXPECT_EQ(stat(files().working_file.c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 07777, 0600U);
        EXPECT_EQ(read(files().working_file), "text") << "written whole before it is read";
    };
    EXPECT_EQ(split("text").result, 0);
    umask(before);
}

TEST_F(ReplyTextTest, AFileThatIsExchangedBeforeItIsReadIsRefused) {
    write(folder_ / "other", "Successfully forged");
    files().when_opened_again = [&] {
        std::filesystem::remove(files().working_file);
        std::filesystem::create_symlink(folder_ / "other", files().working_file);
    };
    EXPECT_EQ(split("text").result, -1);
    EXPECT_EQ(read(folder_ / "other"), "Successfully forged");
}

TEST_F(ReplyTextTest, AFifoThatTakesItsPlaceBeforeItIsReadIsRefusedWithoutWaiting) {
    files().when_opened_again = [&] {
        std::filesystem::remove(files().working_file);
        EXPECT_EQ(mkfifo(files().working_file.c_str(), 0600), 0);
    };
    EXPECT_EQ(split("text").result, -1);
}

}  // namespace
}  // namespace callhome::test
