// The listening socket and the connections that came through it.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include <asio/basic_socket_acceptor.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>

#include "server/complaints.h"
#include "server/connection.h"
#include "server/peer.h"

namespace callhome::service {

struct ServerLimits {
    std::size_t connections_per_user = 32;
    std::size_t connections = 256;
    // Beyond the limits above, this many more wait for the request that will be refused; whoever comes
    // after them is disconnected at once.
    std::size_t refused_connections = 32;
    std::chrono::milliseconds frame_time = std::chrono::seconds(10);
    std::chrono::milliseconds refusal_time{250};
};

class Server final : private ConnectionHost {
 public:
    using MayChange = std::function<bool(const PeerCredentials&)>;

    // Takes over `listening_socket`, an AF_UNIX stream socket that listens.
    Server(asio::io_context& io, Dispatcher& dispatcher, int listening_socket, MayChange may_change,
           ServerLimits limits = {});
    ~Server();

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Called each time the last client has gone.
    void when_empty(std::function<void()> function) { when_empty_ = std::move(function); }

    // True when someone is connected or waits to be.
    bool has_clients() const;

    // Connections that were admitted, by user.
    const std::map<uid_t, std::size_t>& clients() const { return admitted_by_user_; }
    const ServerLimits& limits() const { return limits_; }

    // No new client from now on; those that are there are disconnected.
    void stop();

 private:
    Dispatcher& dispatcher() override { return dispatcher_; }
    Clock::duration frame_time() const override { return limits_.frame_time; }
    Clock::duration refusal_time() const override { return limits_.refusal_time; }
    void watch_deadline(Clock::time_point deadline) override;
    void complain(const std::string& line) override { complaints_.log(line); }
    void closed(Connection& connection) override;

    void accept_next();
    void accept_later();
    void admit(Connection::Socket socket);
    bool is_full_for(uid_t user) const;
    void check_deadlines();

    Dispatcher& dispatcher_;
    const int listening_socket_;
    const MayChange may_change_;
    const ServerLimits limits_;
    asio::basic_socket_acceptor<asio::local::stream_protocol, asio::io_context::executor_type> acceptor_;
    asio::steady_timer deadline_timer_;
    asio::steady_timer accept_timer_;
    std::optional<Clock::time_point> watched_deadline_;
    std::map<Connection*, std::shared_ptr<Connection>> connections_;
    std::map<uid_t, std::size_t> admitted_by_user_;
    std::size_t admitted_ = 0;
    std::function<void()> when_empty_;
    Complaints complaints_;
};

}  // namespace callhome::service
