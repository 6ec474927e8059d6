// What a request function is given and what it gives back.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "distribution/session.h"
#include "inventory/software.h"
#include "messages/message_service.h"
#include "protocol/status.h"
#include "requests/reply.h"
#include "requests/service_facts.h"
#include "signatures/actions.h"
#include "store/store.h"

namespace callhome::service {

// Status and body (as Reply::set_body takes it) of a request that took its time. Called once, on the
// io_context's thread; it may outlive the caller and is without effect then.
using LateAnswer = std::function<void(protocol::Status, std::span<const std::byte> body)>;

// Who sent the request.
class Caller : public Requester {
 public:
    virtual bool may_change() const = 0;
    virtual LateAnswer answer_later() = 0;

 protected:
    Caller() = default;
    Caller(const Caller&) = default;
    Caller& operator=(const Caller&) = default;
};

struct Call {
    Store& store;
    ConfigurationCopy& copy;  // of the shared configuration: what this request reads or changes
    MessageService& messages;
    SoftwareInventory& software;
    DistributionSession& session;
    SignatureActions& signatures;
    ServiceFacts& facts;
    Caller& caller;
    std::span<const std::byte> record;  // of the length and with the terminators of its layout, host order
    Reply& reply;

    const Configuration& configuration() const { return store.configuration(); }
    const SharedConfiguration& shared() const { return copy.configuration(); }
};

// The status of the request; nothing when Caller::answer_later was used and the answer is on its way.
using Outcome = std::optional<protocol::Status>;

}  // namespace callhome::service
