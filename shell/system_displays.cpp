#include "system_displays.h"

#include <sys/utsname.h>

#include <cstdio>
#include <optional>
#include <string>

#include "built_ins.h"
#include "columns.h"
#include "machine.h"
#include "platform/reference.h"

namespace callhome::shell {

namespace {

using enum platform::ValueType;

constexpr std::uint32_t done = 0;
constexpr std::uint32_t failed = 1;

struct Host {
    std::string name;
};

struct Software {
    std::string version, kernel, distribution;
};

struct Management {
    std::string contact;
    bool are_traps_on = false;
};

std::string processor_text(const Machine& machine) {
    if (machine.processors == 0) {
        return machine.processor;
    }
    return std::to_string(machine.processors) +
           (machine.processor.empty() ? "" : " x " + machine.processor);
}

std::string memory_text(const Machine& machine) {
    return machine.memory_mib == 0 ? "" : std::to_string(machine.memory_mib) + " MiB";
}

std::string traps_text(const Management& management) {
    return management.are_traps_on ? "enabled" : "disabled";
}

std::string contact_text(const Management& management) {
    return management.contact.empty() ? "not set" : management.contact;
}

template <auto text_of, typename Row>
Cell made_by(const Row& row) {
    return text_of(row);
}

constexpr Column<Host> host_facts[] = {
    {"", "host_name", text, cell_of<Host, &Host::name>},
};

constexpr Column<Machine> machine_facts[] = {
    {"vendor", "vendor", text, cell_of<Machine, &Machine::vendor>},
    {"product", "product", text, cell_of<Machine, &Machine::product>},
    {"hardware version", "hardware_version", text, cell_of<Machine, &Machine::version>},
    {"processors", "", text, made_by<processor_text, Machine>},
    {"", "processor", text, cell_of<Machine, &Machine::processor>},
    {"", "processors", number, cell_of<Machine, &Machine::processors>},
    {"memory", "", text, made_by<memory_text, Machine>},
    {"", "memory_mib", number, cell_of<Machine, &Machine::memory_mib>},
};

constexpr Column<Software> software_facts[] = {
    {"", "version", text, cell_of<Software, &Software::version>},
    {"kernel", "kernel", text, cell_of<Software, &Software::kernel>},
    {"distribution", "distribution", text, cell_of<Software, &Software::distribution>},
};

constexpr std::string_view traps_place = "traps";
constexpr Column<Management> management_facts[] = {
    {"contact", "", text, made_by<contact_text, Management>},
    {"", "contact", text, cell_of<Management, &Management::contact>},
    {"call-home traps", "", text, made_by<traps_text, Management>},
};

utsname system_names() {
    utsname names{};
    (void)uname(&names);  // what it does not tell stays empty
    return names;
}

void show_line(const std::string& line) {
    if (!platform::is_output_structured()) {
        std::puts(line.c_str());
    }
}

}  // namespace

std::uint32_t show_hostname(Session&, const ParsedCommand&) {
    const Host host{static_cast<const char*>(system_names().nodename)};
    show_line(host.name);
    show_facts<Host>(host_facts, host);
    return done;
}

std::uint32_t show_module(Session&, const ParsedCommand&) {
    show_facts<Machine>(machine_facts, read_machine());
    return done;
}

std::uint32_t show_version(Session&, const ParsedCommand&) {
    const utsname names = system_names();
    const Software software{CALLHOME_VERSION,
                            std::string(static_cast<const char*>(names.sysname)) + " " +
                                static_cast<const char*>(names.release) + " " +
                                static_cast<const char*>(names.machine),
                            distribution_name()};
    show_line("callhome " + software.version);
    show_facts<Software>(software_facts, software);
    return done;
}

std::uint32_t show_snmp(Session&, const ParsedCommand&) {
    Management management;
    std::optional<std::string> contact;
    if (!succeeded(platform::read_system_contact(contact)) ||
        !succeeded(platform::read_traps(management.are_traps_on))) {
        return failed;
    }
    management.contact = printable(contact.value_or(std::string()), KeepLineEnds::no);
    platform::set_value(traps_place, management.are_traps_on);
    show_facts<Management>(management_facts, management);
    return done;
}

platform::Members system_document(std::string_view name) {
    platform::Members members;
    if (name == "hostname") {
        add_facts<Host>(members, host_facts);
    } else if (name == "module") {
        add_facts<Machine>(members, machine_facts);
    } else if (name == "version") {
        add_facts<Software>(members, software_facts);
    } else if (name == "snmp") {
        members.push_back({traps_place, boolean});
        add_facts<Management>(members, management_facts);
    }
    return members;
}

}  // namespace callhome::shell
