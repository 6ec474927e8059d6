#include "messages/processing_marker.h"

#include <fcntl.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace callhome::service {

ProcessingMarker::ProcessingMarker(std::filesystem::path file) : file_(std::move(file)) {
    lower();
}

void ProcessingMarker::raise() {
    const int descriptor = ::open(file_.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK,
                                  S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
    if (descriptor >= 0) {
        ::close(descriptor);
    } else if (!complained_) {
        complained_ = true;
        spdlog::warn(
            "{} cannot be made ({}): other programs will not see when a message is being processed",
            file_.string(), std::strerror(errno));
    }
}

void ProcessingMarker::lower() {
    std::error_code ignored;  // there may be none, or it is another's: neither matters here
    std::filesystem::remove(file_, ignored);
}

}  // namespace callhome::service
