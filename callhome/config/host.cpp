#include "config/host.h"

#include <arpa/inet.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "platform/interface.h"

namespace callhome::library {
namespace {

using protocol::AddressType;

constexpr std::size_t address_offset = 4;  // in an address block

struct HostForm {
    std::uint32_t value_type;
    AddressType type;
    int family;  // of an address, in network order within its block
    std::size_t address_size;
    socklen_t text_size;  // of the address as text, terminator included
};

constexpr std::array host_forms{
    HostForm{CALLHOME_VALUE_IPV4, AddressType::ipv4, AF_INET, sizeof(in_addr), INET_ADDRSTRLEN},
    HostForm{CALLHOME_VALUE_IPV6, AddressType::ipv6, AF_INET6, sizeof(in6_addr), INET6_ADDRSTRLEN},
    HostForm{CALLHOME_VALUE_HOST_NAME, AddressType::host_name, AF_UNSPEC, 0, 0},
};

const HostForm* form_of(const TokenRecord& token) {
    for (const HostForm& form : host_forms) {
        if (token.value_type == form.value_type) {
            return &form;
        }
    }
    return nullptr;
}

void write_address(Host& host, const HostForm& form, const void* block) {
    alignas(in6_addr) std::array<std::byte, sizeof(in6_addr)> address{};
    std::memcpy(address.data(), static_cast<const std::byte*>(block) + address_offset, form.address_size);
    char text[INET6_ADDRSTRLEN] = {};
    copy_text(host.text, inet_ntop(form.family, address.data(), text, form.text_size));
}

}  // namespace

HostToken take_host(Host& host, const TokenRecord& token) {
    const HostForm* form = form_of(token);
    if (form == nullptr) {
        say_invalid_host();
        return HostToken::refused;
    }
    if (token.value == nullptr) {
        return HostToken::absent;
    }
    if (form->family == AF_UNSPEC) {
        copy_text(host.text, static_cast<const char*>(token.value));
    } else {
        write_address(host, *form, token.value);
    }
    host.type = form->type;
    return HostToken::taken;
}

void say_invalid_host() {
    std::fputs("Invalid host address", stderr);
}

void warn_of_port(std::uint32_t port, std::uint32_t standard_port) {
    if (port != standard_port) {
        std::puts(
            "Warning: Non standard destination port. Return traffic for this service is subject to "
            "class-default CoPP class and leads to little to no connectivity");
    }
}

std::optional<std::uint32_t> vrf_context(const char* name) {
    if (name == nullptr || vrf_api_init() != 0) {
        return std::nullopt;
    }
    const std::uint32_t context = vrf_get_context_id(name);
    return context == 0 ? std::nullopt : std::optional(context);
}

}  // namespace callhome::library
