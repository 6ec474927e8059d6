#include "delivery/vrf_names.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>

#include "delivery/http_client.h"
#include "lone_attempt.h"
#include "scripted_server.h"

namespace callhome::service {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t header_size = 12;
constexpr const char* loopback_device = "lo";

std::uint16_t type_of(const Bytes& query) {
    return static_cast<std::uint16_t>(query[query.size() - 4] << 8U | query[query.size() - 3]);
}

std::string name_in(const Bytes& query) {
    std::string name;
    for (std::size_t at = header_size; query[at] != 0; at += query[at] + 1U) {
        name +=
            (name.empty() ? "" : ".") + std::string(query.begin() + static_cast<long>(at) + 1,
                                                    query.begin() + static_cast<long>(at) + 1 + query[at]);
    }
    return name;
}

// The answer to a query, with these addresses (each 4 or 16 bytes).
Bytes answer_to(const Bytes& query, const std::vector<Bytes>& addresses, unsigned char code = 0,
                bool is_cut = false) {
    Bytes answer = query;
    answer[2] = static_cast<unsigned char>(0x81U | (is_cut ? 2U : 0U));
    answer[3] = static_cast<unsigned char>(0x80U | code);
    answer[7] = static_cast<unsigned char>(addresses.size());
    for (const Bytes& address : addresses) {
        const auto type = static_cast<unsigned char>(address.size() == 4 ? 1 : 28);
        const Bytes head{0xC0, header_size, 0, type, 0, 1,
                         0,    0,           0, 60,   0, static_cast<unsigned char>(address.size())};
        answer.insert(answer.end(), head.begin(), head.end());
        answer.insert(answer.end(), address.begin(), address.end());
    }
    return answer;
}

// A name server on a free port of this machine, for datagrams and streams.
class DnsServer {
 public:
    // Gives the answer to a query; empty for none.
    using Answer = std::function<Bytes(const Bytes& query, bool is_stream)>;

    explicit DnsServer(Answer answer) : answer_(std::move(answer)) {
        do {
            datagrams_ = open(SOCK_DGRAM, 0);
            streams_ = open(SOCK_STREAM, port_);
        } while (streams_ < 0);
        ::listen(streams_, 8);
        thread_ = std::thread([this] { serve(); });
    }
    ~DnsServer() {
        ::eventfd_write(stop_, 1);
        thread_.join();
        for (const int descriptor : {datagrams_, streams_, stop_}) {
            ::close(descriptor);
        }
    }
    DnsServer(const DnsServer&) = delete;
    DnsServer& operator=(const DnsServer&) = delete;

    NameServer address() const {
        NameServer server;
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port_);
        std::memcpy(&server.address, &address, sizeof address);
        server.length = sizeof address;
        return server;
    }
    std::vector<std::string> names() const {
        const std::lock_guard lock(mutex_);
        return names_;
    }

 private:
    // -1 when the port is taken.
    int open(int type, std::uint16_t port) {
        const int descriptor = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        socklen_t length = sizeof address;
        if (::bind(descriptor, reinterpret_cast<sockaddr*>(&address), length) != 0) {
            ::close(descriptor);
            ::close(datagrams_);
            return -1;
        }
        ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        return descriptor;
    }
    Bytes answered(const Bytes& query, bool is_stream) {
        const std::lock_guard lock(mutex_);
        names_.push_back(name_in(query));
        return answer_(query, is_stream);
    }
    void serve() {
        while (true) {
            std::array<pollfd, 3> events{pollfd{datagrams_, POLLIN, 0}, pollfd{streams_, POLLIN, 0},
                                         pollfd{stop_, POLLIN, 0}};
            ::poll(events.data(), events.size(), -1);
            if (events[2].revents != 0) {
                return;
            }
            events[0].revents != 0 ? answer_datagram() : answer_stream();
        }
    }
    void answer_datagram() {
        Bytes query(512);
        sockaddr_storage peer{};
        socklen_t length = sizeof peer;
        const ssize_t size = ::recvfrom(datagrams_, query.data(), query.size(), 0,
                                        reinterpret_cast<sockaddr*>(&peer), &length);
        query.resize(static_cast<std::size_t>(size));
        const Bytes answer = answered(query, false);
        if (!answer.empty()) {
            ::sendto(datagrams_, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr*>(&peer),
                     length);
        }
    }
    void answer_stream() {
        const int connection = ::accept(streams_, nullptr, nullptr);
        std::array<unsigned char, 2> size{};
        ::recv(connection, size.data(), size.size(), MSG_WAITALL);
        Bytes query(static_cast<std::size_t>(size[0] << 8U | size[1]));
        ::recv(connection, query.data(), query.size(), MSG_WAITALL);
        Bytes answer = answered(query, true);
        answer.insert(answer.begin(), {static_cast<unsigned char>(answer.size() >> 8U),
                                       static_cast<unsigned char>(answer.size() & 0xFFU)});
        ::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
        ::close(connection);
    }

    Answer answer_;
    std::uint16_t port_ = 0;
    int datagrams_ = -1;
    int streams_ = -1;
    int stop_ = ::eventfd(0, EFD_CLOEXEC);
    mutable std::mutex mutex_;
    std::vector<std::string> names_;
    std::thread thread_;  // last: it uses all of the above
};

ResolvedName ask(const std::string& name, const std::vector<NameServer>& servers,
                 std::chrono::milliseconds within = std::chrono::seconds(20)) {
    return resolve_within_vrf(loopback_device, name, within, servers);
}

