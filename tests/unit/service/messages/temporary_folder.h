#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace callhome::service::tests {

// A folder of its own for one test, gone when the test ends.
class TemporaryFolder {
 public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "callhome-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder for the test");
        }
        path_ = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

 private:
    std::filesystem::path path_;
};

}  // namespace callhome::service::tests
