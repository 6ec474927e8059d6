// Files of signatures and keys, read whole.
#pragma once

#include <cstddef>
#include <filesystem>
#include <variant>

#include "files/bounded_file.h"
#include "signatures/signature.h"

namespace callhome::service {

// As read_file(); the refusals are file_not_opened, file_not_read and over_length.
std::variant<FileContent, Refusal> read_bounded_file(const std::filesystem::path& path, std::size_t limit);

}  // namespace callhome::service
