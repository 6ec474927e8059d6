// Scripts that a command hands over.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "platform/interface.h"
#include "platform/reference.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

class ScriptTest : public testing::Test {
 protected:
    ~ScriptTest() override {
        run_scripts_with(nullptr);
        set_error_prefix("");
    }

    static ScriptRun request_for(const std::string& path) {
        ScriptRun request{};
        std::strncpy(request.path, path.c_str(), sizeof request.path);  // also without a terminator
        return request;
    }
    std::string write(const std::string& content) {
        const std::filesystem::path path = folder_ / "script";
        std::ofstream(path) << content;
        return path;
    }
    struct Run {
        int result;
        std::string err;
    };
    static Run run(const std::string& path) {
        ScriptRun request = request_for(path);
        testing::internal::CaptureStderr();
        const int result = ::shell_execute_script_file(&request);
        return {result, testing::internal::GetCapturedStderr()};
    }
    // Scripts succeed from now on, and nobody looks at them.
    static void succeed() {
        run_scripts_with([](std::FILE*, const std::string&) { return true; });
    }

    TemporaryFolder folder_;
};

TEST_F(ScriptTest, TheSessionIsGivenTheFileAndItsName) {
    std::string seen;
    run_scripts_with([&](std::FILE* script, const std::string& name) {
        std::array<char, 64> line{};
        while (std::fgets(line.data(), line.size(), script) != nullptr) {
            seen += line.data();
        }
        seen += "from " + name;
        return true;
    });
    const std::string path = write("show version\nshow callhome\n");
    const Run done = run(path);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.err, "");
    EXPECT_EQ(seen, "show version\nshow callhome\nfrom " + path);
}

TEST_F(ScriptTest, AScriptThatFailsGivesAnotherResultThanZero) {
    run_scripts_with([](std::FILE*, const std::string&) { return false; });
    EXPECT_EQ(run(write("")).result, 1);
    run_scripts_with([](std::FILE*, const std::string&) -> bool { throw std::runtime_error("lost"); });
    EXPECT_EQ(run(write("")).result, 1);
    succeed();
    EXPECT_EQ(run(write("")).result, 0);
}

TEST_F(ScriptTest, WithoutASessionNoScriptRuns) {
    const Run done = run(write(""));
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.err, "Scripts cannot be run here\n");
    EXPECT_EQ(::shell_execute_script_file(nullptr), 1);
}

TEST_F(ScriptTest, AScriptCannotRunAnotherOne) {
    const std::string path = write("");
    Run inner{};
    int runs = 0;
    run_scripts_with([&](std::FILE*, const std::string&) {
        ++runs;
        ScriptRun request = request_for(path);
        inner.result = ::shell_execute_script_file(&request);
        return true;
    });
    const Run outer = run(path);
    EXPECT_EQ(outer.result, 0);
    EXPECT_EQ(inner.result, 1);
    EXPECT_EQ(outer.err, "A script that a command runs cannot run another one\n");
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(run(path).result, 0) << "the next one runs again";
}

TEST_F(ScriptTest, OnlyAFileThatIsOneIsRead) {
    succeed();
    const std::string path = write("");
    std::filesystem::create_symlink(path, folder_ / "link");
    std::filesystem::create_directory(folder_ / "folder");
    ASSERT_EQ(::mkfifo((folder_ / "fifo").c_str(), 0600), 0);
    for (const char* name : {"link", "folder", "fifo", "missing"}) {
        const Run done = run(folder_ / name);
        EXPECT_EQ(done.result, 1) << name;
        EXPECT_TRUE(done.err.starts_with("The script " + std::string(folder_ / name) + " cannot be read: "))
            << done.err;
    }
}

TEST_F(ScriptTest, APathWithoutATerminatorIsReadWithinItsField) {
    succeed();
    const Run done = run("/" + std::string(200, 'x'));
    EXPECT_EQ(done.result, 1);
    EXPECT_TRUE(done.err.starts_with("The script /" + std::string(127, 'x') + " cannot be read: "))
        << done.err;
}

TEST_F(ScriptTest, ErrorsBehindTheScriptNameTheirOwnPlaceAgain) {
    run_scripts_with([&](std::FILE*, const std::string&) {
        set_error_prefix("inner:1: ");
        return true;
    });
    set_error_prefix("outer:7: ");
    EXPECT_EQ(run(write("")).result, 0);
    EXPECT_EQ(set_error_prefix(""), "outer:7: ");
}

}  // namespace
}  // namespace callhome::platform
