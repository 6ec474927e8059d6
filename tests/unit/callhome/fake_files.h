// Stands before the C library for the files whose paths are fixed, so that tests run in parallel and leave
// nothing behind: the working file of reply texts and the script of support commands are led into a folder
// of the test's own, and the marker stands where the test says.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace callhome::test {

inline constexpr const char* working_file = "/tmp/callhome_reply_msg.txt";

inline constexpr const char* script_beginning = "/tmp/tech_callhome.";

struct Files {
    std::filesystem::path working_file;  // where the working file really is
    std::filesystem::path script;        // where the script really is
    std::vector<std::string> opened;     // paths under which the library has opened one of them
    std::vector<std::string> removed;
    std::function<void()> when_opened_again;  // called before the second opening
    bool marker_stands = false;
    std::uint32_t stranger = 0;  // not 0: the user that this process claims to be
};

Files& files();

}  // namespace callhome::test
