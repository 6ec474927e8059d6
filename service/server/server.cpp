#include "server/server.h"

#include <fmt/format.h>
#include <poll.h>
#include <spdlog/spdlog.h>

#include <vector>

namespace callhome::service {
namespace {

// Descriptors or memory have run out: nothing is gained by trying again at once.
constexpr std::chrono::milliseconds accept_pause{100};

}  // namespace

Server::Server(asio::io_context& io, Dispatcher& dispatcher, int listening_socket, MayChange may_change,
               ServerLimits limits)
    : dispatcher_(dispatcher),
      listening_socket_(listening_socket),
      may_change_(std::move(may_change)),
      limits_(limits),
      acceptor_(io, asio::local::stream_protocol(), listening_socket),
      deadline_timer_(io),
      accept_timer_(io) {
    acceptor_.non_blocking(true);
    accept_next();
}

Server::~Server() {
    when_empty_ = nullptr;
    stop();
}

bool Server::has_clients() const {
    if (!connections_.empty()) {
        return true;
    }
    pollfd waiting{.fd = listening_socket_, .events = POLLIN, .revents = 0};
    return ::poll(&waiting, 1, 0) > 0;
}

void Server::stop() {
    asio::error_code ignored;
    acceptor_.close(ignored);
    deadline_timer_.cancel();
    accept_timer_.cancel();
    while (!connections_.empty()) {
        const auto connection = connections_.begin()->second;
        connection->close();
    }
}

void Server::accept_next() {
    acceptor_.async_accept([this](const asio::error_code& error, Connection::Socket socket) {
        if (error == asio::error::operation_aborted) {
            return;
        }
        if (error && error != asio::error::connection_aborted) {
            spdlog::error("no client can be accepted: {}", error.message());
            accept_later();
            return;
        }
        if (!error) {
            admit(std::move(socket));
        }
        accept_next();
    });
}

void Server::accept_later() {
    accept_timer_.expires_after(accept_pause);
    accept_timer_.async_wait([this](const asio::error_code& error) {
        if (!error) {
            accept_next();
        }
    });
}

void Server::admit(Connection::Socket socket) {
    const auto credentials = read_credentials(socket.native_handle());
    if (!credentials) {
        complain("a client was turned away: the kernel does not say who it is");
        return;
    }
    const Admission admission{.user = credentials->user,
                              .may_change = may_change_(*credentials),
                              .refused = is_full_for(credentials->user),
                              .session = credentials->session};
    if (admission.refused && connections_.size() - admitted_ >= limits_.refused_connections) {
        complain(
            fmt::format("a client of user {} was turned away: too many connections", credentials->user));
        return;
    }
    if (!admission.refused) {
        ++admitted_;
        ++admitted_by_user_[admission.user];
    }
    const auto connection =
        std::make_shared<Connection>(std::move(socket), admission, static_cast<ConnectionHost&>(*this));
    connections_.emplace(connection.get(), connection);
    connection->start();
}

bool Server::is_full_for(uid_t user) const {
    const auto own = admitted_by_user_.find(user);
    return admitted_ >= limits_.connections ||
           (own != admitted_by_user_.end() && own->second >= limits_.connections_per_user);
}

void Server::closed(Connection& connection) {
    const Admission admission = connection.admission();
    connections_.erase(&connection);
    if (!admission.refused) {
        --admitted_;
        const auto own = admitted_by_user_.find(admission.user);
        if (--own->second == 0) {
            admitted_by_user_.erase(own);
        }
    }
    if (connections_.empty() && when_empty_) {
        when_empty_();
    }
}

// One timer for all, set for the earliest deadline; it does not run while there is none. A deadline that
// was met in time leaves the timer alone: it then finds nothing to do.
void Server::watch_deadline(Clock::time_point deadline) {
    if (watched_deadline_ && *watched_deadline_ <= deadline) {
        return;
    }
    watched_deadline_ = deadline;
    deadline_timer_.expires_at(deadline);
    deadline_timer_.async_wait([this](const asio::error_code& error) {
        if (!error) {
            check_deadlines();
        }
    });
}

void Server::check_deadlines() {
    watched_deadline_.reset();
    std::vector<std::shared_ptr<Connection>> owing;
    for (const auto& [key, connection] : connections_) {
        if (connection->deadline()) {
            owing.push_back(connection);
        }
    }
    const auto now = Clock::now();
    for (const auto& connection : owing) {
        if (now >= connection->deadline()) {
            connection->deadline_passed();
        } else {
            watch_deadline(*connection->deadline());
        }
    }
}

}  // namespace callhome::service
