#include "inventory/software.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr const char* record_of_packages = "var/lib/dpkg/status";
constexpr std::size_t longest_fact = 256;               // bytes
constexpr std::streamsize longest_record = 64LL << 20;  // bytes; of a longer file the beginning is read
constexpr std::string_view plainly_installed = "install ok installed";
constexpr std::array<std::string_view, 2> not_installed{"not-installed", "config-files"};

// The fields that are told, in this order.
constexpr std::array<std::string_view, 5> told_fields{"Version", "Architecture", "Section", "Source",
                                                      "Status"};
constexpr std::size_t architecture_field = 1;
constexpr std::size_t status_field = 4;

// A paragraph of the record.
struct Entry {
    std::string_view name;
    std::array<std::string_view, told_fields.size()> fields;
};

std::string read_file(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        return "";
    }
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    const std::streamsize size = std::min<std::streamsize>(stream.tellg(), longest_record);
    std::string content(static_cast<std::size_t>(std::max<std::streamsize>(size, 0)), '\0');
    stream.seekg(0);
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return content;
}

// Takes the first line from `text`, without its end.
std::string_view take_line(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

// Lines that go on with the field before begin with a blank; none of the told fields has any.
void take_field(Entry& entry, std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view field = line.substr(0, colon);
    const std::string_view value = line.substr(colon + 1);
    if (field == "Package") {
        entry.name = value;
    } else if (const auto* told = std::ranges::find(told_fields, field); told != told_fields.end()) {
        entry.fields[static_cast<std::size_t>(told - told_fields.begin())] = value;
    }
}

// The status says what is wanted, whether there is an error, and how far the installation has come.
bool is_installed(std::string_view status) {
    const std::string_view state = status.substr(status.rfind(' ') + 1);
    return !state.empty() && std::ranges::find(not_installed, state) == not_installed.end();
}

std::string fact_text(std::string_view value) {
    return std::string(cut_to(clean_line(value), longest_fact));
}

std::optional<SoftwarePackage> package_of(const Entry& entry) {
    SoftwarePackage package{clean_line(entry.name), {}};
    const std::string status = clean_line(entry.fields[status_field]);
    if (package.name.empty() || !is_installed(status)) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < told_fields.size(); ++i) {
        std::string value = fact_text(entry.fields[i]);
        if (!value.empty() && value != plainly_installed) {
            package.facts.emplace_back(told_fields[i], std::move(value));
        }
    }
    return package;
}

std::vector<SoftwarePackage> parse(std::string_view record) {
    std::vector<SoftwarePackage> packages;
    Entry entry;
    while (!record.empty()) {
        const std::string_view line = take_line(record);
        take_field(entry, line);
        if (line.empty() || record.empty()) {
            if (auto package = package_of(entry)) {
                packages.push_back(std::move(*package));
            }
            entry = {};
        }
    }
    return packages;
}

std::string_view architecture_of(const SoftwarePackage& package) {
    const auto fact = std::ranges::find(package.facts, told_fields[architecture_field],
                                        &std::pair<std::string, std::string>::first);
    return fact == package.facts.end() ? std::string_view() : std::string_view(fact->second);
}

void sort_by_name(std::vector<SoftwarePackage>& packages) {
    std::ranges::stable_sort(packages, {}, &SoftwarePackage::name);
}

// A machine may have the same library for several architectures.
void tell_namesakes_apart(std::vector<SoftwarePackage>& packages) {
    for (auto first = packages.begin(); first != packages.end();) {
        const auto last = std::find_if(first, packages.end(), [&](const SoftwarePackage& package) {
            return package.name != first->name;
        });
        if (last - first > 1) {
            std::for_each(first, last, [](SoftwarePackage& package) {
                package.name.append(":").append(architecture_of(package));
            });
        }
        first = last;
    }
}

}  // namespace

std::vector<SoftwarePackage> read_software(const std::filesystem::path& root) {
    std::vector<SoftwarePackage> packages = parse(read_file(root / record_of_packages));
    sort_by_name(packages);
    tell_namesakes_apart(packages);
    std::erase_if(packages, [](const SoftwarePackage& package) {
        return package.name.size() > longest_package_name;
    });
    sort_by_name(packages);
    const auto repeated = std::unique(
        packages.begin(), packages.end(),
        [](const SoftwarePackage& one, const SoftwarePackage& other) { return one.name == other.name; });
    packages.erase(repeated, packages.end());
    return packages;
}

SoftwareInventory::SoftwareInventory(std::filesystem::path root) : root_(std::move(root)) {}

SoftwareInventory::Stamp SoftwareInventory::stamp_of(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void SoftwareInventory::read_what_has_changed() {
    // Asked before the file is read: a change in between is seen the next time.
    const Stamp stamp = stamp_of(root_ / record_of_packages);
    if (stamp != read_at_) {
        packages_ = read_software(root_);
        read_at_ = stamp;
    }
}

std::size_t SoftwareInventory::count() {
    read_what_has_changed();
    return packages_.size();
}

const SoftwarePackage* SoftwareInventory::after(std::string_view name) {
    read_what_has_changed();
    const auto next = std::ranges::upper_bound(packages_, name, {}, &SoftwarePackage::name);
    return next == packages_.end() ? nullptr : &*next;
}

}  // namespace callhome::service
