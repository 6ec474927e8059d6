#include "scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <map>
#include <stdexcept>

namespace callhome::service::tests {
namespace {

constexpr int backlog = 64;

int bound_socket(std::uint16_t& port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (descriptor < 0 || ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("no port for the scripted server");
    }
    port = ntohs(address.sin_port);
    return descriptor;
}

const std::map<std::string, std::string> good_answers{
    {"greeting", "220 test"}, {"EHLO", "250 test"}, {"HELO", "250 test"},
    {"MAIL", "250 ok"},       {"RCPT", "250 ok"},   {"DATA", "354 go on"},
    {"content", "250 taken"}, {"QUIT", "221 bye"},  {"RSET", "250 ok"},
};

}  // namespace

ScriptedServer::ScriptedServer() : listener_(bound_socket(port_)), stop_event_(::eventfd(0, EFD_CLOEXEC)) {
    ::listen(listener_, backlog);
}

ScriptedServer::~ScriptedServer() {
    ::close(listener_);
    ::close(stop_event_);
}

void ScriptedServer::start() {
    acceptor_ = std::thread([this] { accept_connections(); });
}

void ScriptedServer::stop() {
    ::eventfd_write(stop_event_, 1);
    acceptor_.join();
    for (std::thread& server : servers_) {
        server.join();
    }
}

bool ScriptedServer::wait_readable(int descriptor) const {
    std::array<pollfd, 2> events{pollfd{descriptor, POLLIN, 0}, pollfd{stop_event_, POLLIN, 0}};
    while (::poll(events.data(), events.size(), -1) < 0 && errno == EINTR) {
    }
    return events[1].revents == 0;
}

void ScriptedServer::accept_connections() {
    while (wait_readable(listener_)) {
        const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0) {
            ++connections_;
            servers_.emplace_back([this, connection] {
                serve(connection);
                ::close(connection);
            });
        }
    }
}

bool ScriptedServer::read_more(int connection, std::string& rest) const {
    std::array<char, 65536> bytes{};
    if (!wait_readable(connection)) {
        return false;
    }
    const ssize_t count = ::recv(connection, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        return false;
    }
    rest.append(bytes.data(), static_cast<std::size_t>(count));
    return true;
}

bool ScriptedServer::read_line(int connection, std::string& rest, std::string& line) const {
    std::size_t end = rest.find("\r\n");
    while (end == std::string::npos) {
        if (!read_more(connection, rest)) {
            return false;
        }
        end = rest.find("\r\n");
    }
    line = rest.substr(0, end);
    rest.erase(0, end + 2);
    return true;
}

void ScriptedServer::wait_for_peer_to_leave(int connection) const {
    for (std::string ignored; read_more(connection, ignored);) {
    }
}

