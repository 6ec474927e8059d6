// Requests as they come from the socket, to a store in a folder of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "distribution/local_commit_engine.h"
#include "fake_message_service.h"
#include "fake_signatures.h"
#include "protocol/layout.h"
#include "requests/dispatch.h"
#include "requests/fields.h"
#include "requests/functions.h"
#include "temporary_folder.h"

namespace callhome::protocol {

inline void PrintTo(Status status, std::ostream* out) {
    const char* text = text_of(status);
    *out << (text == nullptr ? "unknown status" : text);
}

}  // namespace callhome::protocol

namespace callhome::service {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

struct FakeCaller final : Caller {
    bool may_change() const override { return allowed; }
    Identity identity() const override { return who; }
    std::string login_name() const override { return name; }
    LateAnswer answer_later() override {
        return [this](Status status, std::span<const std::byte> body) {
            late_status = status;
            late_body.assign(body.begin(), body.end());
        };
    }

    bool allowed = true;
    Identity who{.user = 1000, .session = {}};
    std::string name = "ada";
    std::optional<Status> late_status;
    std::vector<std::byte> late_body;
};

template <typename Record>
struct Answer {
    Status status;
    std::optional<Record> record;  // in host order
};

class RequestsTest : public testing::Test {
 protected:
    // Sends bytes in the transport's order; what comes back stays in `reply`.
    Outcome send(std::uint32_t opcode, std::uint32_t operation, std::vector<std::byte> body) {
        reply.clear();
        const auto header =
            protocol::request_header(opcode, operation, static_cast<std::uint32_t>(body.size()));
        return dispatcher.handle(header, body, caller, reply);
    }

    template <typename Record>
    Outcome send(Opcode opcode, Operation operation, const Record& record) {
        const auto bytes = std::as_bytes(std::span(&record, 1));
        std::vector<std::byte> body(bytes.begin(), bytes.end());
        protocol::convert_byte_order(body, protocol::layout_of<Record>());
        return send(static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation), body);
    }

    template <typename Record>
    Answer<Record> ask(Opcode opcode, Operation operation, const Record& record) {
        const Outcome outcome = send(opcode, operation, record);
        Answer<Record> answer{outcome.value_or(Status::transport_failed), std::nullopt};
        if (reply.body().size() == sizeof(Record)) {
            std::memcpy(&answer.record.emplace(), reply.body().data(), sizeof(Record));
        }
        return answer;
    }

    std::string reply_text() const {
        return {reinterpret_cast<const char*>(reply.body().data()), reply.body().size()};
    }

    const Configuration& configuration() const { return store.configuration(); }

    TemporaryFolder folder;
    Database database{folder / "callhome.db"};
    Store store{database};
    asio::io_context io;
    MessageService messages{io, database, store.configuration(), {}};
    SoftwareInventory software{folder.path()};
    LocalCommitEngine engine{io};
    DistributionSession session{database, store, engine};
    FakeSignatures files;
    Catalogue catalogue{database, files.reader(), [this] { return now; }};
    SignatureActions signatures{catalogue, store.configuration(), files.means()};
    ServiceFacts facts{database, "1.2.3"};
    Dispatcher dispatcher{store, messages, software, session, signatures, facts};
    std::int64_t now = 1'700'000'000;
    FakeCaller caller;
    Reply reply;
};

}  // namespace callhome::service
