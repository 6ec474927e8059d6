#include "messages/sections.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::uint64_t bytes_in_mib = 1024ULL * 1024;
constexpr std::uint64_t seconds_in_day = 86400;
constexpr std::uint64_t seconds_in_hour = 3600;
constexpr std::uint64_t seconds_in_minute = 60;

std::string mib_text(std::uint64_t bytes) {
    return fmt::format("{} MiB", bytes / bytes_in_mib);
}

std::vector<ContentGroup> interface_groups(const SystemInventory& inventory) {
    std::vector<ContentGroup> groups;
    for (const NetworkInterface& interface : inventory.interfaces) {
        ContentGroup group{clean_line(interface.name), {{"State", interface.state}}};
        if (!interface.hardware_address.empty()) {
            group.entries.emplace_back("MAC address", interface.hardware_address);
        }
        if (!interface.addresses.empty()) {
            group.entries.emplace_back("Addresses",
                                       fmt::format("{}", fmt::join(interface.addresses, ", ")));
        }
        groups.push_back(std::move(group));
    }
    return groups;
}

ContentGroup memory_group(const SystemInventory& inventory) {
    return {"",
            {{"Memory", mib_text(inventory.memory_total)},
             {"Memory available", mib_text(inventory.memory_available)}}};
}

void add_file_systems(std::vector<ContentGroup>& groups, const SystemInventory& inventory) {
    for (const FileSystem& file_system : inventory.file_systems) {
        groups.push_back({file_system.mount_point,
                          {{"Type", file_system.type},
                           {"Size", mib_text(file_system.size)},
                           {"Available", mib_text(file_system.available)}}});
    }
}

// What sections are made of.
struct Material {
    const Configuration& configuration;
    const SystemInventory& inventory;
    ConfigurationLines& lines;
};

ContentSection state_section(const Material& material) {
    const SystemInventory& inventory = material.inventory;
    ContentSection section{"state", "System state", {memory_group(inventory)}, {}};
    section.groups.front().entries.emplace_back("Load", inventory.load);
    section.groups.front().entries.emplace_back("Uptime", duration_text(inventory.uptime));
    add_file_systems(section.groups, inventory);
    return section;
}

ContentSection interface_section(const Material& material) {
    return {"interfaces", "Interfaces", interface_groups(material.inventory), {}};
}

ContentSection hardware_section(const Material& material) {
    const SystemInventory& inventory = material.inventory;
    ContentSection section{"hardware", "Hardware", {memory_group(inventory)}, {}};
    section.groups.front().entries.emplace_back("Processor", inventory.processor);
    section.groups.front().entries.emplace_back("Processors", fmt::to_string(inventory.processor_count));
    add_file_systems(section.groups, inventory);
    return section;
}

ContentSection software_section(const Material& material) {
    const SystemInventory& inventory = material.inventory;
    const ContentGroup group{"",
                             {{"Software", inventory.software_version},
                              {"Operating system", inventory.operating_system},
                              {"Kernel", inventory.kernel},
                              {"Installed packages", fmt::to_string(inventory.package_count)}}};
    return {"software", "Software", {group}, {}};
}

ContentSection configuration_section(const Material& material) {
    return {"configuration", "Call-home configuration", {}, material.lines.of(material.configuration)};
}

// Blanks at the beginning of a line are part of a display.
std::vector<std::string> lines_of(const std::string& output) {
    const std::string text = clean_text(output);
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

struct SectionMaker {
    SectionKind kind;
    ContentSection (*make)(const Material&);
};

constexpr std::array makers{
    SectionMaker{section_state, state_section},
    SectionMaker{section_interfaces, interface_section},
    SectionMaker{section_hardware, hardware_section},
    SectionMaker{section_software, software_section},
    SectionMaker{section_configuration, configuration_section},
};

}  // namespace

std::vector<ContentSection> compose_sections(unsigned kinds, const Configuration& configuration,
                                             const SystemInventory& inventory, ConfigurationLines& lines) {
    std::vector<ContentSection> sections;
    for (const SectionMaker& maker : makers) {
        if ((kinds & maker.kind) != 0U) {
            sections.push_back(maker.make({configuration, inventory, lines}));
        }
    }
    return sections;
}

std::vector<ContentSection> command_sections(const std::vector<CommandOutput>& outputs) {
    std::vector<ContentSection> sections;
    for (const CommandOutput& output : outputs) {
        ContentSection section{fmt::format("command-{}", sections.size() + 1),
                               "Output of " + clean_line(output.command),
                               {},
                               lines_of(output.output)};
        if (!output.remark.empty()) {
            section.lines.push_back(fmt::format("({})", clean_line(output.remark)));
        }
        if (section.lines.empty()) {
            section.lines.emplace_back("(no output)");
        }
        sections.push_back(std::move(section));
    }
    return sections;
}

std::string duration_text(std::uint64_t seconds) {
    const std::uint64_t days = seconds / seconds_in_day;
    const std::string clock =
        fmt::format("{:02}:{:02}:{:02}", seconds % seconds_in_day / seconds_in_hour,
                    seconds % seconds_in_hour / seconds_in_minute, seconds % seconds_in_minute);
    return days == 0 ? clock : fmt::format("{} {} {}", days, days == 1 ? "day" : "days", clock);
}

}  // namespace callhome::service