bool ScriptedServer::write(int connection, const std::string& text) {
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t count = ::send(connection, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

SmtpServer::SmtpServer(Script script) : script_(std::move(script)) {
    start();
}

void SmtpServer::set_script(Script script) {
    const std::lock_guard lock(mutex_);
    script_ = std::move(script);
}

std::vector<ReceivedMail> SmtpServer::mails() const {
    const std::lock_guard lock(mutex_);
    return mails_;
}

std::vector<std::string> SmtpServer::commands() const {
    const std::lock_guard lock(mutex_);
    return commands_;
}

std::string SmtpServer::scripted(const std::string& stage, const std::string& argument) {
    const std::lock_guard lock(mutex_);
    return script_ ? script_(stage, argument) : good_answer;
}

// False when the conversation is over. Who is told that the mail is taken finds it among the others.
bool SmtpServer::answer(int connection, const std::string& stage, const std::string& argument,
                        bool& accepted, const ReceivedMail* mail) {
    std::string reply = scripted(stage, argument);
    const bool drops = reply.ends_with(then_drop);
    reply.erase(reply.size() - (drops ? then_drop.size() : 0));
    accepted = reply == good_answer || reply.front() == '2' || reply.front() == '3';
    if (accepted && mail != nullptr) {
        const std::lock_guard lock(mutex_);
        mails_.push_back(*mail);
    }
    if (reply == drop_connection) {
        return false;
    }
    if (reply == stay_silent) {
        wait_for_peer_to_leave(connection);
        return false;
    }
    const auto good = good_answers.find(stage);
    write(connection, (reply != good_answer         ? reply
                       : good != good_answers.end() ? good->second
                                                    : "502 unknown command") +
                          "\r\n");
    return stage != "QUIT" && !drops;
}

bool SmtpServer::take_content(int connection, std::string& rest, ReceivedMail& mail) {
    for (std::string line; read_line(connection, rest, line);) {
        if (line == ".") {
            return true;
        }
        mail.content += (line.starts_with(".") ? line.substr(1) : line) + "\r\n";
    }
    return false;
}

void SmtpServer::serve(int connection) {
    std::string rest;
    std::string line;
    ReceivedMail mail;
    bool accepted = false;
    if (!answer(connection, "greeting", "", accepted)) {
        return;
    }
    while (read_line(connection, rest, line)) {
        const std::string stage = line.substr(0, line.find(' '));
        {
            const std::lock_guard lock(mutex_);
            commands_.push_back(line);
        }
        (stage == "MAIL" ? mail.sender : stage == "RCPT" ? mail.receiver : line) = line;
        if (!answer(connection, stage, line, accepted)) {
            return;
        }
        if (stage == "STARTTLS" && accepted) {
            read_more(connection, rest);
            write(connection, "500 this is no handshake\r\n");
            return;
        }
        if (stage != "DATA" || !accepted) {
            continue;
        }
        if (!take_content(connection, rest, mail)) {
            return;
        }
        if (!answer(connection, "content", mail.receiver, accepted, &mail)) {
            return;
        }
        mail = {};
    }
}

HttpServer::HttpServer(std::string answer) : answer_(std::move(answer)) {
    start();
}

HttpServer::HttpServer(std::function<void(const Write& write)> answer) : free_answer_(std::move(answer)) {
    start();
}

std::vector<std::string> HttpServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

HttpServer::HttpServer(Script script) : script_(std::move(script)) {
    start();
}

bool HttpServer::take_head(int connection, std::string& rest, std::string& head) const {
    constexpr std::string_view end_of_head = "\r\n\r\n";
    std::size_t end = std::string::npos;
    while ((end = rest.find(end_of_head)) == std::string::npos) {
        if (!read_more(connection, rest)) {
            return false;
        }
    }
    head = rest.substr(0, end + end_of_head.size());
    rest.erase(0, head.size());
    return true;
}

bool HttpServer::take_request(int connection, std::string& rest, const std::string& head) {
    constexpr std::string_view length_header = "Content-Length: ";
    if (head.find("Expect: 100-continue") != std::string::npos) {
        write(connection, "HTTP/1.1 100 Continue\r\n\r\n");
    }
    std::size_t length = 0;
    if (const std::size_t at = head.find(length_header); at != std::string::npos) {
        std::from_chars(head.data() + at + length_header.size(), head.data() + head.size(), length);
    }
    while (rest.size() < length) {
        if (!read_more(connection, rest)) {
            return false;
        }
    }
    const std::lock_guard lock(mutex_);
    requests_.push_back(head + rest.substr(0, length));
    rest.erase(0, length);
    return true;
}

void HttpServer::serve_by_script(int connection) {
    std::string rest;
    std::string head;
    while (take_head(connection, rest, head)) {
        std::size_t number = 0;
        {
            const std::lock_guard lock(mutex_);
            number = ++heads_;
        }
        const std::string answer = script_(number);
        if (answer == drop_connection || !take_request(connection, rest, head)) {
            return;
        }
        if (answer == stay_silent) {
            wait_for_peer_to_leave(connection);
            return;
        }
        write(connection, answer);
    }
}

void HttpServer::serve(int connection) {
    if (script_) {
        serve_by_script(connection);
        return;
    }
    std::string rest;
    std::string head;
    if (!take_head(connection, rest, head) || !take_request(connection, rest, head)) {
        return;
    }
    if (free_answer_) {
        free_answer_([connection](const std::string& text) { return write(connection, text); });
        wait_for_peer_to_leave(connection);
    } else if (answer_ == stay_silent) {
        wait_for_peer_to_leave(connection);
    } else if (answer_ != drop_connection) {
        write(connection, answer_ + "\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello");
    }
}

ClosedPort::ClosedPort() : descriptor_(bound_socket(number_)) {}

ClosedPort::~ClosedPort() {
    ::close(descriptor_);
}

}  // namespace callhome::service::tests
