#include "inventory/interfaces.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <memory>

namespace callhome::service {
namespace {

// An address record of the kernel's list may be unaligned for the type that it holds.
template <typename Address>
Address read_address(const sockaddr* address) {
    Address result;
    std::memcpy(&result, address, sizeof result);
    return result;
}

template <typename Bytes>
unsigned prefix_length(const Bytes& mask) {
    unsigned bits = 0;
    for (const unsigned char byte : mask) {
        bits += static_cast<unsigned>(std::popcount(byte));
    }
    return bits;
}

std::string ipv4_text(const ifaddrs& entry) {
    const auto address = read_address<sockaddr_in>(entry.ifa_addr).sin_addr;
    char text[INET_ADDRSTRLEN];
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    if (entry.ifa_netmask == nullptr) {
        return text;
    }
    const auto mask = read_address<sockaddr_in>(entry.ifa_netmask).sin_addr.s_addr;
    return fmt::format("{}/{}", text, std::popcount(mask));
}

std::string ipv6_text(const ifaddrs& entry) {
    const auto address = read_address<sockaddr_in6>(entry.ifa_addr).sin6_addr;
    char text[INET6_ADDRSTRLEN];
    ::inet_ntop(AF_INET6, &address, text, sizeof text);
    if (entry.ifa_netmask == nullptr) {
        return text;
    }
    return fmt::format("{}/{}", text,
                       prefix_length(read_address<sockaddr_in6>(entry.ifa_netmask).sin6_addr.s6_addr));
}

std::string hardware_text(const ifaddrs& entry) {
    const auto address = read_address<sockaddr_ll>(entry.ifa_addr);
    const auto length = std::min<std::size_t>(address.sll_halen, sizeof address.sll_addr);
    const bool is_set =
        std::any_of(address.sll_addr, address.sll_addr + length, [](auto b) { return b != 0; });
    return is_set ? fmt::format("{:02x}", fmt::join(address.sll_addr, address.sll_addr + length, ":")) : "";
}

std::string state_text(unsigned flags) {
    if ((flags & IFF_UP) == 0U) {
        return "down";
    }
    return (flags & IFF_RUNNING) != 0U ? "up" : "no carrier";
}

void take_up(NetworkInterface& interface, const ifaddrs& entry) {
    interface.state = state_text(entry.ifa_flags);
    switch (entry.ifa_addr == nullptr ? AF_UNSPEC : entry.ifa_addr->sa_family) {
        case AF_INET:
            interface.addresses.push_back(ipv4_text(entry));
            break;
        case AF_INET6:
            interface.addresses.push_back(ipv6_text(entry));
            break;
        case AF_PACKET:
            interface.hardware_address = hardware_text(entry);
            break;
        default:
            break;
    }
}

}  // namespace

std::vector<NetworkInterface> read_interfaces() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(first, &::freeifaddrs);
    std::map<std::string, NetworkInterface> by_name;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_name != nullptr) {
            NetworkInterface& interface = by_name[entry->ifa_name];
            interface.name = entry->ifa_name;
            take_up(interface, *entry);
        }
    }
    std::vector<NetworkInterface> result;
    result.reserve(by_name.size());
    for (auto& [name, interface] : by_name) {
        result.push_back(std::move(interface));
    }
    return result;
}

}  // namespace callhome::service
