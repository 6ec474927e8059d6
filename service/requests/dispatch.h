// From a frame to the function that answers it: one table of opcode, operation, who may, and function.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <utility>

#include "protocol/frame.h"
#include "requests/call.h"

namespace callhome::service {

enum class Access {
    read,    // anyone who can reach the socket
    change,  // root, the service's own user and the group callhome
};

// Which copy of the shared configuration a request gets, and when it is refused for that.
enum class Scope {
    effective,             // the effective one
    pending,               // the pending one; refused while there is none
    shared_change,         // the one that the distribution session says
    while_not_distributed  // the effective one; refused while distribution is on
};

struct RequestRow {
    protocol::Opcode opcode;
    protocol::Operation operation;
    Access access;
    Scope scope;
    std::size_t record_size;  // of the record that `function` reads; 0 when it reads none
    Outcome (*function)(Call& call);
};

// What is not listed is not understood.
std::span<const RequestRow> request_rows();

// The longest body that a request of this opcode may announce.
std::size_t longest_request(std::uint32_t opcode);

// No request is longer.
inline constexpr std::size_t longest_record = 2628;  // bytes

class Dispatcher {
 public:
    Dispatcher(Store& store, MessageService& messages, SoftwareInventory& software,
               DistributionSession& session, SignatureActions& signatures, ServiceFacts& facts)
        : store_(store),
          messages_(messages),
          software_(software),
          session_(session),
          signatures_(signatures),
          facts_(facts) {}

    // `changed` is called after each request that has changed something.
    void when_changed(std::function<void()> changed) { changed_ = std::move(changed); }

    // `body` is the frame's, in the transport's byte order; it is turned into host order in place.
    // `reply` holds the answer's body in host order afterwards.
    Outcome handle(const protocol::FrameHeader& header, std::span<std::byte> body, Caller& caller,
                   Reply& reply);

    // The request was answered, at once or later.
    void note_answer(const TracedRequest& request) { facts_.traces->note_request(request); }

 private:
    Outcome call_in_scope(const RequestRow& row, std::span<const std::byte> record, Caller& caller,
                          Reply& reply);

    Store& store_;
    MessageService& messages_;
    SoftwareInventory& software_;
    DistributionSession& session_;
    SignatureActions& signatures_;
    ServiceFacts& facts_;
    std::function<void()> changed_;
};

}  // namespace callhome::service
