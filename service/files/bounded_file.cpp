#include "files/bounded_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <system_error>

namespace callhome::service {
namespace {

constexpr std::size_t read_size = 65'536;

struct Descriptor {
    int number;
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
};

std::string reason() {
    return std::generic_category().message(errno);
}

// Read to its end, whatever its size was said to be: it may grow meanwhile.
std::optional<UnreadFile> read_all(int file, const std::string& name, std::size_t limit,
                                   std::string& bytes) {
    std::array<char, read_size> block;
    while (true) {
        const ssize_t count = ::read(file, block.data(), block.size());
        if (count == 0) {
            return std::nullopt;
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return UnreadFile{FileFault::not_read, fmt::format("{} cannot be read: {}", name, reason())};
        }
        bytes.append(block.data(), static_cast<std::size_t>(count));
        if (bytes.size() > limit) {
            return UnreadFile{FileFault::too_long, fmt::format("{} is longer than {} bytes", name, limit)};
        }
    }
}

UnreadFile not_opened(const std::string& name) {
    if (errno == ELOOP) {
        return {FileFault::not_opened, fmt::format("{} is a link; name the file itself", name)};
    }
    return {errno == ENOENT ? FileFault::not_there : FileFault::not_opened,
            fmt::format("{} cannot be opened: {}", name, reason())};
}

}  // namespace

std::variant<FileContent, UnreadFile> read_file(const std::filesystem::path& path, std::size_t limit) {
    const std::string name = path.string();
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    if (file.number < 0) {
        return not_opened(name);
    }
    struct stat status {};
    if (::fstat(file.number, &status) != 0) {
        return not_opened(name);
    }
    if (!S_ISREG(status.st_mode)) {
        return UnreadFile{FileFault::not_opened, fmt::format("{} is not a file", name)};
    }
    FileContent content{
        .bytes = {}, .mode = status.st_mode, .owner = status.st_uid, .links = status.st_nlink};
    if (auto unread = read_all(file.number, name, limit, content.bytes)) {
        return *std::move(unread);
    }
    return content;
}

}  // namespace callhome::service
