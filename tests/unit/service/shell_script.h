// A command shell that does what the test says, and an io_context that waits for it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
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
    CommandSettings settings() const {
        return {.program = folder_ / "callhome",
                .socket = "/run/some.sock",
                .user = "nobody",
                .time = std::chrono::minutes(1)};
    }
    const TemporaryFolder& folder() const { return folder_; }

 private:
    TemporaryFolder folder_;
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
