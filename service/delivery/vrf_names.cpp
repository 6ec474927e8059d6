#include "delivery/vrf_names.h"

#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <poll.h>
#include <resolv.h>
#include <unistd.h>

#include <strings.h>
#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <sstream>

#include "messages/text.h"

namespace callhome::service {
namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<unsigned char>;

constexpr const char* hosts_file = "/etc/hosts";
constexpr std::chrono::milliseconds of_one_server{2'000};
constexpr int rounds = 2;                   // each server is asked so often
constexpr std::size_t longest_query = 512;  // RFC 1035, 4.2.1
constexpr std::size_t longest_answer = 65'535;
constexpr std::size_t most_addresses = 16;
constexpr unsigned byte_bits = 8;
constexpr unsigned char low_byte = 0xFF;

class Socket {
 public:
    explicit Socket(int descriptor) : descriptor_(descriptor) {}
    ~Socket() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int number() const { return descriptor_; }

 private:
    int descriptor_;
};

class ResolverState {
 public:
    ResolverState() : is_ready_(::res_ninit(&state_) == 0) {}
    ~ResolverState() {
        if (is_ready_) {
            ::res_nclose(&state_);
        }
    }
    ResolverState(const ResolverState&) = delete;
    ResolverState& operator=(const ResolverState&) = delete;

    bool is_ready() const { return is_ready_; }
    struct __res_state* get() {
        return &state_;
    }

 private:
    struct __res_state state_ {};
    bool is_ready_;
};

bool is_ready_for(int descriptor, short events, Clock::time_point deadline) {
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd wanted{descriptor, events, 0};
        const int count = ::poll(&wanted, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
        if (count >= 0 || errno != EINTR) {
            return count > 0;
        }
    }
}

// A socket that leaves through the VRF, connected or on its way.
int open_socket(const NameServer& server, int type, const std::string& vrf_name) {
    const int descriptor = ::socket(server.address.ss_family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        return -1;
    }
    const auto* address = reinterpret_cast<const sockaddr*>(&server.address);
    const bool bound = ::setsockopt(descriptor, SOL_SOCKET, SO_BINDTODEVICE, vrf_name.c_str(),
                                    static_cast<socklen_t>(vrf_name.size())) == 0;
    if (!bound || (::connect(descriptor, address, server.length) != 0 && errno != EINPROGRESS)) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

char small_letter(unsigned char byte) {
    return static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte);
}

// Whether this is what was asked for, and not something that somebody has thrown in: the number of the
// question, and the question itself.
bool is_answer_to(std::span<const unsigned char> query, std::span<const unsigned char> answer) {
    constexpr unsigned char response_flag = 0x80;
    constexpr std::size_t flags_at = 2;
    if (answer.size() < query.size() || (answer[flags_at] & response_flag) == 0 ||
        !std::equal(query.begin(), query.begin() + flags_at, answer.begin())) {
        return false;
    }
    return std::ranges::equal(query.subspan(NS_HFIXEDSZ),
                              answer.subspan(NS_HFIXEDSZ, query.size() - NS_HFIXEDSZ), {}, small_letter,
                              small_letter);
}

std::optional<Bytes> ask_by_datagram(const NameServer& server, const std::string& vrf_name,
                                     const Bytes& query, Clock::time_point deadline) {
    const Socket socket(open_socket(server, SOCK_DGRAM, vrf_name));
    if (socket.number() < 0 || ::send(socket.number(), query.data(), query.size(), MSG_NOSIGNAL) < 0) {
        return std::nullopt;
    }
    Bytes answer(longest_answer);
    while (is_ready_for(socket.number(), POLLIN, deadline)) {
        const ssize_t length = ::recv(socket.number(), answer.data(), answer.size(), 0);
        if (length < 0 && errno != EAGAIN) {
            return std::nullopt;
        }
        if (length > 0 && is_answer_to(query, std::span(answer).first(static_cast<std::size_t>(length)))) {
            answer.resize(static_cast<std::size_t>(length));
            return answer;
        }
    }
    return std::nullopt;
}

bool send_all(int descriptor, std::span<const unsigned char> bytes, Clock::time_point deadline) {
    while (!bytes.empty()) {
        if (!is_ready_for(descriptor, POLLOUT, deadline)) {
            return false;
        }
        const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

bool receive_all(int descriptor, std::span<unsigned char> bytes, Clock::time_point deadline) {
    while (!bytes.empty()) {
        if (!is_ready_for(descriptor, POLLIN, deadline)) {
            return false;
        }
        const ssize_t count = ::recv(descriptor, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

// For answers that are too long for a datagram: RFC 1035, 4.2.2.
std::optional<Bytes> ask_by_stream(const NameServer& server, const std::string& vrf_name,
                                   const Bytes& query, Clock::time_point deadline) {
    const Socket socket(open_socket(server, SOCK_STREAM, vrf_name));
    Bytes framed{static_cast<unsigned char>(query.size() >> byte_bits),
                 static_cast<unsigned char>(query.size() & low_byte)};
    framed.insert(framed.end(), query.begin(), query.end());
    std::array<unsigned char, 2> size{};
    if (socket.number() < 0 || !send_all(socket.number(), framed, deadline) ||
        !receive_all(socket.number(), size, deadline)) {
        return std::nullopt;
    }
    Bytes answer(std::size_t{size[0]} << byte_bits | size[1]);
    const bool is_whole = receive_all(socket.number(), answer, deadline) && is_answer_to(query, answer);
    return is_whole ? std::optional(std::move(answer)) : std::nullopt;
}

bool is_cut(const Bytes& answer) {
    return reinterpret_cast<const HEADER*>(answer.data())->tc != 0;
}

std::optional<Bytes> ask(const NameServer& server, const std::string& vrf_name, const Bytes& query,
                         Clock::time_point end) {
    const auto deadline = std::min(end, Clock::now() + of_one_server);
    auto answer = ask_by_datagram(server, vrf_name, query, deadline);
    return answer && is_cut(*answer) ? ask_by_stream(server, vrf_name, query, deadline) : std::move(answer);
}

std::string text_of(int family, const void* address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(family, address, text.data(), text.size());
    return text.data();
}

// The addresses of the answer. Whose they are is not looked at: names that stand for others come with them.
void take_addresses(const Bytes& answer, std::vector<std::string>& addresses) {
    ns_msg message{};
    if (::ns_initparse(answer.data(), static_cast<int>(answer.size()), &message) != 0) {
        return;
    }
    for (int i = 0; i < ns_msg_count(message, ns_s_an) && addresses.size() < most_addresses; ++i) {
        ns_rr record{};
        if (::ns_parserr(&message, ns_s_an, i, &record) != 0) {
            return;
        }
        if (ns_rr_type(record) == ns_t_a && ns_rr_rdlen(record) == sizeof(in_addr)) {
            addresses.push_back(text_of(AF_INET, ns_rr_rdata(record)));
        } else if (ns_rr_type(record) == ns_t_aaaa && ns_rr_rdlen(record) == sizeof(in6_addr)) {
            addresses.push_back(text_of(AF_INET6, ns_rr_rdata(record)));
        }
    }
}

// A server that has trouble of its own says nothing about the name.
bool says_something(const Bytes& answer) {
    const auto code = reinterpret_cast<const HEADER*>(answer.data())->rcode;
    return code == ns_r_noerror || code == ns_r_nxdomain;
}

class Question {
 public:
    Question(const std::string& vrf_name, const std::vector<NameServer>& servers,
             std::chrono::milliseconds within)
        : vrf_name_(vrf_name), servers_(servers), end_(Clock::now() + within) {}

    // False when nobody has said anything.
    bool ask_for(struct __res_state* state, const std::string& name, std::vector<std::string>& addresses) {
        bool answered = false;
        for (const int type : {ns_t_a, ns_t_aaaa}) {
            Bytes query(longest_query);
            const int length = ::res_nmkquery(state, ns_o_query, name.c_str(), ns_c_in, type, nullptr, 0,
                                              nullptr, query.data(), static_cast<int>(query.size()));
            if (length <= 0) {
                return false;
            }
            query.resize(static_cast<std::size_t>(length));
            if (const auto answer = ask_servers(query)) {
                answered = true;
                take_addresses(*answer, addresses);
            }
        }
        return answered;
    }

 private:
    std::optional<Bytes> ask_servers(const Bytes& query) const {
        for (int round = 0; round < rounds; ++round) {
            for (const NameServer& server : servers_) {
                if (Clock::now() >= end_) {
                    return std::nullopt;
                }
                auto answer = ask(server, vrf_name_, query, end_);
                if (answer && says_something(*answer)) {
                    return answer;
                }
            }
        }
        return std::nullopt;
    }

    const std::string& vrf_name_;
    const std::vector<NameServer>& servers_;
    const Clock::time_point end_;
};

std::vector<std::string> addresses_in_hosts_file(const std::string& host) {
    std::vector<std::string> addresses;
    std::ifstream file(hosts_file);
    for (std::string line; std::getline(file, line) && addresses.size() < most_addresses;) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string address;
        words >> address;
        std::array<unsigned char, sizeof(in6_addr)> number{};
        const bool is_address = ::inet_pton(AF_INET, address.c_str(), number.data()) == 1 ||
                                ::inet_pton(AF_INET6, address.c_str(), number.data()) == 1;
        for (std::string name; is_address && words >> name;) {
            if (::strcasecmp(name.c_str(), host.c_str()) == 0) {
                addresses.push_back(address);
                break;
            }
        }
    }
    return addresses;
}

// A name without a dot is looked for in the system's domains first.
std::vector<std::string> names_to_ask_for(const struct __res_state& state, const std::string& host) {
    std::vector<std::string> names;
    for (int i = 0; host.find('.') == std::string::npos && i < MAXDNSRCH && state.dnsrch[i] != nullptr;
         ++i) {
        names.push_back(host + "." + state.dnsrch[i]);
    }
    names.push_back(host);
    return names;
}

}  // namespace

std::vector<NameServer> system_name_servers() {
    std::vector<NameServer> servers;
    ResolverState state;
    if (!state.is_ready()) {
        return servers;
    }
    const struct __res_state& known = *state.get();
    for (int i = 0; i < std::min(known.nscount, MAXNS); ++i) {
        NameServer server;
        // An IPv6 address stands beside the list; its place in it has no family.
        const sockaddr_in6* wide = known._u._ext.nsaddrs[i];
        if (known.nsaddr_list[i].sin_family == AF_INET) {
            server.length = sizeof(sockaddr_in);
            std::memcpy(&server.address, &known.nsaddr_list[i], server.length);
        } else if (wide != nullptr && wide->sin6_family == AF_INET6) {
            server.length = sizeof(sockaddr_in6);
            std::memcpy(&server.address, wide, server.length);
        } else {
            continue;
        }
        servers.push_back(server);
    }
    return servers;
}

ResolvedName resolve_within_vrf(const std::string& vrf_name, const std::string& host,
                                std::chrono::milliseconds within, const std::vector<NameServer>& servers) {
    ResolvedName resolved{addresses_in_hosts_file(host), ""};
    if (!resolved.addresses.empty()) {
        return resolved;
    }
    ResolverState state;
    if (!state.is_ready()) {
        resolved.why = "the system's settings of names cannot be read";
        return resolved;
    }
    const std::vector<NameServer> asked = servers.empty() ? system_name_servers() : servers;
    Question question(vrf_name, asked, within);
    bool answered = false;
    for (const std::string& name : names_to_ask_for(*state.get(), host)) {
        answered = question.ask_for(state.get(), name, resolved.addresses) || answered;
        if (!resolved.addresses.empty()) {
            return resolved;
        }
    }
    const std::string name = clean_line(host);
    const std::string vrf = clean_line(vrf_name);
    resolved.why = answered ? fmt::format("the name {} is not known within the VRF {}", name, vrf)
                            : fmt::format("no name server answers within the VRF {} for {}", vrf, name);
    return resolved;
}

}  // namespace callhome::service
