#include "log.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/systemd_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace callhome::service {
namespace {

// JOURNAL_STREAM names the device and inode of the journal's stream. It is inherited by programs
// whose standard error has been sent elsewhere since.
bool standard_error_is_journal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
           stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

}  // namespace

void start_log(spdlog::level::level_enum level) {
    std::shared_ptr<spdlog::sinks::sink> sink;
    if (standard_error_is_journal()) {
        sink = std::make_shared<spdlog::sinks::systemd_sink_mt>("callhomed");
        sink->set_pattern("%v");
    } else {
        sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
        sink->set_pattern("%Y-%m-%d %H:%M:%S.%e %l: %v");
    }
    auto logger = std::make_shared<spdlog::logger>("callhomed", std::move(sink));
    logger->set_level(level);
    spdlog::set_default_logger(std::move(logger));
}

}  // namespace callhome::service
