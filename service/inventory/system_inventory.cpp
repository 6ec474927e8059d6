#include "inventory/system_inventory.h"

#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>

#include "inventory/interfaces.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr const char* unknown = "unknown";
constexpr std::size_t longest_item = 256;  // bytes; what a vendor writes into a board may be anything
constexpr std::uint64_t bytes_in_kib = 1024;

std::string item_text(std::string_view text) {
    return std::string(cut_to(clean_line(text), longest_item));
}

// The first line of a small file; nothing when there is none or it is blank. Device-tree texts end in NUL.
std::optional<std::string> first_line(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::array<char, longest_item + 1> buffer{};
    stream.getline(buffer.data(), buffer.size());
    std::string text = item_text(buffer.data());
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

// The first of `files` that says something.
std::string first_of(const std::filesystem::path& root, std::initializer_list<const char*> files) {
    for (const char* file : files) {
        if (auto text = first_line(root / file)) {
            return *text;
        }
    }
    return unknown;
}

// The value of the first line that begins with `key`, without separators and quotes.
std::optional<std::string> value_of(const std::filesystem::path& file, std::string_view key,
                                    std::string_view separators) {
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(key)) {
            const std::size_t begin = line.find_first_not_of(separators, key.size());
            const std::size_t end = line.find_last_not_of(separators);
            return begin == std::string::npos
                       ? std::nullopt
                       : std::optional(item_text(std::string_view(line).substr(begin, end - begin + 1)));
        }
    }
    return std::nullopt;
}

std::uint64_t number_in(std::string_view text) {
    std::uint64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

std::uint64_t memory_value(const std::filesystem::path& file, std::string_view key) {
    return number_in(value_of(file, key, " \t").value_or("0")) * bytes_in_kib;
}

std::uint64_t lines_with(const std::filesystem::path& file, std::string_view beginning) {
    std::ifstream stream(file);
    std::uint64_t count = 0;
    for (std::string line; std::getline(stream, line);) {
        count += line.starts_with(beginning) ? 1U : 0U;
    }
    return count;
}

std::string load_averages(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::string one;
    std::string five;
    std::string fifteen;
    return stream >> one >> five >> fifteen ? item_text(one + " " + five + " " + fifteen) : unknown;
}

std::optional<FileSystem> measure(const std::string& mount_point, const std::string& type) {
    struct statvfs numbers {};
    if (::statvfs(mount_point.c_str(), &numbers) != 0 || numbers.f_blocks == 0) {
        return std::nullopt;
    }
    return FileSystem{clean_line(mount_point), clean_line(type), numbers.f_blocks * numbers.f_frsize,
                      numbers.f_bavail * numbers.f_frsize};
}

// Only what is mounted from a device of this machine: a network file system may never answer.
std::vector<FileSystem> read_file_systems(const std::filesystem::path& mounts) {
    std::vector<FileSystem> result;
    std::set<std::string> devices;
    std::ifstream stream(mounts);
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        std::string device;
        std::string mount_point;
        std::string type;
        words >> device >> mount_point >> type;
        if (!device.starts_with("/dev/") || type.starts_with("fuse") || !devices.insert(device).second) {
            continue;
        }
        if (auto file_system = measure(mount_point, type)) {
            result.push_back(std::move(*file_system));
        }
    }
    return result;
}

void read_identity(SystemInventory& inventory, const std::filesystem::path& root) {
    inventory.vendor = first_of(root, {"sys/class/dmi/id/sys_vendor", "sys/class/dmi/id/board_vendor"});
    inventory.product = first_of(root, {"sys/class/dmi/id/product_name", "proc/device-tree/model"});
    inventory.serial_number =
        first_of(root, {"sys/class/dmi/id/product_serial", "sys/class/dmi/id/board_serial",
                        "proc/device-tree/serial-number"});
    inventory.operating_system = value_of(root / "etc/os-release", "PRETTY_NAME=", "\"'").value_or(unknown);
}

void read_names(SystemInventory& inventory) {
    utsname names{};
    inventory.host_name = unknown;
    inventory.kernel = unknown;
    if (::uname(&names) == 0) {
        inventory.host_name = item_text(names.nodename);
        inventory.kernel =
            item_text(std::string(names.sysname) + " " + names.release + " " + names.machine);
    }
}

}  // namespace

SystemInventory read_system_inventory(SoftwareInventory& software, const std::filesystem::path& root) {
    SystemInventory inventory;
    read_names(inventory);
    inventory.software_version = "callhome " CALLHOME_VERSION;
    inventory.interfaces = read_interfaces();
    read_identity(inventory, root);
    inventory.processor = value_of(root / "proc/cpuinfo", "model name", " \t:").value_or(unknown);
    inventory.processor_count = static_cast<unsigned>(lines_with(root / "proc/cpuinfo", "processor\t"));
    inventory.uptime = number_in(first_line(root / "proc/uptime").value_or("0"));
    inventory.memory_total = memory_value(root / "proc/meminfo", "MemTotal:");
    inventory.memory_available = memory_value(root / "proc/meminfo", "MemAvailable:");
    inventory.load = load_averages(root / "proc/loadavg");
    inventory.package_count = software.count();
    inventory.file_systems = read_file_systems(root / "proc/self/mounts");
    return inventory;
}

RecentInventory::RecentInventory(std::filesystem::path root, std::chrono::nanoseconds age, Clock clock)
    : root_(std::move(root)), age_(age), clock_(std::move(clock)), software_(root_) {}

const SystemInventory& RecentInventory::read() {
    if (!inventory_ || clock_() - read_at_ >= age_) {
        return read_anew();
    }
    read_names(*inventory_);
    return *inventory_;
}

const SystemInventory& RecentInventory::read_anew() {
    read_at_ = clock_();
    inventory_ = read_system_inventory(software_, root_);
    return *inventory_;
}

}  // namespace callhome::service
