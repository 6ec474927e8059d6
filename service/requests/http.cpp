#include "requests/checks.h"
#include "requests/fields.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Status;

constexpr std::uint8_t on = 1;

bool is_valid(const protocol::HttpProxyRecord& record) {
    return is_empty_or(is_host, read_text(record.server)) && is_address_type(record.address_type) &&
           record.port != 0 && record.port <= highest_port && record.enabled <= on;
}

// What is to be removed may be named; then it must be what is configured.
bool is_configured(const std::string& value, const std::string& named) {
    return !value.empty() && (named.empty() || named == value);
}

}  // namespace

// Also without a proxy there is a record: who configures one changes what it was given.
Outcome get_http_proxy(Call& call, const protocol::HttpProxyRecord& /*record*/) {
    const HttpProxy& proxy = call.shared().http.proxy;
    protocol::HttpProxyRecord answer{};
    write_text(answer.server, proxy.server);
    answer.address_type = static_cast<std::uint32_t>(proxy.address_type);
    answer.port = proxy.port;
    answer.enabled = proxy.enabled ? on : 0;
    call.reply.set_record(answer);
    return Status::ok;
}

// A port, or being in use, is nothing without a server.
Outcome set_http_proxy(Call& call, const protocol::HttpProxyRecord& record) {
    if (!is_valid(record)) {
        return Status::malformed_request;
    }
    HttpSettings settings = call.shared().http;
    settings.proxy = {.server = read_text(record.server),
                      .address_type = static_cast<protocol::AddressType>(record.address_type),
                      .port = record.port,
                      .enabled = record.enabled == on};
    if (settings.proxy.server.empty()) {
        return Status::not_found;
    }
    call.copy.put_http_settings(settings);
    return Status::ok;
}

Outcome remove_http_proxy(Call& call, const protocol::HttpProxyRecord& record) {
    HttpSettings settings = call.shared().http;
    if (!is_configured(settings.proxy.server, read_text(record.server))) {
        return Status::not_found;
    }
    settings.proxy = {};
    call.copy.put_http_settings(settings);
    return Status::ok;
}

Outcome get_http_vrf(Call& call, const protocol::HttpVrfRecord& /*record*/) {
    const std::string& vrf_name = call.shared().http.vrf_name;
    if (vrf_name.empty()) {
        return Status::not_found;
    }
    protocol::HttpVrfRecord answer{};
    write_text(answer.vrf_name, vrf_name);
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome set_http_vrf(Call& call, const protocol::HttpVrfRecord& record) {
    HttpSettings settings = call.shared().http;
    settings.vrf_name = read_text(record.vrf_name);
    if (!is_vrf_name(settings.vrf_name)) {
        return Status::malformed_request;
    }
    call.copy.put_http_settings(settings);
    return Status::ok;
}

Outcome remove_http_vrf(Call& call, const protocol::HttpVrfRecord& record) {
    HttpSettings settings = call.shared().http;
    if (!is_configured(settings.vrf_name, read_text(record.vrf_name))) {
        return Status::not_found;
    }
    settings.vrf_name.clear();
    call.copy.put_http_settings(settings);
    return Status::ok;
}

}  // namespace callhome::service
