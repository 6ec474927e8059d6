// Prints what an exchange, a durable change, a command and a whole process cost, each beside its floor.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

#include "callhome/handlers.h"
#include "failure_table.h"
#include "floor_server.h"
#include "log_lines.h"
#include "masking.h"
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
using protocol::ContactRecord;
using protocol::MailSettingsRecord;
using protocol::Opcode;
using protocol::Operation;

constexpr std::size_t header_size = sizeof(protocol::FrameHeader);
constexpr const char* floor_client = "--floor-client";  // SOCKET ROUND_TRIPS SIZE
constexpr const char* get_client = "--get-client";      // SOCKET GETS
constexpr const char* show_command = "show callhome transport-email";

struct Bench {
    fs::path programs;   // where callhome and callhomed stand
    fs::path folder;     // scratch, with the service's state
    int pairs;           // of measurements against one service
    int rounds;          // services
    std::string chosen;  // what the names of the measured rows have in them

    std::string socket() const { return folder / "callhomed.sock"; }
    std::string floor_socket() const { return folder / "floor.sock"; }
    std::string program(const char* name) const { return programs / name; }
};

struct Row {
    const char* what;
    const char* floor;
    const char* aim;
    Sample (*measure)(const Bench& bench);
};

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
template <typename Record>
Sample compare_clients(const Bench& bench, int exchanges, const std::vector<std::string>& ours) {
    constexpr std::size_t size = header_size + sizeof(Record);
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
    return compare_clients<MailSettingsRecord>(
        bench, gets, {"/proc/self/exe", get_client, bench.socket(), std::to_string(gets)});
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

// `profiles` with as many addresses each, as lines that the running configuration has, too.
std::vector<std::string> address_lines(int profiles, int addresses) {
    std::vector<std::string> lines;
    for (int profile = 0; profile < profiles; ++profile) {
        const std::string name = "destination-profile p" + std::to_string(profile);
        lines.push_back(name + " format XML");
        for (int address = 0; address < addresses; ++address) {
            lines.push_back(name + " email-addr a" + std::to_string(address) + "@example.net");
        }
    }
    return lines;
}

fs::path write_script(const Bench& bench, const std::vector<std::string>& lines) {
    const fs::path script = bench.folder / "script.txt";
    std::ofstream file(script);
    for (const std::string& line : lines) {
        file << line << '\n';
    }
    return script;
}

std::vector<std::string> shell_with(const Bench& bench, const fs::path& script) {
    return {bench.program("callhome"), "--socket", bench.socket(), "-f", script};
}

Sample measure_open_shell(const Bench& bench) {
    constexpr int commands = 20000;
    const std::vector<std::string> script(commands, show_command);
    return compare_clients<MailSettingsRecord>(bench, commands,
                                               shell_with(bench, write_script(bench, script)));
}

std::vector<std::string> typed(std::vector<std::string> lines) {
    lines.insert(lines.begin(), {"configure terminal", "callhome"});
    return lines;
}

// One entry of the running configuration beside one round trip of its record.
template <int profiles, int addresses>
Sample measure_running_config(const Bench& bench) {
    constexpr int entries = profiles * addresses;
    constexpr int shows = std::max(1, 20'000 / entries);
    run(shell_with(bench, write_script(bench, typed(address_lines(profiles, addresses)))));
    const std::vector<std::string> script(shows, "show running-config callhome");
    return compare_clients<protocol::AddressRecord>(bench, shows * entries,
                                                    shell_with(bench, write_script(bench, script)));
}

// A typed line beside a durable floor; the lines are those of `profiles` with 100 addresses each.
template <int profiles>
Sample measure_typing(const Bench& bench) {
    constexpr int addresses = 100;
    constexpr std::size_t request_size = header_size + sizeof(protocol::AddressRecord);
    const std::vector<std::string> lines = address_lines(profiles, addresses);
    const fs::path script = write_script(bench, typed(lines));
    const FloorServer server(bench.floor_socket(), request_size, header_size, bench.folder / "floor.db");
    FloorClient floor(bench.floor_socket(), request_size, header_size);
    const int count = static_cast<int>(lines.size());
    const double ours = seconds_each(1, [&] { run(shell_with(bench, script)); }) / count;
    const double floor_each = seconds_each(count, [&] { floor.round_trip(); });
    return {ours, floor_each, ours / floor_each};
}

Sample measure_log_lines(const Bench& bench) {
    return compare_log_lines(bench.pairs);
}

Sample measure_failure_table(const Bench& bench) {
    return compare_failure_table(bench.pairs);
}

Sample measure_masking(const Bench& /*bench*/) {
    return compare_masking();
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
    Row{"`callhome -c 'show …'`", "empty C++ program", "at most 2", measure_process},
    Row{"running configuration of 10, an entry", "bare round trip of its record", "",
        measure_running_config<1, 10>},
    Row{"running configuration of 100, an entry", "bare round trip of its record", "",
        measure_running_config<1, 100>},
    Row{"running configuration of 1,000, an entry", "bare round trip of its record", "at most 1.5",
        measure_running_config<10, 100>},
    Row{"running configuration of 10,000, an entry", "bare round trip of its record", "at most 1.5",
        measure_running_config<100, 100>},
    Row{"running configuration of 50 x 50, an entry", "bare round trip of its record", "at most 1.5",
        measure_running_config<50, 50>},
    Row{"typing 1,000 lines, a line", "bare round trip with a one-row commit", "at most 1.43",
        measure_typing<10>},
    Row{"typing 10,000 lines, a line", "bare round trip with a one-row commit", "at most 1.43",
        measure_typing<100>},
    Row{"1,000 log lines against 100 signatures", "one pattern over the same lines", "", measure_log_lines},
    Row{"failure table, 1,000 lines", "`memcpy` of the same text", "", measure_failure_table},
    Row{"masking 1 MiB made to be slow", "four times a quarter of it", "at most 1.5", measure_masking},
};

// Measures a row against a service of its own: where the kernel puts a process is a matter of luck that
// lasts as long as the process.
Sample measure_once(const Bench& bench, const Row& row) {
    const pid_t service = start_server({bench.program("callhomed"), "--socket", bench.socket(),
                                        "--state-folder", bench.folder / "state", "--log-level", "warning",
                                        "--ready-fd", std::to_string(ready_descriptor)});
    platform::use_service({.socket = bench.socket(), .program = {}, .state_folder = {}});
    const Sample sample = row.measure(bench);
    kill(service, SIGTERM);
    waitpid(service, nullptr, 0);
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
        if (std::strstr(row.what, bench.chosen.c_str()) == nullptr) {
            continue;
        }
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

int run_floor_client(const char* socket, const char* round_trips, std::size_t size) {
    FloorClient client(socket, size, size);
    for (int left = std::atoi(round_trips); left > 0; --left) {
        client.round_trip();
    }
    return 0;
}

int run_all(const fs::path& programs, int rounds, const std::string& chosen) {
    constexpr int pairs = 5;
    std::string pattern = fs::temp_directory_path() / "callhome-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("callhome_bench");
        return 1;
    }
    const Bench bench{programs, pattern, pairs, rounds, chosen};
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
    if (count > 4 && std::strcmp(arguments[1], callhome::bench::floor_client) == 0) {
        return callhome::bench::run_floor_client(arguments[2], arguments[3], std::stoul(arguments[4]));
    }
    return callhome::bench::run_all(CALLHOME_PROGRAMS, count > 1 ? std::atoi(arguments[1]) : default_rounds,
                                    count > 2 ? arguments[2] : "");
}
