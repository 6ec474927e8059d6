// A folder of the test's own, gone with the object.
#pragma once

#include <filesystem>

namespace callhome::service {

class TemporaryFolder {
 public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(const char* name) const { return path_ / name; }
    const std::filesystem::path& path() const { return path_; }

 private:
    std::filesystem::path path_;
};

}  // namespace callhome::service
