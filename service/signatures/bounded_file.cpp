#include "signatures/bounded_file.h"

namespace callhome::service {
namespace {

protocol::ResultCode code_of(FileFault fault) {
    switch (fault) {
        case FileFault::not_read:
            return protocol::ResultCode::file_not_read;
        case FileFault::too_long:
            return protocol::ResultCode::over_length;
        default:
            return protocol::ResultCode::file_not_opened;
    }
}

}  // namespace

std::variant<FileContent, Refusal> read_bounded_file(const std::filesystem::path& path, std::size_t limit) {
    auto read = read_file(path, limit);
    if (auto* unread = std::get_if<UnreadFile>(&read)) {
        return Refusal{code_of(unread->fault), std::move(unread->why)};
    }
    return std::get<FileContent>(std::move(read));
}

}  // namespace callhome::service
