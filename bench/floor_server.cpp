#include "floor_server.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <SQLiteCpp/SQLiteCpp.h>
#include <cerrno>
#include <memory>
#include <system_error>

#include "process.h"

namespace callhome::bench {
namespace {

int check(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

class OneRow {
 public:
    explicit OneRow(const std::filesystem::path& file)
        : database_(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE) {
        database_.exec(
            "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
            "CREATE TABLE contact (name TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID");
        replace_ =
            std::make_unique<SQLite::Statement>(database_, "REPLACE INTO contact VALUES ('siteId', ?)");
    }

    void commit() {
        replace_->reset();
        replace_->bind(1, std::to_string(++count_));
        replace_->exec();
    }

 private:
    SQLite::Database database_;
    std::unique_ptr<SQLite::Statement> replace_;
    int count_ = 0;
};

void serve_one(int connection, std::size_t request_size, std::size_t reply_size, OneRow* row) {
    const int epoll = check(epoll_create1(0), "epoll_create1");
    epoll_event event{.events = EPOLLIN, .data = {}};
    check(epoll_ctl(epoll, EPOLL_CTL_ADD, connection, &event), "epoll_ctl");
    std::vector<std::byte> request(request_size);
    const std::vector<std::byte> reply(reply_size);
    for (;;) {
        check(epoll_wait(epoll, &event, 1, -1), "epoll_wait");
        if (recv(connection, request.data(), request.size(), MSG_WAITALL) <= 0) {
            break;
        }
        if (row != nullptr) {
            row->commit();
        }
        check(static_cast<int>(send(connection, reply.data(), reply.size(), MSG_NOSIGNAL)), "send");
    }
    close(epoll);
}

[[noreturn]] void serve(int listener, std::size_t request_size, std::size_t reply_size, OneRow* row) {
    for (;;) {
        const int connection = check(accept(listener, nullptr, nullptr), "accept");
        serve_one(connection, request_size, reply_size, row);
        close(connection);
    }
}

sockaddr_un address_of(const std::string& socket_path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    socket_path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

}  // namespace

FloorServer::FloorServer(const std::string& socket_path, std::size_t request_size, std::size_t reply_size,
                         const std::optional<std::filesystem::path>& database)
    : socket_(socket_path) {
    std::vector<std::string> arguments{"/proc/self/exe", floor_server_option, socket_path,
                                       std::to_string(request_size), std::to_string(reply_size)};
    if (database) {
        arguments.push_back(*database);
    }
    process_ = start_server(arguments);
}

int run_floor_server(std::span<char*> arguments) {
    const std::string socket_path = arguments[0];
    const std::size_t request_size = std::stoul(arguments[1]);
    const std::size_t reply_size = std::stoul(arguments[2]);
    const std::unique_ptr<OneRow> row =
        arguments.size() > 3 ? std::make_unique<OneRow>(arguments[3]) : nullptr;
    const sockaddr_un address = address_of(socket_path);
    const int listener = check(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    check(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), "bind");
    check(listen(listener, 1), "listen");
    check(static_cast<int>(write(ready_descriptor, "", 1)), "write");
    close(ready_descriptor);
    serve(listener, request_size, reply_size, row.get());
}

FloorServer::~FloorServer() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    unlink(socket_.c_str());
}

FloorClient::FloorClient(const std::string& socket_path, std::size_t request_size, std::size_t reply_size)
    : connection_(check(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")),
      request_(request_size),
      reply_(reply_size) {
    const sockaddr_un address = address_of(socket_path);
    check(connect(connection_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), "connect");
}

FloorClient::~FloorClient() {
    close(connection_);
}

void FloorClient::round_trip() {
    check(static_cast<int>(send(connection_, request_.data(), request_.size(), MSG_NOSIGNAL)), "send");
    check(static_cast<int>(recv(connection_, reply_.data(), reply_.size(), MSG_WAITALL)), "recv");
}

}  // namespace callhome::bench
