// A client that can also behave badly. Blocks; gives up after a minute.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "protocol/frame.h"
#include "protocol/layout.h"

namespace callhome::service {

using Bytes = std::vector<std::byte>;

// A request as it travels. `record` is in host order.
template <typename Record>
Bytes frame_of(protocol::Opcode opcode, protocol::Operation operation, const Record& record) {
    Bytes frame(sizeof(protocol::FrameHeader) + sizeof(Record));
    const auto header = protocol::encode(protocol::request_header(
        static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation), sizeof(Record)));
    const auto body = std::span(frame).subspan(header.size());
    std::copy(header.begin(), header.end(), frame.begin());
    const auto bytes = std::as_bytes(std::span(&record, 1));
    std::copy(bytes.begin(), bytes.end(), body.begin());
    protocol::convert_byte_order(body, protocol::layout_of<Record>());
    return frame;
}

Bytes header_of(const protocol::FrameHeader& header);

struct ReceivedFrame {
    protocol::FrameHeader header;
    Bytes body;  // in the transport's byte order

    protocol::Status status() const { return static_cast<protocol::Status>(header.status); }
};

class SocketClient {
 public:
    explicit SocketClient(const std::filesystem::path& socket);
    ~SocketClient();
    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;

    // What cannot be sent because the service has hung up is dropped.
    void send(std::span<const std::byte> bytes);
    void send_no_more();
    // Nothing when the service hangs up first.
    std::optional<ReceivedFrame> receive();
    // At most this many bytes; fewer when the service hangs up.
    Bytes receive_bytes(std::size_t most);
    // Until the service has hung up, without reading what it has sent before.
    bool wait_for_hang_up();
    void keep_small_receive_buffer();

    std::optional<ReceivedFrame> ask(std::span<const std::byte> frame) {
        send(frame);
        return receive();
    }

 private:
    int descriptor_;
};

}  // namespace callhome::service
