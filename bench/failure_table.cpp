#include "failure_table.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "callhome/context.h"
#include "callhome/data.h"
#include "platform/interface.h"
#include "signature/table.h"

namespace callhome::bench {
namespace {

constexpr int line_count = 100'000;
constexpr double shown_lines = 1'000;

std::string sample_table() {
    std::string text;
    for (int row = 0; row < line_count; ++row) {
        char line[128];
        std::snprintf(line, sizeof line,
                      "%-8d %-16s P     2026-11-21 20:18:36 line 3: <odd> is not known\n", row,
                      "link-flapping");
        text += line;
    }
    return text;
}

// Standard output goes nowhere while this lives.
class Silence {
 public:
    Silence() : output_(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (output_ < 0 || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) {
            throw std::runtime_error("standard output cannot be silenced");
        }
        close(nowhere);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() {
        std::fflush(stdout);
        dup2(output_, STDOUT_FILENO);
        close(output_);
    }

 private:
    int output_;
};

}  // namespace

Sample compare_failure_table(int pairs) {
    const std::string text = sample_table();
    std::string copy(text.size(), '\0');
    CommandContext context{};
    const Silence silence;
    const auto table = [&] {
        h = cli_reply_handle_from_param(&context);
        library::print_ds_failure_table(text.c_str());
        cli_print_send(h);
    };
    const auto floor = [&] {
        std::memcpy(copy.data(), text.data(), text.size());
        if (copy.back() != '\n') {
            throw std::runtime_error("nothing was copied");
        }
    };
    Sample sample = compare(pairs, 1, table, floor);
    sample.ours *= shown_lines / line_count;
    sample.floor *= shown_lines / line_count;
    return sample;
}

}  // namespace callhome::bench
