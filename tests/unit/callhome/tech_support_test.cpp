#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "command.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

constexpr const char* nine_commands =
    "show hostname\n"
    "show module\n"
    "show version\n"
    "show running-config callhome all\n"
    "show system internal callhome event-history\n"
    "show system internal callhome mem-stats detail\n"
    "show snmp | include contact\n"
    "show callhome\n"
    "show trace callhome\n";

std::string path_of_script() {
    return "/tmp/tech_callhome." + std::to_string(getpid());
}

class TechSupportTest : public LibraryTest {
 protected:
    Outcome show() { return run(callhome_show_tech_support, command_); }

    // What stands in the place of the script must have been refused and left as it was.
    void expect_refused() {
        const auto [result, out, err] = show();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "Error: unable to open tmp file\n");
        EXPECT_EQ(err, "");
        EXPECT_TRUE(platform().scripts.empty());
        EXPECT_TRUE(files().removed.empty());
    }

    static void write(const std::filesystem::path& path, const std::string& content) {
        std::ofstream(path) << content;
    }
    static std::string read(const std::filesystem::path& path) {
        std::ostringstream content;
        content << std::ifstream(path).rdbuf();
        return content.str();
    }
    static std::uint32_t word_at(const Bytes& request, std::size_t offset) {
        std::uint32_t word = 0;
        std::memcpy(&word, request.data() + offset, sizeof word);
        return word;
    }

    Command command_;
};

TEST_F(TechSupportTest, TheNineCommandsAreHandedOverInTheirOrder) {
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "output of the commands\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(std::strlen(nine_commands), 225U);
    EXPECT_EQ(platform().script_texts, Lines{nine_commands});
    EXPECT_EQ(platform().calls, Lines{"run script"});
}

TEST_F(TechSupportTest, TheRequestNamesTheFileAndTheSession) {
    command_.context()->session_id = 0x01020304;
    show();
    ASSERT_EQ(platform().scripts.size(), 1U);
    Bytes request = platform().scripts.front();
    ASSERT_EQ(request.size(), 1044U);
    EXPECT_STREQ(reinterpret_cast<const char*>(request.data()) + 4, path_of_script().c_str());
    EXPECT_EQ(word_at(request, 776), 2U);
    EXPECT_EQ(word_at(request, 780), 2U);
    EXPECT_EQ(word_at(request, 784), 0x01020304U);
    std::fill_n(request.begin() + 4, path_of_script().size(), std::byte{0});
    std::fill_n(request.begin() + 776, 12, std::byte{0});
    EXPECT_EQ(request, Bytes(1044)) << "all else is zero";
}

TEST_F(TechSupportTest, TheScriptHasItsFixedPathAndIsDeletedAfterwards) {
    show();
    EXPECT_EQ(files().opened, Lines{path_of_script()});
    EXPECT_EQ(files().removed, Lines{path_of_script()});
    EXPECT_FALSE(std::filesystem::exists(files().script));
}

TEST_F(TechSupportTest, AFailureOfTheScriptIsTheCommands) {
    for (const int result : {1, -1, 7}) {
        platform().script_result = result;
        EXPECT_EQ(show().result, 1) << result;
        EXPECT_FALSE(std::filesystem::exists(files().script)) << "deleted in either case";
    }
    platform().script_result = 0;
    EXPECT_EQ(show().result, 0);
}

TEST_F(TechSupportTest, ACommandThatEndsTheProcessLeavesNoScriptBehind) {
    platform().when_script_runs = [] { std::exit(1); };
    EXPECT_EXIT(callhome_show_tech_support(command_.context()), testing::ExitedWithCode(1), "");
    EXPECT_FALSE(std::filesystem::exists(files().script));
}

TEST_F(TechSupportTest, ASecondRunHasTheNineCommandsOnce) {
    show();
    show();
    EXPECT_EQ(platform().script_texts, (Lines{nine_commands, nine_commands}));
}

TEST_F(TechSupportTest, ALeftoverKeepsItsLinesWhichRunToo) {
    write(files().script, "show clock\n");
    EXPECT_EQ(show().result, 0);
    EXPECT_EQ(platform().script_texts, Lines{std::string("show clock\n") + nine_commands});
    EXPECT_FALSE(std::filesystem::exists(files().script));
}

