#include "requests/reply.h"

#include <algorithm>

#include "protocol/layout.h"

namespace callhome::service {
namespace {

// Above every record; only the text of a message is longer.
constexpr std::size_t kept_capacity = 8192;  // bytes

}  // namespace

void Reply::clear() {
    frame_.resize(header_size);
    if (frame_.capacity() > kept_capacity) {
        frame_.shrink_to_fit();
    }
}

void Reply::set_body(std::span<const std::byte> body) {
    const auto taken = body.first(std::min<std::size_t>(body.size(), protocol::largest_frame_body));
    frame_.resize(header_size);
    frame_.insert(frame_.end(), taken.begin(), taken.end());
}

std::span<const std::byte> Reply::seal(const protocol::FrameHeader& request, protocol::Status status) {
    if (const protocol::Exchange* exchange = protocol::find_exchange(request.opcode)) {
        protocol::convert_byte_order(std::span(frame_).subspan(header_size), exchange->reply);
    }
    const auto length = static_cast<std::uint32_t>(frame_.size() - header_size);
    std::ranges::copy(protocol::encode(protocol::reply_header(request, status, length)), frame_.begin());
    return frame_;
}

}  // namespace callhome::service
