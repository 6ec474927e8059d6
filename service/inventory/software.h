// The software that is installed on this machine, as the package manager has recorded it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace callhome::service {

struct SoftwarePackage {
    std::string name;  // "libc6"; with its architecture, "libc6:i386", where there are several of a name
    std::vector<std::pair<std::string, std::string>> facts;  // as "Version" and "2.36-9"; clean lines
};

inline constexpr std::size_t longest_package_name = 254;  // bytes; a longer one is left out

// By name, byte by byte; each name once. Empty where there is no such record. `root` is where var is
// looked for. What is removed, but for its configuration files, is not installed.
std::vector<SoftwarePackage> read_software(const std::filesystem::path& root);

// The same, read again only when the record has changed: a walk over thousands of packages reads it once,
// and so do thousands of messages.
class SoftwareInventory {
 public:
    explicit SoftwareInventory(std::filesystem::path root = "/");

    // The first package after this name, whether or not there is one of that name; a null pointer at the
    // end. Good until the next call.
    const SoftwarePackage* after(std::string_view name);

    std::size_t count();

 private:
    // What tells one state of the record from another; the package manager puts a new file in its place.
    struct Stamp {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = -1;
        std::int64_t seconds = 0;  // of the last change
        std::int64_t nanoseconds = 0;

        bool operator==(const Stamp&) const = default;
    };
    static Stamp stamp_of(const std::filesystem::path& file);
    void read_what_has_changed();

    const std::filesystem::path root_;
    Stamp read_at_;
    std::vector<SoftwarePackage> packages_;
};

}  // namespace callhome::service