TEST_F(TechSupportTest, LooksNeitherAtTheFormNorAtTheSupervisorNorAtTheClass) {
    command_.no().context()->active_sup = 0;
    command_.context()->skip_exec = 1;
    cmd_type = 9;
    EXPECT_EQ(show().result, 0);
    EXPECT_EQ(platform().scripts.size(), 1U);
    EXPECT_EQ(cmd_type, 9U);
}

TEST_F(TechSupportTest, TheScriptIsTheOwnersAlone) {
    const mode_t before = umask(0);
    show();
    umask(before);
    EXPECT_EQ(platform().script_mode, 0600U);
}

TEST_F(TechSupportTest, AFileOfAnotherUserIsRefused) {
    write(files().script, "theirs");
    files().stranger = geteuid() + 1;
    expect_refused();
    EXPECT_EQ(read(files().script), "theirs");
}

TEST_F(TechSupportTest, ASymbolicLinkIsRefused) {
    write(folder_ / "precious", "precious");
    std::filesystem::create_symlink(folder_ / "precious", files().script);
    expect_refused();
    EXPECT_EQ(read(folder_ / "precious"), "precious");
}

TEST_F(TechSupportTest, ADanglingLinkIsRefused) {
    std::filesystem::create_symlink(folder_ / "nowhere", files().script);
    expect_refused();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "nowhere"));
}

TEST_F(TechSupportTest, AFileWithASecondNameIsRefused) {
    write(folder_ / "precious", "precious");
    std::filesystem::create_hard_link(folder_ / "precious", files().script);
    expect_refused();
    EXPECT_EQ(read(folder_ / "precious"), "precious");
}

TEST_F(TechSupportTest, AFifoIsRefusedWithoutWaiting) {
    ASSERT_EQ(mkfifo(files().script.c_str(), 0600), 0);
    expect_refused();
}

TEST_F(TechSupportTest, ADirectoryIsRefused) {
    std::filesystem::create_directory(files().script);
    expect_refused();
}

TEST_F(TechSupportTest, AFolderThatIsNotThereIsAFailure) {
    files().script = folder_ / "missing" / "file";
    expect_refused();
}

TEST_F(TechSupportTest, TwoCommandsAreDeclaredOnly) {
    for (const auto handler : {callhome_show_inventory, callhome_show_techsupport}) {
        std::uint32_t result = 9;
        const auto [out, err] = capture([&] { result = handler(); });
        EXPECT_EQ(result, 0U);
        EXPECT_EQ(out, "this cli command is not implemented\n");
        EXPECT_EQ(err, "");
    }
    EXPECT_TRUE(platform().calls.empty());
}

int verify(const char* answer, const char* expected) {
    int result = -1;
    const auto [out, err] = capture([&] { result = callhome_util_cli_input_verify(answer); });
    EXPECT_EQ(out, expected) << answer;
    EXPECT_EQ(err, "") << answer;
    return result;
}

TEST_F(TechSupportTest, AnAnswerIsYOrN) {
    EXPECT_EQ(verify("y", ""), 1);
    EXPECT_EQ(verify("n", ""), 1);
}

TEST_F(TechSupportTest, AnEmptyAnswerIsPassedOverInSilence) {
    EXPECT_EQ(verify("", ""), 0);
    EXPECT_EQ(verify(nullptr, ""), 0);
}

TEST_F(TechSupportTest, AnAnswerHoldsNoWhitespace) {
    for (const char* answer : {" y", "y ", "y\n", "\tn", "no way", " ", "\n", "Y Y"}) {
        EXPECT_EQ(verify(answer, "Input should not contain any whitespace\n"), 0) << answer;
    }
}

TEST_F(TechSupportTest, AnyOtherAnswerIsAskedForAgain) {
    for (const char* answer : {"Y", "N", "yes", "no", "yy", "x", "1", "y\r", "\v"}) {
        EXPECT_EQ(verify(answer, "Please answer with \"y\" or \"n\"\n"), 0) << answer;
    }
}

}  // namespace
}  // namespace callhome::test
