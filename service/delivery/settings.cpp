#include "delivery/settings.h"

#include <sys/statvfs.h>

#include <random>

namespace callhome::service {

std::int64_t wall_clock_milliseconds() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(since_1970).count();
}

std::int64_t random_up_to(std::int64_t highest) {
    std::random_device source;
    return std::uniform_int_distribution<std::int64_t>(0, highest)(source);
}

std::optional<std::uint64_t> free_disk_bytes(const std::filesystem::path& folder) {
    struct statvfs disk {};
    if (::statvfs(folder.c_str(), &disk) != 0) {
        return std::nullopt;
    }
    return std::uint64_t{disk.f_bavail} * disk.f_frsize;
}

}  // namespace callhome::service
