#include "server/connection.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <system_error>

#include "server/peer.h"

namespace callhome::service {

using protocol::Status;

Connection::Connection(Socket socket, Admission admission, ConnectionHost& host)
    : socket_(std::move(socket)), admission_(admission), host_(host) {}

void Connection::start() {
    if (admission_.refused) {
        set_deadline(host_.refusal_time());
    }
    wait_until_readable();
}

void Connection::close() {
    if (state_ == State::closed) {
        return;
    }
    state_ = State::closed;
    ++request_number_;
    asio::error_code ignored;
    socket_.close(ignored);
    host_.closed(*this);
}

void Connection::deadline_passed() {
    deadline_.reset();
    if (state_ == State::sending) {
        close_because("it does not take its reply");
    } else if (admission_.refused) {
        header_ = {};  // There is no request that the refusal could name.
        refuse(Status::too_many_connections);
    } else {
        close_because("its request is not complete in time");
    }
}

std::string Connection::login_name() const {
    return login_name_of(admission_.user);
}

LateAnswer Connection::answer_later() {
    return [weak = weak_from_this(), request = request_number_](Status status,
                                                                std::span<const std::byte> body) {
        if (const auto self = weak.lock()) {
            self->take_late_answer(request, status, body);
        }
    };
}

void Connection::wait_until_readable() {
    socket_.async_wait(Socket::wait_read, [self = shared_from_this()](const asio::error_code& error) {
        if (!error && self->state_ == State::reading) {
            self->receive();
        }
    });
}

void Connection::wait_until_writable() {
    socket_.async_wait(Socket::wait_write, [self = shared_from_this()](const asio::error_code& error) {
        if (error || self->state_ != State::sending) {
            return;
        }
        self->send_rest();
        self->serve();
    });
}

void Connection::receive() {
    const ssize_t received =
        ::recv(socket_.native_handle(), buffer_.data() + filled_, buffer_.size() - filled_, MSG_DONTWAIT);
    if (received > 0) {
        filled_ += static_cast<std::size_t>(received);
        serve();
    } else if (received < 0 && (errno == EAGAIN || errno == EINTR)) {
        wait_until_readable();
    } else if (filled_ == 0) {
        close();
    } else {
        close_because("it went away within a request");
    }
}

// Answers what has arrived whole, one frame after the other, and waits for more. A frame that takes its
// time, or whose reply is not taken at once, leaves here and comes back when that is over.
void Connection::serve() {
    while (state_ == State::reading && answer_next_frame()) {
    }
    if (state_ == State::reading) {
        keep_unfinished_frame();
        wait_until_readable();
    }
}

// False when more bytes are needed.
bool Connection::answer_next_frame() {
    const auto received = std::span(buffer_).first(filled_).subspan(taken_);
    protocol::FrameHeaderBytes header_bytes;
    needed_ = header_bytes.size();
    if (received.size() < needed_) {
        return false;
    }
    std::memcpy(header_bytes.data(), received.data(), header_bytes.size());
    header_ = protocol::decode(header_bytes);
    if (const char* why = protocol::why_invalid(header_, protocol::FrameKind::request)) {
        close_because(why);
        return true;
    }
    if (admission_.refused) {
        refuse(Status::too_many_connections);
        return true;
    }
    if (header_.length > longest_request(header_.opcode)) {
        refuse(Status::malformed_request);
        return true;
    }
    needed_ += header_.length;
    if (received.size() < needed_) {
        return false;
    }
    taken_ += needed_;
    deadline_.reset();
    answer_request(received.subspan(header_bytes.size(), header_.length));
    return true;
}

void Connection::answer_request(std::span<std::byte> body) {
    state_ = State::answering;
    ++request_number_;
    early_answer_.reset();
    arrived_at_ = Clock::now();
    reply_.clear();
    Outcome outcome;
    in_function_ = true;
    try {
        outcome = host_.dispatcher().handle(header_, body, *this, reply_);
    } catch (const std::bad_alloc&) {
        throw;  // What is in memory may not be what was stored: start anew.
    } catch (const std::exception& error) {
        spdlog::error("request with opcode {}, operation {} failed: {}", +header_.opcode,
                      +header_.operation, error.what());
        in_function_ = false;
        close();
        return;
    }
    in_function_ = false;
    if (const auto status = outcome ? outcome : early_answer_) {
        note_answer(*status);
        send_reply(*status);
    }
}

void Connection::note_answer(Status status) {
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - arrived_at_);
    host_.dispatcher().note_answer({.opcode = header_.opcode,
                                    .operation = header_.operation,
                                    .status = status,
                                    .user = admission_.user,
                                    .time = time});
}

// What follows in the stream cannot be told apart from the refused request: the connection ends.
void Connection::refuse(Status status) {
    host_.complain(
        fmt::format("connection of user {} refused: {}", admission_.user, protocol::text_of(status)));
    close_after_reply_ = true;
    deadline_.reset();
    reply_.clear();
    send_reply(status);
}

// May come while the request function is still on the stack: then serve() goes on with it.
void Connection::take_late_answer(std::uint64_t request, Status status, std::span<const std::byte> body) {
    if (request != request_number_ || state_ != State::answering) {
        return;
    }
    reply_.set_body(body);
    if (in_function_) {
        early_answer_ = status;
        return;
    }
    note_answer(status);
    send_reply(status);
    serve();
}

void Connection::send_reply(Status status) {
    ++request_number_;
    state_ = State::sending;
    unsent_ = reply_.seal(header_, status);
    send_rest();
}

void Connection::send_rest() {
    const ssize_t sent =
        ::send(socket_.native_handle(), unsent_.data(), unsent_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0 && errno != EAGAIN && errno != EINTR) {
        spdlog::debug("user {} went away before its reply: {}", admission_.user,
                      std::generic_category().message(errno));
        close();
        return;
    }
    unsent_ = unsent_.subspan(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    if (!unsent_.empty()) {
        if (!deadline_) {
            set_deadline(host_.frame_time());
        }
        wait_until_writable();
        return;
    }
    deadline_.reset();
    if (close_after_reply_) {
        close();
        return;
    }
    state_ = State::reading;
}

void Connection::keep_unfinished_frame() {
    const std::size_t rest = filled_ - taken_;
    if (rest != 0 && taken_ != 0) {
        std::memmove(buffer_.data(), buffer_.data() + taken_, rest);
    }
    filled_ = rest;
    taken_ = 0;
    fit_buffer();
    if (rest != 0 && !deadline_) {
        set_deadline(host_.frame_time());
    }
}

void Connection::fit_buffer() {
    const std::size_t size = std::max(buffer_size, needed_);
    if (size != buffer_.size()) {
        buffer_.resize(size);
        buffer_.shrink_to_fit();
    }
}

void Connection::close_because(const char* reason) {
    host_.complain(fmt::format("connection of user {} closed: {}", admission_.user, reason));
    close();
}

void Connection::set_deadline(Clock::duration time) {
    deadline_ = Clock::now() + time;
    host_.watch_deadline(*deadline_);
}

}  // namespace callhome::service
