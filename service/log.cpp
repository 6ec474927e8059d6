#include "log.h"

#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/systemd_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

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

TracedLevel traced_level(spdlog::level::level_enum level) {
    if (level >= spdlog::level::err) {
        return TracedLevel::error;
    }
    return level == spdlog::level::warn ? TracedLevel::warning : TracedLevel::info;
}

// The traces have a lock of their own.
class TraceSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 public:
    explicit TraceSink(std::shared_ptr<Traces> traces) : traces_(std::move(traces)) {}

 private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        traces_->note_line(traced_level(message.level), message.time,
                           {message.payload.data(), message.payload.size()});
    }
    void flush_() override {}

    std::shared_ptr<Traces> traces_;
};

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
    sink->set_level(level);
    auto logger = std::make_shared<spdlog::logger>("callhomed", std::move(sink));
    logger->set_level(level);
    spdlog::set_default_logger(std::move(logger));
}

void trace_log(std::shared_ptr<Traces> traces) {
    const auto logger = spdlog::default_logger();
    auto sink = std::make_shared<TraceSink>(std::move(traces));
    sink->set_level(spdlog::level::info);
    logger->sinks().push_back(std::move(sink));
    logger->set_level(std::min(logger->level(), spdlog::level::info));
}

}  // namespace callhome::service
