#include "service_link.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "byte_order.h"
#include "protocol/layout.h"
#include "service_start.h"

namespace callhome::platform {
namespace {

using protocol::FrameHeader;
using protocol::FrameHeaderBytes;

// One read takes the header and any record; only long texts need more.
constexpr std::size_t read_size = 4096;

[[noreturn]] void fail_as_garbage(const std::string& why) {
    throw LinkError(EPROTO, "what answers on the socket does not speak as the call-home service does (" +
                                why + "); check that the shell and the service are of the same version");
}

struct ReplyBounds {
    std::size_t record;   // bytes of the opcode's record
    std::size_t largest;  // bytes that may come
};

ReplyBounds bounds_of(std::uint32_t opcode) {
    const protocol::Exchange* exchange = protocol::find_exchange(opcode);
    if (exchange == nullptr) {
        return {0, 0};
    }
    const std::size_t record = exchange->reply.size;
    const bool is_text = exchange->reply.fields.empty();
    return {record, is_text ? protocol::largest_frame_body : record + exchange->behind_reply};
}

// A service that is full refuses the connection as a whole, before it knows what is asked.
bool refuses_connection(const FrameHeader& header) {
    return header.status == static_cast<std::uint32_t>(protocol::Status::too_many_connections) &&
           header.length == 0;
}

void check(const FrameHeader& header, const Request& request, const ReplyBounds& bounds) {
    if (const char* why = protocol::why_invalid(header, protocol::FrameKind::reply)) {
        fail_as_garbage(why);
    }
    const bool answers_this = header.opcode == request.opcode && header.operation == request.operation;
    if (!answers_this && !refuses_connection(header)) {
        fail_as_garbage("the reply is to another request");
    }
    if (static_cast<ServiceStatus>(header.status) < 0) {
        fail_as_garbage("the reply has no status");
    }
    if (header.length > bounds.largest) {
        fail_as_garbage("the reply is longer than its record");
    }
}

std::unique_ptr<std::byte[], FreeMemory> zeroed_memory(std::size_t size) {
    auto* memory = static_cast<std::byte*>(std::calloc(size, 1));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return std::unique_ptr<std::byte[], FreeMemory>(memory);
}

iovec part_of(std::span<const std::byte> bytes) {
    return {const_cast<std::byte*>(bytes.data()), bytes.size()};  // sendmsg() only reads
}

// The words for the last failure. They are kept without allocation: the failure may be of memory.
struct Failure {
    int error_number = 0;
    std::array<char, 1024> why{};
} failure;

}  // namespace

Reply ServiceLink::exchange(const Request& request, std::chrono::seconds timeout) {
    if (request.record.size() > protocol::largest_frame_body) {
        throw LinkError(EMSGSIZE, "the request is longer than the call-home service accepts");
    }
    const Deadline deadline(timeout);
    try {
        send(request, deadline);
        return receive(request, deadline);
    } catch (...) {
        connection_.reset();
        throw;
    }
}

void ServiceLink::send(const Request& request, const Deadline& deadline) {
    const FrameHeaderBytes header = protocol::encode(protocol::request_header(
        request.opcode, request.operation, static_cast<std::uint32_t>(request.record.size())));
    const FrameParts parts{part_of(header), part_of(request.record)};

    if (connection_ && connection_->belongs_to_this_process() && connection_->send(parts, deadline)) {
        return;
    }
    connect(deadline);
    // When the new peer has gone already, it may have left the reason to be read.
    connection_->send(parts, deadline);
}

void ServiceLink::connect(const Deadline& deadline) {
    connection_.reset();
    if (!connected_now(deadline)) {
        start_service(location_, deadline,
                      [this](const Deadline& start_deadline) { return connected_now(start_deadline); });
    }
}

// False when nobody listens and the service is one that can be started.
bool ServiceLink::connected_now(const Deadline& deadline) {
    try {
        connection_.emplace(location_.socket, deadline);
        return true;
    } catch (const LinkError& error) {
        const bool nobody_listens = error.number() == ENOENT || error.number() == ECONNREFUSED;
        if (!nobody_listens || location_.program.empty()) {
            throw;
        }
        return false;
    }
}

Reply ServiceLink::receive(const Request& request, const Deadline& deadline) {
    std::array<std::byte, read_size> buffer;
    std::size_t received = 0;
    FrameHeaderBytes header_bytes;
    while (received < header_bytes.size()) {
        received += connection_->receive(std::span(buffer).subspan(received), deadline);
    }
    std::memcpy(header_bytes.data(), buffer.data(), header_bytes.size());
    const FrameHeader header = protocol::decode(header_bytes);
    const ReplyBounds bounds = bounds_of(request.opcode);
    check(header, request, bounds);

    std::size_t filled = received - header_bytes.size();
    if (filled > header.length) {
        fail_as_garbage("more came than the reply");
    }
    Reply reply{
        .status = static_cast<ServiceStatus>(header.status), .record = nullptr, .length = header.length};
    if (refuses_connection(header)) {
        connection_.reset();
    }
    if (header.length == 0) {
        return reply;
    }
    reply.record = zeroed_memory(std::max<std::size_t>(header.length, bounds.record) + 1);
    std::memcpy(reply.record.get(), buffer.data() + header_bytes.size(), filled);
    while (filled < header.length) {
        filled += connection_->receive({reply.record.get() + filled, header.length - filled}, deadline);
    }
    return reply;
}

ServiceLink& service_link() {
    static ServiceLink link{ServiceLocation{}};
    return link;
}

void use_service(ServiceLocation location) {
    service_link() = ServiceLink(std::move(location));
}

ServiceStatus report_failure(int error_number, const char* why) noexcept {
    failure.error_number = error_number;
    std::snprintf(failure.why.data(), failure.why.size(), "%s", why);
    errno = error_number;
    return static_cast<ServiceStatus>(protocol::Status::transport_failed);
}

ServiceStatus try_exchange(const Request& request, std::chrono::seconds timeout, Reply& reply) noexcept {
    try {
        reply = service_link().exchange(request, timeout);
        return reply.status;
    } catch (const LinkError& error) {
        return report_failure(error.number(), error.what());
    } catch (const std::bad_alloc&) {
        return report_failure(ENOMEM, "there is no memory for the request");
    } catch (const std::exception& error) {
        return report_failure(EIO, error.what());
    } catch (...) {
        return report_failure(EIO, "the request could not be made");
    }
}

std::string_view last_failure(int error_number) {
    return failure.error_number == error_number ? std::string_view(failure.why.data()) : std::string_view();
}

}  // namespace callhome::platform

using callhome::platform::Reply;

// The link blocks, flags and transport handle are the shell's own business; this link needs none.
extern "C" ServiceStatus svc_request_response(uint32_t opcode, uint32_t operation, void* request,
                                              void** reply_slot, uint32_t* length_slot,
                                              void* /*link_block_1*/, void* /*link_block_2*/,
                                              uint32_t /*flags*/, uint32_t /*transport_handle*/,
                                              uint32_t timeout_seconds) {
    const std::size_t length = request != nullptr && length_slot != nullptr ? *length_slot : 0;
    if (reply_slot != nullptr) {
        *reply_slot = nullptr;
    }
    Reply reply;
    const ServiceStatus status = callhome::platform::try_exchange(
        {opcode, operation, {static_cast<const std::byte*>(request), length}},
        std::chrono::seconds(timeout_seconds), reply);
    if (status < 0 || reply_slot == nullptr) {
        return status;
    }
    if (length_slot != nullptr) {
        *length_slot = reply.length;
    }
    *reply_slot = reply.record.release();
    if (status == 0) {
        callhome::platform::remember_reply(opcode, *reply_slot, reply.length);
    }
    return status;
}
