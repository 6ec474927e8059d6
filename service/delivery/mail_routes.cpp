#include "delivery/mail_routes.h"

#include <algorithm>
#include <tuple>

namespace callhome::service {
namespace {

constexpr std::uint32_t standard_port = 25;

std::uint32_t real_port(std::uint32_t port) {
    return port == 0 ? standard_port : port;
}

bool same_place(const MailRoute& a, const MailRoute& b) {
    return std::tie(a.host, a.port, a.vrf_name) == std::tie(b.host, b.port, b.vrf_name);
}

}  // namespace

std::vector<MailRoute> mail_routes(const Configuration& configuration) {
    std::vector<MailServer> servers = configuration.mail_servers;
    std::sort(servers.begin(), servers.end(), [](const MailServer& a, const MailServer& b) {
        return std::tie(a.priority, a.host) < std::tie(b.priority, b.host);
    });
    std::vector<MailRoute> routes;
    routes.reserve(servers.size() + 1);
    for (const MailServer& server : servers) {
        routes.push_back({server.host, real_port(server.port), server.vrf_name});
    }
    const MailSettings& mail = configuration.mail;
    const MailRoute single{mail.smtp_server, real_port(mail.port), mail.vrf_name};
    const bool known = std::any_of(routes.begin(), routes.end(),
                                   [&](const MailRoute& route) { return same_place(route, single); });
    if (!single.host.empty() && !known) {
        routes.push_back(single);
    }
    return routes;
}

}  // namespace callhome::service
