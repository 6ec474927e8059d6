#include "programs.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "platform/reference.h"

namespace callhome::test {
namespace {

namespace fs = std::filesystem;

constexpr mode_t own_file = 0600;

std::string program(const char* name) {
    const char* folder = std::getenv("CALLHOME_PROGRAMS");
    if (folder == nullptr) {
        throw std::runtime_error("CALLHOME_PROGRAMS must name the folder of callhome and callhomed");
    }
    return fs::path(folder) / name;
}

struct FileActions {
    FileActions() { posix_spawn_file_actions_init(&actions); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    void open(int descriptor, const fs::path& file, int flags) {
        posix_spawn_file_actions_addopen(&actions, descriptor, file.c_str(), flags, own_file);
    }

    posix_spawn_file_actions_t actions{};
};

pid_t spawn(std::vector<std::string> words, const FileActions& files) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t process = -1;
    const int error =
        posix_spawn(&process, arguments.front(), &files.actions, nullptr, arguments.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), words.front());
    }
    return process;
}

std::string content(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

Folder::Folder() {
    std::string pattern = fs::temp_directory_path() / "callhome-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    path_ = pattern;
}

Folder::~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

Service::Service(fs::path folder) : folder_(std::move(folder)) {
    fs::create_directory(folder_);
    start();
}

Service::~Service() {
    kill();
}

void Service::start() {
    std::array<int, 2> ready{};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    constexpr int ready_descriptor = 3;
    FileActions files;
    files.open(STDERR_FILENO, folder_ / "log", O_WRONLY | O_CREAT | O_APPEND);
    posix_spawn_file_actions_adddup2(&files.actions, ready[1], ready_descriptor);
    process_ = spawn({program("callhomed"), "--socket", socket(), "--state-folder", folder_ / "state",
                      "--log-level", "warning", "--ready-fd", std::to_string(ready_descriptor)},
                     files);
    ::close(ready[1]);
    char byte = 0;
    const bool started = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    if (!started) {
        throw std::runtime_error("callhomed did not start: " + content(folder_ / "log"));
    }
}

void Service::kill() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

std::int32_t Service::make(Change change) const {
    platform::use_service({.socket = socket(), .program = {}, .state_folder = {}});
    const auto opcode = static_cast<std::uint32_t>(change.opcode);
    ch_msg_byteorder_convert(opcode, change.record.data());
    auto length = static_cast<std::uint32_t>(change.record.size());
    constexpr std::uint32_t seconds = 60;
    return svc_request_response(opcode, static_cast<std::uint32_t>(protocol::Operation::set),
                                change.record.data(), nullptr, &length, nullptr, nullptr, 0, 0, seconds);
}

Service::Said Service::shell(const std::vector<std::string>& options) const {
    std::vector<std::string> words{program("callhome"), "--socket", socket(), "--prompt-name", "switch"};
    words.insert(words.end(), options.begin(), options.end());
    FileActions files;
    const fs::path out = folder_ / "out";
    const fs::path err = folder_ / "err";
    files.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    files.open(STDOUT_FILENO, out, O_WRONLY | O_CREAT | O_TRUNC);
    files.open(STDERR_FILENO, err, O_WRONLY | O_CREAT | O_TRUNC);
    int status = 0;
    ::waitpid(spawn(words, files), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, content(out), content(err)};
}

}  // namespace callhome::test
