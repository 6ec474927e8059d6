#include "vrf.h"

#include <net/if.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "platform/interface.h"

namespace callhome::platform {
namespace {

constexpr const char* interfaces_folder = "/sys/class/net";

// What can be the name of an interface, and nothing that leads to another folder.
bool is_interface_name(std::string_view name) {
    const bool has_good_length = !name.empty() && name.size() < IFNAMSIZ;
    const bool is_path = name == "." || name == ".." || name.find('/') != std::string_view::npos;
    return has_good_length && !is_path;
}

bool is_vrf(const std::filesystem::path& interface) {
    std::ifstream properties(interface / "uevent");
    for (std::string line; std::getline(properties, line);) {
        if (line == "DEVTYPE=vrf") {
            return true;
        }
    }
    return false;
}

}  // namespace

std::uint32_t vrf_context_id(const std::filesystem::path& interfaces, std::string_view name) {
    if (!is_interface_name(name) || !is_vrf(interfaces / name)) {
        return 0;
    }
    std::uint32_t index = 0;
    std::ifstream(interfaces / name / "ifindex") >> index;
    return index;
}

}  // namespace callhome::platform

extern "C" int vrf_api_init(void) {
    std::error_code error;
    return std::filesystem::is_directory(callhome::platform::interfaces_folder, error) ? 0 : -1;
}

extern "C" uint32_t vrf_get_context_id(const char* name) {
    try {
        return name == nullptr
                   ? 0
                   : callhome::platform::vrf_context_id(callhome::platform::interfaces_folder, name);
    } catch (...) {
        return 0;
    }
}
