#include "command.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "fake_sleep.h"

namespace callhome::test {
namespace {

// Leads a descriptor into memory, and back.
class Redirection {
 public:
    explicit Redirection(int descriptor)
        : descriptor_(descriptor), kept_(dup(descriptor)), memory_(memfd_create("captured", MFD_CLOEXEC)) {
        dup2(memory_, descriptor_);
    }
    ~Redirection() {
        dup2(kept_, descriptor_);
        close(kept_);
        close(memory_);
    }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

    [[nodiscard]] std::string content() const {
        std::string text(static_cast<std::size_t>(lseek(memory_, 0, SEEK_END)), '\0');
        const auto length = pread(memory_, text.data(), text.size(), 0);
        text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        return text;
    }

 private:
    int descriptor_;
    int kept_;
    int memory_;
};

std::filesystem::path make_folder() {
    std::string name = std::filesystem::temp_directory_path() / "callhome_unit_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no folder for the test can be made: " + name);
    }
    return name;
}

}  // namespace

Printed capture(const std::function<void()>& action) {
    std::fflush(nullptr);
    const Redirection out(STDOUT_FILENO);
    const Redirection err(STDERR_FILENO);
    action();
    std::fflush(nullptr);
    return {out.content(), err.content()};
}

LibraryTest::LibraryTest() : folder_(make_folder()) {
    platform() = Platform{};
    files() = Files{};
    files().working_file = folder_ / "callhome_reply_msg.txt";
    files().script = folder_ / "tech_callhome";
    cmd_type = 0;
    h = nullptr;
    std::memset(buffer, 0, sizeof buffer);
    print_running_config = 1;
    pxd_data_present = 0;
    pxd_dist_enabled = 0;
    sleeps().clear();
}

LibraryTest::~LibraryTest() {
    std::filesystem::remove_all(folder_);
}

std::vector<std::string> LibraryTest::asked() {
    std::vector<std::string> result;
    for (const Exchange& exchange : platform().exchanges) {
        result.push_back(std::to_string(exchange.opcode) + "/" + std::to_string(exchange.operation));
    }
    return result;
}

}  // namespace callhome::test
