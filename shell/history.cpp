#include "history.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>

namespace callhome::shell {

namespace {

constexpr mode_t private_file = 0600;
constexpr std::size_t largest_file = 1 << 20;  // bytes that are read, the last ones

std::optional<std::filesystem::path> state_folder() {
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && state[0] == '/') {
        return std::filesystem::path(state) / "callhome";
    }
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') {
        return std::filesystem::path(home) / ".local/state/callhome";
    }
    return std::nullopt;
}

// The file if it is ours alone, else -1: a link or a stranger's file gets nobody's commands.
int open_private(const std::filesystem::path& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, private_file);
    struct stat facts {};
    if (file >= 0 && (fstat(file, &facts) != 0 || !S_ISREG(facts.st_mode) || facts.st_uid != geteuid() ||
                      facts.st_nlink != 1 || fchmod(file, private_file) != 0)) {
        close(file);
        return -1;
    }
    return file;
}

int open_file() {
    if (const std::optional<std::filesystem::path> folder = state_folder()) {
        std::error_code error;
        const mode_t mask = umask(077);
        std::filesystem::create_directories(*folder, error);
        umask(mask);
        const int file = open_private(*folder / "history");
        if (file >= 0) {
            return file;
        }
    }
    const int file = memfd_create("callhome-history", MFD_CLOEXEC);
    return file < 0 ? -1 : file;
}

bool write_all(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = write(file, text.data(), text.size());
        if (put < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(put > 0 ? static_cast<std::size_t>(put) : 0);
    }
    return true;
}

std::string read_end(int file) {
    const off_t size = lseek(file, 0, SEEK_END);
    if (size <= 0) {
        return {};
    }
    const auto length = std::min(static_cast<std::size_t>(size), largest_file);
    std::string text(length, '\0');
    const ssize_t got = pread(file, text.data(), length, size - static_cast<off_t>(length));
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

}  // namespace

History::~History() {
    if (file_ >= 0) {
        close(file_);
    }
}

void History::open() {
    file_ = open_file();
    reload();
    // The file is shortened when a session begins, never while another one may be adding to it.
    constexpr std::size_t slack = 2;
    struct stat facts {};
    if (file_ >= 0 && fstat(file_, &facts) == 0 &&
        static_cast<std::size_t>(facts.st_size) > slack * largest_file && ftruncate(file_, 0) == 0) {
        for (const std::string& line : lines_) {
            (void)write_all(file_, line + "\n");
        }
    }
}

void History::reload() {
    if (file_ < 0) {
        return;
    }
    lines_.clear();
    const std::string text = read_end(file_);
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        if (end == std::string_view::npos) {
            break;
        }
        if (end > 0) {
            lines_.emplace_back(rest.substr(0, end));
        }
        rest.remove_prefix(end + 1);
    }
    if (lines_.size() > history_length) {
        lines_.erase(lines_.begin(), lines_.end() - static_cast<std::ptrdiff_t>(history_length));
    }
}

void History::add(std::string_view line) {
    if (line.empty() || (!lines_.empty() && lines_.back() == line)) {
        return;
    }
    lines_.emplace_back(line);
    if (file_ >= 0) {
        (void)write_all(file_, std::string(line) + "\n");
    }
}

}  // namespace callhome::shell
