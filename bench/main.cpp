// Prints what an exchange, a durable change, a command and a whole process cost, each beside its floor.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "callhome/handlers.h"
#include "floor_server.h"
#include "measure.h"
#include "platform/reference.h"
#include "process.h"
#include "protocol/frame.h"
#include "protocol/records/contact.h"
#include "protocol/records/mail.h"

namespace callhome::bench {
namespace {

namespace fs = std::filesystem;
using protocol::ContactRecord;
using protocol::MailSettingsRecord;
using protocol::Opcode;
using protocol::Operation;

constexpr std::size_t header_size = sizeof(protocol::FrameHeader);
constexpr const char* show_command = "show callhome transport-email";

struct Bench {
    fs::path programs;  // where callhome and callhomed stand
    fs::path folder;    // scratch, with the service's state
    int pairs;

    std::string socket() const { return folder / "callhomed.sock"; }
    std::string floor_socket() const { return folder / "floor.sock"; }
    std::string program(const char* name) const { return programs / name; }
};

void print_row(const char* what, const Sample& sample, const char* floor, const char* aim) {
    std::printf("| %-34s | %9.1f | %9.1f | %5.2f | %-38s | %s |\n", what, sample.ours * 1e6, sample.floor * 1e6,
                sample.ratio, floor, aim);
    std::fflush(stdout);
}

void exchange(Opcode opcode, Operation operation, void* request, std::uint32_t length) {
    CommandContext context{};
    void* reply = nullptr;
    const bool wants_reply = operation == Operation::get;
    const ServiceStatus status =
        callhome_cmi(static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation), request,
                     wants_reply ? &reply : nullptr, &length, &context);
    std::free(reply);
    if (status != 0) {
        throw std::runtime_error(sys_err_to_str(status));
    }
}

void measure_get(const Bench& bench) {
    constexpr int repetitions = 2000;
    constexpr std::size_t size = header_size + sizeof(MailSettingsRecord);
    FloorServer floor(bench.floor_socket(), size, size, std::nullopt);
    const auto get = [] {
        MailSettingsRecord record{};
        exchange(Opcode::mail_settings, Operation::get, &record, sizeof(record));
    };
    print_row("get through callhome_cmi", compare(bench.pairs, repetitions, get, [&] { floor.round_trip(); }),
              "bare round trip of the same sizes", "at most 1.5");
}

void measure_set(const Bench& bench) {
    constexpr int repetitions = 50;
    FloorServer floor(bench.floor_socket(), header_size + sizeof(ContactRecord), header_size,
                      bench.folder / "floor.db");
    int count = 0;
    const auto set = [&] {
        ContactRecord record{};
        std::memcpy(record.name, "siteId", sizeof("siteId"));
        std::snprintf(record.value, sizeof(record.value), "%d", ++count);
        exchange(Opcode::contact_field, Operation::set, &record, sizeof(record));
    };
    print_row("durable set through callhome_cmi",
              compare(bench.pairs, repetitions, set, [&] { floor.round_trip(); }),
              "bare round trip with a one-row commit", "at most 1.25");
}

void measure_open_shell(const Bench& bench) {
    constexpr int commands = 2000;
    constexpr std::size_t size = header_size + sizeof(MailSettingsRecord);
    const fs::path script = bench.folder / "script.txt";
    std::ofstream file(script);
    for (int i = 0; i < commands; ++i) {
        file << show_command << '\n';
    }
    file.close();
    FloorServer floor(bench.floor_socket(), size, size, std::nullopt);
    const auto shell = [&] {
        run({bench.program("callhome"), "--socket", bench.socket(), "-f", script});
    };
    const auto round_trips = [&] {
        for (int i = 0; i < commands; ++i) {
            floor.round_trip();
        }
    };
    Sample sample = compare(bench.pairs, 1, shell, round_trips);
    sample.ours /= commands;
    sample.floor /= commands;
    print_row("show command in an open shell", sample, "bare round trip of the same sizes", "at most 2");
}

void measure_process(const Bench& bench) {
    constexpr int repetitions = 20;
    const auto shell = [&] { run({bench.program("callhome"), "--socket", bench.socket(), "-c", show_command}); };
    const auto empty = [&] { run({CALLHOME_EMPTY}); };
    print_row("callhome -c 'show …', whole process", compare(bench.pairs, repetitions, shell, empty),
              "empty C++ program, whole process", "at most 2");
}

void measure(const Bench& bench, Placement placement, const char* title) {
    place(placement);
    std::printf("\n%s\n\n", title);
    std::printf("| %-34s | %9s | %9s | %5s | %-38s | %s |\n", "what", "ours, µs", "floor, µs", "ratio", "floor",
                "aim");
    std::printf("|---|---|---|---|---|---|\n");
    const pid_t service =
        start_service(bench.program("callhomed"), bench.socket(), bench.folder / "state");
    platform::use_service({.socket = bench.socket(), .program = {}, .state_folder = {}});
    measure_get(bench);
    measure_set(bench);
    measure_open_shell(bench);
    measure_process(bench);
    kill(service, SIGTERM);
    waitpid(service, nullptr, 0);
    fs::remove_all(bench.folder / "floor.db");
    fs::remove_all(bench.folder / "state");
}

int run_all(const fs::path& programs, int pairs) {
    std::string pattern = fs::temp_directory_path() / "callhome-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("callhome_bench");
        return 1;
    }
    const Bench bench{programs, pattern, pairs};
    int status = 0;
    try {
        measure(bench, Placement::one_core, "Both ends on one core:");
        measure(bench, Placement::free, "Both ends where the kernel puts them:");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "callhome_bench: %s\n", error.what());
        status = 1;
    }
    fs::remove_all(bench.folder);
    return status;
}

}  // namespace
}  // namespace callhome::bench

int main(int count, char** arguments) {
    constexpr int default_pairs = 15;
    return callhome::bench::run_all(CALLHOME_PROGRAMS, count > 1 ? std::atoi(arguments[1]) : default_pairs);
}
