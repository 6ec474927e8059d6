// Stands in for platform/connection.cpp at link time: no socket, and whatever a peer may do in few bytes.
#include "scripted_connection.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include "connection.h"
#include "link_error.h"
#include "protocol/frame.h"
#include "protocol/layout.h"
#include "record_input.h"
#include "require.h"

namespace callhome::platform {
namespace {

using Bytes = std::vector<std::byte>;

// What may go wrong; any other byte means that nothing does.
enum Trouble : std::uint8_t {
    peer_is_gone = 0xFF,
    fails = 0xFE,
    interrupted = 0xFD,
};

enum Step : std::uint8_t {
    reply,      // a status and a whole record, or a text for opcodes that answer with one
    cut_reply,  // a header as it should be but with any length, and any bytes
    any_bytes,
    no_answer,
    steps,
};

struct Peer {
    fuzz::Input* script = nullptr;
    protocol::FrameHeader request{};
    Bytes unread;
};

Peer& peer() {
    static Peer instance;
    return instance;
}

Bytes frame(std::int32_t status, std::uint32_t length, std::span<const std::byte> body) {
    const auto header = protocol::encode(
        protocol::reply_header(peer().request, static_cast<protocol::Status>(status), length));
    Bytes bytes(header.begin(), header.end());
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

Bytes take_reply(fuzz::Input& script) {
    const std::int32_t status = fuzz::take_status(script);
    const protocol::Exchange* exchange = protocol::find_exchange(peer().request.opcode);
    if (exchange == nullptr || exchange->reply.fields.empty()) {
        const auto text = script.counted_bytes();
        return frame(status, static_cast<std::uint32_t>(text.size()), text);
    }
    Bytes record = fuzz::take_record(script, exchange->reply);
    if (exchange->behind_reply != 0) {
        const auto behind = script.counted_bytes();
        record.insert(record.end(), behind.begin(), behind.end());
    }
    return frame(status, static_cast<std::uint32_t>(record.size()), record);
}

Bytes take_bytes(fuzz::Input& script) {
    switch (script.byte() % steps) {
        case reply:
            return take_reply(script);
        case cut_reply: {
            const std::int32_t status = fuzz::take_status(script);
            const std::uint32_t length = script.half_word();
            return frame(status, length, script.counted_bytes());
        }
        case any_bytes: {
            const auto bytes = script.counted_bytes();
            return {bytes.begin(), bytes.end()};
        }
        default:
            throw LinkError(ETIMEDOUT, "the call-home service did not answer in time");
    }
}

}  // namespace

void use_script(fuzz::Input& script) {
    peer() = {.script = &script, .request = {}, .unread = {}};
}

Connection::Connection(const std::filesystem::path& /*socket*/, const Deadline& /*deadline*/)
    : owner_(::getpid()) {
    peer().unread.clear();
    switch (peer().script->byte()) {
        case peer_is_gone:
            throw LinkError(ECONNREFUSED, "no call-home service answers");
        case fails:
            throw LinkError(EACCES, "the socket is held by another user");
        default:
            break;
    }
}

bool Connection::send(FrameParts parts, const Deadline& /*deadline*/) {
    protocol::FrameHeaderBytes header;
    fuzz::require(parts[0].iov_len == header.size(), "a request begins with its header");
    std::memcpy(header.data(), parts[0].iov_base, header.size());
    peer().request = protocol::decode(header);
    fuzz::require(protocol::why_invalid(peer().request, protocol::FrameKind::request) == nullptr &&
                      peer().request.length == parts[1].iov_len,
                  "a request is a frame");
    switch (peer().script->byte()) {
        case peer_is_gone:
            return false;
        case fails:
            throw LinkError(ECONNRESET, "the call-home service closed the connection");
        case interrupted:
            throw LinkError(EINTR, "the command was interrupted");
        default:
            return true;
    }
}

std::size_t Connection::receive(std::span<std::byte> buffer, const Deadline& /*deadline*/) {
    Peer& from = peer();
    fuzz::require(!buffer.empty(), "there is room for what is received");
    while (from.unread.empty()) {
        if (from.script->is_empty()) {
            throw LinkError(ECONNRESET, "the call-home service closed the connection");
        }
        from.unread = take_bytes(*from.script);
    }
    // 0: all that has come.
    const std::size_t piece = from.script->byte();
    const std::size_t most = piece == 0 ? from.unread.size() : std::min(piece, from.unread.size());
    const std::size_t received = std::min(most, buffer.size());
    std::copy_n(from.unread.begin(), received, buffer.begin());
    from.unread.erase(from.unread.begin(), from.unread.begin() + static_cast<std::ptrdiff_t>(received));
    return received;
}

bool Connection::belongs_to_this_process() const {
    return owner_ == ::getpid();
}

}  // namespace callhome::platform
