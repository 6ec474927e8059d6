// What a shell starts in place of callhomed: it takes the same words, holds a lock on its state folder,
// counts its starts there, and ends with its last client. FAKE_CALLHOMED_MODE makes it misbehave.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include "fake_service.h"

namespace {

namespace test = callhome::platform::test;

constexpr unsigned longest_life = 30;  // seconds; no test takes so long
constexpr int refused = 3;

std::map<std::string, std::string> options_of(int count, char** words) {
    std::map<std::string, std::string> options;
    for (int i = 1; i < count; ++i) {
        const std::string name = words[i];
        const bool has_value = name != "--exit-when-idle" && i + 1 < count;
        options[name] = has_value ? words[++i] : "";
    }
    return options;
}

// The state that a detached program has, for the test to look at.
void describe_process(const std::string& folder) {
    char link[256] = "";
    const ssize_t length = ::readlink("/proc/self/fd/0", link, sizeof link - 1);
    std::ofstream(folder + "/process")
        << (::getsid(0) == ::getpid() ? "leads its session" : "in another session") << ", reads "
        << std::string(link, length > 0 ? static_cast<std::size_t>(length) : 0) << "\n";
}

// Switched on, to whatever is asked. The last client takes the process with it.
void answer_until_last_client(int connection, test::Peer& peer) {
    static std::atomic<int> clients = 0;
    ++clients;
    test::answering(std::string("\0\0\0\1\0", 5))(connection, peer);
    if (--clients == 0) {
        ::_exit(0);
    }
}

}  // namespace

int main(int count, char** words) {
    ::alarm(longest_life);
    auto options = options_of(count, words);
    const std::string folder = options["--state-folder"];
    std::ofstream(folder + "/starts", std::ios::app) << ::getpid() << "\n";
    const char* mode_word = std::getenv("FAKE_CALLHOMED_MODE");
    const std::string mode = mode_word == nullptr ? "" : mode_word;
    if (mode == "breaks") {
        std::fputs("the database is damaged\n", stderr);
        return refused;
    }
    const int lock = ::open((folder + "/callhomed.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (::flock(lock, LOCK_EX | LOCK_NB) != 0) {
        return refused;
    }
    if (mode == "says nothing") {
        ::pause();
    }
    describe_process(folder);
    const test::FakeService service(options["--socket"], answer_until_last_client);
    const int ready = std::stoi(options["--ready-fd"]);
    if (::write(ready, "r", 1) != 1) {
        return refused;
    }
    ::close(ready);
    ::pause();
}
