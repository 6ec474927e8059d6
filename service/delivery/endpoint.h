// The places that messages are brought to: hosts, ports and VRFs as they are configured.
#pragma once

#include <cstdint>
#include <string>

#include "delivery/curl_handle.h"

namespace callhome::service {

// A host name, a dotted IPv4 address or an IPv6 address, on a port that exists: fit to be part of a URL.
bool is_endpoint(const std::string& host, std::uint32_t port);

// "host:port", an IPv6 address in brackets.
std::string authority_of(const std::string& host, std::uint32_t port);

// Why this VRF leads nowhere; empty when it can be used, as can the default one.
std::string why_no_vrf(const std::string& vrf_name);

// Lets the transfer leave through the VRF's device; the default VRF has none.
void leave_through_vrf(CurlHandle& handle, const std::string& vrf_name);

// Looks the host up within the VRF, so that the transfer does not look for it outside. Gives the reason
// when it is not found there. The default VRF and addresses in numbers need no looking up.
std::string find_within_vrf(CurlHandle& handle, const std::string& vrf_name, const std::string& host,
                            std::uint32_t port, const TransferLimits& limits);

}  // namespace callhome::service
