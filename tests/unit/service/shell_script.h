// A command shell that does what the test says, and an io_context that waits for it.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <string>

#include <asio/io_context.hpp>

#include "commands/command_runner.h"
#include "temporary_folder.h"

namespace callhome::service::tests {

class ShellScript {
 public:
    // The command stands in "$4", behind the socket's path and -c.
    explicit ShellScript(const std::string& script = "echo \"$4\"") { write(script); }

    void write(const std::string& script) {
        namespace fs = std::filesystem;
        fs::permissions(folder_.path(),
                        fs::perms::all & ~(fs::perms::group_write | fs::perms::others_write));
        folder_.write("callhome", "#!/bin/sh\n" + script + "\n");
        fs::permissions(folder_ / "callhome", fs::perms::owner_all | fs::perms::group_exec |
                                                  fs::perms::group_read | fs::perms::others_exec |
                                                  fs::perms::others_read);
    }
    // Reads a line from a pipe, where it waits until release() is called.
    std::string waiting() {
        const std::string gate = (folder_ / "gate").string();
        if (!std::filesystem::exists(gate)) {
            EXPECT_EQ(::mkfifo(gate.c_str(), 0666), 0);
            EXPECT_EQ(::chmod(gate.c_str(), 0666), 0);
        }
        return "read line <" + gate;
    }
    void hold_commands() { write(waiting() + "; echo \"$4\""); }
    // Those that wait go on, and those that come later do not wait.
    void release() {
        constexpr int more_than_come = 100;
        gate_.open(folder_ / "gate", std::ios::in | std::ios::out);
        ASSERT_TRUE(gate_.is_open());
        for (int command = 0; command < more_than_come; ++command) {
            gate_ << "go\n";
        }
        gate_.flush();
    }
    CommandSettings settings() const {
        return {.program = folder_ / "callhome",
                .socket = "/run/some.sock",
                .user = "nobody",
                .time = std::chrono::minutes(1)};
    }
    const TemporaryFolder& folder() const { return folder_; }

 private:
    TemporaryFolder folder_;
    std::fstream gate_;  // open, so that what was written there stays
};

// Far more than anything takes: only a test that fails waits for it.
template <typename Condition>
bool run_until(asio::io_context& io, Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition() && std::chrono::steady_clock::now() < end) {
        io.restart();
        io.run_one_for(std::chrono::milliseconds(50));
    }
    return condition();
}

}  // namespace callhome::service::tests
