#include "inner_filter.h"

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>

namespace callhome::shell {

namespace {

InnerFilter* active = nullptr;  // a command within another one has none within itself

}  // namespace

InnerFilter::InnerFilter(const std::vector<FilterSpec>& filters) : filter_(filters), outer_(stdout) {
    cookie_io_functions_t functions{};
    functions.write = take_written;
    stream_ = fopencookie(this, "w", functions);
    if (stream_ == nullptr) {
        throw std::system_error(errno, std::generic_category(), "the output cannot be filtered");
    }
    // Behind the output of the outer command, so that this comes first at the end.
    static const bool is_registered = std::atexit(end_at_exit) == 0;
    (void)is_registered;
    stdout = stream_;
    active = this;
}

InnerFilter::~InnerFilter() {
    end();
}

void InnerFilter::end_at_exit() {
    if (active != nullptr) {
        active->end();
    }
}

ssize_t InnerFilter::take_written(void* cookie, const char* data, std::size_t size) {
    auto& self = *static_cast<InnerFilter*>(cookie);
    try {
        std::string shown;
        self.filter_.take({data, size}, shown);
        const bool is_taken = std::fwrite(shown.data(), 1, shown.size(), self.outer_) == shown.size();
        return is_taken ? static_cast<ssize_t>(size) : 0;
    } catch (const std::exception&) {
        errno = ENOMEM;
        return 0;
    }
}

void InnerFilter::end() {
    if (stream_ == nullptr) {
        return;
    }
    (void)std::fclose(std::exchange(stream_, nullptr));  // what it still holds goes through the filters
    stdout = outer_;
    active = nullptr;
    try {
        std::string shown;
        filter_.finish(shown);
        (void)std::fwrite(shown.data(), 1, shown.size(), stdout);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%% The output cannot be filtered: %s\n", error.what());
    }
}

}  // namespace callhome::shell