using Addresses = std::vector<std::string>;

TEST(VrfNames, AreAskedForWithinTheVrf) {
    const DnsServer server([](const Bytes& query, bool /*is_stream*/) {
        return type_of(query) == 1
                   ? answer_to(query, {{192, 0, 2, 7}, {192, 0, 2, 8}})
                   : answer_to(query, {{0x20, 1, 0xD, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}});
    });
    const ResolvedName found = ask("mx.example.net", {server.address()});
    EXPECT_EQ(found.addresses, (Addresses{"192.0.2.7", "192.0.2.8", "2001:db8::1"})) << found.why;
    EXPECT_EQ(server.names(), (std::vector<std::string>{"mx.example.net", "mx.example.net"}));
}

TEST(VrfNames, InTheHostsFileNeedNoServer) {
    const ResolvedName found = ask("localhost", {});
    EXPECT_EQ(found.why, "");
    EXPECT_NE(std::ranges::find(found.addresses, "127.0.0.1"), found.addresses.end());
}

TEST(VrfNames, ThatNobodyKnowsAreTold) {
    const DnsServer server([](const Bytes& query, bool /*is_stream*/) { return answer_to(query, {}, 3); });
    const ResolvedName found = ask("no.example.net", {server.address()});
    EXPECT_TRUE(found.addresses.empty());
    EXPECT_EQ(found.why, "the name no.example.net is not known within the VRF lo");
}

TEST(VrfNames, AreAskedOfTheNextServerWhereOneHasTrouble) {
    const DnsServer failing([](const Bytes& query, bool /*is_stream*/) { return answer_to(query, {}, 2); });
    const DnsServer good([](const Bytes& query, bool /*is_stream*/) {
        return answer_to(query,
                         type_of(query) == 1 ? std::vector<Bytes>{{192, 0, 2, 7}} : std::vector<Bytes>{});
    });
    EXPECT_EQ(ask("mx.example.net", {failing.address(), good.address()}).addresses, Addresses{"192.0.2.7"});
}

TEST(VrfNames, AreNotWaitedForLongerThanSaid) {
    const DnsServer silent([](const Bytes& /*query*/, bool /*is_stream*/) { return Bytes(); });
    const auto begin = std::chrono::steady_clock::now();
    const ResolvedName found = ask("mx.example.net", {silent.address()}, std::chrono::milliseconds(100));
    EXPECT_EQ(found.why, "no name server answers within the VRF lo for mx.example.net");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST(VrfNames, WithLongAnswersAreAskedForByAStream) {
    const DnsServer server([](const Bytes& query, bool is_stream) {
        return is_stream ? answer_to(query, {{192, 0, 2, 9}}) : answer_to(query, {}, 0, true);
    });
    EXPECT_EQ(ask("mx.example.net", {server.address()}).addresses,
              (Addresses{"192.0.2.9", "192.0.2.9"}));  // for both kinds of address
}

TEST(VrfNames, AreNotTakenFromAnswersToSomethingElse) {
    const DnsServer server([](const Bytes& query, bool /*is_stream*/) {
        Bytes other = answer_to(query, {{203, 0, 113, 66}});
        other[header_size + 1] = 'X';
        return other;
    });
    const DnsServer wrong_number([](const Bytes& query, bool /*is_stream*/) {
        Bytes other = answer_to(query, {{203, 0, 113, 66}});
        other[0] = static_cast<unsigned char>(~other[0]);
        return other;
    });
    EXPECT_TRUE(
        ask("mx.example.net", {server.address(), wrong_number.address()}, std::chrono::milliseconds(100))
            .addresses.empty());
}

TEST(VrfNames, SurviveAnswersThatAreNone) {
    for (const std::size_t kept : {0U, 1U, 11U, 12U, 20U, 32U, 40U}) {
        const DnsServer server([kept](const Bytes& query, bool /*is_stream*/) {
            Bytes answer = answer_to(query, {{192, 0, 2, 7}});
            answer.resize(std::min(kept, answer.size()));
            return answer;
        });
        EXPECT_TRUE(
            ask("mx.example.net", {server.address()}, std::chrono::milliseconds(60)).addresses.empty())
            << kept;
    }
}

TEST(VrfNames, LeadAPostToWhereTheyPointWithinTheVrf) {
    const tests::HttpServer web("HTTP/1.1 200 OK");
    const DnsServer names([](const Bytes& query, bool /*is_stream*/) {
        return answer_to(query,
                         type_of(query) == 1 ? std::vector<Bytes>{{127, 0, 0, 1}} : std::vector<Bytes>{});
    });
    TransferLimits limits;
    limits.total = std::chrono::seconds(5);
    limits.name_servers = {names.address()};
    DeliveryJob job;
    job.carrier = Carrier::http;
    job.receiver = "http://collector.inside.example:" + std::to_string(web.port()) + "/";
    job.http.vrf_name = loopback_device;
    job.content = std::make_shared<const std::string>("x");
    const Outcome outcome = tests::attempt_alone(job, limits);
    EXPECT_EQ(outcome.verdict, Verdict::delivered) << outcome.reason;
    job.http = {"proxy.inside.example", web.port(), loopback_device};
    EXPECT_EQ(tests::attempt_alone(job, limits).verdict, Verdict::delivered);
    EXPECT_EQ(names.names().back(), "proxy.inside.example");
}

}  // namespace
}  // namespace callhome::service
