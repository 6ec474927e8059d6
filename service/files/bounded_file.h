// Files whose name or content others have chosen, read whole.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <variant>

namespace callhome::service {

struct FileContent {
    std::string bytes;
    mode_t mode;  // type and permissions
    uid_t owner;
    nlink_t links;  // names that the file has
};

enum class FileFault {
    not_there,
    not_opened,
    not_read,
    too_long,
};

struct UnreadFile {
    FileFault fault;
    std::string why;  // one line with the file's name
};

// The file at `path`: a regular one, not a link, of at most `limit` bytes. A pipe or device does not hold
// this up.
std::variant<FileContent, UnreadFile> read_file(const std::filesystem::path& path, std::size_t limit);

}  // namespace callhome::service
