// Files whose name or content others have chosen, read whole.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <variant>

#include "signatures/signature.h"

namespace callhome::service {

struct FileContent {
    std::string bytes;
    mode_t mode;  // type and permissions
    uid_t owner;
};

// The file at `path`: a regular one, not a link, of at most `limit` bytes. A pipe or device does not hold
// this up. Refusals: file_not_opened, file_not_read, over_length.
std::variant<FileContent, Refusal> read_bounded_file(const std::filesystem::path& path, std::size_t limit);

}  // namespace callhome::service
