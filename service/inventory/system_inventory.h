// What this machine is and how it fares: the part of a message that no operator has to type.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inventory/software.h"

namespace callhome::service {

struct NetworkInterface {
    std::string name;
    std::string state;                   // "up", "no carrier" or "down"
    std::string hardware_address;        // MAC address; empty where there is none
    std::vector<std::string> addresses;  // "192.0.2.1/24", "2001:db8::1/64"
};

struct FileSystem {
    std::string mount_point;
    std::string type;
    std::uint64_t size = 0;       // bytes
    std::uint64_t available = 0;  // bytes that an ordinary user may still write
};

// A text is "unknown" where the machine does not tell.
struct SystemInventory {
    std::string host_name;
    std::string vendor;
    std::string product;
    std::string serial_number;
    std::string operating_system;
    std::string kernel;
    std::string software_version;  // of this program
    std::string processor;
    unsigned processor_count = 0;
    std::uint64_t uptime = 0;            // seconds
    std::uint64_t memory_total = 0;      // bytes
    std::uint64_t memory_available = 0;  // bytes
    std::string load;                    // of the last 1, 5 and 15 minutes: "0.10 0.20 0.30"
    std::uint64_t package_count = 0;     // installed software packages
    std::vector<NetworkInterface> interfaces;
    std::vector<FileSystem> file_systems;  // those on local devices: asking another could take forever
};

// `software` has been read from the same root. `root` is where sys, proc, etc and var are looked for;
// interfaces, host name and kernel are always those of this machine. Does not throw for what is missing or
// unreadable.
SystemInventory read_system_inventory(SoftwareInventory& software, const std::filesystem::path& root = "/");

// The same for events that come in storms: to read it takes longer than to make a message of it.
class RecentInventory {
 public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    static constexpr std::chrono::milliseconds usual_age{100};

    explicit RecentInventory(std::filesystem::path root = "/", std::chrono::nanoseconds age = usual_age,
                             Clock clock = std::chrono::steady_clock::now);

    // What was read less than that age ago, with the host name and kernel of now: what is masked depends on
    // them. Good until the next call.
    const SystemInventory& read();
    const SystemInventory& read_anew();

 private:
    const std::filesystem::path root_;
    const std::chrono::nanoseconds age_;
    const Clock clock_;
    SoftwareInventory software_;
    std::chrono::steady_clock::time_point read_at_;
    std::optional<SystemInventory> inventory_;
};

}  // namespace callhome::service
