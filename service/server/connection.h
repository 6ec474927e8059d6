// One client: takes its frames, has them answered one by one in order, and gives the replies back.
// A request costs one wait, one receive and one send; no timer and no allocation of its own.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <asio/basic_stream_socket.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>

#include "requests/dispatch.h"

namespace callhome::service {

class Connection;

using Clock = std::chrono::steady_clock;

// What a connection needs of the server that keeps it.
class ConnectionHost {
 public:
    virtual Dispatcher& dispatcher() = 0;
    // A frame, or a reply on its way out, has this long.
    virtual Clock::duration frame_time() const = 0;
    // A refused client has this long to send the request that the refusal answers.
    virtual Clock::duration refusal_time() const = 0;
    // The connection has this deadline now; its deadline_passed() is to be called then.
    virtual void watch_deadline(Clock::time_point deadline) = 0;
    virtual void complain(const std::string& line) = 0;
    // The connection has closed; the host lets go of it.
    virtual void closed(Connection& connection) = 0;

 protected:
    ~ConnectionHost() = default;
};

// What the server has found out about a client when it connected.
struct Admission {
    uid_t user;
    bool may_change;
    bool refused;  // its first request is answered with too_many_connections
    LoginSession session = {};
};

class Connection final : public Caller, public std::enable_shared_from_this<Connection> {
 public:
    // The executor's type is named: a type-erased one costs each request some time.
    using Socket = asio::basic_stream_socket<asio::local::stream_protocol, asio::io_context::executor_type>;

    Connection(Socket socket, Admission admission, ConnectionHost& host);

    void start();
    void close();
    // Nothing while nobody owes anything: an idle connection may stay.
    std::optional<Clock::time_point> deadline() const { return deadline_; }
    void deadline_passed();

    const Admission& admission() const { return admission_; }

    bool may_change() const override { return admission_.may_change; }
    Identity identity() const override { return {admission_.user, admission_.session}; }
    std::string login_name() const override;
    LateAnswer answer_later() override;

 private:
    enum class State {
        reading,    // waits for a request
        answering,  // a request is with its function
        sending,    // the client has still to take a reply
        closed,
    };

    void wait_until_readable();
    void wait_until_writable();
    void receive();
    void serve();
    bool answer_next_frame();
    void answer_request(std::span<std::byte> body);
    void refuse(protocol::Status status);
    void note_answer(protocol::Status status);
    void take_late_answer(std::uint64_t request, protocol::Status status, std::span<const std::byte> body);
    void send_reply(protocol::Status status);
    void send_rest();
    void keep_unfinished_frame();
    void fit_buffer();
    void close_because(const char* reason);
    void set_deadline(Clock::duration time);

    // What the buffer holds but for a request that says it is longer: that one gets its own length while it
    // is being received.
    static constexpr std::size_t buffer_size = 4096;
    static_assert(buffer_size >= sizeof(protocol::FrameHeader) + longest_record);

    Socket socket_;
    const Admission admission_;
    ConnectionHost& host_;
    State state_ = State::reading;
    bool in_function_ = false;  // a request function is on the stack
    bool close_after_reply_ = false;
    std::uint64_t request_number_ = 0;  // a late answer must not reach a later request
    std::optional<protocol::Status> early_answer_;
    std::optional<Clock::time_point> deadline_;

    std::vector<std::byte> buffer_ = std::vector<std::byte>(buffer_size);
    std::size_t needed_ = 0;  // bytes of the frame that has not come whole
    std::size_t filled_ = 0;  // bytes received
    std::size_t taken_ = 0;   // bytes of them that were answered

    protocol::FrameHeader header_{};
    Clock::time_point arrived_at_;
    Reply reply_;
    std::span<const std::byte> unsent_;
};

}  // namespace callhome::service
