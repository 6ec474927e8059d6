// The frame that answers a request, built in one buffer that is used again for the next request.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "protocol/frame.h"

namespace callhome::service {

class Reply {
 public:
    Reply() { clear(); }

    // No body. Room that a long text has taken is given back.
    void clear();

    // The body: a record in host byte order, or text without a terminator.
    template <typename Record>
    void set_record(const Record& record) {
        set_body(std::as_bytes(std::span(&record, 1)));
    }
    void set_text(std::string_view text) { set_body(std::as_bytes(std::span(text))); }
    // At most protocol::largest_frame_body bytes are taken.
    void set_body(std::span<const std::byte> body);

    std::span<const std::byte> body() const { return std::span(frame_).subspan(header_size); }

    // Turns the body into the transport's byte order, puts the header before it, and gives the whole
    // frame. Once only for each body.
    std::span<const std::byte> seal(const protocol::FrameHeader& request, protocol::Status status);

 private:
    static constexpr std::size_t header_size = sizeof(protocol::FrameHeader);
    std::vector<std::byte> frame_;
};

}  // namespace callhome::service
