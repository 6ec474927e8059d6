// A journal as the system's logger writes it: one file, never rotated.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace callhome::service::tests {

class JournalFile {
 public:
    explicit JournalFile(const std::filesystem::path& folder);
    ~JournalFile();
    JournalFile(const JournalFile&) = delete;
    JournalFile& operator=(const JournalFile&) = delete;

    // Each field as "NAME=value".
    void append(const std::vector<std::string>& fields);

 private:
    std::uint64_t put_data(const std::string& field, std::uint64_t entry);

    int descriptor_;
    std::uint64_t end_;  // where the next object goes
    std::uint64_t entries_ = 0;
};

}  // namespace callhome::service::tests
