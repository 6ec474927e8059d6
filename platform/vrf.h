// VRFs of the kernel: network interfaces of the kind "vrf".
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace callhome::platform {

// The context id of a VRF among the interfaces that `interfaces` lists as /sys/class/net does; 0 when
// there is no VRF of that name. The id is the index of the VRF's interface, by which the kernel knows
// it, too. It is never 1: that is the loopback interface.
std::uint32_t vrf_context_id(const std::filesystem::path& interfaces, std::string_view name);

}  // namespace callhome::platform
