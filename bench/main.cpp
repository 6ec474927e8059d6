// Prints what an exchange, a durable change, a command and a whole process cost, each beside its floor.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <SQLiteCpp/SQLiteCpp.h>

#include "callhome/handlers.h"
#include "floor_server.h"
#include "measure.h"
#include "platform/reference.h"
#include "process.h"
#include "protocol/frame.h"
#include "protocol/records/contact.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/mail.h"

namespace callhome::bench {
namespace {

namespace fs = std::filesystem;
using protocol::AddressRecord;
using protocol::ContactRecord;
using protocol::MailSettingsRecord;
using protocol::Opcode;
using protocol::Operation;

constexpr std::size_t header_size = sizeof(protocol::FrameHeader);
constexpr const char* floor_client = "--floor-client";  // SOCKET ROUND_TRIPS SIZE
constexpr const char* get_client = "--get-client";      // SOCKET GETS
constexpr const char* walk_client = "--walk-client";    // SOCKET
constexpr const char* show_command = "show callhome transport-email";

struct Bench {
    fs::path programs;  // where callhome and callhomed stand
    fs::path folder;    // scratch, with the service's state
    int pairs;          // of measurements against one service
    int rounds;         // services

    std::string socket() const { return folder / "callhomed.sock"; }
    std::string floor_socket() const { return folder / "floor.sock"; }
    std::string program(const char* name) const { return programs / name; }
};

struct Row {
    const char* what;
    const char* floor;
    const char* aim;
    Sample (*measure)(const Bench& bench);
    const char* configuration = nullptr;  // SQL that fills the service's tables before it is measured
};

// Addresses of user profiles named "0", "1" and so on.
constexpr int walked_profiles = 100;
constexpr int addresses_of_each = 100;
constexpr const char* walked_addresses = R"sql(
    CREATE TEMP TABLE number AS WITH RECURSIVE count (value) AS (
        SELECT 0 UNION ALL SELECT value + 1 FROM count WHERE value < 99) SELECT value FROM count;
    INSERT INTO profile (name, transport_methods, format, message_size, message_level)
        SELECT value, 1, 1, 2500000, 0 FROM number;
    INSERT INTO profile_entry (profile, list, entry, text)
        SELECT owner.value, 1, own.value + 1, 'operator' || own.value || '@example.net'
        FROM number AS owner, number AS own;
)sql";

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

// Clients are processes of their own on both sides, so that the kernel has the same choice where to put
// them.
Sample compare_clients(const Bench& bench, int exchanges, std::size_t record_size,
                       const std::vector<std::string>& ours) {
    const std::size_t size = header_size + record_size;
    const FloorServer server(bench.floor_socket(), size, size, std::nullopt);
    const auto floor = [&] {
        run({"/proc/self/exe", floor_client, bench.floor_socket(), std::to_string(exchanges),
             std::to_string(size)});
    };
    Sample sample = compare(
        bench.pairs, 1, [&] { run(ours); }, floor);
    sample.ours /= exchanges;
    sample.floor /= exchanges;
    return sample;
}

Sample measure_get(const Bench& bench) {
    constexpr int gets = 20000;
    return compare_clients(bench, gets, sizeof(MailSettingsRecord),
                           {"/proc/self/exe", get_client, bench.socket(), std::to_string(gets)});
}

Sample measure_set(const Bench& bench) {
    constexpr int repetitions = 50;
    constexpr std::size_t request_size = header_size + sizeof(ContactRecord);
    const FloorServer server(bench.floor_socket(), request_size, header_size, bench.folder / "floor.db");
    FloorClient floor(bench.floor_socket(), request_size, header_size);
    int count = 0;
    const auto set = [&] {
        ContactRecord record{};
        std::memcpy(record.name, "siteId", sizeof("siteId"));
        std::snprintf(record.value, sizeof(record.value), "%d", ++count);
        exchange(Opcode::contact_field, Operation::set, &record, sizeof(record));
    };
    return compare(bench.pairs, repetitions, set, [&] { floor.round_trip(); });
}

Sample measure_open_shell(const Bench& bench) {
    constexpr int commands = 20000;
    const fs::path script = bench.folder / "script.txt";
    std::ofstream file(script);
    for (int i = 0; i < commands; ++i) {
        file << show_command << '\n';
    }
    file.close();
    return compare_clients(bench, commands, sizeof(MailSettingsRecord),
                           {bench.program("callhome"), "--socket", bench.socket(), "-f", script});
}

// Each profile's walk ends with an answer of its own.
Sample measure_walk(const Bench& bench) {
    constexpr int steps = walked_profiles * (addresses_of_each + 1);
    return compare_clients(bench, steps, sizeof(AddressRecord),
                           {"/proc/self/exe", walk_client, bench.socket()});
}

Sample measure_process(const Bench& bench) {
    constexpr int repetitions = 20;
    const auto shell = [&] {
        run({bench.program("callhome"), "--socket", bench.socket(), "-c", show_command});
    };
    const auto empty = [&] { run({CALLHOME_EMPTY}); };
    return compare(bench.pairs, repetitions, shell, empty);
}

constexpr std::array rows{
    Row{"get through `callhome_cmi`", "bare round trip of the same sizes", "at most 1.5", measure_get},
    Row{"durable set through `callhome_cmi`", "bare round trip with a one-row commit", "at most 1.25",
        measure_set},
    Row{"show command in an open shell", "bare round trip of the same sizes", "at most 2",
        measure_open_shell},
    Row{"step of a walk over 10,000 addresses", "bare round trip of the same sizes", "at most 1.5",
        measure_walk, walked_addresses},
    Row{"`callhome -c 'show …'`", "empty C++ program", "at most 2", measure_process},
};

pid_t start_service(const Bench& bench) {
    return start_server({bench.program("callhomed"), "--socket", bench.socket(), "--state-folder",
                         bench.folder / "state", "--log-level", "warning", "--ready-fd",
                         std::to_string(ready_descriptor)});
}

void stop_service(pid_t service) {
    kill(service, SIGTERM);
    waitpid(service, nullptr, 0);
}

// The service makes its tables itself; they are filled while it does not run.
void configure(const Bench& bench, const char* configuration) {
    stop_service(start_service(bench));
    for (const auto& file : fs::directory_iterator(bench.folder / "state")) {
        if (file.path().extension() == ".db") {
            SQLite::Database(file.path().string(), SQLite::OPEN_READWRITE).exec(configuration);
        }
    }
}

// Measures a row against a service of its own: where the kernel puts a process is a matter of luck that
// lasts as long as the process.
Sample measure_once(const Bench& bench, const Row& row) {
    if (row.configuration != nullptr) {
        configure(bench, row.configuration);
    }
    const pid_t service = start_service(bench);
    platform::use_service({.socket = bench.socket(), .program = {}, .state_folder = {}});
    const Sample sample = row.measure(bench);
    stop_service(service);
    fs::remove(bench.folder / "floor.db");
    fs::remove_all(bench.folder / "state");
    return sample;
}

double median_of(const std::vector<Sample>& samples, double Sample::*figure) {
    std::vector<double> values;
    for (const Sample& sample : samples) {
        values.push_back(sample.*figure);
    }
    return median(values);
}

void measure(const Bench& bench, Placement placement, const char* title) {
    constexpr double microseconds = 1e6;
    place(placement);
    std::printf("\n%s\n\n| What | µs | Floor | µs | Ratio | Aim |\n|---|---|---|---|---|---|\n", title);
    for (const Row& row : rows) {
        std::vector<Sample> samples;
        for (int round = 0; round < bench.rounds; ++round) {
            samples.push_back(measure_once(bench, row));
        }
        std::printf("| %s | %.1f | %s | %.1f | %.2f | %s |\n", row.what,
                    median_of(samples, &Sample::ours) * microseconds, row.floor,
                    median_of(samples, &Sample::floor) * microseconds, median_of(samples, &Sample::ratio),
                    row.aim);
        std::fflush(stdout);
    }
}

int run_get_client(const char* socket, const char* gets) {
    platform::use_service({.socket = socket, .program = {}, .state_folder = {}});
    for (int left = std::atoi(gets); left > 0; --left) {
        MailSettingsRecord record{};
        exchange(Opcode::mail_settings, Operation::get, &record, sizeof(record));
    }
    return 0;
}

// Turns the record into the one behind it; false when there is none.
bool step(AddressRecord& record) {
    AddressRecord request = record;
    std::uint32_t length = sizeof(request);
    void* reply = nullptr;
    CommandContext context{};
    const ServiceStatus status =
        callhome_cmi(static_cast<std::uint32_t>(Opcode::profile_email),
                     static_cast<std::uint32_t>(Operation::get_next), &request, &reply, &length, &context);
    const bool is_there = status == 0 && length == sizeof(record);
    if (is_there) {
        std::memcpy(&record, reply, sizeof(record));
    }
    std::free(reply);
    return is_there;
}

int run_walk_client(const char* socket) {
    platform::use_service({.socket = socket, .program = {}, .state_folder = {}});
    int walked = 0;
    for (int profile = 0; profile < walked_profiles; ++profile) {
        AddressRecord record{};
        std::snprintf(record.name, sizeof(record.name), "%d", profile);
        while (step(record)) {
            ++walked;
        }
    }
    return walked == walked_profiles * addresses_of_each ? 0 : 1;
}

int run_floor_client(const char* socket, const char* round_trips, const char* frame_size) {
    const auto size = static_cast<std::size_t>(std::atoi(frame_size));
    FloorClient client(socket, size, size);
    for (int left = std::atoi(round_trips); left > 0; --left) {
        client.round_trip();
    }
    return 0;
}

int run_all(const fs::path& programs, int rounds) {
    constexpr int pairs = 5;
    std::string pattern = fs::temp_directory_path() / "callhome-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("callhome_bench");
        return 1;
    }
    const Bench bench{programs, pattern, pairs, rounds};
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
    constexpr int default_rounds = 7;
    const std::span words(arguments, static_cast<std::size_t>(count));
    if (count > 4 && std::strcmp(arguments[1], callhome::bench::floor_server_option) == 0) {
        return callhome::bench::run_floor_server(words.subspan(2));
    }
    if (count > 3 && std::strcmp(arguments[1], callhome::bench::get_client) == 0) {
        return callhome::bench::run_get_client(arguments[2], arguments[3]);
    }
    if (count > 2 && std::strcmp(arguments[1], callhome::bench::walk_client) == 0) {
        return callhome::bench::run_walk_client(arguments[2]);
    }
    if (count > 4 && std::strcmp(arguments[1], callhome::bench::floor_client) == 0) {
        return callhome::bench::run_floor_client(arguments[2], arguments[3], arguments[4]);
    }
    return callhome::bench::run_all(CALLHOME_PROGRAMS,
                                    count > 1 ? std::atoi(arguments[1]) : default_rounds);
}
